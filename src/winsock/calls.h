#pragma once

// What the socket calls share.

#include "address/convert.h"
#include "ip/detail/helper.h"

namespace ip::detail {

inline const winsock_impl& bound() {
    return the_helper().winsock;
}

/// The calling thread's last socket error.
inline unsigned long last_error() {
    return static_cast<unsigned long>(bound().WSAGetLastError());
}

/// The code of a socket call that has just given `result`.
inline unsigned long code_of(int result) {
    return result == 0 ? 0 : last_error();
}

/// A socket address as the system takes it.
inline const SOCKADDR* image(const saddr& address) {
    return reinterpret_cast<const SOCKADDR*>(&address);
}

/// A buffer for a socket address, as the system takes it.
inline SOCKADDR* image(socket_address_buffer& buffer) {
    return static_cast<SOCKADDR*>(buffer.data());
}

} // namespace ip::detail
