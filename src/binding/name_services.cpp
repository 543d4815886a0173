#include "binding/name_services.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "address/format.h"
#include "address/parse.h"
#include "ip/detail/helper.h"

namespace ip::detail {

namespace {

/// Returns `code`, which callers also read from the last error.
int fail(int code) {
    SetLastError(static_cast<DWORD>(code));
    return code;
}

/// The reason why the lookup of a host or an address has just failed.
int host_error() {
    const int code = bound_winsock().WSAGetLastError();
    return code == WSATRY_AGAIN || code == WSANO_RECOVERY ? code : WSAHOST_NOT_FOUND;
}

/// What a caller asks for.
struct lookup_request {
    int flags = 0;
    int socket_type = 0;
    int protocol = 0;
    std::uint16_t port = 0; ///< in network order, as is `datagram_port`
    std::uint16_t datagram_port = 0;
    bool wants_datagram_copies = false;
};

int read_hints(const char* node, const addrinfo* hints, lookup_request& request) {
    if (hints == nullptr) {
        return 0;
    }
    if (hints->ai_addrlen != 0 || hints->ai_canonname != nullptr || hints->ai_addr != nullptr ||
        hints->ai_next != nullptr) {
        return WSANO_RECOVERY;
    }
    if ((hints->ai_flags & AI_CANONNAME) != 0 && node == nullptr) {
        return WSAEINVAL;
    }
    if (hints->ai_family != AF_UNSPEC && hints->ai_family != AF_INET) {
        return WSAEAFNOSUPPORT;
    }
    if (hints->ai_socktype > SOCK_RAW) {
        return WSAESOCKTNOSUPPORT;
    }
    request.flags = hints->ai_flags;
    request.socket_type = hints->ai_socktype;
    request.protocol = hints->ai_protocol;
    return 0;
}

int find_service_port(const char* service, lookup_request& request) {
    const bool is_any = request.socket_type == 0;
    bool has_datagram = false;
    bool has_stream = false;
    // Both calls return the same record of the system, so the first port is copied before the second call.
    if (is_any || request.socket_type == SOCK_DGRAM) {
        if (const servent* found = bound_winsock().getservbyname(service, "udp")) {
            request.port = request.datagram_port = static_cast<std::uint16_t>(found->s_port);
            has_datagram = true;
        }
    }
    if (is_any || request.socket_type == SOCK_STREAM) {
        if (const servent* found = bound_winsock().getservbyname(service, "tcp")) {
            request.port = static_cast<std::uint16_t>(found->s_port);
            has_stream = true;
        }
    }
    if (request.port == 0) {
        return is_any ? WSAHOST_NOT_FOUND : WSATYPE_NOT_FOUND;
    }
    if (is_any) {
        request.socket_type = has_stream ? SOCK_STREAM : SOCK_DGRAM;
        request.wants_datagram_copies = has_stream && has_datagram;
    }
    return 0;
}

int resolve_service(const char* service, lookup_request& request) {
    if (service == nullptr) {
        return 0;
    }
    char* end = nullptr;
    const unsigned long number = std::strtoul(service, &end, 10);
    if (*end != 0) {
        return find_service_port(service, request);
    }
    request.port = request.datagram_port = bound_winsock().htons(static_cast<u_short>(number));
    if (request.socket_type == 0) {
        request.socket_type = SOCK_STREAM;
        request.wants_datagram_copies = true;
    }
    return 0;
}

/// Inserts a node at `link`, before the node that is there. Returns null when memory is exhausted.
addrinfo* insert(addrinfo*& link, int socket_type, int protocol, std::uint16_t port, const in_addr& address) {
    std::unique_ptr<addrinfo> node(new (std::nothrow) addrinfo{});
    std::unique_ptr<SOCKADDR_IN> record(new (std::nothrow) SOCKADDR_IN{});
    if (node == nullptr || record == nullptr) {
        return nullptr;
    }
    record->sin_family = AF_INET;
    record->sin_port = port;
    record->sin_addr = address;
    node->ai_family = AF_INET;
    node->ai_socktype = socket_type;
    node->ai_protocol = protocol;
    node->ai_addrlen = sizeof *record;
    node->ai_addr = reinterpret_cast<SOCKADDR*>(record.release());
    node->ai_next = link;
    return link = node.release();
}

/// Returns false when memory is exhausted.
bool set_canonical_name(addrinfo& node, std::string_view name) {
    node.ai_canonname = new (std::nothrow) char[name.size() + 1];
    if (node.ai_canonname == nullptr) {
        return false;
    }
    *std::copy(name.begin(), name.end(), node.ai_canonname) = 0;
    return true;
}

/// A dotted address with all its four numbers. 255.255.255.255 counts as a name, as in old socket libraries.
std::optional<in_addr> numeric_address(const char* node) {
    in_addr address;
    auto* bytes = reinterpret_cast<std::uint8_t*>(&address);
    const std::string_view text = node;
    if (std::count(text.begin(), text.end(), '.') != 3 || parse_ipv4(node, bytes) == not_an_address ||
        address.s_addr == INADDR_NONE) {
        return std::nullopt;
    }
    return address;
}

int add_numeric(const in_addr& address, const lookup_request& request, addrinfo*& list) {
    addrinfo* node = insert(list, request.socket_type, request.protocol, request.port, address);
    if (node == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    node->ai_flags = AI_NUMERICHOST;
    if ((request.flags & AI_CANONNAME) != 0) {
        char text[16];
        const std::size_t length = format_ipv4(reinterpret_cast<const std::uint8_t*>(&address), text);
        return set_canonical_name(*node, {text, length}) ? 0 : ERROR_NOT_ENOUGH_MEMORY;
    }
    return 0;
}

/// Adds a node for each address of the answer, in its order.
int add_answer(const hostent& answer, const lookup_request& request, addrinfo*& list) {
    addrinfo** last = &list;
    for (char** each = answer.h_addr_list; *each != nullptr; ++each) {
        in_addr address;
        std::memcpy(&address, *each, sizeof address);
        addrinfo* node = insert(*last, request.socket_type, request.protocol, request.port, address);
        if (node == nullptr) {
            return ERROR_NOT_ENOUGH_MEMORY;
        }
        last = &node->ai_next;
    }
    if ((request.flags & AI_CANONNAME) != 0 && list != nullptr && answer.h_name != nullptr &&
        !set_canonical_name(*list, answer.h_name)) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    return 0;
}

/// Looks a host's addresses up. An answer that is not IPv4 starts a lookup of the official name in it.
int resolve_host(const char* node, const lookup_request& request, addrinfo*& list) {
    constexpr int max_rounds = 16;
    char name[NI_MAXHOST]; // a copy, since the next call overwrites the system's record
    for (int round = 0; round < max_rounds; ++round) {
        const hostent* answer = bound_winsock().gethostbyname(node);
        if (answer == nullptr) {
            return host_error();
        }
        if (answer->h_addrtype == AF_INET && answer->h_length == sizeof(in_addr)) {
            return add_answer(*answer, request, list);
        }
        const std::string_view official = answer->h_name == nullptr ? "" : answer->h_name;
        if (official.empty() || official.size() >= sizeof name) {
            break;
        }
        *std::copy(official.begin(), official.end(), name) = 0;
        node = name;
    }
    return WSANO_RECOVERY;
}

int list_host_addresses(const char* node, const lookup_request& request, addrinfo*& list) {
    if (node == nullptr) {
        in_addr local;
        local.s_addr =
            bound_winsock().htonl((request.flags & AI_PASSIVE) != 0 ? INADDR_ANY : INADDR_LOOPBACK);
        return insert(list, request.socket_type, request.protocol, request.port, local) == nullptr
                   ? ERROR_NOT_ENOUGH_MEMORY
                   : 0;
    }
    if (const std::optional<in_addr> address = numeric_address(node)) {
        return add_numeric(*address, request, list);
    }
    return (request.flags & AI_NUMERICHOST) != 0 ? WSAHOST_NOT_FOUND : resolve_host(node, request, list);
}

int add_datagram_copies(const lookup_request& request, addrinfo* list) {
    for (addrinfo* node = list; node != nullptr; node = node->ai_next) {
        const in_addr address = reinterpret_cast<const SOCKADDR_IN*>(node->ai_addr)->sin_addr;
        node = insert(node->ai_next, SOCK_DGRAM, request.protocol, request.datagram_port, address);
        if (node == nullptr) {
            return ERROR_NOT_ENOUGH_MEMORY;
        }
    }
    return 0;
}

/// Copies the text and a terminator into a caller's buffer. Writes nothing when they do not fit.
int copy_text(std::string_view text, char* buffer, DWORD room) {
    if (text.size() >= room) {
        return WSANO_RECOVERY;
    }
    *std::copy(text.begin(), text.end(), buffer) = 0;
    return 0;
}

int write_service(std::uint16_t port, int flags, char* service, DWORD room) {
    if ((flags & NI_NUMERICSERV) == 0) {
        const servent* found = bound_winsock().getservbyport(port, (flags & NI_DGRAM) != 0 ? "udp" : nullptr);
        if (found != nullptr && found->s_name != nullptr) {
            return copy_text(found->s_name, service, room);
        }
    }
    char number[6];
    const char* end = std::to_chars(number, std::end(number), bound_winsock().ntohs(port)).ptr;
    return copy_text({number, end}, service, room);
}

int write_host(const in_addr& address, int flags, char* host, DWORD room) {
    if ((flags & NI_NUMERICHOST) == 0) {
        const hostent* found =
            bound_winsock().gethostbyaddr(reinterpret_cast<const char*>(&address), sizeof address, AF_INET);
        if (found != nullptr && found->h_name != nullptr) {
            const std::string_view name = found->h_name;
            return copy_text((flags & NI_NOFQDN) != 0 ? name.substr(0, name.find('.')) : name, host, room);
        }
        if ((flags & NI_NAMEREQD) != 0) {
            return host_error();
        }
    }
    char text[16];
    const std::size_t length = format_ipv4(reinterpret_cast<const std::uint8_t*>(&address), text);
    return copy_text({text, length}, host, room);
}

} // namespace

int WSAAPI substitute_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                                  addrinfo** result) {
    *result = nullptr;
    if (node == nullptr && service == nullptr) {
        return fail(WSAHOST_NOT_FOUND);
    }
    lookup_request request;
    int code = read_hints(node, hints, request);
    if (code == 0) {
        code = resolve_service(service, request);
    }
    if (code == 0) {
        code = list_host_addresses(node, request, *result);
    }
    if (code == 0 && request.wants_datagram_copies) {
        code = add_datagram_copies(request, *result);
    }
    if (code != 0) {
        substitute_freeaddrinfo(std::exchange(*result, nullptr));
        return fail(code);
    }
    return 0;
}

void WSAAPI substitute_freeaddrinfo(addrinfo* list) {
    while (list != nullptr) {
        delete[] list->ai_canonname;
        delete reinterpret_cast<SOCKADDR_IN*>(list->ai_addr);
        delete std::exchange(list, list->ai_next);
    }
}

int WSAAPI substitute_getnameinfo(const SOCKADDR* address, socklen_t length, char* host, DWORD host_length,
                                  char* service, DWORD service_length, int flags) {
    const bool wants_host = host != nullptr && host_length != 0;
    const bool wants_service = service != nullptr && service_length != 0;
    SOCKADDR_IN record;
    if (address == nullptr || length < static_cast<socklen_t>(sizeof record)) {
        return fail(WSANO_RECOVERY);
    }
    std::memcpy(&record, address, sizeof record);
    if (record.sin_family != AF_INET) {
        return fail(WSAEAFNOSUPPORT);
    }
    if (!wants_host && !wants_service) {
        return fail(WSAHOST_NOT_FOUND);
    }
    if ((flags & NI_NUMERICHOST) != 0 && (flags & NI_NAMEREQD) != 0) {
        return fail(WSAEINVAL);
    }
    int code = wants_service ? write_service(record.sin_port, flags, service, service_length) : 0;
    if (code == 0 && wants_host) {
        code = write_host(record.sin_addr, flags, host, host_length);
    }
    return code == 0 ? 0 : fail(code);
}

} // namespace ip::detail
