#pragma once

#include <string>

#include "kvtip/ping.hpp"
#include "value.h"

// What pinging a host and tracing the way to it share.

/// Sends an ICMP echo request. The result has the members of `kvtip::ping_result`, a `message` unless the
/// destination answered, and an `error` if the request was not sent.
value ping_once(const kvtip::address& destination, const kvtip::ping_options& options);

bool is_answered(const value& reply);

/// What is wrong with a reply, as an error (see failure.h); null for an answer.
value ping_error(const value& reply);

/// Whole milliseconds, of which 0 is less than one.
std::string milliseconds_text(const value& milliseconds);
