#pragma once

#include <chrono>
#include <functional>

// Ctrl-C, with which the user asks the program to end. From the first use of either of these on, it no longer
// ends the program by itself.

/// Waits until then. Returns false as soon as the user asks the program to end.
bool wait_until(std::chrono::steady_clock::time_point time);

/// As long as this object lives, calls `end` on a thread of the system when the user asks the program to end.
class on_interruption {
public:
    explicit on_interruption(std::function<void()> end);
    ~on_interruption();
    on_interruption(const on_interruption&) = delete;
    on_interruption& operator=(const on_interruption&) = delete;
};
