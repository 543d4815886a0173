#pragma once

// The library's readers of address text. They never read past the end of the text, and need neither the
// locale nor the socket library.

#include "ip/address.h"

namespace ip::detail {

inline constexpr int not_an_address = -1;

/// Reads dotted decimal IPv4 text with an optional prefix length ("192.0.2.1", "10/8"). Returns the
/// prefix length, 32 when the text has none, or `not_an_address`. Each octet is written to `out` (4
/// bytes) as soon as it is complete, so some of them may be written when the text is refused.
int parse_ipv4(const char* text, std::uint8_t* out) noexcept;

/// Reads IPv6 text with `::`, a dotted IPv4 tail and a prefix length. What follows a complete address is
/// ignored, a malformed prefix length included. Returns the prefix length, 128 when the text has none, or
/// `not_an_address`. `out` (16 bytes) is written on success only. Text with a ninth group in its middle is
/// accepted with prefix length 0, and `out` stays as it was.
int parse_ipv6(const char* text, std::uint8_t* out) noexcept;

/// Reads text as IPv4, failing that as IPv6, and drops the prefix length. On failure the family stays as
/// it was, and the first 4 bytes may hold what the IPv4 attempt wrote; null text zeroes all bytes. Text
/// with a ninth group in its middle counts as IPv6 whose bytes stay as they were.
bool parse_address(const char* text, addr& out) noexcept;

/// Reads wide text in the same way, taking the low byte of each unit. Unlike the narrow form it sets the
/// family to 0 on every failure, exhausted memory included.
bool parse_address(const wchar_t* text, addr& out) noexcept;

} // namespace ip::detail
