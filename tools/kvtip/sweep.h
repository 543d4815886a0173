#pragma once

#include <string>

#include "command.h"
#include "kvtip/ping.hpp"

// Pinging all hosts of a network.

/// Whether this is meant as a network and not as a host.
bool is_network(const std::string& text);

/// Pings the hosts of a network and shows those that answer. Throws `usage_error` if the text is not a network,
/// or the network is too large.
value sweep(const std::string& text, const kvtip::ping_options& options, const progress& show);

/// The line of a host that has answered, and the last one.
std::string sweep_line(const value& reply);
std::string sweep_text(const value& result);
