#include "address/convert.h"
#include "ip/winsock2.h"
#include "winsock/calls.h"

namespace ip {

using namespace detail;

unsigned long winsock2::socket(ip::socket& s, int type, int protocol, unsigned short af,
                               ::_WSAPROTOCOL_INFOW* info, unsigned int group, unsigned long flags,
                               bool dual_stack) noexcept {
    ensure_af(af);
    s.exchange(bound_winsock().WSASocketW(af, type, protocol, info, group, flags));
    if (handle_of(s) == ip::socket::none) {
        const unsigned long code = last_error();
        if (handle_of(s) == ip::socket::none) { // another thread may have put a handle in
            return code;
        }
    }
    if (af != family_ipv6 || !the_helper().is_version_6_or_later() || !dual_stack) {
        return 0;
    }
    const DWORD off = 0;
    // A failure without a reason leaves the socket open.
    if (setsockopt(s, IPPROTO_IPV6, IPV6_V6ONLY, reinterpret_cast<const char*>(&off), sizeof off) == 0) {
        return 0;
    }
    const unsigned long code = last_error();
    closesocket(s);
    return code;
}

unsigned long winsock2::closesocket(ip::socket& s) noexcept {
    const SOCKET handle = s.exchange();
    return handle == ip::socket::none ? 0 : code_of(bound_winsock().closesocket(handle));
}

unsigned long winsock2::bind(const ip::socket& s, const saddr& address) noexcept {
    return code_of(bound_winsock().bind(handle_of(s), as_sockaddr(address), length_of(address)));
}

unsigned long winsock2::listen(const ip::socket& s, int backlog) noexcept {
    // The code is read twice: a failure without a reason counts as success.
    return code_of(bound_winsock().listen(handle_of(s), backlog)) == 0 ? 0 : last_error();
}

unsigned long winsock2::accept(const ip::socket& listener, ip::socket& accepted, addr& peer,
                               accept_condition condition, std::uint64_t callback_data) {
    socket_address_buffer buffer;
    int length = buffer.size();
    const SOCKET handle = bound_winsock().WSAAccept(handle_of(listener), as_sockaddr(buffer), &length,
                                                    condition, callback_data);
    accepted.exchange(handle);
    if (handle == ip::socket::none) {
        return last_error();
    }
    to_addr(buffer.to_saddr(), peer);
    return 0;
}

unsigned long winsock2::connect(const ip::socket& s, const saddr& address) noexcept {
    return code_of(bound_winsock().connect(handle_of(s), as_sockaddr(address), length_of(address)));
}

unsigned long winsock2::shutdown(const ip::socket& s, int how) noexcept {
    return code_of(bound_winsock().shutdown(handle_of(s), how));
}

int winsock2::send(const ip::socket& s, const char* buffer, int length, int flags) noexcept {
    return bound_winsock().send(handle_of(s), buffer, length, flags);
}

int winsock2::recv(const ip::socket& s, char* buffer, int length, int flags) noexcept {
    return bound_winsock().recv(handle_of(s), buffer, length, flags);
}

int winsock2::sendto(const ip::socket& s, const char* buffer, int length, const saddr& to,
                     int flags) noexcept {
    return bound_winsock().sendto(handle_of(s), buffer, length, flags, as_sockaddr(to), length_of(to));
}

int winsock2::recvfrom(const ip::socket& s, char* buffer, int length, saddr& from, int flags) noexcept {
    socket_address_buffer sender;
    int sender_length = sender.size();
    const int result =
        bound_winsock().recvfrom(handle_of(s), buffer, length, flags, as_sockaddr(sender), &sender_length);
    if (result != SOCKET_ERROR) {
        from = sender.to_saddr();
    } else {
        from.family = family_none;
    }
    return result;
}

int winsock2::select(::fd_set* read, ::fd_set* write, ::fd_set* except, const ::timeval* timeout,
                     int nfds) noexcept {
    return bound_winsock().select(nfds, read, write, except, const_cast<::timeval*>(timeout));
}

int winsock2::poll(::pollfd* fds, unsigned long count, int timeout) noexcept {
    return bound_winsock().WSAPoll(fds, count, timeout);
}

unsigned long winsock2::ioctlsocket(const ip::socket& s, long command, unsigned long* argument) noexcept {
    return code_of(bound_winsock().ioctlsocket(handle_of(s), command, argument));
}

unsigned long winsock2::getsockopt(const ip::socket& s, int level, int name, char* value,
                                   int* length) noexcept {
    return code_of(bound_winsock().getsockopt(handle_of(s), level, name, value, length));
}

unsigned long winsock2::setsockopt(const ip::socket& s, int level, int name, const char* value,
                                   int length) noexcept {
    return code_of(bound_winsock().setsockopt(handle_of(s), level, name, value, length));
}

namespace {

/// `getpeername` or `getsockname`.
unsigned long query_address(decltype(winsock_impl::getpeername) call, const ip::socket& s, saddr& address) {
    socket_address_buffer buffer;
    int length = buffer.size();
    if (call(handle_of(s), as_sockaddr(buffer), &length) != 0) {
        return last_error();
    }
    address = buffer.to_saddr();
    return 0;
}

} // namespace

unsigned long winsock2::getpeername(const ip::socket& s, saddr& address) noexcept {
    return query_address(bound_winsock().getpeername, s, address);
}

unsigned long winsock2::getsockname(const ip::socket& s, saddr& address) noexcept {
    return query_address(bound_winsock().getsockname, s, address);
}

void winsock2::ensure_af(unsigned short& af) noexcept {
    if (af == family_none) {
        af = family_ipv4;
    }
}

} // namespace ip
