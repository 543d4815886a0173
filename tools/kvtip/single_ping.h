#pragma once

#include <string>

#include "ip/address.h"
#include "value.h"

// What pinging a host and tracing the way to it share.

struct ping_options {
    unsigned ttl = 128;
    unsigned timeout = 4000; ///< in milliseconds
    unsigned size = 32;      ///< bytes of data
    bool dont_fragment = false;
};

/// Sends an ICMP echo request. In the result, `code` is 0 for an answer from the destination; otherwise it is
/// the system's code, or the status of an error message, with the address of its sender.
value ping_once(const ip::saddr& destination, const ping_options& options);

/// "request timed out (11010)": what such a code means.
std::string ping_code_text(const value& code);

/// The same for a failure: "11010: request timed out"; empty for 0.
std::string ping_failure(const value& code);

/// Whole milliseconds, of which 0 is less than one.
std::string milliseconds_text(const value& milliseconds);
