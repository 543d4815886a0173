#pragma once

// IPv4-mapped IPv6 addresses: IPv4 addresses after a fixed prefix.

#include <cstdint>
#include <cstring>

namespace ip::detail {

inline constexpr std::uint8_t ipv4_mapped_prefix[] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

/// Whether 16 address bytes are those of an IPv4-mapped address.
inline bool is_ipv4_mapped(const std::uint8_t* address6) noexcept {
    return std::memcmp(address6, ipv4_mapped_prefix, sizeof ipv4_mapped_prefix) == 0;
}

} // namespace ip::detail
