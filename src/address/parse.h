#pragma once

// The library's own readers of address text. They never read past the end of the text, take nothing
// from the locale, and need no socket library.

#include "ip/address.h"

namespace ip::detail {

inline constexpr int not_an_address = -1;

/// Reads dotted decimal IPv4 text with an optional prefix length ("192.0.2.1", "10/8"). Returns the
/// prefix length, 32 when the text has none, or `not_an_address`. Each octet is written to `out` (4
/// bytes) as soon as it is complete, so a failure may leave some of them behind.
int parse_ipv4(const char* text, std::uint8_t* out) noexcept;

/// Reads IPv6 text with `::`, a dotted IPv4 tail and a prefix length; what follows a complete address is
/// ignored, a malformed prefix length included. Returns the prefix length, 128
/// when the text has none, or `not_an_address`. `out` (16 bytes) is written on success only, and not by
/// text with a ninth group in its middle, which is accepted with prefix length 0.
int parse_ipv6(const char* text, std::uint8_t* out) noexcept;

/// Reads IPv4 text, failing that IPv6 text, and drops the prefix length. On failure the family stays
/// as it was and the first 4 bytes may hold what the IPv4 attempt wrote; null text also zeroes the bytes.
/// Text with a ninth group in its middle counts as IPv6 whose bytes stay as they were.
bool parse_address(const char* text, addr& out) noexcept;

/// The same for wide text, of which each unit counts with its low byte. Unlike the narrow form it
/// sets the family to 0 on every failure, exhausted memory included.
bool parse_address(const wchar_t* text, addr& out) noexcept;

} // namespace ip::detail
