#pragma once

// The library's own writers of address text.

#include <cstddef>
#include <cstdint>

namespace ip::detail {

/// Writes 4 address bytes as dotted decimal text, zero-terminated. Returns its length.
std::size_t format_ipv4(const std::uint8_t* address, char (&out)[16]) noexcept;

/// Writes 16 address bytes as IPv6 text, zero-terminated: lower case, the longest run of zero groups
/// (a single one included, the first of equals) as `::`, an IPv4-mapped address with a dotted tail.
/// Returns its length.
std::size_t format_ipv6(const std::uint8_t* address, char (&out)[50]) noexcept;

} // namespace ip::detail
