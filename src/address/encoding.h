#pragma once

// Conversion between the system's code pages and UTF-16. The system's rules hold: text that is not valid
// in its encoding is converted with replacement characters, never refused.

#include <cstddef>
#include <string>

namespace ip::detail {

inline constexpr std::size_t npos = ~std::size_t{0};
inline constexpr unsigned code_page_ansi = 0;
inline constexpr unsigned code_page_utf8 = 65001;

template <class Char>
std::wstring to_wide(const Char* text, std::size_t length, unsigned code_page);
template <class Char>
std::string to_narrow(const Char* text);

/// Converts narrow text to wide text. `length` is in bytes, of which the system takes the low 32 bits;
/// `npos` takes the text up to its terminating zero. Empty text, null included, needs no system call.
/// Throws `kvt::exceptions::fatal` for null text with a length, `kvt::exceptions::error` when the system
/// call fails, and `std::bad_alloc`.
template <>
std::wstring to_wide<char>(const char* text, std::size_t length, unsigned code_page);

/// Converts zero-terminated wide text to UTF-8. Empty text, null included, needs no system call. Throws
/// `kvt::exceptions::error` when the system call fails, and `std::bad_alloc`.
template <>
std::string to_narrow<wchar_t>(const wchar_t* text);

} // namespace ip::detail
