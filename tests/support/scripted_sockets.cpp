// The socket library of a scripted system.

#include "address/parse.h"
#include "kvtip/lookup.h"
#include "scripted_call.h"

#include <gtest/gtest.h>

#include <bit>
#include <mutex>
#include <optional>

#include <mstcpip.h>

namespace scripted {

namespace {

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

SOCKET WSAAPI accept(SOCKET handle, SOCKADDR* address, int* length, LPCONDITIONPROC condition,
                     DWORD_PTR data) {
    const arguments given(handle, address, length, condition, data);
    call now("WSAAccept", given.as_text());
    if (condition != nullptr && !now.failed()) {
        const int decision = condition(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, data);
        now.fails_if(decision == CF_REJECT, WSAECONNREFUSED);
        now.fails_if(decision == CF_DEFER, WSATRY_AGAIN);
    }
    given.write(now, now.outputs("WSAAccept"));
    return open(now, {});
}

/// Ends the connect in progress.
void end_connect(open_socket& socket) {
    socket.connecting = false;
    socket.connected = socket.outcome == 0;
    socket.failed = !socket.connected;
    socket.error = socket.outcome;
}

/// Sets the socket's event at the end of its connect, unless it is closed before.
void end_connect_later(SOCKET handle, open_socket& socket, std::uint64_t distance) {
    constexpr std::uint64_t longest = 21000;
    const std::uint64_t time = distance + (socket.outcome == WSAETIMEDOUT      ? longest
                                           : socket.outcome == WSAECONNREFUSED ? socket.repetition
                                                                               : 0);
    socket.attempt = std::make_shared<int>();
    current->later.emplace(current->clock + time, [=, attempt = std::weak_ptr(socket.attempt)] {
        if (!attempt.expired()) {
            open_socket& connecting = current->sockets.at(handle);
            end_connect(connecting);
            connecting.has_ended = true;
            SetEvent(connecting.event);
        }
    });
}

/// A non-blocking connect goes on in the background: `select` sees its end, or an event is set.
int WSAAPI connect(SOCKET handle, const SOCKADDR* address, int length) {
    const ip::saddr target = record_at(address, static_cast<std::size_t>(length));
    call now("connect", handle, target, length);
    open_socket& socket = current->sockets.at(handle);
    now.fails_if(length < 16, WSAEFAULT);
    now.fails_if(socket.family != target.family, WSAEAFNOSUPPORT);
    now.fails_if(socket.connecting, WSAEALREADY);
    ip::addr host;
    ip::detail::to_addr(target, host);
    const auto peer = current->peers.find(text(host));
    if (!now.fails_if(peer == current->peers.end(), WSAEHOSTUNREACH)) {
        socket.outcome = peer->second;
        socket.failed = false;
        socket.connecting = socket.non_blocking;
        socket.connected = !socket.connecting && socket.outcome == 0;
        if (socket.event != nullptr) {
            end_connect_later(handle, socket, current->distances[text(host)]);
        }
        now.fails_if(socket.connecting, WSAEWOULDBLOCK);
        now.fails_if(socket.outcome != 0, socket.outcome);
    }
    return now.result();
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

int WSAAPI select(int count, fd_set* read, fd_set* write, fd_set* except, const timeval* limit) {
    call now("select", count, handles(read), handles(write), handles(except),
             limit == nullptr ? -1 : limit->tv_sec);
    if (now.failed()) {
        return SOCKET_ERROR;
    }
    for (auto& [handle, socket] : current->sockets) {
        if (socket.connecting && (socket.outcome != WSAETIMEDOUT || limit == nullptr)) {
            end_connect(socket);
        }
    }
    const int ready = keep_ready(read, [](auto& socket) { return !socket.silent; }) +
                      keep_ready(write, [](auto& socket) { return socket.connected && !socket.full; }) +
                      keep_ready(except, [](auto& socket) { return socket.failed; });
    if (ready == 0 && limit != nullptr) {
        current->clock += static_cast<std::uint64_t>(limit->tv_sec * 1000 + limit->tv_usec / 1000);
    }
    return ready;
}

// Name services.

/// What is known of a name or an address text, in that family. `code` says why there is nothing.
std::vector<endpoint> find_addresses(const std::string& name, int family, int& code) {
    ip::addr numeric;
    const auto known = current->hosts.find(name);
    std::vector<endpoint> found;
    if (known != current->hosts.end()) {
        found = known->second.addresses;
    } else if (ip::detail::parse_address(name.c_str(), numeric)) {
        found = {name.c_str()};
    } else {
        code = WSAHOST_NOT_FOUND;
    }
    const bool is_known = !found.empty();
    std::erase_if(found, [=](auto& one) { return family != AF_UNSPEC && family != one.address.family; });
    code = is_known && found.empty() ? WSANO_DATA : code;
    return found;
}

std::vector<endpoint> find_host(call& now, const std::string& name, int family) {
    int code = 0;
    std::vector<endpoint> found = find_addresses(name, family, code);
    now.fails_if(code != 0, static_cast<DWORD>(code));
    return found;
}

/// What the ledger calls a list of such nodes.
template <class Node>
constexpr const char* list_name = std::is_same_v<Node, addrinfo>    ? "address lists"
                                  : std::is_same_v<Node, addrinfoW> ? "wide address lists"
                                                                    : "extended address lists";

/// A list of what was found, of which the first node has the canonical name if that is asked for.
template <class Node, class Char>
Node* make_list(const std::vector<endpoint>& found, const Char* node, int flags) {
    enter_in_ledger(list_name<Node>, !found.empty());
    Node* list = nullptr;
    for (auto each = found.rbegin(); each != found.rend(); ++each) {
        const auto length = static_cast<std::size_t>(each->length);
        Node entry{};
        entry.ai_family = each->address.family;
        entry.ai_addrlen = length;
        entry.ai_addr = each->address.family == 0
                            ? nullptr
                            : reinterpret_cast<SOCKADDR*>(current->keep(each->address, length));
        const bool is_named = (flags & AI_CANONNAME) != 0 && each + 1 == found.rend();
        entry.ai_canonname = is_named ? current->text(node) : nullptr;
        entry.ai_next = reinterpret_cast<decltype(entry.ai_next)>(list);
        list = current->keep(entry);
    }
    return list;
}

template <class Char, class Node>
INT WSAAPI list_host(const Char* node, const Char* service, const Node* given, Node** list) {
    const Node hints = given == nullptr ? Node{} : *given;
    call now(sizeof(Char) == 1 ? "getaddrinfo" : "GetAddrInfoW", node, service, hints.ai_flags,
             hints.ai_family, hints.ai_socktype, hints.ai_protocol);
    *list = nullptr;
    current->hints = given;
    now.fails_if(hints.ai_addrlen != 0 || hints.ai_canonname != nullptr, WSANO_RECOVERY);
    const std::vector<endpoint> found = find_host(now, text(node), hints.ai_family);
    *list = now.failed() ? nullptr : make_list<Node>(found, node, hints.ai_flags);
    return now.code();
}

template <class Node, literal Name>
void WSAAPI free_list(Node* list) {
    const call now(Name.text);
    enter_in_ledger(list_name<Node>, list != nullptr ? -1 : 0);
    while (list != nullptr) {
        auto* next = reinterpret_cast<Node*>(list->ai_next);
        std::memset(list, 0xCC, sizeof *list);
        list = next;
    }
}

std::mutex lookup_mutex;

/// Goes on in the background, also if the answer is known at once.
int WSAAPI begin_lookup(PCWSTR node, PCWSTR service, DWORD name_space, GUID* provider,
                        const ADDRINFOEXW* hints, ADDRINFOEXW** list, timeval* timeout, OVERLAPPED* record,
                        void* routine, HANDLE* handle) {
    call now("GetAddrInfoExW", node, service, hints->ai_flags, hints->ai_family, hints->ai_socktype,
             hints->ai_protocol);
    EXPECT_TRUE(name_space == NS_ALL && provider == nullptr && timeout == nullptr && routine == nullptr);
    EXPECT_TRUE(kvtip::library::sockets_are_kept)
        << "a thread is at work in there after it has set the event";
    if (now.failed()) {
        return now.code();
    }
    const std::string name = text(node);
    record->Internal = WSAEINPROGRESS;
    std::unique_lock guard(lookup_mutex);
    const auto number = std::bit_cast<HANDLE>(++current->last_lookup);
    current->lookups[number] = {name, *hints, record, list};
    enter_in_ledger("lookups", 1);
    guard.unlock();
    *handle = number;
    const auto known = current->hosts.find(name);
    const std::uint32_t delay = known == current->hosts.end() ? 0 : known->second.delay;
    if (delay == 0) {
        current->end_lookup(number);
    } else if (delay != INFINITE) {
        current->later.emplace(current->clock + delay, [=] { current->end_lookup(number); });
    }
    return ERROR_IO_PENDING;
}

/// The record of the older services: each call overwrites that of the last one first.
struct {
    hostent host;
    servent service;
    char name[1100];
    char* list[9];
    in_addr addresses[8];
} answer;

hostent* answer_host(call&& now, decltype(system::hosts)::const_iterator found) {
    if (now.fails_if(found == current->hosts.end(), WSAHOST_NOT_FOUND)) {
        return nullptr;
    }
    const auto& [name, known] = *found;
    char** end = answer.list;
    for (const endpoint& one : known.addresses) {
        if (one.address.family == AF_INET) {
            in_addr& address = answer.addresses[end - answer.list];
            std::memcpy(&address, one.address.address4, sizeof address);
            *end++ = reinterpret_cast<char*>(&address);
        }
    }
    *end = nullptr;
    std::strcpy(answer.name, known.official != nullptr ? known.official : name.c_str());
    answer.host = {answer.name, nullptr, known.family, known.length, answer.list};
    return &answer.host;
}

servent* answer_service(call&& now, decltype(system::services)::const_iterator found) {
    if (now.fails_if(found == current->services.end(), WSANO_DATA)) {
        return nullptr;
    }
    *std::copy_n(found->first.begin(), found->first.find('/'), answer.name) = 0;
    answer.service.s_name = answer.name;
    answer.service.s_port = static_cast<short>(__builtin_bswap16(found->second));
    return &answer.service;
}

void overwrite_answer() {
    std::memset(&answer, 0xCC, sizeof answer);
}

hostent* WSAAPI find_by_address(const char* bytes, int length, int family) {
    overwrite_answer();
    ip::saddr address;
    address.family = static_cast<std::uint16_t>(family);
    std::memcpy(address.address4, bytes, static_cast<std::size_t>(length));
    return answer_host(call("gethostbyaddr", address, length),
                       std::find_if(current->hosts.begin(), current->hosts.end(), [&](const auto& each) {
                           const auto& all = each.second.addresses;
                           return std::any_of(all.begin(), all.end(), [&](const endpoint& one) {
                               return text(one.address) == text(address);
                           });
                       }));
}

servent* WSAAPI find_by_port(int port, const char* protocol) {
    overwrite_answer();
    return answer_service(
        call("getservbyport", __builtin_bswap16(static_cast<u_short>(port)), protocol),
        std::find_if(current->services.begin(), current->services.end(), [&](const auto& each) {
            const bool is_protocol = protocol == nullptr || each.first.ends_with(std::string("/") + protocol);
            return is_protocol && __builtin_bswap16(each.second) == port;
        }));
}

template <class Number>
Number WSAAPI swap_bytes(Number value) {
    SetLastError(poison);
    std::reverse(reinterpret_cast<char*>(&value), reinterpret_cast<char*>(&value + 1));
    return value;
}

template <class Char>
using read_text = int(string_in<Char>, int, void*, SOCKADDR*, int*);
template <class Char>
using write_text = int(const SOCKADDR*, DWORD, void*, Char*, DWORD*);
template <class Char>
using connect_by_name = BOOL(SOCKET, string_in<Char>, string_in<Char>, DWORD*, SOCKADDR*, DWORD*, SOCKADDR*,
                             const timeval*, void*);

using enum outcome;

} // namespace

bool system::end_lookup(HANDLE handle, DWORD code) {
    const heap::pause pause;
    const std::lock_guard guard(lookup_mutex);
    const auto found = lookups.extract(handle);
    if (found.empty()) {
        return false;
    }
    auto& [name, asked, record, list] = found.mapped();
    int failure = static_cast<int>(code);
    const auto addresses =
        code == 0 ? find_addresses(name, asked.ai_family, failure) : std::vector<endpoint>();
    const std::wstring wide(name.begin(), name.end());
    *list = failure != 0 ? nullptr : make_list<ADDRINFOEXW>(addresses, wide.c_str(), asked.ai_flags);
    record->Internal = static_cast<ULONG_PTR>(failure);
    enter_in_ledger("lookups", -1);
    return SetEvent(record->hEvent) != FALSE;
}

const entry_map socket_entries = {
    recorded<"WSAStringToAddressA", minus_one, read_text<char>>(),
    recorded<"WSAStringToAddressW", minus_one, read_text<wchar_t>>(),
    recorded<"WSAAddressToStringA", minus_one, write_text<char>>(),
    recorded<"WSAAddressToStringW", minus_one, write_text<wchar_t>>(),
    recorded<"bind", minus_one, decltype(::bind)>(),
    recorded<"listen", minus_one, decltype(::listen)>(),
    recorded<"shutdown", minus_one, decltype(::shutdown)>(),
    recorded<"setsockopt", minus_one, decltype(::setsockopt)>(),
    recorded<"getpeername", minus_one, decltype(::getpeername)>(),
    recorded<"getsockname", minus_one, decltype(::getsockname)>(),
    recorded<"send", count, decltype(::send)>(),
    recorded<"sendto", count, decltype(::sendto)>(),
    recorded<"recv", count, decltype(::recv)>(),
    recorded<"recvfrom", count, decltype(::recvfrom)>(),
    recorded<"gethostname", minus_one, decltype(::gethostname)>(),
    recorded<"GetHostNameW", minus_one, int(wchar_t*, int)>(),
    recorded<"getnameinfo", code, decltype(::getnameinfo)>(),
    recorded<"GetNameInfoW", code, decltype(::GetNameInfoW)>(),
    recorded<"WSAConnectByNameA", truth, connect_by_name<char>>(),
    recorded<"WSAConnectByNameW", truth, connect_by_name<wchar_t>>(),
    {"WSAGetLastError", fake([] { return static_cast<int>(GetLastError()); })},
    {"WSAStartup", fake([](WORD version, WSADATA* data) -> int {
         call now("WSAStartup", version);
         const bool failed = now.fails_if((version & 0xFF) == 0, WSAVERNOTSUPPORTED);
         data->wVersion = failed ? 0xDEAD : version;
         const bool is_for_good = current->starts_for_good > 0 && current->starts_for_good-- > 0;
         enter_in_ledger("starts", !failed && !is_for_good);
         return now.status();
     })},
    {"WSACleanup", fake([]() -> int {
         const call now("WSACleanup");
         enter_in_ledger("starts", -1);
         return now.result();
     })},
    {"WSASocketW",
     fake([](int af, int type, int protocol, WSAPROTOCOL_INFOW* info, GROUP group, DWORD flags) -> SOCKET {
         call now("WSASocketW", af, type, protocol, info != nullptr, group, flags);
         now.fails_if(af != AF_INET && af != AF_INET6, WSAEAFNOSUPPORT);
         return open(now, {.family = af});
     })},
    {"closesocket", fake([](SOCKET handle) -> int {
         call now("closesocket", handle);
         if (handle == current->closed_elsewhere) {
             now.fails_if(true, WSAENOTSOCK);
             return now.result();
         }
         enter_in_ledger("sockets", -1);
         EXPECT_EQ(current->sockets.erase(handle), 1u) << "no open socket: " << handle;
         return now.result();
     })},
    {"WSAAccept", fake(&accept)},
    {"connect", fake(&connect)},
    {"WSAEventSelect", fake([](SOCKET handle, HANDLE event, long wanted) -> int {
         call now("WSAEventSelect", handle, event != nullptr, wanted);
         open_socket& socket = current->sockets.at(handle);
         socket.event = now.failed() ? socket.event : event;
         socket.non_blocking = true;
         return now.result();
     })},
    {"WSAEnumNetworkEvents", fake([](SOCKET handle, HANDLE event, WSANETWORKEVENTS* events) -> int {
         call now("WSAEnumNetworkEvents", handle, event != nullptr);
         open_socket& socket = current->sockets.at(handle);
         const bool has_ended = !now.failed() && std::exchange(socket.has_ended, false);
         events->lNetworkEvents = has_ended ? FD_CONNECT : 0;
         events->iErrorCode[FD_CONNECT_BIT] = static_cast<int>(has_ended ? socket.outcome : poison);
         return now.result();
     })},
    // Of the settings of a socket, how often the system repeats its connect.
    {"WSAIoctl", fake([](SOCKET handle, DWORD what, void* in, DWORD size, void*, DWORD, DWORD* written,
                         OVERLAPPED*, void*) -> int {
         const auto& given = *static_cast<const TCP_INITIAL_RTO_PARAMETERS*>(in);
         call now("WSAIoctl", handle, given.Rtt, given.MaxSynRetransmissions);
         const bool none = given.MaxSynRetransmissions == TCP_INITIAL_RTO_NO_SYN_RETRANSMISSIONS;
         EXPECT_TRUE(what == SIO_TCP_INITIAL_RTO && size == sizeof given && written != nullptr);
         now.fails_if(current->major < 6, WSAEOPNOTSUPP);
         now.fails_if(none && current->build < 16299, WSAEINVAL);
         if (!now.failed()) {
             current->sockets.at(handle).repetition = none ? 0 : 500 * given.MaxSynRetransmissions;
         }
         return now.result();
     })},
    {"select", fake(&select)},
    {"WSAPoll", fake([](WSAPOLLFD* fds, ULONG count, INT limit) -> int {
         return call("WSAPoll", fds->fd, fds->events, count, limit).result(1);
     })},
    {"getsockopt", fake([](SOCKET handle, int level, int name, char* value, int* length) -> int {
         call now("getsockopt", handle, level, name, *length);
         const DWORD error = current->sockets.at(handle).error; // stays
         std::memcpy(value, now.failed() ? &poison : &error, sizeof error);
         return now.result();
     })},
    {"ioctlsocket", fake([](SOCKET handle, long command, u_long* argument) -> int {
         call now("ioctlsocket", handle, static_cast<u_long>(command), *argument);
         open_socket& socket = current->sockets.at(handle);
         now.fails_if(socket.event != nullptr && *argument == 0, WSAEINVAL);
         socket.non_blocking = now.failed() ? socket.non_blocking : *argument != 0;
         return now.result();
     })},
    {"getaddrinfo", fake(&list_host<char, addrinfo>)},
    {"freeaddrinfo", fake(&free_list<addrinfo, "freeaddrinfo">)},
    {"GetAddrInfoW", fake(&list_host<wchar_t, addrinfoW>)},
    {"FreeAddrInfoW", fake(&free_list<addrinfoW, "FreeAddrInfoW">)},
    {"GetAddrInfoExW", fake(&begin_lookup)},
    {"FreeAddrInfoExW", fake(&free_list<ADDRINFOEXW, "FreeAddrInfoExW">)},
    {"GetAddrInfoExCancel", fake([](HANDLE* handle) -> int {
         call now("GetAddrInfoExCancel");
         const auto cancel = [handle = *handle] {
             constexpr DWORD cancelled = 10111; // WSA_E_CANCELLED
             return current->end_lookup(handle, cancelled);
         };
         if (!now.failed() && current->cancel_delay != 0) {
             current->later.emplace(current->clock + current->cancel_delay, cancel);
         } else {
             now.fails_if(!now.failed() && !cancel(), ERROR_INVALID_HANDLE);
         }
         return now.status();
     })},
    {"GetAddrInfoExOverlappedResult", fake([](OVERLAPPED* record) -> int {
         call now("GetAddrInfoExOverlappedResult");
         return now.failed() ? now.status() : static_cast<int>(record->Internal);
     })},
    {"gethostbyname", fake([](const char* node) -> hostent* {
         overwrite_answer();
         return answer_host(call("gethostbyname", node), current->hosts.find(node));
     })},
    {"gethostbyaddr", fake(&find_by_address)},
    {"getservbyname", fake([](const char* name, const char* protocol) -> servent* {
         overwrite_answer();
         return answer_service(call("getservbyname", name, protocol),
                               current->services.find(std::string(name) + "/" + protocol));
     })},
    {"getservbyport", fake(&find_by_port)},
    {"htons", fake(&swap_bytes<u_short>)},
    {"ntohs", fake(&swap_bytes<u_short>)},
    {"htonl", fake(&swap_bytes<u_long>)}};

} // namespace scripted
