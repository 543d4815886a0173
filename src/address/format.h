#pragma once

// The library's writers of address text.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ip/address.h"

namespace ip::detail {

/// Writes 4 address bytes as dotted decimal text, zero-terminated. Returns its length.
std::size_t format_ipv4(const std::uint8_t* address, char (&out)[16]) noexcept;

/// Writes 16 address bytes as IPv6 text, zero-terminated: lower case, the longest run of zero groups
/// (a single one included, the first of equals) as `::`, an IPv4-mapped address with a dotted tail.
/// Returns its length.
std::size_t format_ipv6(const std::uint8_t* address, char (&out)[50]) noexcept;

/// The text of an address, written to `out`. An address without family has none.
std::string_view format_address(const addr& address, char (&out)[50]) noexcept;

} // namespace ip::detail
