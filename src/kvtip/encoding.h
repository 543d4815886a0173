#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace kvtip::library {

/// The size of wide text in UTF-8, without terminator. A unit that is half of no pair becomes U+FFFD.
std::size_t utf8_size(std::wstring_view wide) noexcept;

/// Writes the text in UTF-8, without terminator. Returns the end.
char* write_utf8(std::wstring_view wide, char* out) noexcept;

/// The caller's text in UTF-16; empty for null. Returns 0, 87 for text that is not UTF-8, or the system's
/// code. Throws `std::bad_alloc`.
std::uint32_t to_wide(const char* utf8, std::wstring& wide);

} // namespace kvtip::library
