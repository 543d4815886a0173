#pragma once

#include <cstdint>

#include "kvtip/kvtip.h"

namespace kvtip::library {

/// The milliseconds of a clock that only moves forward. The libraries must be held.
std::uint64_t milliseconds_now() noexcept;

/// The end of a wait that may have several steps.
class deadline {
public:
    /// `KVTIP_FOREVER` never ends.
    explicit deadline(std::uint32_t timeout) noexcept
        : is_endless_(timeout == KVTIP_FOREVER), end_(is_endless_ ? 0 : milliseconds_now() + timeout) {}

    /// The milliseconds that are left, 0 at the end; `KVTIP_FOREVER` without one.
    std::uint32_t left() const noexcept {
        if (is_endless_) {
            return KVTIP_FOREVER;
        }
        const std::uint64_t now = milliseconds_now();
        return now < end_ ? static_cast<std::uint32_t>(end_ - now) : 0;
    }

private:
    bool is_endless_;
    std::uint64_t end_;
};

} // namespace kvtip::library
