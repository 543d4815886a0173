#pragma once

// Ping: echo requests to one host or many, and what became of them.

#include <chrono>
#include <cstdint>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

#include "kvtip/address.hpp"
#include "kvtip/canceller.hpp"
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
    bool dont_fragment = false;        ///< routers must not split the packet
    address source{};                  ///< no address: the system chooses
    const canceller* cancel = nullptr; ///< can end the call early; null: nothing can

    kvtip_ping_options native() const noexcept {
        return {sizeof(kvtip_ping_options),
                detail::to_timeout(timeout),
                time_to_live,
                data_size,
                type_of_service,
                (dont_fragment ? std::uint32_t{KVTIP_PING_DONT_FRAGMENT} : 0u) |
                    (data_size == 0 ? std::uint32_t{KVTIP_PING_NO_DATA} : 0u),
                source.native(),
                detail::native_handle(cancel)};
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

namespace detail {
inline ping_result to_ping_result(const kvtip_ping_result& from) noexcept {
    return {static_cast<ping_outcome>(from.outcome), address(from.from), from.status,
            std::chrono::milliseconds(from.round_trip_time), from.time_to_live};
}
} // namespace detail

/// Pings a host and waits for the answer: `kvtip_ping`. An unanswered ping is a result and no error.
inline ping_result ping(const address& target, const ping_options& options, std::error_code& error) {
    const kvtip_ping_options native = options.native();
    kvtip_ping_result result;
    detail::report(kvtip_ping(&target.native(), &native, &result), error);
    return detail::to_ping_result(result);
}

/// A target of `ping_all`, and what became of its ping.
struct ping_reply {
    address target;
    std::error_code error; ///< why there is no result; none if the ping was sent and has ended
    ping_result result;
};

/// Pings many hosts at the same time: `kvtip_ping_all`. The replies are in the order of the targets. After
/// `std::errc::operation_canceled`, they hold what is known; those of pings that had not ended have that error
/// too.
inline std::vector<ping_reply> ping_all(std::span<const address> targets, const ping_options& options,
                                        std::error_code& error) {
    const kvtip_ping_options native = options.native();
    std::vector<kvtip_address> natives;
    natives.reserve(targets.size());
    for (const address& each : targets) {
        natives.push_back(each.native());
    }
    const auto list = detail::fetch<kvtip_ping_reply_list>(
        error, [&](auto** out) { return kvtip_ping_all(natives.data(), natives.size(), &native, out); });
    return detail::rows_of<ping_reply>(list.get(), [](const kvtip_ping_reply& row) {
        return ping_reply{address(row.target),
                          {static_cast<int>(row.code), category()},
                          detail::to_ping_result(row.result)};
    });
}

#if KVTIP_HAS_EXCEPTIONS
inline ping_result ping(const address& target, const ping_options& options = {}) {
    return detail::or_throw("kvtip::ping",
                            [&](std::error_code& error) { return ping(target, options, error); });
}
inline std::vector<ping_reply> ping_all(std::span<const address> targets, const ping_options& options = {}) {
    return detail::or_throw("kvtip::ping_all",
                            [&](std::error_code& error) { return ping_all(targets, options, error); });
}
#endif

/// What became of a series of pings. The times are those of the answers, and 0 without any.
class ping_statistics {
public:
    /// Adds the next ping. One that could not be sent counts as lost.
    void add(const ping_result& result) noexcept {
        ++sent_;
        if (result.outcome != ping_outcome::answered) {
            return;
        }
        const auto time = result.round_trip_time;
        if (answered_ != 0) {
            differences_ += time < last_ ? last_ - time : time - last_;
        }
        minimum_ = answered_ == 0 || time < minimum_ ? time : minimum_;
        maximum_ = time > maximum_ ? time : maximum_;
        sum_ += time;
        last_ = time;
        ++answered_;
    }

    std::uint64_t sent() const noexcept { return sent_; }
    std::uint64_t answered() const noexcept { return answered_; }
    std::uint64_t lost() const noexcept { return sent_ - answered_; }
    /// Of those sent, in percent.
    double loss() const noexcept {
        return sent_ == 0 ? 0 : 100.0 * static_cast<double>(lost()) / static_cast<double>(sent_);
    }

    std::chrono::milliseconds minimum() const noexcept { return minimum_; }
    std::chrono::milliseconds maximum() const noexcept { return maximum_; }
    std::chrono::duration<double, std::milli> average() const noexcept { return mean(sum_, answered_); }
    /// The mean difference between the times of one answer and the next.
    std::chrono::duration<double, std::milli> jitter() const noexcept {
        return mean(differences_, answered_ == 0 ? 0 : answered_ - 1);
    }

private:
    static std::chrono::duration<double, std::milli> mean(std::chrono::milliseconds sum,
                                                          std::uint64_t count) noexcept {
        return std::chrono::duration<double, std::milli>(sum) / static_cast<double>(count == 0 ? 1 : count);
    }

    std::uint64_t sent_ = 0;
    std::uint64_t answered_ = 0;
    std::chrono::milliseconds minimum_{};
    std::chrono::milliseconds maximum_{};
    std::chrono::milliseconds last_{};
    std::chrono::milliseconds sum_{};
    std::chrono::milliseconds differences_{};
};

} // namespace v1
} // namespace kvtip
