#pragma once

// Between the values of the C interface and the system's socket addresses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>

#include "ip/address.h"
#include "kvtip/address.hpp"
#include "kvtip/kvtip.h"
#include "kvtip/winsock.hpp"

namespace kvtip::library {

using detail::to_host_order;
using detail::to_network_order;

/// The number of an enumerator in a record of the system, which may know more of them than its headers.
template <class Enumeration>
std::uint32_t number_of(const Enumeration& enumerator) {
    std::uint32_t number = 0;
    static_assert(std::is_enum_v<Enumeration> && sizeof enumerator == sizeof number);
    std::memcpy(&number, &enumerator, sizeof number);
    return number;
}

constexpr std::size_t size_of_family(std::uint8_t family) {
    return family == 4 ? 4 : family == 6 ? 16 : 0;
}

/// The system's number of a family: 0, 2 or 23.
constexpr std::uint16_t to_system_family(std::uint32_t family) {
    return family == 4 ? ip::family_ipv4 : family == 6 ? ip::family_ipv6 : ip::family_none;
}

inline kvtip_address ipv4_address(const void* bytes) {
    std::uint32_t octets = 0;
    std::memcpy(&octets, bytes, sizeof octets);
    return detail::address_of({4, octets, 0});
}

/// A scope where there can be none is left out.
inline kvtip_address ipv6_address(const void* bytes, std::uint32_t scope = 0) {
    kvtip_address result{};
    result.family = 6;
    std::memcpy(result.bytes, bytes, 16);
    result.scope = kvtip::detail::may_have_scope(result) ? scope : 0;
    return result;
}

/// No address for a family that is neither IPv4 nor IPv6.
inline kvtip_address to_address(const ip::saddr& from) {
    return kvtip::to_endpoint(from).native().address;
}

inline kvtip_endpoint to_endpoint(const ip::saddr& from) {
    return kvtip::to_endpoint(from).native();
}

inline ip::saddr to_saddr(const kvtip_endpoint& from) {
    return kvtip::to_saddr(kvtip::endpoint(from));
}

inline ip::saddr to_saddr(const kvtip_address& from, std::uint16_t port = 0) {
    return to_saddr(kvtip_endpoint{from, port, 0});
}

/// A hardware address; none if it has more bytes than there is room for.
inline kvtip_mac to_mac(const std::uint8_t* bytes, std::size_t length,
                        std::size_t room = sizeof(kvtip_mac::bytes)) {
    kvtip_mac mac{};
    mac.length = static_cast<std::uint8_t>(length > room ? 0 : length);
    std::memcpy(mac.bytes, bytes, mac.length);
    return mac;
}

/// Whether all bytes from there on are zero.
template <std::size_t Size>
bool is_zero(const std::uint8_t (&bytes)[Size], std::size_t first = 0) {
    return std::all_of(bytes + first, std::end(bytes), [](std::uint8_t each) { return each == 0; });
}

/// Whether the caller's value is one, or none, with everything zero that must be.
inline bool is_valid(const kvtip_address& address) {
    return (address.family == 0 || address.family == 4 || address.family == 6) && is_zero(address.reserved) &&
           (address.scope == 0 || kvtip::detail::may_have_scope(address)) &&
           is_zero(address.bytes, size_of_family(address.family));
}

inline bool is_valid(const kvtip_endpoint& endpoint) {
    return is_valid(endpoint.address) && endpoint.reserved == 0;
}

inline bool is_valid(const kvtip_network& network) {
    return is_valid(network.address) && is_zero(network.reserved) &&
           kvtip::network::of(kvtip::address(network.address), network.prefix_length) ==
               kvtip::network(network);
}

inline bool is_valid(const kvtip_mac& mac) {
    return mac.length <= sizeof mac.bytes && is_zero(mac.bytes, mac.length) && is_zero(mac.reserved);
}

} // namespace kvtip::library
