#pragma once

// Ping: one echo request and what became of it.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"

namespace kvtip {
inline namespace v1 {

/// What became of a ping.
enum class ping_outcome : std::uint32_t {
    none = 0, ///< it was not sent: the error says why
    answered = KVTIP_PING_ANSWERED,
    timed_out = KVTIP_PING_TIMED_OUT,
    unreachable = KVTIP_PING_UNREACHABLE,     ///< `from` reports so
    hops_exceeded = KVTIP_PING_HOPS_EXCEEDED, ///< the time to live was used up at `from`
    too_big = KVTIP_PING_TOO_BIG,             ///< a packet that must not be split was too big for the way
    data_differs = KVTIP_PING_DATA_DIFFERS,   ///< an answer with other data than was sent
    failed = KVTIP_PING_FAILED                ///< anything else: see `status`
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<ping_outcome> ping_outcome_names[] = {
    {ping_outcome::none, "not sent"},
    {ping_outcome::answered, "answered"},
    {ping_outcome::timed_out, "timed out"},
    {ping_outcome::unreachable, "unreachable"},
    {ping_outcome::hops_exceeded, "hops exceeded"},
    {ping_outcome::too_big, "too big"},
    {ping_outcome::data_differs, "data differs"},
    {ping_outcome::failed, "failed"}};
constexpr std::string_view to_string(ping_outcome value) noexcept {
    return detail::name_in<ping_outcome>(ping_outcome_names, value);
}

/// How to ping.
struct ping_options {
    std::chrono::milliseconds timeout{4000}; ///< at least 1 ms
    std::uint32_t time_to_live = 128;        ///< the number of hops, 1 to 255
    std::uint32_t data_size = 32;            ///< in bytes, 0 to 65500
    std::uint32_t type_of_service = 0;
    bool dont_fragment = false; ///< routers must not split the packet
    address source{};           ///< no address: the system chooses

    kvtip_ping_options native() const noexcept {
        return {sizeof(kvtip_ping_options),
                detail::to_timeout(timeout),
                time_to_live,
                data_size,
                type_of_service,
                (dont_fragment ? std::uint32_t{KVTIP_PING_DONT_FRAGMENT} : 0u) |
                    (data_size == 0 ? std::uint32_t{KVTIP_PING_NO_DATA} : 0u),
                source.native()};
    }
};

/// The result of a ping.
struct ping_result {
    ping_outcome outcome = ping_outcome::none;
    address from;                                ///< who answered or reported; none if nobody did
    std::uint32_t status = 0;                    ///< the system's IP_STATUS, which is no error code
    std::chrono::milliseconds round_trip_time{}; ///< 0 is less than one
    std::uint32_t time_to_live = 0;              ///< of the answer; 0 if unknown

    /// A sentence for the outcome.
    const char* message() const noexcept {
        switch (outcome) {
        case ping_outcome::none:
            return "The ping was not sent.";
        case ping_outcome::data_differs:
            return "The answer has other data than was sent.";
        default:
            break;
        }
        const char* const text = kvtip_ping_status_message(status);
        return *text != 0 ? text : "The ping failed.";
    }
};

/// Pings a host and waits for the answer: `kvtip_ping`. An unanswered ping is a result and no error.
inline ping_result ping(const address& target, const ping_options& options, std::error_code& error) {
    const kvtip_ping_options native = options.native();
    kvtip_ping_result result;
    detail::report(kvtip_ping(&target.native(), &native, &result), error);
    return {static_cast<ping_outcome>(result.outcome), address(result.from), result.status,
            std::chrono::milliseconds(result.round_trip_time), result.time_to_live};
}

#if KVTIP_HAS_EXCEPTIONS
inline ping_result ping(const address& target, const ping_options& options = {}) {
    return detail::or_throw("kvtip::ping",
                            [&](std::error_code& error) { return ping(target, options, error); });
}
#endif

} // namespace v1
} // namespace kvtip
