// Operations met by systems that fail: every operation of the library has a line in the table, and the
// loops below it try all that can go wrong beneath it, one thing at a time, on an old system and a new one.

#include "heap.h"
#include "kvt/exceptions/error.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <regex>
#include <string_view>

namespace {

/// What an operation that only says whether it succeeded gives for a failure.
constexpr unsigned long unexplained = 1;

/// The first error of the steps taken with a handle: its start, what is done with it, and its stop.
template <class Handle, class... Steps>
unsigned long use(Steps... steps) {
    Handle handle;
    unsigned long code = 0;
    static_cast<void>((((code = std::invoke(steps, handle)) == 0) && ...));
    return code;
}

unsigned long with_lib(unsigned long (*operation)(ip::lib&)) {
    return use<ip::lib>(&ip::lib::init, operation, &ip::lib::free);
}

unsigned long start_winsock(ip::winsock2& winsock) {
    WSADATA data;
    return winsock.start(data);
}

unsigned long convert_text(ip::lib&) {
    ip::_raw_addr4_no raw4;
    ip::_raw_addr6_no raw6;
    wchar_t wide[64];
    char narrow[64];
    using namespace ip::detail;
    return from_string("", raw4) && from_string(L"", raw4) && from_string("", raw6) &&
                   from_string(L"", raw6) && to_string(raw4, narrow, 64) && to_string(raw6, wide, 64)
               ? 0
               : unexplained;
}

unsigned long walk_adapters(ip::lib&) {
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
    }
    const DWORD code = GetLastError();
    return code == ERROR_NO_MORE_ITEMS ? 0 : code;
}

unsigned long list_addresses(ip::lib&) {
    std::vector<ip::addr> addresses;
    ip::addr first;
    const unsigned long code = ip::localaddresses(addresses, 0);
    return code != 0 ? code : ip::local_address(first, ip::family_ipv4);
}

unsigned long ask_for_family(ip::lib& lib) {
    return lib.address_family_supported(ip::family_ipv4) ? 0 : unexplained;
}

/// An operation, and what may be missing ("Name") or fail ("Name()") beneath it so that its failure shows,
/// but not the code.
struct scenario {
    const char* name;
    unsigned long (*operation)();
    std::string_view unexplained = "";
};

void PrintTo(const scenario& row, std::ostream* out) {
    *out << row.name;
}

const scenario scenarios[] = {
    {"load", [] { return 0UL; }},
    {"lib", [] { return use<ip::lib>(&ip::lib::init, &ip::lib::free); }},
    {"hlpapi", [] { return use<ip::hlpapi>(&ip::hlpapi::load, &ip::hlpapi::free); }},
    {"winsock2", [] { return use<ip::winsock2>(start_winsock, &ip::winsock2::cleanup); }},
    {"address text", [] { return with_lib(convert_text); }, " WSAStringToAddress() WSAAddressToString() "},
    {"adapters", [] { return with_lib(walk_adapters); }},
    {"addresses", [] { return with_lib(list_addresses); }},
    {"family", [] { return with_lib(ask_for_family); },
     " GetAdaptersAddresses GetAdaptersAddresses() GetAdaptersInfo() "},
};

/// What every operation does without. Every other code comes back.
constexpr std::string_view absorbed =
    " RtlGetVersion() GetProductInfo() RegOpenKeyExW() RegEnumKeyExW() RegQueryValueExW() RegCloseKey()"
    " ExpandEnvironmentStringsW() GetAdaptersAddresses() getaddrinfo freeaddrinfo getnameinfo GetNameInfoW"
    " GetAddrInfoW FreeAddrInfoW WSAConnectByNameA WSAConnectByNameW WSAPoll IcmpCreateFile IcmpCloseHandle"
    " IcmpSendEcho GetAdaptersAddresses GetBestInterfaceEx Icmp6CreateFile Icmp6SendEcho2 ResolveIpNetEntry2"
    " GetIpNetTable2 FreeMibTable GetExtendedTcpTable GetExtendedUdpTable GetPerTcpConnectionEStats"
    " GetPerTcp6ConnectionEStats ";

