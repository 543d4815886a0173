#pragma once

#include <chrono>
#include <functional>
#include <system_error>

#include "kvtip/canceller.hpp"

// Ctrl-C, with which the user asks the program to end. From the first use of any of these on, only the second
// Ctrl-C ends the program by itself.

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

/// A canceller that Ctrl-C cancels. Where the system has none, the operation under way goes on to its end.
class ctrl_c {
public:
    const kvtip::canceller* get() const { return &canceller_; }

private:
    std::error_code unused_;
    kvtip::canceller canceller_{unused_};
    on_interruption cancelled_{[this] { canceller_.cancel(); }};
};
