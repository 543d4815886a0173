#include "address/convert.h"
#include "ip/winsock2.h"
#include "winsock/calls.h"

namespace ip {

using namespace detail;

unsigned long winsock2::socket(ip::socket& s, int type, int protocol, unsigned short af,
                               ::_WSAPROTOCOL_INFOW* info, unsigned int group, unsigned long flags,
                               bool dual_stack) {
    ensure_af(af);
    s.exchange(bound().WSASocketW(af, type, protocol, info, group, flags));
    if (s.handle == ip::socket::none) {
        const unsigned long code = last_error();
        if (s.handle == ip::socket::none) { // no other thread has put one in meanwhile
            return code;
        }
    }
    if (af != family_ipv6 || !the_helper().is_version_6() || !dual_stack) {
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

unsigned long winsock2::closesocket(ip::socket& s) {
    const SOCKET handle = s.exchange();
    return handle == ip::socket::none ? 0 : code_of(bound().closesocket(handle));
}

unsigned long winsock2::bind(const ip::socket& s, const saddr& address) {
    return code_of(bound().bind(s.handle, image(address), length_of(address)));
}

unsigned long winsock2::listen(const ip::socket& s, int backlog) {
    // The code is asked for twice: a failure without a reason counts as success.
    return code_of(bound().listen(s.handle, backlog)) == 0 ? 0 : last_error();
}

unsigned long winsock2::accept(const ip::socket& listener, ip::socket& accepted, addr& peer,
                               accept_condition condition, std::uint64_t callback_data) {
    socket_address_buffer buffer;
    int length = buffer.size();
    const SOCKET handle =
        bound().WSAAccept(listener.handle, image(buffer), &length, condition, callback_data);
    accepted.exchange(handle);
    if (handle == ip::socket::none) {
        return last_error();
    }
    to_addr(buffer.image(), peer);
    return 0;
}

unsigned long winsock2::connect(const ip::socket& s, const saddr& address) {
    return code_of(bound().connect(s.handle, image(address), length_of(address)));
}

unsigned long winsock2::shutdown(const ip::socket& s, int how) {
    return code_of(bound().shutdown(s.handle, how));
}

int winsock2::send(const ip::socket& s, const char* buffer, int length, int flags) {
    return bound().send(s.handle, buffer, length, flags);
}

int winsock2::recv(const ip::socket& s, char* buffer, int length, int flags) {
    return bound().recv(s.handle, buffer, length, flags);
}

int winsock2::sendto(const ip::socket& s, const char* buffer, int length, const saddr& to, int flags) {
    return bound().sendto(s.handle, buffer, length, flags, image(to), length_of(to));
}

int winsock2::recvfrom(const ip::socket& s, char* buffer, int length, saddr& from, int flags) {
    socket_address_buffer sender;
    int sender_length = sender.size();
    const int result = bound().recvfrom(s.handle, buffer, length, flags, image(sender), &sender_length);
    if (result != SOCKET_ERROR) {
        from = sender.image();
    } else {
        from.family = family_none;
    }
    return result;
}

int winsock2::select(::fd_set* read, ::fd_set* write, ::fd_set* except, const ::timeval* timeout, int nfds) {
    return bound().select(nfds, read, write, except, const_cast<::timeval*>(timeout));
}

int winsock2::poll(::pollfd* fds, unsigned long count, int timeout) {
    return bound().WSAPoll(fds, count, timeout);
}

unsigned long winsock2::ioctlsocket(const ip::socket& s, long command, unsigned long* argument) {
    return code_of(bound().ioctlsocket(s.handle, command, argument));
}

unsigned long winsock2::getsockopt(const ip::socket& s, int level, int name, char* value, int* length) {
    return code_of(bound().getsockopt(s.handle, level, name, value, length));
}

unsigned long winsock2::setsockopt(const ip::socket& s, int level, int name, const char* value, int length) {
    return code_of(bound().setsockopt(s.handle, level, name, value, length));
}

namespace {

/// `getpeername` or `getsockname`.
unsigned long ask_address(decltype(winsock_impl::getpeername) call, const ip::socket& s, saddr& address) {
    socket_address_buffer buffer;
    int length = buffer.size();
    if (call(s.handle, image(buffer), &length) != 0) {
        return last_error();
    }
    address = buffer.image();
    return 0;
}

} // namespace

unsigned long winsock2::getpeername(const ip::socket& s, saddr& address) {
    return ask_address(bound().getpeername, s, address);
}

unsigned long winsock2::getsockname(const ip::socket& s, saddr& address) {
    return ask_address(bound().getsockname, s, address);
}

void winsock2::ensure_af(unsigned short& af) {
    if (af == family_none) {
        af = family_ipv4;
    }
}

} // namespace ip
