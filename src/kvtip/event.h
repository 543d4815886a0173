#pragma once

// Events of the system, and waiting for them.

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "kvtip/kvtip.h"

namespace kvtip::library {

/// Whether a wait resets an event (automatic), or the event stays set (manual).
enum class reset { automatic, manual };

/// An event. The entries must be held as long as this object lives.
class event {
public:
    event() = default;
    ~event();
    event(const event&) = delete;
    event& operator=(const event&) = delete;

    /// Makes the event, not set. Returns 0, 120 or the system's code.
    std::uint32_t open(reset how) noexcept;

    /// Sets the event. For any thread.
    void set() const noexcept;

    HANDLE handle() const noexcept { return handle_; }

private:
    HANDLE handle_ = nullptr;
};

/// Waits until the event is set, for at most so many milliseconds, or without end for `KVTIP_FOREVER`. Returns
/// 0, `WSAETIMEDOUT (10060)`, `ERROR_OPERATION_ABORTED (995)` as soon as `cancel`, which may be null, is
/// cancelled, or the system's code.
std::uint32_t wait_for(const event& event, const kvtip_canceller* cancel,
                       std::uint32_t milliseconds) noexcept;

/// How many events one wait can have, beside a canceller.
constexpr std::size_t most_events = MAXIMUM_WAIT_OBJECTS - 1;

/// The same for several events, of which `first` becomes the number of the first one that is set. Without
/// events there must be a canceller.
std::uint32_t wait_for_any(std::span<const HANDLE> events, const kvtip_canceller* cancel,
                           std::uint32_t milliseconds, std::size_t& first) noexcept;

} // namespace kvtip::library
