#pragma once

#include <string_view>

/// Writes UTF-8 to standard output. Throws `std::system_error` when not all of it can be written.
void print(std::string_view text);

/// Writes a line to standard output, control characters in it as escapes. Throws like `print`.
void print_line(std::string_view line);

/// Writes a line to standard error, control characters in it as escapes. A failure has nowhere to be
/// reported.
void print_error(std::string_view line) noexcept;
