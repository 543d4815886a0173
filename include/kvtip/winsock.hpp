#pragma once

// Conversions between the values of this interface, the system's socket addresses and the values of the
// classes in `ip/`. Only this header needs the headers of the platform. Include it before <windows.h>, or
// define WIN32_LEAN_AND_MEAN: otherwise <windows.h> brings an older socket header, which does not go with
// this one.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <winsock2.h>
#include <ws2tcpip.h>

#include "ip/address.h"
#include "kvtip/address.hpp"

namespace kvtip {
inline namespace v1 {

namespace detail {

constexpr std::uint16_t to_host_order(std::uint16_t port) noexcept {
    return static_cast<std::uint16_t>(port << 8 | port >> 8);
}
constexpr std::uint16_t to_network_order(std::uint16_t port) noexcept {
    return to_host_order(port);
}

/// The address of that family of the system with these bytes; no address for any other family.
inline address address_of_family(std::uint16_t system_family, const void* bytes,
                                 std::uint32_t scope) noexcept {
    std::array<std::uint8_t, 16> all{};
    if (system_family == ip::family_ipv4) {
        std::memcpy(all.data(), bytes, 4);
        return {all[0], all[1], all[2], all[3]};
    }
    if (system_family != ip::family_ipv6) {
        return {};
    }
    std::memcpy(all.data(), bytes, 16);
    return address(all, scope);
}

/// The system's number of a family.
constexpr std::uint16_t system_family(const address& of) noexcept {
    return of.is_ipv4() ? ip::family_ipv4 : of.is_ipv6() ? ip::family_ipv6 : ip::family_none;
}

} // namespace detail

/// A socket address as the system's calls take it: `connect(socket, to.get(), to.size())`.
class socket_address {
public:
    /// No address: the size is 0.
    socket_address() noexcept = default;
    explicit socket_address(const ip::saddr& record) noexcept : record_(record) {}

    const sockaddr* get() const noexcept { return reinterpret_cast<const sockaddr*>(&record_); }
    int size() const noexcept {
        return record_.family == ip::family_ipv4   ? int{sizeof(sockaddr_in)}
               : record_.family == ip::family_ipv6 ? int{sizeof(sockaddr_in6)}
                                                   : 0;
    }

private:
    ip::saddr record_; // has the layout of the system's records
};

/// @{
/// The value of a record of the system or of the classes. A family other than IPv4 and IPv6 is no address. A
/// scope where there can be none is dropped.
inline address to_address(const in_addr& from) noexcept {
    return detail::address_of_family(ip::family_ipv4, &from, 0);
}
inline address to_address(const in6_addr& from, std::uint32_t scope = 0) noexcept {
    return detail::address_of_family(ip::family_ipv6, &from, scope);
}
inline address to_address(const ip::addr& from) noexcept {
    return detail::address_of_family(from.family, from.address, 0);
}
inline endpoint to_endpoint(const ip::saddr& from) noexcept {
    const void* const bytes =
        from.family == ip::family_ipv4 ? static_cast<const void*>(from.address4) : from.address6;
    const address found = detail::address_of_family(from.family, bytes, from.scope_id);
    return found ? endpoint(found, detail::to_host_order(from.port)) : endpoint();
}
/// @}

/// The endpoint of a socket address of `size` bytes, such as `recvfrom` fills. A record that is too short for
/// its family has none.
inline endpoint to_endpoint(const sockaddr* from, std::size_t size) noexcept {
    ip::saddr record;
    if (size < sizeof(sockaddr_in) || (from->sa_family == ip::family_ipv6 && size < sizeof(sockaddr_in6))) {
        return {};
    }
    std::memcpy(static_cast<void*>(&record), from, size < sizeof record ? size : sizeof record);
    return to_endpoint(record);
}
inline endpoint to_endpoint(const sockaddr_in& from) noexcept {
    return to_endpoint(reinterpret_cast<const sockaddr*>(&from), sizeof from);
}
inline endpoint to_endpoint(const sockaddr_in6& from) noexcept {
    return to_endpoint(reinterpret_cast<const sockaddr*>(&from), sizeof from);
}
inline endpoint to_endpoint(const sockaddr_storage& from) noexcept {
    return to_endpoint(reinterpret_cast<const sockaddr*>(&from), sizeof from);
}

/// @{
/// The record of a value. That of no address has family 0.
inline ip::addr to_addr(const address& from) noexcept {
    ip::addr result;
    result.family = detail::system_family(from);
    std::memcpy(result.address, from.data(), sizeof result.address);
    return result;
}
inline ip::saddr to_saddr(const endpoint& from) noexcept {
    const address of = from.address();
    ip::saddr result;
    result.family = detail::system_family(of);
    result.port = detail::to_network_order(from.port());
    if (of.is_ipv4()) {
        std::memcpy(result.address4, of.data(), sizeof result.address4);
    } else {
        std::memcpy(result.address6, of.data(), sizeof result.address6);
        result.scope_id = of.scope();
    }
    return result;
}
inline socket_address to_socket_address(const endpoint& from) noexcept {
    return socket_address(to_saddr(from));
}
/// @}

} // namespace v1
} // namespace kvtip
