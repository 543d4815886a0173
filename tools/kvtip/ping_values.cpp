#include "ping_values.h"

#include <cmath>

#include <windows.h>

#include "failure.h"
#include "layout.h"
#include "network_values.h"

value ping_value(const kvtip::ping_result& reply, const std::error_code& error) {
    const bool answered = reply.outcome == kvtip::ping_outcome::answered;
    return {{"from", address_value(reply.from)},
            {"outcome", static_cast<std::uint32_t>(reply.outcome)},
            {"outcome_name", text_or_null(to_string(reply.outcome))},
            {"status", error ? value() : value(reply.status)},
            {"status_name", error ? value() : text_or_null(kvtip_ping_status_name(reply.status))},
            {"message", answered ? value() : value(reply.message())},
            {"round_trip_time", reply.from ? value(reply.round_trip_time.count()) : value()},
            {"time_to_live", number_or_null(reply.time_to_live)},
            {"error", error ? error_value(static_cast<std::uint32_t>(error.value())) : value()}};
}

bool is_answered(const value& reply) {
    return reply["outcome"] == static_cast<std::uint32_t>(kvtip::ping_outcome::answered);
}

value ping_error(const value& reply) {
    constexpr std::uint32_t unexpected = 59; // ERROR_UNEXP_NET_ERR: an answer with other data than was sent
    if (is_answered(reply) || reply.has("error")) {
        return reply["error"];
    }
    if (reply["status"] == 0) {
        return error_value(unexpected, reply["message"].text());
    }
    return {{"code", reply["status"]}, {"name", reply["status_name"]}, {"message", reply["message"]}};
}

value interruption_error() {
    return error_value(995); // ERROR_OPERATION_ABORTED
}

value rounded(double number) {
    return std::round(number * 100) / 100;
}

void let_pings_end(std::chrono::milliseconds timeout) {
    if (GetProcAddress(GetModuleHandleW(L"ntdll"), "wine_get_version") != nullptr) {
        Sleep(static_cast<DWORD>(timeout.count()));
    }
}
