#pragma once

#include <chrono>
#include <string>
#include <system_error>

#include "kvtip/ping.hpp"
#include "value.h"

// What pinging a host, sweeping a network and tracing the way to a host share.

/// The members of a ping's result, a `message` unless the target answered, and an `error` if the ping was not
/// sent.
value ping_value(const kvtip::ping_result& reply, const std::error_code& error);

bool is_answered(const value& reply);

/// What is wrong with a reply, as an error (see failure.h); null for an answer.
value ping_error(const value& reply);

/// The error of pings that Ctrl-C has ended before anything was known.
value interruption_error();

/// A number of which two decimals count.
value rounded(double number);

/// Waits, under Wine alone, until cancelled pings have timed out. There they go on, and if the program ends
/// while several are in flight, every later ping of any program hangs.
void let_pings_end(std::chrono::milliseconds timeout);
