#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <vector>

#include "address/convert.h"
#include "address/parse.h"
#include "binding/exhaustion.h"
#include "ip/winsock2.h"
#include "winsock/address_info.h"
#include "winsock/calls.h"
#include "winsock/entries.h"

namespace ip {

using namespace detail;

namespace {

unsigned long set_non_blocking(const ip::socket& s, bool on) {
    unsigned long argument = on ? 1 : 0;
    return winsock2::ioctlsocket(s, static_cast<long>(FIONBIO), &argument);
}

// The platform's own FD_ISSET would be an import of the socket library.
bool is_in(const fd_set& set, SOCKET handle) {
    const SOCKET* end = set.fd_array + std::min<std::size_t>(set.fd_count, FD_SETSIZE);
    return std::find(set.fd_array, end, handle) != end;
}

/// Waits for the end of a connect in progress, and returns its code.
unsigned long wait_for_connect(const ip::socket& s, const timeval* timeout) {
    const SOCKET handle = handle_of(s);
    fd_set connected{1, {handle}};
    fd_set failed{1, {handle}};
    const int ready = winsock2::select(nullptr, &connected, &failed, timeout, FD_SETSIZE);
    if (ready == 0) {
        return ERROR_TIMEOUT;
    }
    if (ready < 0) {
        return last_error();
    }
    if (is_in(connected, handle)) {
        return 0;
    }
    unsigned long code = WSAEWOULDBLOCK;
    int length = sizeof code;
    if (is_in(failed, handle) && bound_winsock().getsockopt(handle, SOL_SOCKET, SO_ERROR,
                                                            reinterpret_cast<char*>(&code), &length) != 0) {
        // The attempt has failed for a reason that cannot be read, so it counts as still in progress. Only an
        // error code of all ones is read again and returned.
        return last_error() == ~0UL ? last_error() : WSAEWOULDBLOCK;
    }
    return code;
}

} // namespace

unsigned long winsock2::connect(const ip::socket& s, const saddr& address,
                                const ::timeval* timeout) noexcept {
    const bool was_switched = set_non_blocking(s, true) == 0;
    unsigned long code = connect(s, address);
    if (code == WSAEWOULDBLOCK) {
        code = wait_for_connect(s, timeout);
    }
    if (was_switched) {
        set_non_blocking(s, false);
    }
    return code;
}

namespace {

long to_number(const char* text) {
    return std::strtol(text, nullptr, 10);
}

long to_number(const wchar_t* text) {
    return std::wcstol(text, nullptr, 10);
}

/// The port number that the text begins with, in network byte order. A name is not looked up: its port is 0.
template <class Char>
std::uint16_t port_of(const Char* service) {
    const auto port = static_cast<std::uint16_t>(service == nullptr ? 0 : to_number(service));
    return static_cast<std::uint16_t>(port << 8 | port >> 8);
}

/// IPv4 addresses, or IPv6 ones for a name without IPv4.
unsigned long find_addresses(const char* node, std::vector<addr>& found) {
    return winsock2::getaddrinfo(node, found);
}

/// Addresses of any family. Where the system lacks the wide call, nothing replaces it.
unsigned long find_addresses(const wchar_t* node, std::vector<addr>& found) {
    return bound_winsock().GetAddrInfoW == nullptr || bound_winsock().FreeAddrInfoW == nullptr
               ? ERROR_CALL_NOT_IMPLEMENTED
               : append_addresses<wchar_t>(node, nullptr, nullptr, found);
}

/// Tries one address after the other on the same socket.
unsigned long connect_to_any(const ip::socket& s, const std::vector<addr>& addresses, std::uint16_t port,
                             addr* remote, const timeval* timeout) {
    unsigned long code = WSAEADDRNOTAVAIL;
    for (const addr& address : addresses) {
        saddr target = to_saddr(address);
        target.port = port;
        code = winsock2::connect(s, target, timeout);
        if (code == 0) {
            to_addr(target, *remote);
            break;
        }
    }
    return code;
}

/// Looks the name up and connects, where the system cannot connect by name.
template <class Char>
unsigned long look_up_and_connect(const ip::socket& s, const Char* node, const Char* service, addr* remote,
                                  const timeval* timeout) {
    std::vector<addr> addresses(1);
    if (!parse_address(node, addresses.front())) {
        addresses.clear();
        if (const unsigned long code = find_addresses(node, addresses)) {
            return code;
        }
    }
    return connect_to_any(s, addresses, port_of(service), remote, timeout);
}

template <class Char>
unsigned long connect_by_name(const ip::socket& s, const Char* node, const Char* service, addr* local,
                              addr* remote, const timeval* timeout) {
    const auto connect = bound_winsock().*entries_of<Char>::connect_by_name;
    if (connect == nullptr) {
        return look_up_and_connect(s, node, service, remote, timeout);
    }
    socket_address_buffer local_buffer;
    socket_address_buffer remote_buffer;
    auto local_length = static_cast<DWORD>(local_buffer.size());
    auto remote_length = static_cast<DWORD>(remote_buffer.size());
    // Some platform headers lack the const that the system honours.
    if (!connect(handle_of(s), const_cast<Char*>(node), const_cast<Char*>(service), &local_length,
                 as_sockaddr(local_buffer), &remote_length, as_sockaddr(remote_buffer),
                 const_cast<timeval*>(timeout), nullptr)) {
        if (const unsigned long code = last_error()) {
            return code;
        }
        // A failure without a reason counts as success.
    }
    if (local != nullptr) {
        to_addr(local_buffer.to_saddr(), *local);
    }
    if (remote != nullptr) {
        to_addr(remote_buffer.to_saddr(), *remote);
    }
    return 0;
}

} // namespace

unsigned long winsock2::connectbyname(const ip::socket& s, const char* node, const char* service, addr* local,
                                      addr* remote, const ::timeval* timeout) noexcept {
    return report_exhaustion([&] { return connect_by_name(s, node, service, local, remote, timeout); });
}

unsigned long winsock2::connectbyname(const ip::socket& s, const wchar_t* node, const wchar_t* service,
                                      addr* local, addr* remote, const ::timeval* timeout) noexcept {
    return report_exhaustion([&] { return connect_by_name(s, node, service, local, remote, timeout); });
}

} // namespace ip
