// Operations met by systems that fail: every operation of the library has a line in the table, and the
// loops below it try all that can go wrong on that system, one thing at a time.

#include "heap.h"
#include "ip/detail/helper.h"
#include "kvt/exceptions/error.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <new>
#include <optional>
#include <string_view>

namespace {

/// What an operation of another kind than "returns a code" says of its failure.
constexpr unsigned long unexplained = 1;

unsigned long first_error(unsigned long earlier, unsigned long later) {
    return earlier != 0 ? earlier : later;
}

unsigned long load_only() {
    return 0;
}

unsigned long use_lib() {
    ip::lib handle;
    const unsigned long code = handle.init();
    return first_error(code, handle.free());
}

unsigned long use_winsock2() {
    ip::winsock2 handle;
    WSADATA data;
    const unsigned long code = handle.start(data);
    return code != 0 ? code : handle.cleanup();
}

unsigned long use_hlpapi() {
    ip::hlpapi handle;
    const unsigned long code = handle.load();
    return first_error(code, handle.free());
}

template <class Operation>
unsigned long with_lib(Operation operation) {
    ip::lib handle;
    unsigned long code = handle.init();
    if (code == 0) {
        code = operation(handle);
    }
    return first_error(code, handle.free());
}

unsigned long convert_text() {
    return with_lib([](ip::lib&) {
        ip::_raw_addr4_no raw4;
        ip::_raw_addr6_no raw6;
        wchar_t wide[64];
        char narrow[64];
        using namespace ip::detail;
        return from_string("1.2.3.4", raw4) && from_string(L"1.2.3.4", raw4) && from_string("::", raw6) &&
                       from_string(L"::", raw6) && to_string(raw4, narrow, 64) && to_string(raw6, wide, 64)
                   ? 0
                   : unexplained;
    });
}

unsigned long walk_adapters() {
    return with_lib([](ip::lib&) -> unsigned long {
        ip::adapter_enumerator adapters;
        ip::_SFindAdapter adapter;
        for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
        }
        const DWORD code = GetLastError();
        return code == ERROR_NO_MORE_ITEMS ? 0 : code;
    });
}

unsigned long list_addresses() {
    return with_lib([](ip::lib&) {
        std::vector<ip::addr> addresses;
        ip::addr first;
        const unsigned long code = ip::localaddresses(addresses, 0);
        return first_error(code, ip::local_address(first, ip::family_ipv4));
    });
}

unsigned long ask_for_family() {
    return with_lib(
        [](ip::lib& handle) { return handle.address_family_supported(ip::family_ipv4) ? 0 : unexplained; });
}

/// An operation and the system it meets. The other two list entries ("Name") that may be missing
/// and calls ("Name()") that may fail: of those in `absorbed` nothing shows, since the operation does
/// without; of those in `unexplained` it shows, but not its code. Every other code comes back.
struct scenario {
    const char* name;
    unsigned long (*operation)();
    DWORD version;
    std::string_view absorbed;
    std::string_view unexplained;
};

constexpr scenario scenarios[] = {
    {"the load of the library", load_only, 10, "", ""},
    {"the load of the library, version 5", load_only, 5, "", ""},
    {"lib", use_lib, 10, "", ""},
    {"winsock2", use_winsock2, 10, "", ""},
    {"hlpapi", use_hlpapi, 10, "", ""},
    {"address text", convert_text, 10, "", " WSAStringToAddress() WSAAddressToString() "},
    {"adapters", walk_adapters, 10, "", ""},
    {"adapters, version 5", walk_adapters, 5, " MultiByteToWideChar() ", ""},
    {"local addresses", list_addresses, 10, "", ""},
    {"local addresses, version 5", list_addresses, 5, " MultiByteToWideChar() ", ""},
    {"family", ask_for_family, 10, "", " GetAdaptersAddresses GetAdaptersAddresses() "},
};

constexpr std::string_view absorbed_by_all =
    " RtlGetVersion() GetProductInfo() RegOpenKeyExW() RegEnumKeyExW() RegQueryValueExW() RegCloseKey()"
    " ExpandEnvironmentStringsW() GetAdaptersAddresses() getaddrinfo freeaddrinfo getnameinfo GetNameInfoW "
    "GetAddrInfoW FreeAddrInfoW"
    " WSAConnectByNameA WSAConnectByNameW WSAPoll IcmpCreateFile IcmpCloseHandle IcmpSendEcho"
    " GetAdaptersAddresses GetBestInterfaceEx Icmp6CreateFile Icmp6SendEcho2 ResolveIpNetEntry2"
    " GetIpNetTable2 FreeMibTable GetExtendedTcpTable GetExtendedUdpTable GetPerTcpConnectionEStats"
    " GetPerTcp6ConnectionEStats ";