/// What goes wrong.
struct trouble {
    std::size_t failing_call = ~std::size_t{0};
    std::set<std::string> missing = {};
    std::size_t denied = ~std::size_t{0};
    bool persistent = false;
};

struct outcome {
    unsigned long code = 0;
    std::size_t allocations = 0;
    std::vector<std::string> calls = {};
};

struct Scenarios : testing::TestWithParam<std::tuple<scenario, DWORD>> {
    /// Only the load may throw when memory is short.
    static unsigned long load(scripted::system& system) try {
        system.load_library();
        return 0;
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }

    /// Loads the library on a system with adapters and devices, runs the operation, and unloads.
    outcome run(const trouble& trouble = {}) const {
        scripted::system system(version, false);
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.older_adapters = {scripted::older_adapter()};
        system.network_devices = {
            {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_EXPAND_SZ, L"%id%"}}}};
        system.failing_call = trouble.failing_call;
        system.missing = trouble.missing;
        outcome result;
        {
            const heap::watch watch(trouble.denied, trouble.persistent);
            try {
                result.code = load(system);
                result.code = result.code == 0 ? row.operation() : result.code;
            } catch (const kvt::exceptions::error& error) {
                result.code = error.error_code();
            }
            system.unload_library();
            EXPECT_EQ(watch.live(), 0u) << "heap blocks left behind";
            result.allocations = watch.allocations();
        }
        result.calls = std::move(system.calls);
        return result;
    }

    /// What the operation returns when that fails with that code.
    unsigned long expected(const std::string& what, unsigned long code) const {
        const auto in = [&](std::string_view list) { return list.find(" " + what + " ") != list.npos; };
        const bool description = version < 6 && what == "MultiByteToWideChar()"; // there left empty
        return in(row.unexplained) ? unexplained : in(absorbed) || description ? 0 : code;
    }

    const scenario row = std::get<0>(GetParam());
    const DWORD version = std::get<1>(GetParam());
};

INSTANTIATE_TEST_SUITE_P(All, Scenarios,
                         testing::Combine(testing::ValuesIn(scenarios), testing::Values(5, 10)));

TEST_P(Scenarios, ReturnTheCodeOfWhatFailsOrIsMissing) {
    const outcome whole = run();
    EXPECT_EQ(whole.code, 0u);
    for (std::size_t i = 0; i < whole.calls.size(); ++i) {
        std::smatch parts;
        std::regex_match(whole.calls[i], parts, std::regex(R"(([^(]*)(?:\((.*)\))?)"));
        const std::string function = parts[1], name = parts[2];
        const bool is_entry = function == "GetProcAddress";
        const std::string what = is_entry ? name : function + "()";
        EXPECT_EQ(run({.failing_call = i}).code, expected(what, scripted::system::failing_code))
            << i << ": " << whole.calls[i];
        if (is_entry || function == "LoadLibraryW" || function == "GetModuleHandleW") {
            const DWORD code = is_entry ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
            EXPECT_EQ(run({.missing = {name}}).code, expected(what, code)) << "without " << name;
        }
    }
}

TEST_P(Scenarios, ReportExhaustedMemoryAndLeaveNothingBehind) {
    for (const bool persistent : {false, true}) {
        std::size_t allocations = 1;
        for (std::size_t denied = 0; denied <= allocations; ++denied) { // until none was left to deny
            const outcome result = run({.denied = denied, .persistent = persistent});
            const bool unnamed = result.code == unexplained && !row.unexplained.empty();
            EXPECT_TRUE(result.code == 0 || result.code == ERROR_NOT_ENOUGH_MEMORY || unnamed)
                << "allocation " << denied << " gave " << result.code;
            allocations = result.allocations;
        }
    }
}

} // namespace
