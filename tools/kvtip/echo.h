#pragma once

#include <string>

#include "command.h"
#include "ip/address.h"

// What pinging a host and tracing the way to it share.

struct echo_options {
    unsigned ttl = 128;
    unsigned timeout = 4000; ///< milliseconds
    unsigned size = 32;
    bool dont_fragment = false;
};

/// Sends an echo request. In what it gives, `code` is 0 for an answer from the destination, else the
/// system's code or, with the address of who says so, the status of an error message.
json echo(const ip::saddr& destination, const echo_options& options);

/// "request timed out (11010)": what a code of an echo means.
std::string echo_code_text(unsigned long code);

/// The same for a failure: "11010: request timed out"; empty for 0.
std::string echo_failure(unsigned long code);

/// Whole milliseconds, of which 0 is less than one.
std::string milliseconds_text(const json& milliseconds);
