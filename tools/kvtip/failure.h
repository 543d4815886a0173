#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "value.h"

// Errors as values: objects with a `code`, its `name` and a `message`. The first two are absent where there is
// no code, or no name.

/// The error with this code and the library's sentence for it.
value error_value(std::uint32_t code);

/// The same with another sentence.
value error_value(std::uint32_t code, const std::string& message);

/// The exception that is being handled, as an error.
value current_error();

/// "10061: The connection was refused: nobody listens at this port."
std::string error_text(const value& error);

/// A failure with a code of the system, for which the subcommand has a better sentence.
class explained_error : public std::runtime_error {
public:
    explained_error(std::uint32_t code, const std::string& message)
        : std::runtime_error(message), code_(code) {}
    std::uint32_t code() const { return code_; }

private:
    std::uint32_t code_;
};

/// A command line that makes no sense, and why.
class usage_error : public explained_error {
public:
    explicit usage_error(const std::string& message)
        : explained_error(87, message) {} // ERROR_INVALID_PARAMETER
};
