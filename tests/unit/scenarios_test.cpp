// Operations met by systems that fail: every operation of the library has a line in the table, and the
// loops below it try all that can go wrong beneath it, one thing at a time, on an old system and a new one.

#include "binding/entry_table.h"
#include "heap.h"
#include "ip/detail/helper.h"
#include "kvt/exceptions/error.h"
#include "kvtip/abandoned.h"
#include "kvtip/kvtip.h"
#include "kvtip/lookup.h"
#include "kvtip/system_entries.h"
#include "results.h"
#include "sample_adapters.h"
#include "scripted_call.h"
#include "text.h"

#include <gtest/gtest.h>

#include <functional>
#include <iterator>
#include <new>
#include <optional>
#include <regex>
#include <sstream>
#include <string_view>
#include <windns.h>

namespace {

/// The code of a failure that an operation reports without one.
constexpr unsigned long unexplained = 1;

/// The first error of the steps.
template <class... Steps>
unsigned long in_turn(Steps... steps) {
    unsigned long code = 0;
    static_cast<void>((((code = steps()) == 0) && ...));
    return code;
}

/// The same, with a last step that is taken even after an error.
template <class Operation, class End>
unsigned long and_then(Operation operation, End end) {
    const unsigned long code = operation(), ended = end();
    return code != 0 ? code : ended;
}

/// Starts a handle and stops it.
template <class Handle>
unsigned long start_and_stop(auto start, auto stop) {
    Handle handle;
    return in_turn([&] { return std::invoke(start, handle); }, [&] { return std::invoke(stop, handle); });
}

unsigned long start_winsock(ip::winsock2& winsock) {
    WSADATA data;
    return winsock.start(data);
}

template <class Char>
unsigned long convert_text() {
    ip::_raw_addr4_no raw4;
    ip::_raw_addr6_no raw6;
    Char buffer[64] = {};
    using namespace ip::detail;
    return from_string(buffer, raw4) && from_string(buffer, raw6) && to_string(raw4, buffer, 64) &&
                   to_string(raw6, buffer, 64)
               ? 0
               : unexplained;
}

unsigned long walk_adapters() {
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
    }
    const DWORD code = GetLastError();
    return code == ERROR_NO_MORE_ITEMS ? 0 : code;
}

unsigned long list_addresses() {
    std::vector<ip::addr> addresses;
    ip::addr first;
    return in_turn([&] { return ip::localaddresses(addresses, 0); },
                   [&] { return ip::local_address(first, ip::family_ipv4); });
}

unsigned long find_family() {
    ip::lib lib;
    return lib.address_family_supported(ip::family_ipv4) ? 0 : unexplained;
}

// With sockets and names.

using ip::winsock2;
constexpr timeval limit{3, 0};

/// Opens a socket for both stacks, uses it, and closes it.
template <class Operation>
unsigned long with_socket(unsigned short family, Operation operation) {
    ip::socket s;
    return in_turn(
        [&] { return winsock2::socket(s, SOCK_STREAM, 0, family, nullptr, 0, 0, true); },
        [&] { return and_then([&] { return operation(s); }, [&] { return winsock2::closesocket(s); }); });
}

template <class Char>
unsigned long connect_by_name() {
    const auto& bound = ip::detail::the_helper().winsock;
    if (sizeof(Char) == 2 && (bound.GetAddrInfoW == nullptr || bound.FreeAddrInfoW == nullptr)) {
        return 0; // a name is 120 there
    }
    return with_socket(AF_INET, [](const ip::socket& s) {
        const Char node[] = {'p', 'e', 'e', 'r', 0}, service[] = {'8', '0', 0};
        ip::addr local, remote;
        return winsock2::connectbyname(s, node, service, &local, &remote, &limit);
    });
}

template <class Char>
unsigned long look_names_up() {
    const Char node[] = {'p', 'e', 'e', 'r', 0}, service[] = {'h', 't', 't', 'p', 0};
    std::vector<ip::addr> found;
    std::basic_string<Char> host, port;
    Char name[256];
    ip::addr first;
    return in_turn(
        [&] { return winsock2::getaddrinfo(node, found, service); },
        [&] { return winsock2::address_from_string(first, node); },
        [&] { return winsock2::getnameinfo(scripted::socket_address("192.0.2.8"), &host, &port, 0); },
        [&] { return winsock2::gethostname(name, 256); });
}

/// Canonical names of a host and of an address, and this host's address.
unsigned long find_canonical_names() {
    addrinfo hints{};
    hints.ai_flags = AI_CANONNAME;
    std::vector<ip::addr> found;
    const unsigned long code =
        in_turn([&] { return winsock2::getaddrinfo("peer", found, "http", &hints); },
                [&] { return winsock2::getaddrinfo("192.0.2.9", found, "80", &hints); },
                [&] { return hints = {}, winsock2::getaddrinfo(nullptr, found, "80", &hints); });
    return code == WSAHOST_NOT_FOUND ? WSAEAFNOSUPPORT : code; // as where IPv6 is looked for too
}