/// "Name" and "argument" of a call as it is written down.
std::pair<std::string, std::string> parts(const std::string& call) {
    const std::size_t open = call.find('(');
    return {call.substr(0, open),
            open == std::string::npos ? "" : call.substr(open + 1, call.size() - open - 2)};
}

/// What the operation returns when that call fails with that code.
unsigned long expected(const scenario& row, const std::string& call, unsigned long code) {
    const auto [function, argument] = parts(call);
    const std::string name = " " + (function == "GetProcAddress" ? argument : function + "()") + " ";
    const auto in = [&name](std::string_view list) { return list.find(name) != std::string_view::npos; };
    return in(row.unexplained) ? unexplained : in(row.absorbed) || in(absorbed_by_all) ? 0 : code;
}

/// A system for the row: two adapters, and devices of which the registry tells.
void furnish(scripted::system& system) {
    system.adapters = {full_adapter(system), loopback_adapter(system)};
    system.older_adapters = {scripted::older_adapter()};
    system.devices[scripted::network_class] = {
        {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_EXPAND_SZ, L"%id%"}}}};
}

/// Loads the library on that system, runs the operation, and unloads the library again.
unsigned long run(const scenario& row, scripted::system& system, std::size_t denied = ~std::size_t{0},
                  bool persistent = false, std::size_t* allocations = nullptr) {
    const heap::watch watch(denied, persistent);
    unsigned long code = 0;
    try {
        system.load_library();
        code = row.operation();
    } catch (const kvt::exceptions::error& error) {
        code = error.error_code();
    } catch (const std::bad_alloc&) {
        code = ERROR_NOT_ENOUGH_MEMORY;
    }
    system.unload_library();
    EXPECT_EQ(watch.live(), 0u) << "heap blocks left behind";
    if (allocations != nullptr) {
        *allocations = watch.allocations();
    }
    return code;
}

void PrintTo(const scenario& row, std::ostream* out) {
    *out << row.name;
}

class Scenarios : public testing::TestWithParam<scenario> {
protected:
    struct outcome {
        unsigned long code;
        std::vector<std::string> calls;
    };

    /// The row's outcome on a system that `change` makes worse.
    template <class Change>
    outcome run_changed(Change change) {
        scripted::system system(GetParam().version, false);
        furnish(system);
        change(system);
        const unsigned long code = run(GetParam(), system);
        return {code, std::move(system.calls)};
    }

    outcome run_unchanged() {
        return run_changed([](auto&) {});
    }
};

INSTANTIATE_TEST_SUITE_P(All, Scenarios, testing::ValuesIn(scenarios));

TEST_P(Scenarios, SucceedOnASystemWithEverything) {
    EXPECT_EQ(run_unchanged().code, 0u);
}

TEST_P(Scenarios, ReturnTheCodeOfTheCallThatFails) {
    const auto calls = run_unchanged().calls;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const unsigned long code = run_changed([i](auto& system) { system.failing_call = i; }).code;
        EXPECT_EQ(code, expected(GetParam(), calls[i], scripted::system::failing_code))
            << "call " << i << ", " << calls[i];
    }
}

TEST_P(Scenarios, SayWhatIsMissingOrDoWithoutIt) {
    for (const std::string& call : run_unchanged().calls) {
        const auto [function, name] = parts(call);
        if (function == "GetProcAddress" || function == "LoadLibraryW" || function == "GetModuleHandleW") {
            const auto code = run_changed([lost = name](auto& system) { system.missing = {lost}; }).code;
            const DWORD reason = function == "GetProcAddress" ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
            EXPECT_EQ(code, expected(GetParam(), call, reason)) << "without " << name;
        }
    }
}

TEST_P(Scenarios, ReportExhaustedMemoryAndLeaveNothingBehind) {
    for (const bool persistent : {false, true}) {
        std::size_t allocations = 1;
        for (std::size_t denied = 0; denied < allocations; ++denied) {
            scripted::system system(GetParam().version, false);
            furnish(system);
            const unsigned long code = run(GetParam(), system, denied, persistent, &allocations);
            const bool memory = code == ERROR_NOT_ENOUGH_MEMORY;
            const bool unnamed = code == unexplained && !GetParam().unexplained.empty();
            EXPECT_TRUE(code == 0 || memory || unnamed) << "allocation " << denied << " gave " << code;
        }
    }
}

} // namespace
