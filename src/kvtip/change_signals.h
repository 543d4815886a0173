#pragma once

// The system's signals that something may have changed.

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "kvtip/event.h"

namespace kvtip::library {

/// An event that the system sets when something may have changed. The libraries must be held as long as this
/// object lives.
class change_signals {
public:
    change_signals() = default;
    ~change_signals();
    change_signals(const change_signals&) = delete;
    change_signals& operator=(const change_signals&) = delete;

    /// Makes the event. Returns 0, 120 or the system's code.
    std::uint32_t open() noexcept { return event_.open(reset::automatic); }

    /// Asks the system to set the event after changes of what the flags of `kvtip_watch` name. Returns 0, 120
    /// if it cannot, or the system's code.
    std::uint32_t subscribe(std::uint32_t flags) noexcept;

    /// The older signal is given once: this asks for the next one. Returns 0 or the system's code.
    std::uint32_t renew() noexcept;

    /// Sets the event. For any thread.
    void set() const noexcept { event_.set(); }

    /// Waits until the event is set, and resets it. Returns as `wait_for`.
    std::uint32_t wait(std::uint32_t milliseconds) const noexcept {
        return wait_for(event_, nullptr, milliseconds);
    }

private:
    template <class Notify>
    std::uint32_t subscribe_by(Notify notify, bool has_older) noexcept;
    bool is_older_pending() const noexcept;
    void cancel_older() noexcept;

    event event_;
    HANDLE subscriptions_[3] = {};
    std::size_t subscription_count_ = 0;
    OVERLAPPED older_{}; ///< the system writes to it until it has given the older signal
    bool uses_older_ = false;
};

} // namespace kvtip::library
