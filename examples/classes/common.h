#pragma once

// Shared by the examples. The platform's socket header comes before its other headers.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <cstring>
#include <string>

#include "ip/ip.h"

/// Most operations return 0 or an error code. Here a code ends the example.
inline void check(unsigned long code, const std::string& what) {
    if (code != 0) {
        throw kvt::exceptions::error(code, what + ": error " + std::to_string(code));
    }
}

/// A socket address, for the operations that take one. The port is in network byte order.
inline ip::saddr endpoint(const ip::addr& address, std::uint16_t port = 0) {
    ip::saddr result;
    result.family = address.family;
    result.port = port;
    if (address.family == ip::family_ipv4) {
        std::memcpy(result.address4, address.address, sizeof result.address4);
    } else {
        std::memcpy(result.address6, address.address, sizeof result.address6);
    }
    return result;
}

/// The numeric text of an address, without its port.
inline std::string text(const ip::saddr& address) {
    std::string numbers;
    const unsigned long code = ip::winsock2::getnameinfo(address, &numbers, nullptr, NI_NUMERICHOST);
    return code == 0 ? numbers : "none";
}

inline std::string text(const ip::addr& address) {
    return text(endpoint(address));
}
