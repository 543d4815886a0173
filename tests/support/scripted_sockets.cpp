// The socket library of a scripted system.

#include "address/parse.h"
#include "scripted_call.h"

#include <gtest/gtest.h>

#include <bit>
#include <optional>
#include <utility>

namespace scripted {

namespace {

/// Only plain letters are narrowed.
template <class Char>
std::string narrow(const Char* name) {
    return name == nullptr ? "" : std::string(name, name + std::char_traits<Char>::length(name));
}

ip::saddr image_at(const void* address, int length) {
    return ip::detail::from_sockaddr(address, static_cast<std::size_t>(length));
}

/// What a call gets that writes an address.
template <class Length>
void write_address(call& now, const endpoint& from, void* buffer, Length* room) {
    EXPECT_EQ(*room, Length{128});
    if (now.failed()) {
        std::memset(buffer, 0xCC, 128);
    } else if (from.length != 0) { // a connected socket's receive writes nothing at all
        std::memcpy(buffer, &from.address, static_cast<std::size_t>(from.length));
        *room = static_cast<Length>(from.length);
    }
}

/// Takes any text for the address 1.2.3.4 or 102:304:: of the family asked for.
template <class Char>
INT WSAAPI read_text(Char*, INT family, WSAPROTOCOL_INFOW*, SOCKADDR* record, INT* length) {
    const call now("WSAStringToAddress", sizeof(Char) == 1 ? "A" : "W");
    EXPECT_EQ(record->sa_family, family);
    EXPECT_EQ(*length, family == AF_INET ? 16 : 28);
    std::memset(record, now.failed() ? 0xCC : 0, static_cast<std::size_t>(*length));
    if (!now.failed()) {
        std::memcpy(reinterpret_cast<char*>(record) + (family == AF_INET ? 4 : 8), "\1\2\3\4", 4);
    }
    return now.result();
}

/// Writes the record's length and the room as text: two facts that a caller can check.
template <class Char>
INT WSAAPI write_text(SOCKADDR* record, DWORD length, WSAPROTOCOL_INFOW*, Char* text, DWORD* room) {
    const call now("WSAAddressToString", sizeof(Char) == 1 ? "A" : "W");
    const std::string facts = std::to_string(length) + "/" + std::to_string(*room);
    EXPECT_EQ(record->sa_family, length == 16 ? AF_INET : AF_INET6);
    if (now.failed() || *room <= facts.size()) {
        *room = poison;
        return SOCKET_ERROR;
    }
    *std::copy(facts.begin(), facts.end(), text) = 0;
    return 0;
}

// Sockets.

/// A new handle, unless the call fails.
SOCKET open(const call& now, const open_socket& socket) {
    if (now.failed()) {
        return INVALID_SOCKET;
    }
    enter_in_ledger("sockets", 1);
    current->sockets[current->next_socket] = socket;
    return current->next_socket++;
}

/// The handles in a set as text, with "+" between them.
std::string handles(const fd_set* set) {
    std::string result = set == nullptr ? "-" : "";
    for (u_int i = 0; set != nullptr && i < set->fd_count; ++i) {
        result += (i == 0 ? "" : "+") + std::to_string(set->fd_array[i]);
    }
    return result;
}

/// Leaves the ready ones in the set, and says how many they are.
int keep_ready(fd_set* set, bool (*is_ready)(const open_socket&)) {
    u_int ready = 0;
    for (u_int i = 0; set != nullptr && i < set->fd_count; ++i) {
        if (is_ready(current->sockets.at(set->fd_array[i]))) {
            set->fd_array[ready++] = set->fd_array[i];
        }
    }
    return static_cast<int>(set == nullptr ? 0 : set->fd_count = ready);
}

template <endpoint system::*End>
int WSAAPI get_end(SOCKET handle, SOCKADDR* address, int* length) {
    call now(End == &system::peer ? "getpeername" : "getsockname", handle);
    return write_address(now, current->*End, address, length), now.result();
}

/// Takes what came in, if it fits; what does not fit is cut.
int take(call& now, char* buffer, int length) {
    const std::string data = std::exchange(current->incoming, "");
    const std::size_t size = std::min(data.size(), static_cast<std::size_t>(length));
    std::memcpy(buffer, data.data(), size);
    now.fails_if(size < data.size(), WSAEMSGSIZE);
    return now.result(static_cast<int>(size));
}

// Name services.

template <class Char>
using address_info = std::conditional_t<sizeof(Char) == 1, addrinfo, addrinfoW>;

/// What is known of a name or an address text, in that family.
template <class Char>
std::vector<endpoint> find_host(call& now, const Char* node, int family) {
    const std::string name = narrow(node);
    ip::addr numeric;
    const auto found = current->hosts.find(name);
    std::vector<endpoint> all;
    if (ip::detail::parse_address(name.c_str(), numeric)) {
        all = {name.c_str()};
    } else if (!now.fails_if(found == current->hosts.end(), WSAHOST_NOT_FOUND)) {
        all = found->second.addresses;
    }
    std::vector<endpoint> result = all;
    std::erase_if(result, [=](auto& one) { return family != AF_UNSPEC && family != one.address.family; });
    now.fails_if(result.empty() && !all.empty(), WSANO_DATA);
    return result;
}

template <class Char>
INT WSAAPI list_host(const Char* node, const Char* service, const address_info<Char>* given,
                     address_info<Char>** list) {
    constexpr bool is_narrow = sizeof(Char) == 1;
    const address_info<Char> hints = given == nullptr ? address_info<Char>{} : *given;
    call now(is_narrow ? "getaddrinfo" : "GetAddrInfoW", node, service, hints.ai_flags, hints.ai_family,
             hints.ai_socktype, hints.ai_protocol);
    *list = nullptr;
    now.fails_if(hints.ai_addrlen != 0 || hints.ai_canonname != nullptr, WSANO_RECOVERY);
    const std::vector<endpoint> found = find_host(now, node, hints.ai_family);
    if (!now.failed()) {
        enter_in_ledger(is_narrow ? "address lists" : "wide address lists", 1);
        for (auto each = found.rbegin(); each != found.rend(); ++each) {
            const auto length = static_cast<std::size_t>(each->length);
            address_info<Char> entry{};
            entry.ai_family = each->address.family;
            entry.ai_addrlen = length;
            entry.ai_addr = each->address.family == 0
                                ? nullptr
                                : reinterpret_cast<SOCKADDR*>(current->keep(each->address, length));
            entry.ai_next = *list;
            *list = current->keep(entry);
        }
    }
    return now.code();
}

template <class Char>
void WSAAPI free_list(address_info<Char>* list) {
    constexpr bool is_narrow = sizeof(Char) == 1;
    const call now(is_narrow ? "freeaddrinfo" : "FreeAddrInfoW");
    enter_in_ledger(is_narrow ? "address lists" : "wide address lists", -1);
    while (list != nullptr) {
        address_info<Char>* next = list->ai_next;
        std::memset(list, 0xCC, sizeof *list);
        list = next;
    }
}

std::optional<std::string> find_name(const ip::saddr& address) {
    ip::saddr without_port = address;
    without_port.port = 0;
    for (const auto& [name, host] : current->hosts) {
        for (const endpoint& one : host.addresses) {
            if (text(one.address) == text(without_port)) {
                return host.official != nullptr ? host.official : name;
            }
        }
    }
    return {};
}

/// The name of the service at a port, in network order.
std::optional<std::string> find_port(int port, const std::string& protocol) {
    for (const auto& [name, known] : current->services) {
        const std::size_t slash = name.find('/');
        if (__builtin_bswap16(known) == port && (protocol.empty() || protocol == name.substr(slash + 1))) {
            return name.substr(0, slash);
        }
    }
    return {};
}

template <class Char>
INT WSAAPI name_address(const SOCKADDR* record, socklen_t length, Char* host, DWORD host_room, Char* service,
                        DWORD service_room, INT flags) {
    const ip::saddr address = image_at(record, length);
    call now(sizeof(Char) == 1 ? "getnameinfo" : "GetNameInfoW", address, length, host != nullptr, host_room,
             service != nullptr, service_room, flags);
    now.fails_if(length < 16, WSAEFAULT);
    now.fails_if(host == nullptr && service == nullptr, WSAHOST_NOT_FOUND);
    ip::addr numeric;
    ip::detail::to_addr(address, numeric);
    const std::optional<std::string> known = find_name(address);
    now.fails_if(!known && (flags & NI_NAMEREQD) != 0, WSAHOST_NOT_FOUND);
    const auto write = [&](const std::string& name, Char* buffer) {
        if (buffer != nullptr) {
            *std::copy(name.begin(), name.end(), buffer) = now.failed() ? 'x' : 0;
        }
    };
    const std::string number = std::to_string(__builtin_bswap16(address.port));
    write(known && (flags & NI_NUMERICHOST) == 0 ? *known : text(numeric), host);
    write((flags & NI_NUMERICSERV) == 0 ? find_port(address.port, "").value_or(number) : number, service);
    return now.code();
}

template <class Char>
BOOL WSAAPI connect_by_name(SOCKET handle, Char* node, Char* service, DWORD* local_room, SOCKADDR* local,
                            DWORD* remote_room, SOCKADDR* remote, const timeval* limit,
                            OVERLAPPED* reserved) {
    call now(sizeof(Char) == 1 ? "WSAConnectByNameA" : "WSAConnectByNameW", handle, node, service,
             limit == nullptr ? -1 : limit->tv_sec, reserved != nullptr);
    const std::vector<endpoint> found = find_host(now, node, current->sockets.at(handle).family);
    const endpoint none("0.0.0.0");
    endpoint own = current->own;
    own.address.port = 0;
    write_address(now, own, local, local_room);
    write_address(now, now.failed() ? none : found.front(), remote, remote_room);
    return !now.failed();
}

// The old services' records: each call overwrites the last one's, before anything else.

struct {
    hostent record;
    char name[1100];
    char* list[9];
    in_addr addresses[8];
} host_answer;

hostent* answer_host(const std::string& name, const host& from) {
    char** end = host_answer.list;
    for (const endpoint& one : from.addresses) {
        if (one.address.family == AF_INET) {
            in_addr& address = host_answer.addresses[end - host_answer.list];
            std::memcpy(&address, one.address.address4, sizeof address);
            *end++ = reinterpret_cast<char*>(&address);
        }
    }
    *end = nullptr;
    std::strcpy(host_answer.name, name.c_str());
    host_answer.record = {host_answer.name, nullptr, from.family, from.length, host_answer.list};
    return &host_answer.record;
}

struct {
    servent record;
    char name[64];
} service_answer;

servent* answer_service(call&& now, const std::optional<std::string>& name, int port) {
    std::memset(&service_answer, 0xCC, sizeof service_answer);
    if (now.fails_if(!name, WSANO_DATA)) {
        return nullptr;
    }
    std::strcpy(service_answer.name, name->c_str());
    service_answer.record.s_name = service_answer.name;
    service_answer.record.s_port = static_cast<short>(port);
    return &service_answer.record;
}

template <class Number>
Number WSAAPI swap_bytes(Number value) {
    SetLastError(poison);
    std::reverse(reinterpret_cast<char*>(&value), reinterpret_cast<char*>(&value + 1));
    return value;
}

} // namespace

FARPROC socket_entry(std::string_view wanted) {
    const auto fake = [](auto of) { return std::bit_cast<FARPROC>(+of); };
    static const std::map<std::string_view, FARPROC> entries = {
        {"WSAGetLastError", fake(&GetLastError)},
        {"WSAStartup", fake([](WORD version, WSADATA* data) -> int {
             call now("WSAStartup", version);
             const bool failed = now.fails_if((version & 0xFF) == 0, WSAVERNOTSUPPORTED);
             data->wVersion = failed ? 0xDEAD : version;
             enter_in_ledger("starts", !failed);
             return now.status();
         })},
        {"WSACleanup", fake([]() -> int {
             const call now("WSACleanup");
             enter_in_ledger("starts", -1);
             return now.result();
         })},
        {"WSAStringToAddressA", fake(&read_text<char>)},
        {"WSAStringToAddressW", fake(&read_text<wchar_t>)},
        {"WSAAddressToStringA", fake(&write_text<char>)},
        {"WSAAddressToStringW", fake(&write_text<wchar_t>)},
        {"WSASocketW", fake([](int af, int type, int protocol, WSAPROTOCOL_INFOW* info, GROUP group,
                               DWORD flags) -> SOCKET {
             call now("WSASocketW", af, type, protocol, info != nullptr, group, flags);
             now.fails_if(af != AF_INET && af != AF_INET6, WSAEAFNOSUPPORT);
             return open(now, {.family = af});
         })},
        {"closesocket", fake([](SOCKET handle) -> int {
             call now("closesocket", handle);
             enter_in_ledger("sockets", -1);
             EXPECT_EQ(current->sockets.erase(handle), 1u) << "no open socket: " << handle;
             return now.result();
         })},
        {"bind", fake([](SOCKET handle, const SOCKADDR* address, int length) -> int {
             call now("bind", handle, image_at(address, length), length);
             now.fails_if(length < 16, WSAEFAULT);
             return now.result();
         })},
        {"listen",
         fake([](SOCKET handle, int backlog) -> int { return call("listen", handle, backlog).result(); })},
        {"WSAAccept", fake([](SOCKET handle, SOCKADDR* address, int* length, LPCONDITIONPROC condition,
                              DWORD_PTR data) -> SOCKET {
             call now("WSAAccept", handle, condition != nullptr, data);
             if (condition != nullptr && !now.failed()) {
                 const int decision =
                     condition(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, data);
                 now.fails_if(decision == CF_REJECT, WSAECONNREFUSED);
                 now.fails_if(decision == CF_DEFER, WSATRY_AGAIN);
             }
             write_address(now, current->peer, address, length);
             return open(now, {});
         })},
        // A non-blocking connect goes on in the background: `select` sees its end.
        {"connect", fake([](SOCKET handle, const SOCKADDR* address, int length) -> int {
             const ip::saddr target = image_at(address, length);
             call now("connect", handle, target, length);
             open_socket& socket = current->sockets.at(handle);
             now.fails_if(length < 16, WSAEFAULT);
             now.fails_if(socket.family != target.family, WSAEAFNOSUPPORT);
             now.fails_if(socket.connecting, WSAEALREADY);
             now.fails_if(socket.connected, WSAEISCONN);
             ip::addr host;
             ip::detail::to_addr(target, host);
             const auto peer = current->peers.find(text(host));
             if (!now.fails_if(peer == current->peers.end(), WSAEHOSTUNREACH)) {
                 socket.outcome = peer->second;
                 socket.failed = false;
                 socket.connecting = socket.non_blocking;
                 socket.connected = !socket.connecting && socket.outcome == 0;
                 now.fails_if(socket.connecting, WSAEWOULDBLOCK);
                 now.fails_if(socket.outcome != 0, socket.outcome);
             }
             return now.result();
         })},
        {"select",
         fake([](int count, fd_set* read, fd_set* write, fd_set* except, const timeval* limit) -> int {
             call now("select", count, handles(read), handles(write), handles(except),
                      limit == nullptr ? -1 : limit->tv_sec);
             now.fails_if(read == nullptr && write == nullptr && except == nullptr, WSAEINVAL);
             if (now.failed()) {
                 for (fd_set* set : {read, write, except}) {
                     *(set == nullptr ? std::make_unique<fd_set>().get() : set) = fd_set{1, {poison}};
                 }
                 return SOCKET_ERROR;
             }
             for (auto& [handle, socket] : current->sockets) {
                 if (socket.connecting && (socket.outcome != WSAETIMEDOUT || limit == nullptr)) {
                     socket.connecting = false;
                     socket.connected = socket.outcome == 0;
                     socket.failed = !socket.connected;
                     socket.error = socket.outcome;
                 }
             }
             return keep_ready(read, [](auto&) { return !current->incoming.empty(); }) +
                    keep_ready(write, [](auto& socket) { return socket.connected; }) +
                    keep_ready(except, [](auto& socket) { return socket.failed; });
         })},
        {"WSAPoll", fake([](WSAPOLLFD* fds, ULONG count, INT limit) -> int {
             return call("WSAPoll", fds->fd, fds->events, count, limit).result(1);
         })},
        {"shutdown",
         fake([](SOCKET handle, int how) -> int { return call("shutdown", handle, how).result(); })},
        {"getsockopt", fake([](SOCKET handle, int level, int name, char* value, int* length) -> int {
             call now("getsockopt", handle, level, name, *length);
             const DWORD error = current->sockets.at(handle).error; // stays
             std::memcpy(value, now.failed() ? &poison : &error, sizeof error);
             return now.result();
         })},
        {"setsockopt", fake([](SOCKET handle, int level, int name, const char* value, int length) -> int {
             return call("setsockopt", handle, level, name, *reinterpret_cast<const int*>(value), length)
                 .result();
         })},
        {"ioctlsocket", fake([](SOCKET handle, long command, u_long* argument) -> int {
             call now("ioctlsocket", handle, static_cast<u_long>(command), *argument);
             open_socket& socket = current->sockets.at(handle);
             socket.non_blocking = now.failed() ? socket.non_blocking : *argument != 0;
             return now.result();
         })},
        {"getpeername", fake(&get_end<&system::peer>)},
        {"getsockname", fake(&get_end<&system::own>)},
        {"send", fake([](SOCKET handle, const char* buffer, int length, int flags) -> int {
             return call("send", handle, std::string(buffer, buffer + length), flags).result(length);
         })},
        {"sendto", fake([](SOCKET handle, const char* buffer, int length, int flags, const SOCKADDR* to,
                           int room) -> int {
             return call("sendto", handle, std::string(buffer, buffer + length), flags, image_at(to, room),
                         room)
                 .result(length);
         })},
        {"recv", fake([](SOCKET handle, char* buffer, int length, int flags) -> int {
             call now("recv", handle, length, flags);
             return take(now, buffer, length);
         })},
        {"recvfrom",
         fake([](SOCKET handle, char* buffer, int length, int flags, SOCKADDR* from, int* room) -> int {
             call now("recvfrom", handle, length, flags);
             write_address(now, current->peer, from, room); // also of a datagram that is cut
             return take(now, buffer, length);
         })},
        {"getaddrinfo", fake(&list_host<char>)},
        {"freeaddrinfo", fake(&free_list<char>)},
        {"GetAddrInfoW", fake(&list_host<wchar_t>)},
        {"FreeAddrInfoW", fake(&free_list<wchar_t>)},
        {"getnameinfo", fake(&name_address<char>)},
        {"GetNameInfoW", fake(&name_address<wchar_t>)},
        {"WSAConnectByNameA", fake(&connect_by_name<char>)},
        {"WSAConnectByNameW", fake(&connect_by_name<wchar_t>)},
        {"gethostname", fake([](char* buffer, int length) -> int {
             call now("gethostname", length);
             const std::string& name = current->host_name;
             if (!now.fails_if(length <= static_cast<int>(name.size()), WSAEFAULT)) {
                 *std::copy(name.begin(), name.end(), buffer) = 0;
             }
             return now.result();
         })},
        {"gethostbyname", fake([](const char* node) -> hostent* {
             std::memset(&host_answer, 0xCC, sizeof host_answer);
             call now("gethostbyname", node);
             const auto found = current->hosts.find(node);
             if (now.fails_if(found == current->hosts.end(), WSAHOST_NOT_FOUND)) {
                 return nullptr;
             }
             const host& known = found->second;
             return answer_host(known.official != nullptr ? known.official : node, known);
         })},
        {"gethostbyaddr", fake([](const char* bytes, int length, int family) -> hostent* {
             std::memset(&host_answer, 0xCC, sizeof host_answer);
             ip::saddr address;
             address.family = static_cast<std::uint16_t>(family);
             std::memcpy(address.address4, bytes, static_cast<std::size_t>(length));
             call now("gethostbyaddr", address, length);
             const std::optional<std::string> name = find_name(address);
             return now.fails_if(!name, WSANO_DATA) ? nullptr : answer_host(*name, {});
         })},
        {"getservbyname", fake([](const char* name, const char* protocol) -> servent* {
             const auto found = current->services.find(std::string(name) + "/" + protocol);
             const bool known = found != current->services.end();
             return answer_service(call("getservbyname", name, protocol),
                                   known ? std::optional<std::string>(name) : std::nullopt,
                                   known ? __builtin_bswap16(found->second) : 0);
         })},
        {"getservbyport", fake([](int port, const char* protocol) -> servent* {
             return answer_service(call("getservbyport", port, protocol), find_port(port, narrow(protocol)),
                                   port);
         })},
        {"htons", fake(&swap_bytes<u_short>)},
        {"ntohs", fake(&swap_bytes<u_short>)},
        {"htonl", fake(&swap_bytes<u_long>)}};
    const auto found = entries.find(wanted);
    return found == entries.end() ? nullptr : found->second;
}

} // namespace scripted
