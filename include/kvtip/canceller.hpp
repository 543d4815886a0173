#pragma once

// Ending operations that wait for someone else.

#include <system_error>
#include <utility>

#include "kvtip/detail/call.hpp"

namespace kvtip {
inline namespace v1 {

/// Ends operations that wait, and that name it in their options: they end with
/// `std::errc::operation_canceled`. It may serve any number of them, one after the other or at once. They must
/// have ended before it is destroyed.
class [[nodiscard]] canceller {
public:
    /// Makes a canceller: `kvtip_canceller_create`.
    explicit canceller(std::error_code& error) {
        const std::uint32_t code = kvtip_canceller_create(&handle_);
        detail::report(code, error);
    }
#if KVTIP_HAS_EXCEPTIONS
    canceller() {
        std::error_code error;
        *this = canceller(error);
        if (error) {
            throw std::system_error(error, "kvtip::canceller");
        }
    }
#endif
    ~canceller() {
        kvtip_canceller_close(handle_);
    }
    canceller(canceller&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    canceller& operator=(canceller&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }

    explicit operator bool() const noexcept {
        return handle_ != nullptr;
    }
    /// The canceller of the C interface, which stays this object's.
    kvtip_canceller* native_handle() const noexcept {
        return handle_;
    }

    /// Ends the operations that use this object as soon as the system lets them end, and every later one. For
    /// any thread, also for a handler of Ctrl-C.
    void cancel() noexcept {
        kvtip_canceller_cancel(handle_);
    }

private:
    kvtip_canceller* handle_ = nullptr;
};

namespace detail {
/// The canceller of an option, which may be null.
inline kvtip_canceller* native_handle(const canceller* of) noexcept {
    return of == nullptr ? nullptr : of->native_handle();
}
} // namespace detail

} // namespace v1
} // namespace kvtip
