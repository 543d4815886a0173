#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>

#include <ws2ipdef.h>

#include "ip/address.h"

namespace ip::detail {

/// A socket address as the system's newer records hold it.
inline SOCKADDR_INET to_sockaddr_inet(const saddr& address) {
    SOCKADDR_INET result;
    static_assert(sizeof result == sizeof address);
    std::memcpy(&result, &address, sizeof result);
    return result;
}

} // namespace ip::detail
