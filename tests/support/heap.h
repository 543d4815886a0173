#pragma once

// The C runtime's heap as the code under test sees it: a test can deny an allocation, and counts blocks that
// are never freed.

#include <atomic>
#include <cstddef>

namespace heap {

// Constant at first, since allocations are made before any constructor runs.
struct state {
    std::size_t asked, live;
    std::size_t first_denied, last_denied;
    bool watched;
};
inline constinit state now{};
inline constinit std::atomic<int> paused = 0;

/// Watches the allocations made while it lives, except inside a `pause`. For one thread at a time.
struct watch {
    /// Denies allocation number `denied` (from 0), and with `persistent` all that come after it.
    explicit watch(std::size_t denied = ~std::size_t{0}, bool persistent = false) {
        now = {0, 0, denied, persistent ? ~std::size_t{0} : denied, true};
    }
    ~watch() { now.watched = false; }
    void allow_all() { now.first_denied = ~std::size_t{0}; }

    std::size_t allocations() const { return now.asked; } ///< asked for so far
    std::size_t live() const { return now.live; }         ///< made while watching and not freed yet
};

/// A stretch in which the test's own code allocates.
struct pause {
    pause() { ++paused; }
    ~pause() { --paused; }
};

} // namespace heap
