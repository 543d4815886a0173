#pragma once

// What the socket calls share.

#include <atomic>

#include "address/convert.h"
#include "ip/detail/helper.h"

namespace ip::detail {

/// The handle of a socket, read atomically: another thread may close the socket at the same time.
inline SOCKET handle_of(const ip::socket& s) {
    // The standard's atomic reference does not take a constant object.
    return std::atomic_ref<std::uintptr_t>(const_cast<std::uintptr_t&>(s.handle)).load();
}

/// The calling thread's last socket error.
inline unsigned long last_error() {
    return static_cast<unsigned long>(bound_winsock().WSAGetLastError());
}

/// The code of a socket call that has just returned `result`.
inline unsigned long code_of(int result) {
    return result == 0 ? 0 : last_error();
}

/// A socket address as the system takes it.
inline const SOCKADDR* as_sockaddr(const saddr& address) {
    return reinterpret_cast<const SOCKADDR*>(&address);
}

inline SOCKADDR* as_sockaddr(saddr& address) {
    return reinterpret_cast<SOCKADDR*>(&address);
}

/// A buffer for a socket address, as the system takes it.
inline SOCKADDR* as_sockaddr(socket_address_buffer& buffer) {
    return static_cast<SOCKADDR*>(buffer.data());
}

} // namespace ip::detail
