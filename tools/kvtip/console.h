#pragma once

#include <string_view>
#include <system_error>

/// Standard output did not take all that was written.
class output_error : public std::system_error {
public:
    using std::system_error::system_error;

    /// Whether the reader has closed the pipe, as one does that has seen enough.
    bool is_closed_pipe() const;
};

/// Writes UTF-8 to standard output. Throws `output_error`.
void print(std::string_view text);

/// Writes a line to standard error, control characters in it as escapes. A failure has nowhere to be
/// reported.
void print_error(std::string_view line) noexcept;
