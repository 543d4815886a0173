#pragma once

#include <chrono>

/// Waits until then. Returns false as soon as the user asks the program to end (Ctrl-C), which from the first
/// call on does not end it any more.
bool wait_until(std::chrono::steady_clock::time_point time);