template <class Char>
unsigned long write_address() try {
    std::basic_string<Char> out;
    winsock2::address_to_string(out, scripted::address("192.0.2.8"));
    return out.ends_with('t') ? 0 : unexplained;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
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
unsigned long query_dns() {
    ip::dnsapi dns;
    const Char node[] = {'n', 0};
    std::vector<ip::addr> addresses;
    std::vector<std::basic_string<Char>> names;
    return in_turn([&] { return dns.init(); }, [&] { return dns.addresses_from_name(node, addresses); },
                   [&] { return dns.names_from_address(scripted::address("127.0.0.1"), names); },
                   [&] { return dns.free(); });
}

template <const ip::saddr& To>
unsigned long ping() {
    hlpapi::_SPingReply reply;
    return code_of(hlpapi::ping(To, reply, 9, 9, 0, 0, 0));
}

unsigned long list_neighbours() {
    std::vector<hlpapi::_SIpNetRow> rows;
    ip::macaddr mac;
    return in_turn([&] { return hlpapi::getipnettable(rows, 0); },
                   [&] { return hlpapi::getipnettable(rows, 2); },
                   [&] { return hlpapi::sendARP({}, {}, mac); },
                   [&] { return mac.from_addr(scripted::address("1.2.3.4"), nullptr); },
                   [&] { return code_of(mac.from_addr(scripted::address("9::"), nullptr)); });
}

unsigned long list_connections() try {
    std::vector<hlpapi::_SIpConnection> found;
    unsigned long pid;
    return code_of(in_turn([&] { return hlpapi::getConnections(found, 0, 0, 0); },
                           [&] { return hlpapi::findPid(0, far4, far4, pid); }));
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long list_servers() {
    std::string servers;
    return ip::adapter_enumerator::retrievednsservers(servers) ? 0 : ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long find_route() {
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    const bool found =
        ip::getbestinterface(far4, profile.adapter) && adapters.find_current_profile(profile, far4);
    return found ? 0 : GetLastError();
}

// The C interface.

std::size_t rows_listed = 0; ///< in all

/// The code of a function that allocates its result, which is freed.
template <class Result, class... Arguments, class... Given>
unsigned long discard(std::uint32_t (*function)(Arguments...), Given... given) {
    const Result* result = nullptr;
    const std::uint32_t code = function(given..., &result);
    if constexpr (requires { result->count; }) {
        rows_listed += result == nullptr ? 0 : result->count;
    }
    kvtip_free(result);
    return code;
}

const kvtip_address to_far4 = kvtip::library::to_address(far4), to_far6 = kvtip::library::to_address(far6);
const kvtip_endpoint far_end{to_far4, 0, 0}, near_end = scripted::endpoint_of("127.0.0.1:80");

unsigned long list_adapter_rows() {
    const kvtip_adapter_options full{sizeof full, 0, 0, 1};
    const kvtip_dns_server_options usable{sizeof usable, 0, 1};
    return in_turn([&] { return discard<kvtip_adapter_list>(kvtip_adapters, &full); },
                   [&] { return discard<kvtip_dns_server_list>(kvtip_dns_servers, &usable); });
}

unsigned long find_primary() {
    return code_of(discard<kvtip_primary_adapter>(kvtip_primary, nullptr));
}

unsigned long find_primary_to() {
    return discard<kvtip_primary_adapter>(kvtip_primary, &to_far4);
}

unsigned long find_scope() {
    std::uint32_t scope;
    const bool converts_only_names = ip::detail::the_helper().is_version_6_or_later();
    return kvtip_scope(converts_only_names ? "{a}" : "1", &scope);
}

/// The route must have its source.
unsigned long find_route_row() {
    const kvtip_route* route = nullptr;
    const unsigned long code = kvtip_route_to(&to_far4, 0, &route);
    const bool lacks_source = route != nullptr && route->source.family != 4;
    kvtip_free(route);
    return lacks_source ? unexplained : code;
}

unsigned long list_route_rows() {
    return code_of(discard<kvtip_route_list>(kvtip_routes, nullptr));
}

unsigned long list_neighbour_rows() {
    kvtip_mac mac;
    return in_turn([] { return discard<kvtip_neighbour_list>(kvtip_neighbours, nullptr); },
                   [&] { return kvtip_hardware_address(&to_far4, 0, &mac); },
                   [&] { return code_of(kvtip_hardware_address(&to_far6, 0, &mac)); });
}

unsigned long list_connection_rows() {
    kvtip_connection_options options{};
    options.size = sizeof options;
    options.flags = KVTIP_CONNECTIONS_PATHS;
    return in_turn(
        [&] { return code_of(discard<kvtip_connection_list>(kvtip_connections, &options)); },
        [] { return code_of(discard<kvtip_process>(kvtip_owner, KVTIP_TCP, &far_end, &far_end)); });
}

/// The code, but none of those that say that there is no such name.
unsigned long name_code_of(unsigned long code) {
    return code == WSAHOST_NOT_FOUND || code == WSATYPE_NOT_FOUND ? unexplained : code;
}

unsigned long find_name_rows() {
    return name_code_of(
        in_turn([] { return discard<kvtip_resolution>(kvtip_resolve, "peer", "http", nullptr); },
                [] { return discard<kvtip_name_list>(kvtip_reverse, &to_far4); },
                [] { return discard<char>(kvtip_host_name); }));
}

/// Looks an answering and a silent host up. Answers that the system could not cancel come afterwards.
unsigned long look_up_in_time() {
    scripted::system& system = *scripted::current;
    const kvtip_resolve_options options{sizeof options, 0, 0, 0, 50, 0, nullptr};
    const auto look_up = [&](std::size_t count) {
        const char* const hosts[] = {"peer", "a silent host"};
        const kvtip_resolved_host_list* list = nullptr;
        unsigned long code = kvtip_resolve_all(hosts, count, "http", &options, &list);
        for (std::size_t i = 0; code == 0 && i < count; ++i) {
            const std::uint32_t found = list->rows[i]->code;
            code = found == WSAETIMEDOUT && i == 1 ? 0 : found;
        }
        kvtip_free(list);
        return name_code_of(code);
    };
    const unsigned long code = look_up(2);
    while (!system.lookups.empty()) {
        system.end_lookup(system.lookups.begin()->first);
    }
    // What was given up is given back by the next lookup, or the one after that if the call that looks at it fails.
    const unsigned long next = look_up(1), last = look_up(1);
    const auto failed = system.calls.begin() +
                        static_cast<std::ptrdiff_t>(std::min(system.failing_call, system.calls.size()));
    const bool wait_failed = failed != system.calls.end() && failed->starts_with("WaitForMultipleObjects");
    return wait_failed ? 0 : code != 0 ? code : next != 0 ? next : last;
}

unsigned long query_dns_rows() {
    return in_turn(
        [] { return discard<kvtip_dns_record_list>(kvtip_dns_query, "n", KVTIP_DNS_A, nullptr); },
        [] { return discard<kvtip_dns_record_list>(kvtip_dns_query, "127.0.0.1", KVTIP_DNS_PTR, nullptr); },
        [] {
            const kvtip_dns_options options{sizeof options, 0, scripted::address_of("192.0.2.53")};
            return discard<kvtip_dns_record_list>(kvtip_dns_query, "n", KVTIP_DNS_A, &options);
        });
}

template <const kvtip_address& To, const kvtip_address& From>
unsigned long ping_once() {
    kvtip_ping_options options{};
    options.size = sizeof options;
    options.source = From;
    kvtip_ping_result result;
    return code_of(kvtip_ping(&To, &options, &result));
}
const kvtip_address anywhere{};

/// Pings hosts of both families, of which one does not answer. The code is the first one of a row.
unsigned long ping_rows(const kvtip_canceller* cancel = nullptr) {
    std::optional<heap::pause> pause(std::in_place);
    scripted::current->echo_time = 10;
    scripted::current->silent = {"192.0.2.66"};
    pause.reset();
    kvtip_ping_options options{};
    options.size = sizeof options;
    options.cancel = cancel;
    const kvtip_address targets[] = {to_far4, scripted::address_of("192.0.2.66"), to_far6};
    const kvtip_ping_reply_list* replies = nullptr;
    unsigned long code = kvtip_ping_all(targets, std::size(targets), &options, &replies);
    for (std::size_t i = 0; replies != nullptr && i < replies->count && code == 0; ++i) {
        code = replies->rows[i]->code;
    }
    kvtip_free(replies);
    return code_of(code);
}

/// The same, cancelled while requests are in flight. Whatever fails meanwhile, nothing may be left behind.
unsigned long cancel_pings() {
    kvtip_canceller* canceller = nullptr;
    if (const unsigned long code = kvtip_canceller_create(&canceller)) {
        return code == ERROR_NOT_ENOUGH_MEMORY ? code : 0;
    }
    scripted::system& system = *scripted::current;
    std::optional<heap::pause> pause(std::in_place);
    system.later.emplace(system.clock + 50, [=] { kvtip_canceller_cancel(canceller); });
    pause.reset();
    const unsigned long code = ping_rows(canceller);
    for (DWORD time = 50; system.pass(time);) { // also where the pings have failed before
    }
    kvtip_canceller_close(canceller);
    return code == ERROR_NOT_ENOUGH_MEMORY ? code : 0;
}

/// Connects, exchanges data and closes. A socket that cannot be closed is closed by others.
template <class... Arguments, class... Given>
unsigned long converse(std::uint32_t (*connect)(Arguments...), Given... given) {
    const kvtip_connect_result* made = nullptr;
    const std::uint32_t code = connect(given..., &made);
    const kvtip_socket socket = made == nullptr ? KVTIP_NO_SOCKET : made->socket;
    EXPECT_EQ(code == 0, socket != KVTIP_NO_SOCKET);
    EXPECT_TRUE(made == nullptr || made->code == code);
    kvtip_free(made);
    if (code != 0) {
        return code;
    }
    char data[8] = {};
    std::size_t size;
    const unsigned long exchanged =
        in_turn([&] { return kvtip_send(socket, data, sizeof data, 9, &size); },
                [&] { return kvtip_receive(socket, data, sizeof data, 9, &size); });
    if (kvtip_close(socket) != 0) {
        scripted::current->close_elsewhere(socket);
        return scripted::system::failing_code; // whatever failed, there is one code
    }
    return exchanged;
}

/// The lookup blocks: those in time have a row of their own.
unsigned long exchange() {
    const kvtip_connect_options options{sizeof options, KVTIP_FOREVER, 0, 0, nullptr};
    return code_of(
        name_code_of(in_turn([&] { return converse(kvtip_connect, "peer", "http", &options); },
                             [] { return converse(kvtip_connect_endpoint, &near_end, nullptr); })));
}

/// Watches while all adapters go away. A wait that fails must leave that to the next one. Without signals, the
/// watcher must poll.
template <bool Signals>
unsigned long watch() {
    scripted::system& system = *scripted::current;
    const auto& bound = kvtip::library::entries();
    const bool can_signal = bound.NotifyRouteChange2 != nullptr && bound.CancelMibChangeNotify2 != nullptr,
               can_signal_addresses =
                   bound.NotifyAddrChange != nullptr && bound.CancelIPChangeNotify != nullptr;
    const std::uint32_t interval = Signals && (can_signal || can_signal_addresses) ? 0 : 10,
                        only_interfaces = can_signal || interval != 0 ? 0 : KVTIP_WATCH_INTERFACES;
    const kvtip_watch_options options{sizeof options, only_interfaces, interval, 0};
    kvtip_watcher* watcher = nullptr;
    unsigned long code = code_of(kvtip_watch(&options, &watcher));
    if (code != 0) {
        return code;
    }
    auto adapters = std::exchange(system.adapters, {});
    auto older_adapters = std::exchange(system.older_adapters, {});
    Signals ? system.signal() : void();
    const auto wait = [&] { return discard<kvtip_change_list>(kvtip_watcher_wait, watcher, interval * 2); };
    code = wait();
    EXPECT_TRUE(code != scripted::system::failing_code || wait() == 0) << "a change was lost";
    kvtip_watcher_close(watcher);
    system.adapters = std::move(adapters);
    system.older_adapters = std::move(older_adapters);
    return code;
}

unsigned long cancel() {
    kvtip_canceller* canceller = nullptr;
    const unsigned long code = code_of(kvtip_canceller_create(&canceller));
    kvtip_canceller_cancel(canceller);
    kvtip_canceller_close(canceller);
    return code;
}

unsigned long list_entries() {
    char text[64];
    return in_turn([&] { return kvtip_message(7, text, sizeof text) > 1 ? 0 : unexplained; },
                   [] { return discard<kvtip_entry_list>(kvtip_entries); });
}

/// Whether the list, of words between blanks, has that word.
bool has(std::string_view list, const std::string& word) {
    return (" " + std::string(list) + " ").find(" " + word + " ") != std::string::npos;
}

/// What keeps the libraries while an operation runs.
enum class keeper { handle, c_start, itself };
using enum keeper;

/// An operation, and the failures that it does not report by their code: "Name" is a missing entry, "Name()"
/// a failing call.
struct scenario {
    const char* name;
    unsigned long (*operation)();
    keeper kept_by = handle;
    std::string_view unexplained = "";                 ///< the operation fails without a code
    std::string_view absorbed_before_6 = "";           ///< it succeeds on systems before version 6
    std::string_view no_memory_after = "";             ///< calls after which it succeeds without more memory
    std::string_view absorbed = "";                    ///< it succeeds; "*": whatever fails
    std::string_view lacks = "";                       ///< entries that the system does not have
    unsigned long no_memory = ERROR_NOT_ENOUGH_MEMORY; ///< its code when memory ends
    std::string_view reported_since_6 = "";            ///< it fails there, unlike other operations
};

void PrintTo(const scenario& row, std::ostream* out) {
    *out << row.name;
}

/// The older adapter list's descriptions are empty if they cannot be converted.
constexpr std::string_view description = "MultiByteToWideChar()";
/// Without memory, adapters have no device identifiers, and the older list replaces the newer one.
constexpr std::string_view devices = "WSAStartup GetBestInterfaceEx MultiByteToWideChar RegQueryValueExW "
                                     "ExpandEnvironmentStringsW RegOpenKeyExW";
/// The same, and a dial-up connection is not recognised.
constexpr std::string_view dial_up = "RasGetProjectionInfoW WSAStartup GetBestInterfaceEx RegQueryValueExW"
                                     " ExpandEnvironmentStringsW RegOpenKeyExW";

/// What these rows do without memory for: the older source's device identifiers and newer list.
constexpr std::string_view older_source =
    "GetIfTable2 FreeMibTable GetProcAddress GetBestRoute2 GetIpForwardTable2 GetIpForwardTable closesocket"
    " MultiByteToWideChar"
    " RegQueryValueExW ExpandEnvironmentStringsW RegOpenKeyExW";

/// The older name services do not say why they find nothing.
constexpr std::string_view older_names = "gethostbyname() gethostbyaddr() getservbyname()";
constexpr std::string_view connect_needs = "gethostbyname() gethostbyaddr() getservbyname() WSAEventSelect "
                                           "WSAEnumNetworkEvents CreateEventW SetEvent"
                                           " WaitForMultipleObjects CloseHandle kernel32.dll Ws2_32.dll#2";

/// Without these, changes are not watched. The older source does without memory for device identifiers, and a
/// close reports no failure.
constexpr std::string_view watch_needs =
    "CreateEventW SetEvent WaitForMultipleObjects GetModuleHandleExW CloseHandle kernel32.dll"
    " Iphlpapi.dll#2";
constexpr std::string_view older_watch = "GetIpForwardTable2 NotifyAddrChange WaitForMultipleObjects "
                                         "RegQueryValueExW ExpandEnvironmentStringsW RegOpenKeyExW";
constexpr std::string_view closes =
    "CancelMibChangeNotify2() CancelIPChangeNotify() CloseHandle() FreeLibrary(kvtIP.dll)";
constexpr std::string_view polls =
    "CancelMibChangeNotify2() CancelIPChangeNotify() CloseHandle() FreeLibrary(kvtIP.dll) NotifyAddrChange()"
    " NotifyIpInterfaceChange() NotifyUnicastIpAddressChange() NotifyRouteChange2()";

/// A socket of the classes that cannot be made non-blocking and blocking again stays as it is.
constexpr std::string_view blocking = "ioctlsocket()";

const scenario scenarios[] = {
    {"load", [] { return 0UL; }, itself},
    {"lib", [] { return 0UL; }},
    {"kvtip", [] { return 0UL; }, c_start},
    {"hlpapi", [] { return start_and_stop<hlpapi>(&hlpapi::load, &hlpapi::free); }, itself},
    {"winsock2", [] { return start_and_stop<winsock2>(start_winsock, &winsock2::cleanup); }, itself},
    {"text", convert_text<char>, handle, "WSAStringToAddressA() WSAAddressToStringA()"},
    {"wide text", convert_text<wchar_t>, handle, "WSAStringToAddressW() WSAAddressToStringW()"},
    {"adapters", walk_adapters, handle, "", description, devices},
    {"addresses", list_addresses, handle, "", description, devices},
    {"family", find_family, handle, "GetAdaptersAddresses GetAdaptersAddresses() GetAdaptersInfo()",
     description, devices, "", "", unexplained},
    {"both stacks", [] { return with_socket(AF_INET6, [](auto&) { return 0UL; }); }},
    {"connect in time",
     [] { return with_socket(AF_INET, [](auto& s) { return winsock2::connect(s, far4, &limit); }); }, handle,
     "", "", "", blocking},
    {"connect by name", connect_by_name<char>, handle, "", "", "", blocking},
    // Text that cannot be read as an address is looked up as a name.
    {"connect by wide name", connect_by_name<wchar_t>, handle, "", "", "WSASocketW", blocking},
    {"canonical names", find_canonical_names},
    {"names", look_names_up<char>},
    {"wide names", look_names_up<wchar_t>, handle, "", "", "FreeAddrInfoW gethostbyname"},
    // Where the name is not known, the address is written in numbers.
    {"address written", write_address<char>, handle, "getnameinfo() gethostbyaddr()", "",
     "getnameinfo gethostbyaddr", "", "", unexplained},
    {"address written wide", write_address<wchar_t>, handle, "GetNameInfoW() getnameinfo() gethostbyaddr()",
     "", "GetNameInfoW gethostbyaddr MultiByteToWideChar", "", "", unexplained},
    {"dns", query_dns<char>, itself},
    {"wide dns", query_dns<wchar_t>, itself},
    {"ping", ping<far4>, handle, "IcmpCreateFile IcmpSendEcho IcmpCloseHandle"},
    {"ping IPv6", ping<far6>, handle, "Icmp6CreateFile Icmp6SendEcho2 IcmpCloseHandle"},
    {"neighbours", list_neighbours, handle, "ResolveIpNetEntry2"},
    {"connections", list_connections, handle, "GetExtendedTcpTable GetExtendedUdpTable"},
    // If one source fails, the servers of the other are listed.
    {"servers", list_servers, handle, "", "", "WSAStartup GetNetworkParams GetAdaptersAddresses"},
    {"route", find_route, handle, "", description, dial_up, "GetBestRoute()"},
    {"adapter rows", list_adapter_rows, c_start, "", description, older_source, "GetIpForwardTable2()"},
    {"primary", find_primary, c_start, "Iphlpapi.dll#2", description, older_source},
    {"primary to", find_primary_to, c_start, "", description, older_source, "GetIpForwardTable2()"},
    {"scope", find_scope, c_start, "", "", older_source},
    {"route row", find_route_row, c_start, "", description, older_source},
    {"older route row", find_route_row, c_start, "WSASocketW() connect() getsockname()", description,
     older_source, "closesocket()", "GetBestRoute2"},
    {"routes", list_route_rows, c_start, "Iphlpapi.dll#2", description, older_source},
    {"older routes", list_route_rows, c_start, "GetIpForwardTable Iphlpapi.dll#2", description, older_source,
     "", "GetIpForwardTable2"},
    {"neighbour rows", list_neighbour_rows, c_start, "ResolveIpNetEntry2 GetBestInterfaceEx", "", "",
     "GetIpNetTable2()"},
    {"connection rows", list_connection_rows, c_start, "GetExtendedTcpTable GetExtendedUdpTable", "", "",
     "CreateToolhelp32Snapshot() Process32FirstW() Process32NextW() CloseHandle() OpenProcess()"
     " QueryFullProcessImageNameW()"},
    {"name rows", find_name_rows, c_start, older_names},
    {"narrow name rows", find_name_rows, c_start, older_names, "", "", "",
     "GetAddrInfoW GetNameInfoW GetHostNameW"},
    {"lookups in time", look_up_in_time, c_start, older_names, "", "",
     "CloseHandle() GetAddrInfoExCancel() FreeAddrInfoExW() WaitForMultipleObjects()"},
    {"dns rows", query_dns_rows, itself, "", "", "", "FreeLibrary(Dnsapi.dll)"},
    {"ping row", ping_once<to_far4, anywhere>, c_start, "IcmpCreateFile IcmpSendEcho IcmpCloseHandle"},
    {"ping row with source", ping_once<to_far4, to_far4>, c_start,
     "IcmpCreateFile IcmpSendEcho IcmpSendEcho2Ex IcmpCloseHandle Iphlpapi.dll#2"},
    {"ping row IPv6", ping_once<to_far6, to_far6>, c_start, "Icmp6CreateFile Icmp6SendEcho2 IcmpCloseHandle"},
    {"ping rows", [] { return ping_rows(); }, c_start,
     "IcmpCreateFile IcmpSendEcho IcmpCloseHandle Icmp6CreateFile Icmp6SendEcho2", "", "", "CloseHandle()"},
    {"cancelled ping rows", cancel_pings, itself, "", "", "", "*"},
    {"exchange", exchange, c_start, connect_needs, "", "", "WSAIoctl() CloseHandle()"},
    {"watcher", watch<true>, c_start, watch_needs, description, older_watch, closes, "",
     ERROR_NOT_ENOUGH_MEMORY, "GetAdaptersAddresses()"},
    {"polling watcher", watch<false>, c_start, watch_needs, description, older_watch, polls, "",
     ERROR_NOT_ENOUGH_MEMORY, "GetAdaptersAddresses()"},
    {"canceller", cancel, c_start, "CreateEventW SetEvent WaitForMultipleObjects CloseHandle kernel32.dll",
     "", "", "CloseHandle()"},
    {"entries", list_entries, itself, "", "", "", "*"},
};

/// The failures in spite of which every operation succeeds, beside the optional entries.
constexpr std::string_view absorbed =
    "RtlGetVersion() GetProductInfo() RegOpenKeyExW() RegEnumKeyExW() RegQueryValueExW() RegCloseKey()"
    " ExpandEnvironmentStringsW() GetAdaptersAddresses() freeaddrinfo() FreeAddrInfoW()"
    " gethostbyaddr() getservbyport() getservbyname() DnsRecordListFree() IcmpCloseHandle() FreeMibTable()"
    " EStats() EStats6() GetIfTable2() GetNetworkParams() GetSystemDirectoryW() S:\\rasapi32.dll"
    " FreeLibrary(S:\\rasapi32.dll) RasEnumConnectionsW() RasGetProjectionInfoW()";

/// Under a start of the C interface there are more: its optional entries in modules that it loads once more,
/// and a stop reports no failure.
constexpr std::string_view absorbed_by_start =
    "kernel32.dll Iphlpapi.dll#2 Ws2_32.dll#2 FreeLibrary(kernel32.dll) FreeLibrary(Iphlpapi.dll)"
    " FreeLibrary(Ws2_32.dll) WSACleanup()";

bool is_optional_entry(const std::string& name) {
    for (const auto& tables : {ip::detail::winsock_tables(), ip::detail::iphlpapi_tables(),
                               ip::detail::remote_access_tables(), kvtip::library::system_tables()}) {
        for (const ip::detail::entry_table& table : tables) {
            const auto found = std::find_if(table.rows.begin(), table.rows.end(),
                                            [&](const auto& row) { return row.name == name; });
            if (found != table.rows.end()) {
                return !table.is_required;
            }
        }
    }
    return false;
}

/// What goes wrong.
struct trouble {
    std::size_t failing_call = ~std::size_t{0};
    std::set<std::string> missing = {};
    std::size_t denied = ~std::size_t{0};
    bool persistent = false;
};

struct outcome {
    unsigned long code = 0;
    std::size_t allocations = 0, loading = 0;              ///< the calls of the load
    std::vector<std::string> calls = {}, calls_again = {}; ///< of a second, undisturbed operation
    std::vector<scripted::system::moment> moments = {};
    std::size_t rows_again = 0;
    bool loaded = false;
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
        std::istringstream lacking{std::string(row.lacks)};
        system.missing.insert(std::istream_iterator<std::string>(lacking), {});
        system.hosts = {{"peer", {{"192.0.2.9"}}},
                        {"-", {{"127.0.0.1"}}},
                        {"a silent host", {{"192.0.2.7"}, nullptr, AF_INET, 4, INFINITE}},
                        {"a host with a long name.lab.test", {{"192.0.2.8"}}}};
        for (const char* width : {"getnameinfo", "GetNameInfoW"}) {
            system.outputs[width] = {*width == 'g'
                                         ? scripted::bytes<char>("a host with a long name.lab.test")
                                         : scripted::bytes<wchar_t>("a host with a long name.lab.test")};
        }
        system.services = {{"http/tcp", 80}, {"http/udp", 80}};
        system.peers = {{"192.0.2.9", 0}, {"127.0.0.1", 0}};
        system.dns = {
            {"1 n", {{DNS_TYPE_A, "1.2.3.4"}}},
            {"28 n", {{DNS_TYPE_AAAA, "::1"}}},
            {"12 1.0.0.127.in-addr.arpa", {{DNS_TYPE_PTR, "target"}}},
            {"12 1.0.0.127.IN-ADDR.ARPA", {{DNS_TYPE_PTR, "a name too long for a string's own room"}}}};
        system.echo_reply = std::string(40, '\0');
        system.older_neighbours.resize(200);
        system.neighbours.resize(1);
        system.interfaces.resize(1);
        system.routes = {scripted::route_row("192.0.2.0", 24, "0.0.0.0"),
                         scripted::route_row("::", 0, "fe80::1")};
        system.older_routes.resize(20);
        system.older_routes[0].dwForwardIfIndex = 7;
        system.tcp4 = {{5, 0x090200C0, 0, 0x090200C0, 0, 1}};
        system.tcp6.resize(20);
        system.udp4.resize(1);
        system.udp6.resize(1);
        system.active[5] = 1;
        system.processes = {{1, L"a program with a long name.exe"}, {2, L"another.exe"}};
        system.paths = {{1, std::wstring(600, L'p')}};
        std::strcpy(system.network.DnsServerList.IpAddress.String, "192.0.2.53");
        system.dial_ups.resize(2);
        system.dial_up_addresses = {L"192.0.2.10"};
        outcome result;
        {
            heap::watch watch(trouble.denied, trouble.persistent);
            try {
                result.code = load(system);
                result.loaded = result.code == 0;
                result.loading = system.calls.size();
                result.code = result.loaded ? operate() : result.code;
            } catch (const kvt::exceptions::error& error) {
                result.code = error.error_code();
            }
            result.allocations = watch.allocations();
            watch.allow_all();
            result.calls = std::exchange(system.calls, {});
            result.moments = std::move(system.moments);
            system.failing_call = ~std::size_t{0};
            end_what_was_given_up(system);
            if (result.loaded && trouble.missing.empty() && trouble.failing_call == ~std::size_t{0}) {
                rows_listed = 0;
                system.next_socket = 101;
                kvtip::library::sockets_are_kept = false;
                EXPECT_EQ(operate(), 0u) << "once all is well";
                result.rows_again = rows_listed;
                result.calls_again = std::move(system.calls);
                end_what_was_given_up(system);
            }
            system.unload_library();
            EXPECT_EQ(watch.live(), 0u) << "heap blocks left behind";
        }
        return result;
    }

    static void end_what_was_given_up(scripted::system& system) {
        for (DWORD time = 5000; system.pass(time);) {
        }
        kvtip::library::destroy_abandoned();
        system.calls.clear();
    }

    unsigned long operate() const {
        switch (row.kept_by) {
        case handle:
            return start_and_stop<ip::lib>(
                [this](ip::lib& lib) { return in_turn([&] { return lib.init(); }, row.operation); },
                &ip::lib::free);
        case c_start:
            return in_turn(kvtip_start, [this] { return and_then(row.operation, kvtip_stop); });
        default:
            return row.operation();
        }
    }

    /// What the operation returns when that fails with that code.
    unsigned long expected(const std::string& what, unsigned long code) const {
        return version >= 6 && has(row.reported_since_6, what) ? code
               : has(row.unexplained, what)                    ? unexplained
               : what == "gethostbyname()" ? WSAEAFNOSUPPORT // the host is looked for as IPv6 then
               : what == "DnsQueryEx"      ? ERROR_CALL_NOT_IMPLEMENTED
               : has(absorbed, what) || has(row.absorbed, what) || is_optional_entry(what) ||
                       (row.kept_by == c_start && has(absorbed_by_start, what)) ||
                       (version < 6 && has(row.absorbed_before_6, what))
                   ? 0
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
        const auto place = whole.calls.begin() + static_cast<std::ptrdiff_t>(i);
        const auto before = std::count_if(whole.calls.begin(), place, [&](const std::string& call) {
            return is_library && call.ends_with("W(" + name + ")");
        });
        const std::string numbered = before == 0 ? what : what + "#" + std::to_string(before + 1);
        const bool is_fatal = row.absorbed != "*" || i < whole.loading;
        const auto expect = [&](const trouble& trouble, const std::string& of, DWORD code) {
            EXPECT_EQ(run(trouble).code, is_fatal ? expected(of, code) : 0) << i << ": " << *place;
        };
        if (!is_entry) {
            expect({.failing_call = i}, numbered, scripted::system::failing_code);
        }
        if ((is_entry || is_library) && !has(row.lacks, name)) {
            expect({.missing = {name}}, what, is_entry ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND);
        }
    }
}

TEST_P(Scenarios, ReportExhaustedMemoryAndLeaveNothingBehind) {
    const outcome whole = run();
    for (std::size_t denied = 0; denied < whole.allocations; ++denied) {
        // The last call before that allocation.
        const auto next = std::find_if(whole.moments.begin(), whole.moments.end(),
                                       [&](const auto& moment) { return moment.allocations > denied; });
        const auto number = static_cast<std::size_t>(next - whole.moments.begin());
        const std::string last = number == 0 ? "" : whole.calls[number - 1];
        const bool may_lack = has(row.no_memory_after, last.substr(0, last.find('(')));
        for (const bool persistent : {false, true}) {
            const outcome result = run({.denied = denied, .persistent = persistent});
            EXPECT_TRUE(result.code == ERROR_NOT_ENOUGH_MEMORY || result.code == row.no_memory ||
                        (may_lack && result.code == 0))
                << result.code << " for allocation " << denied << " after " << last
                << (persistent ? "..." : "");
            EXPECT_EQ(result.calls_again, result.loaded ? whole.calls_again : result.calls_again);
            EXPECT_EQ(result.rows_again, result.loaded ? whole.rows_again : 0);
        }
    }
}

TEST(ForwardLookUp, KeepsWhatItHasFoundWhenMemoryEnds) {
    scripted::system system;
    system.dns = {{"1 n", {{DNS_TYPE_A, "1.2.3.4"}}}, {"28 n", {{DNS_TYPE_AAAA, "::1"}}}};
    ip::dnsapi dns;
    EXPECT_EQ(dns.init(), 0u);
    std::vector<ip::addr> found;
    {
        const heap::watch only_one(1);
        EXPECT_EQ(ip::dnsapi::addresses_from_name("n", found), DWORD{ERROR_NOT_ENOUGH_MEMORY});
    }
    EXPECT_EQ(scripted::text(found), "1.2.3.4");
}

} // namespace
