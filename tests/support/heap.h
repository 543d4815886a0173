#pragma once

// The C runtime's heap as the code under test sees it: it can be denied, and what stays behind counts.

#include <cstddef>

namespace heap {

/// Watches the allocations made while it lives, except inside a `pause`. For one thread at a time.
class watch {
public:
    /// Denies allocation number `denied` (from 0), and with `persistent` all that come after it.
    explicit watch(std::size_t denied = ~std::size_t{0}, bool persistent = false);
    ~watch();

    std::size_t allocations() const; ///< asked for so far
    std::size_t largest() const;     ///< in bytes, of those
    std::size_t live() const;        ///< made while watching and not freed yet
};

/// A stretch in which the test's own code allocates.
class pause {
public:
    pause();
    ~pause();
};

/// Lets the compiler's runtime make what it keeps for exceptions when memory is short.
void warm_up_exceptions();

} // namespace heap
