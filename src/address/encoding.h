#pragma once

// Text between the system's code pages and UTF-16, by the system's own rules: text that is not valid in
// its encoding is converted with replacement characters, never refused.

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

/// Narrow to wide. `length` is in bytes, of which the system takes the low 32 bits; `npos` takes the text
/// up to its terminating zero. Throws
/// `kvt::exceptions::fatal` for null text with a length, `kvt::exceptions::error` when the system
/// call fails, and `std::bad_alloc`. Empty text, null included, needs no system call.
template <>
std::wstring to_wide<char>(const char* text, std::size_t length, unsigned code_page);

/// Zero-terminated wide text to UTF-8. Throws `kvt::exceptions::error` and `std::bad_alloc`. Empty
/// text, null included, needs no system call.
template <>
std::string to_narrow<wchar_t>(const wchar_t* text);

} // namespace ip::detail
