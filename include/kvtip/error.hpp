#pragma once

// Errors: the codes of the C interface as std::error_code.

#include <cstdint>
#include <string>
#include <system_error>

#include "kvtip/kvtip.h"

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define KVTIP_HAS_EXCEPTIONS 1
#else
#define KVTIP_HAS_EXCEPTIONS 0
#endif

namespace kvtip {
inline namespace v1 {

namespace detail {

class error_category final : public std::error_category {
public:
    const char* name() const noexcept override { return "kvtip"; }

    /// The sentence of `kvtip_message`.
    std::string message(int value) const override {
        const auto code = static_cast<std::uint32_t>(value);
        std::string text(kvtip_message(code, nullptr, 0), '\0');
        kvtip_message(code, text.data(), text.size());
        text.pop_back(); // the terminating zero
        return text;
    }

    /// Codes that have a portable meaning equal the `std::errc` of that meaning.
    std::error_condition default_error_condition(int value) const noexcept override {
        using std::errc;
        switch (value) {
        case 5:
        case 10013:
            return errc::permission_denied;
        case 8:
            return errc::not_enough_memory;
        case 87:
        case 10022:
            return errc::invalid_argument;
        case 120:
            return errc::function_not_supported;
        case 170:
            return errc::device_or_resource_busy;
        case 995:
            return errc::operation_canceled;
        case 10038:
            return errc::not_a_socket;
        case 10047:
            return errc::address_family_not_supported;
        case 10048:
            return errc::address_in_use;
        case 10049:
            return errc::address_not_available;
        case 10050:
            return errc::network_down;
        case 1231:
        case 10051:
            return errc::network_unreachable;
        case 10052:
            return errc::network_reset;
        case 10053:
            return errc::connection_aborted;
        case 10054:
            return errc::connection_reset;
        case 10057:
            return errc::not_connected;
        case 1460:
        case 10060:
            return errc::timed_out;
        case 10061:
            return errc::connection_refused;
        case 10065:
            return errc::host_unreachable;
        default:
            return {value, *this};
        }
    }
};

} // namespace detail

/// The category of all error codes here: their values are Windows error codes. In a program of several
/// modules each has a category object of its own: compare values across such a border, not categories.
inline const std::error_category& category() noexcept {
    static const detail::error_category instance;
    return instance;
}

/// The name of an error code, such as "WSAECONNREFUSED"; empty for an unknown one.
inline const char* error_name(const std::error_code& error) noexcept {
    return kvtip_error_name(static_cast<std::uint32_t>(error.value()));
}

} // namespace v1
} // namespace kvtip
