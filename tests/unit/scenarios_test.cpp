// Operations met by systems that fail: every operation of the library has a line in the table, and the
// loops below it try all that can go wrong beneath it, one thing at a time, on an old system and a new one.

#include "heap.h"
#include "ip/detail/helper.h"
#include "kvt/exceptions/error.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <regex>
#include <string_view>
#include <windns.h>

namespace {

/// What an operation that only says whether it succeeded gives for a failure.
constexpr unsigned long unexplained = 1;

/// The first error of the steps.
template <class... Steps>
unsigned long in_turn(Steps... steps) {
    unsigned long code = 0;
    static_cast<void>((((code = steps()) == 0) && ...));
    return code;
}

/// Takes the steps with a handle: its start, what is done with it, and its stop.
template <class Handle, class... Steps>
unsigned long use(Steps... steps) {
    Handle handle;
    unsigned long code = 0;
    static_cast<void>((((code = std::invoke(steps, handle)) == 0) && ...));
    return code;
}

template <unsigned long (&Operation)(ip::lib&)>
unsigned long with_lib() {
    ip::lib lib;
    return in_turn([&] { return lib.init(); }, [&] { return Operation(lib); }, [&] { return lib.free(); });
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

// With sockets and names.

using ip::winsock2;
constexpr timeval limit{3, 0};

/// What is done with a socket, and its close.
template <auto Operation, unsigned short Family = AF_INET>
unsigned long with_socket(ip::lib&) {
    ip::socket s;
    unsigned long code = winsock2::socket(s, SOCK_STREAM, 0, Family, nullptr, 0, 0, true);
    code = code == 0 ? Operation(s) : code;
    const unsigned long closed = winsock2::closesocket(s);
    return code == 0 ? closed : code;
}

unsigned long exchange(const ip::socket& s) {
    ip::socket accepted;
    ip::addr peer;
    ip::saddr end;
    char buffer[4];
    const auto transfer = [](int count) { return count == 4 ? 0 : winsock2::getlasterror(); };
    const unsigned long code =
        in_turn([&] { return winsock2::bind(s, scripted::socket_address("192.0.2.10")); },
                [&] { return winsock2::listen(s, 1); }, [&] { return winsock2::accept(s, accepted, peer); },
                [&] { return winsock2::getpeername(accepted, end); },
                [&] { return winsock2::getsockname(accepted, end); },
                [&] { return transfer(winsock2::recv(accepted, buffer, 4)); },
                [&] { return transfer(winsock2::send(accepted, buffer, 4)); },
                [&] { return winsock2::shutdown(accepted, 2); });
    const unsigned long closed = winsock2::closesocket(accepted);
    return code == 0 ? closed : code;
}

unsigned long connect_in_time(const ip::socket& s) {
    return winsock2::connect(s, scripted::socket_address("192.0.2.9"), &limit);
}

template <class Char>
unsigned long connect_by_name(const ip::socket& s) {
    const auto& bound = ip::detail::the_helper().winsock;
    const bool looks_up = bound.GetAddrInfoW != nullptr && bound.FreeAddrInfoW != nullptr;
    if (sizeof(Char) == 2 && !looks_up) {
        return 0; // a name is 120 there
    }
    const Char node[] = {'p', 'e', 'e', 'r', 0}, service[] = {'8', '0', 0};
    ip::addr local, remote;
    return winsock2::connectbyname(s, node, service, &local, &remote, &limit);
}

template <class Char>
unsigned long list_host(ip::lib&) {
    const Char node[] = {'p', 'e', 'e', 'r', 0}, service[] = {'h', 't', 't', 'p', 0};
    std::vector<ip::addr> found;
    return winsock2::getaddrinfo(node, found, service);
}

template <class Char>
unsigned long name_address(ip::lib&) {
    std::basic_string<Char> host, service;
    return winsock2::getnameinfo(scripted::socket_address("192.0.2.8"), &host, &service, 0);
}

template <class Char>
unsigned long name_host(ip::lib&) {
    Char name[256];
    return winsock2::gethostname(name, 256);
}

template <class Char>
unsigned long write_address(ip::lib&) try {
    std::basic_string<Char> out;
    winsock2::address_to_string(out, scripted::address("192.0.2.8"));
    return out.ends_with('t') ? 0 : unexplained;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

template <class Char>
unsigned long read_address(ip::lib&) {
    const Char name[] = {'p', 'e', 'e', 'r', 0};
    ip::addr out;
    return winsock2::address_from_string(out, name);
}

// Services.

using ip::hlpapi;
const ip::saddr far4 = scripted::socket_address("192.0.2.9"), far6 = scripted::socket_address("2001:db8::9");

/// The code, but none of those that say that an entry is missing.
unsigned long code_of(unsigned long code) {
    return code == ERROR_CALL_NOT_IMPLEMENTED || code == ERROR_FUNCTION_FAILED ||
                   code == ERROR_INVALID_PARAMETER
               ? unexplained
               : code;
}

template <class Char>
unsigned long look_up() {
    ip::dnsapi dns;
    const Char node[] = {'n', 0};
    std::vector<ip::addr> addresses;
    std::vector<std::basic_string<Char>> names;
    return in_turn([&] { return dns.init(); }, [&] { return dns.addresses_from_name(node, addresses); },
                   [&] { return dns.names_from_address(scripted::address("127.0.0.1"), names); },
                   [&] { return dns.free(); });
}

template <const ip::saddr& To>
unsigned long ping(ip::lib&) {
    hlpapi::_SPingReply reply;
    return code_of(hlpapi::ping(To, reply, 9, 9, 0, 0, 0));
}

unsigned long list_neighbours(ip::lib&) {
    std::vector<hlpapi::_SIpNetRow> rows;
    ip::macaddr mac;
    return in_turn([&] { return hlpapi::getipnettable(rows, 0); },
                   [&] { return hlpapi::getipnettable(rows, 2); },
                   [&] { return hlpapi::sendARP({}, {}, mac); },
                   [&] { return mac.from_addr(scripted::address("1.2.3.4"), nullptr); },
                   [&] { return code_of(mac.from_addr(scripted::address("9::"), nullptr)); });
}

unsigned long list_connections(ip::lib&) try {
    std::vector<hlpapi::_SIpConnection> found;
    unsigned long pid;
    const unsigned long code = hlpapi::getConnections(found, 0, 0, 0);
    return code_of(code != 0 ? code : hlpapi::findPid(0, far4, far4, pid));
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long list_servers(ip::lib&) {
    std::string servers;
    return ip::adapter_enumerator::retrievednsservers(servers) ? 0 : ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long find_route(ip::lib&) {
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    const bool found =
        ip::getbestinterface(far4, profile.adapter) && adapters.find_current_profile(profile, far4);
    return found ? 0 : GetLastError();
}

/// An operation, and what may be missing ("Name") or fail ("Name()") beneath it so that its failure shows,
/// but not the code.
struct scenario {
    const char* name;
    unsigned long (*operation)();
    std::string_view unexplained = "";
    std::string_view absorbed_before_6 = ""; ///< what it does without there
};

void PrintTo(const scenario& row, std::ostream* out) {
    *out << row.name;
}

/// An old adapter list's description stays empty where it cannot be read.
constexpr std::string_view description = " MultiByteToWideChar() ";

const scenario scenarios[] = {
    {"load", [] { return 0UL; }},
    {"lib", [] { return use<ip::lib>(&ip::lib::init, &ip::lib::free); }},
    {"hlpapi", [] { return use<ip::hlpapi>(&ip::hlpapi::load, &ip::hlpapi::free); }},
    {"winsock2", [] { return use<ip::winsock2>(start_winsock, &ip::winsock2::cleanup); }},
    {"address text", with_lib<convert_text>,
     " WSAStringToAddressA() WSAStringToAddressW() WSAAddressToStringA() WSAAddressToStringW() "},
    {"adapters", with_lib<walk_adapters>, "", description},
    {"addresses", with_lib<list_addresses>, "", description},
    {"family", with_lib<ask_for_family>, " GetAdaptersAddresses GetAdaptersAddresses() GetAdaptersInfo() ",
     description},
    {"both stacks", with_lib<with_socket<[](const ip::socket&) { return 0UL; }, AF_INET6>>},
    {"exchange", with_lib<with_socket<exchange>>},
    {"connect in time", with_lib<with_socket<connect_in_time>>},
    {"connect by name", with_lib<with_socket<connect_by_name<char>>>},
    {"connect by wide name", with_lib<with_socket<connect_by_name<wchar_t>>>},
    {"host", with_lib<list_host<char>>},
    {"wide host", with_lib<list_host<wchar_t>>},
    {"names", with_lib<name_address<char>>},
    {"wide names", with_lib<name_address<wchar_t>>},
    {"own name", with_lib<name_host<char>>},
    {"wide own name", with_lib<name_host<wchar_t>>},
    {"address written", with_lib<write_address<char>>, " getnameinfo() gethostbyaddr() "},
    {"address written wide", with_lib<write_address<wchar_t>>,
     " GetNameInfoW() getnameinfo() gethostbyaddr() "},
    {"address read", with_lib<read_address<char>>},
    {"address read wide", with_lib<read_address<wchar_t>>},
    {"dns", look_up<char>},
    {"wide dns", look_up<wchar_t>},
    {"ping", with_lib<ping<far4>>, " IcmpCreateFile IcmpSendEcho IcmpCloseHandle "},
    {"ping IPv6", with_lib<ping<far6>>, " Icmp6CreateFile Icmp6SendEcho2 IcmpCloseHandle "},
    {"neighbours", with_lib<list_neighbours>, " ResolveIpNetEntry2 "},
    {"connections", with_lib<list_connections>, " GetExtendedTcpTable GetExtendedUdpTable "},
    {"servers", with_lib<list_servers>},
    {"route", with_lib<find_route>, "", description},
};

/// What every operation does without. Every other code comes back.
constexpr std::string_view absorbed =
    " RtlGetVersion() GetProductInfo() RegOpenKeyExW() RegEnumKeyExW() RegQueryValueExW() RegCloseKey()"
    " ExpandEnvironmentStringsW() GetAdaptersAddresses() getaddrinfo freeaddrinfo getnameinfo GetNameInfoW"
    " GetAddrInfoW FreeAddrInfoW WSAConnectByNameA WSAConnectByNameW WSAPoll IcmpCreateFile IcmpCloseHandle"
    " IcmpSendEcho GetAdaptersAddresses GetBestInterfaceEx Icmp6CreateFile Icmp6SendEcho2 ResolveIpNetEntry2"
    " GetIpNetTable2 FreeMibTable GetExtendedTcpTable GetExtendedUdpTable GetPerTcpConnectionEStats"
    " GetPerTcp6ConnectionEStats ioctlsocket() freeaddrinfo() FreeAddrInfoW() gethostbyaddr()"
    " getservbyport() getservbyname() DnsRecordListFree() IcmpCloseHandle() FreeMibTable() EStats() EStats6()"
    " GetNetworkParams() GetBestRoute() GetSystemDirectoryW() S:\\rasapi32.dll RasEnumConnectionsW"
    " RasGetProjectionInfoW FreeLibrary(S:\\rasapi32.dll)"
    " RasEnumConnectionsW() RasGetProjectionInfoW() ";

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
        system.missing.insert(trouble.missing.begin(), trouble.missing.end());
        system.hosts = {{"peer", {{"192.0.2.9"}}}, {"a host with a long name.lab.test", {{"192.0.2.8"}}}};
        for (const char* width : {"getnameinfo", "GetNameInfoW"}) {
            system.outputs[width] = {*width == 'g'
                                         ? scripted::bytes<char>("a host with a long name.lab.test")
                                         : scripted::bytes<wchar_t>("a host with a long name.lab.test")};
        }
        system.services = {{"http/tcp", 80}, {"http/udp", 80}};
        system.peers = {{"192.0.2.9", 0}};
        system.dns = {
            {"1 n", {{DNS_TYPE_A, "1.2.3.4"}}},
            {"28 n", {{DNS_TYPE_AAAA, "::1"}}},
            {"12 1.0.0.127.IN-ADDR.ARPA", {{DNS_TYPE_PTR, "a name too long for a string's own room"}}}};
        system.echo_reply = std::string(40, '\0');
        system.older_neighbours.resize(200);
        system.neighbours.resize(1);
        system.tcp4 = {{5, 0x090200C0, 0, 0x090200C0, 0, 1}};
        system.tcp6.resize(20);
        system.udp4.resize(1);
        system.udp6.resize(1);
        system.active[5] = 1;
        std::strcpy(system.network.DnsServerList.IpAddress.String, "192.0.2.53");
        system.dial_ups.resize(2);
        system.dial_up_addresses = {L"192.0.2.10"};
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
        if (what == "gethostbyname()") {
            return WSAEAFNOSUPPORT; // the host is looked for as IPv6 then
        }
        return in(row.unexplained)                                          ? unexplained
               : in(absorbed) || (version < 6 && in(row.absorbed_before_6)) ? 0
                                                                            : code;
    }

    const scenario row = std::get<0>(GetParam());
    const DWORD version = std::get<1>(GetParam());
};

INSTANTIATE_TEST_SUITE_P(All, Scenarios,
                         testing::Combine(testing::ValuesIn(scenarios), testing::Values(4, 5, 10)));

TEST_P(Scenarios, ReturnTheCodeOfWhatFailsOrIsMissing) {
    const outcome whole = run();
    EXPECT_EQ(whole.code, 0u);
    for (std::size_t i = 0; i < whole.calls.size(); ++i) {
        std::smatch parts;
        std::regex_match(whole.calls[i], parts, std::regex(R"(([^(]*)(?:\((.*)\))?)"));
        const std::string function = parts[1], name = parts[2];
        const bool is_entry = function == "GetProcAddress";
        const bool is_library = function == "LoadLibraryW" || function == "GetModuleHandleW";
        const std::string what = is_entry || is_library      ? name
                                 : function == "FreeLibrary" ? whole.calls[i]
                                                             : function + "()";
        EXPECT_EQ(run({.failing_call = i}).code, expected(what, scripted::system::failing_code))
            << i << ": " << whole.calls[i];
        if (is_entry || is_library) {
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
