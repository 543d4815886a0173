#include "single_ping.h"

#include "layout.h"
#include "network_values.h"

value ping_once(const kvtip::address& destination, const kvtip::ping_options& options) {
    constexpr std::uint32_t unexpected = 59; // ERROR_UNEXP_NET_ERR: an answer with other data than was sent
    std::error_code error;
    const kvtip::ping_result reply = kvtip::ping(destination, options, error);
    const bool answered = reply.outcome == kvtip::ping_outcome::answered;
    const bool differs = reply.outcome == kvtip::ping_outcome::data_differs;
    const value code = error ? value(error.value()) : value(differs ? unexpected : reply.status);
    const value message = error ? error.message() : reply.message();
    return {{"address", address_value(reply.from)},
            {"milliseconds", reply.from ? value(reply.round_trip_time.count()) : value()},
            {"ttl", number_or_null(reply.time_to_live)},
            {"code", code},
            {"message", answered ? value() : message}};
}

std::string ping_failure(const value& reply) {
    return reply["code"] == 0 ? "" : code_text(reply["code"], reply["message"]);
}

std::string milliseconds_text(const value& milliseconds) {
    return (milliseconds == 0 ? "<1" : plain_text(milliseconds)) + " ms";
}
