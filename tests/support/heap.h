#pragma once

// The C runtime's heap as the code under test sees it: it can be denied, and what stays behind counts.

#include <atomic>
#include <cstddef>

namespace heap {

struct counters {
    std::size_t asked, largest, live;
};
extern counters counted;
extern std::atomic<int> paused;

/// Watches the allocations made while it lives, except inside a `pause`. For one thread at a time.
struct watch {
    /// Denies allocation number `denied` (from 0), and with `persistent` all that come after it.
    explicit watch(std::size_t denied = ~std::size_t{0}, bool persistent = false);
    ~watch();

    std::size_t allocations() const { return counted.asked; } ///< asked for so far
    std::size_t largest() const { return counted.largest; }   ///< in bytes, of those
    std::size_t live() const { return counted.live; }         ///< made while watching and not freed yet
};

/// A stretch in which the test's own code allocates.
struct pause {
    pause() { ++paused; }
    ~pause() { --paused; }
};

/// Lets the compiler's runtime make what it keeps for exceptions when memory is short.
void warm_up_exceptions();

} // namespace heap
