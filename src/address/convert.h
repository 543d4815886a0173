#pragma once

// Conversions between the address values and the system's socket address records.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ip/address.h"

namespace ip::detail {

inline constexpr std::size_t ipv4_size = 4;
inline constexpr std::size_t ipv6_size = 16;

/// The address bytes of a socket address: the IPv4 ones for that family, otherwise the IPv6 ones.
inline std::uint8_t* address_of(saddr& socket_address) {
    return socket_address.family == family_ipv4 ? socket_address.address4 : socket_address.address6;
}

inline const std::uint8_t* address_of(const saddr& socket_address) {
    return socket_address.family == family_ipv4 ? socket_address.address4 : socket_address.address6;
}

/// The number of address bytes of a family: 4, 16, or 0 for any other family.
constexpr std::size_t address_size(std::uint16_t family) {
    return family == family_ipv4 ? ipv4_size : family == family_ipv6 ? ipv6_size : 0;
}

/// Whether two socket addresses have the same family and address. Ports do not count.
inline bool is_same_address(const saddr& one, const saddr& other) {
    return one.family == other.family &&
           std::memcmp(address_of(one), address_of(other), address_size(one.family)) == 0;
}

/// The length that a system call takes with a socket address. It is 0 for any other family, so that the call
/// fails with an error code of the system.
constexpr int length_of(const saddr& socket_address) {
    return socket_address.family == family_ipv4 ? 16 : socket_address.family == family_ipv6 ? 28 : 0;
}

/// The socket address of `address`, with port, flow information and scope 0. It is empty for an address
/// without family.
inline saddr to_saddr(const addr& address) {
    saddr result;
    if (const std::size_t size = address_size(address.family)) {
        result.family = address.family;
        std::memcpy(address_of(result), address.address, size);
    }
    return result;
}

/// The four bytes of an IPv4 address as the number that some system calls take, in network byte order.
inline std::uint32_t ipv4_number(const std::uint8_t* address4) {
    std::uint32_t number;
    std::memcpy(&number, address4, sizeof number);
    return number;
}

/// Copies a system's socket address of `length` bytes, of which it reads no more than 28. The rest of the
/// result is zero: an IPv4 record is only 16 bytes long.
inline saddr from_sockaddr(const void* record, std::size_t length) {
    saddr result;
    std::memcpy(&result, record, std::min(length, sizeof result));
    return result;
}

/// Copies the address of a socket address. Only the bytes of its family are written, and any other family
/// only sets family 0.
inline void to_addr(saddr socket_address, addr& address) {
    const std::size_t size = address_size(socket_address.family);
    address.family = size == 0 ? family_none : socket_address.family;
    std::memcpy(address.address, address_of(socket_address), size);
}

/// Room for any socket address that a system call fills. The family is 0 before.
class socket_address_buffer {
public:
    void* data() { return bytes_; }
    int size() const { return static_cast<int>(sizeof bytes_); }
    saddr to_saddr() const { return from_sockaddr(bytes_, sizeof bytes_); }

private:
    alignas(8) std::uint8_t bytes_[128] = {};
};

/// An address as the system's IPv4 calls take it: 0.0.0.0 for null, the last 4 bytes of an IPv6 address, and
/// 255.255.255.255 for an address without family.
inline _raw_addr4_no ipv4_view(const addr* address) {
    if (address == nullptr) {
        return {};
    }
    _raw_addr4_no view{{255, 255, 255, 255}};
    if (const std::size_t size = address_size(address->family)) {
        std::memcpy(view.bytes, address->address + size - ipv4_size, ipv4_size);
    }
    return view;
}

} // namespace ip::detail
