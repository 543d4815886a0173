#pragma once

#include <string>

#include "kvtip/adapters.hpp"
#include "value.h"

// What goes through an adapter.

value traffic_value(const kvtip::traffic& traffic);

/// "1.2 Mbit/s", of bits per second.
std::string rate_text(double rate);
