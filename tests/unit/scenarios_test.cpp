// Operations met by systems that fail: every operation of the library has a line in the table, and the
// loops below it try all that can go wrong on that system, one thing at a time.

#include "heap.h"
#include "ip/detail/helper.h"
#include "kvt/exceptions/error.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string_view>

namespace {

/// What an operation that only says whether it succeeded gives for a failure.
constexpr unsigned long unexplained = 1;

/// The first error of a start, something done with the started handle, and the stop.
template <class Handle, class Start, class Stop>
unsigned long use(
    Start start, Stop stop, unsigned long (*operation)(Handle&) = [](Handle&) { return 0UL; }) {
    Handle handle;
    unsigned long code = start(handle);
    code = code != 0 ? code : operation(handle);
    return code != 0 ? code : stop(handle);
}

constexpr auto init = [](auto& handle) { return handle.init(); };
constexpr auto load = [](auto& handle) { return handle.load(); };
constexpr auto free = [](auto& handle) { return handle.free(); };
constexpr auto cleanup = [](ip::winsock2& handle) { return handle.cleanup(); };
constexpr auto start = [](ip::winsock2& handle) {
    WSADATA data;
    return handle.start(data);
};

unsigned long with_lib(unsigned long (*operation)(ip::lib&)) {
    return use<ip::lib>(init, free, operation);
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

const scenario scenarios[] = {
    {"load", [] { return 0UL; }, 10, "", ""},
    {"load, version 5", [] { return 0UL; }, 5, "", ""},
    {"lib", [] { return use<ip::lib>(init, free); }, 10, "", ""},
    {"hlpapi", [] { return use<ip::hlpapi>(load, free); }, 10, "", ""},
    {"winsock2", [] { return use<ip::winsock2>(start, cleanup); }, 10, "", ""},
    {"address text", [] { return with_lib(convert_text); }, 10, "",
     " WSAStringToAddress() WSAAddressToString() "},
    {"adapters", [] { return with_lib(walk_adapters); }, 10, "", ""},
    {"adapters, version 5", [] { return with_lib(walk_adapters); }, 5, " MultiByteToWideChar() ", ""},
    {"addresses", [] { return with_lib(list_addresses); }, 10, "", ""},
    {"addresses, version 5", [] { return with_lib(list_addresses); }, 5, " MultiByteToWideChar() ", ""},
    {"family", [] { return with_lib(ask_for_family); }, 10, "",
     " GetAdaptersAddresses GetAdaptersAddresses() "},
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
    system.network_devices = {
        {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_EXPAND_SZ, L"%id%"}}}};
}

void PrintTo(const scenario& row, std::ostream* out) {
    *out << row.name;
}

struct outcome {
    unsigned long code = 0;
    std::size_t allocations = 0;
    std::vector<std::string> calls;
};

/// Loads the library on the row's system, which `change` makes worse, runs the operation, and unloads.
outcome run(
    const scenario& row, const std::function<void(scripted::system&)>& change = [](auto&) {},
    std::size_t denied = ~std::size_t{0}, bool persistent = false) {
    scripted::system system(row.version, false);
    furnish(system);
    change(system);
    outcome result;
    {
        const heap::watch watch(denied, persistent);
        try {
            system.load_library();
            result.code = row.operation();
        } catch (const kvt::exceptions::error& error) {
            result.code = error.error_code();
        } catch (const std::bad_alloc&) {
            result.code = ERROR_NOT_ENOUGH_MEMORY;
        }
        system.unload_library();
        EXPECT_EQ(watch.live(), 0u) << "heap blocks left behind";
        result.allocations = watch.allocations();
    }
    result.calls = std::move(system.calls);
    return result;
}

class Scenarios : public testing::TestWithParam<scenario> {};

INSTANTIATE_TEST_SUITE_P(All, Scenarios, testing::ValuesIn(scenarios));

TEST_P(Scenarios, SucceedOnASystemWithEverything) {
    EXPECT_EQ(run(GetParam()).code, 0u);
}

TEST_P(Scenarios, ReturnTheCodeOfTheCallThatFails) {
    const auto calls = run(GetParam()).calls;
    for (std::size_t i = 0; i < calls.size(); ++i) {
        const auto code = run(GetParam(), [i](auto& system) { system.failing_call = i; }).code;
        EXPECT_EQ(code, expected(GetParam(), calls[i], scripted::system::failing_code))
            << i << ": " << calls[i];
    }
}

TEST_P(Scenarios, SayWhatIsMissingOrDoWithoutIt) {
    for (const std::string& call : run(GetParam()).calls) {
        const auto [function, name] = parts(call);
        if (function == "GetProcAddress" || function == "LoadLibraryW" || function == "GetModuleHandleW") {
            const auto code = run(GetParam(), [lost = name](auto& system) { system.missing = {lost}; }).code;
            const DWORD reason = function == "GetProcAddress" ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
            EXPECT_EQ(code, expected(GetParam(), call, reason)) << "without " << name;
        }
    }
}

TEST_P(Scenarios, ReportExhaustedMemoryAndLeaveNothingBehind) {
    for (const bool persistent : {false, true}) {
        std::size_t allocations = 1;
        for (std::size_t denied = 0; denied < allocations; ++denied) {
            const outcome result = run(
                GetParam(), [](auto&) {}, denied, persistent);
            const bool unnamed = result.code == unexplained && !GetParam().unexplained.empty();
            EXPECT_TRUE(result.code == 0 || result.code == ERROR_NOT_ENOUGH_MEMORY || unnamed)
                << "allocation " << denied << " gave " << result.code;
            allocations = result.allocations;
        }
    }
}

} // namespace
