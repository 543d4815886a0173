#pragma once

#include <string>

#include "kvtip/ping.hpp"
#include "value.h"

// What pinging a host and tracing the way to it share.

/// Sends an ICMP echo request. In the result, `code` is 0 for an answer from the destination. Otherwise it is
/// the system's code or the status of an error message, with a sentence as `message` and the message's sender
/// as `address`.
value ping_once(const kvtip::address& destination, const kvtip::ping_options& options);

/// "11010: Nobody answered in time.": what is wrong with a reply; empty for an answer.
std::string ping_failure(const value& reply);

/// Whole milliseconds, of which 0 is less than one.
std::string milliseconds_text(const value& milliseconds);
