#include <windows.h>

#include <ipexport.h>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "layout.h"
#include "network_values.h"
#include "single_ping.h"

namespace {

constexpr int tries_per_hop = 3;
constexpr std::chrono::seconds timeout{1};

/// Whether nobody answered in time.
bool is_silent(const value& reply) {
    return reply["status"] == IP_REQ_TIMED_OUT;
}

value hop(const kvtip::address& destination, unsigned number) {
    const kvtip::ping_options options{.timeout = timeout, .time_to_live = number};
    value reply = ping_once(destination, options);
    for (int i = 1; i < tries_per_hop && is_silent(reply); ++i) {
        reply = ping_once(destination, options);
    }
    reply.add("hop", number);
    return reply;
}

/// Whether the destination is further away, or may be.
bool goes_on(const value& reply) {
    return is_silent(reply) || reply["status"] == IP_TTL_EXPIRED_TRANSIT;
}

std::string hop_line(const value& hop) {
    const std::string number = plain_text(hop["hop"]);
    std::string line = std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + "  ";
    line += hop.has("from") ? plain_text(hop["from"]) : "*";
    if (!is_answered(hop) && !goes_on(hop)) {
        line += "  " + error_text(ping_error(hop));
    } else if (hop.has("round_trip_time")) {
        line += "  " + milliseconds_text(hop["round_trip_time"]);
    }
    return line;
}

value trace(const std::string& host, kvtip::family family, unsigned max_hops, const progress& show) {
    const kvtip::address destination = find_address(host, family);
    const value address = address_value(destination);
    show.line("tracing the way to " + plain_text(address) + ", at most " + std::to_string(max_hops) +
              " hops");
    value last;
    unsigned hops = 0;
    do {
        last = hop(destination, ++hops);
        show.row(last);
    } while (hops < max_hops && goes_on(last));
    return {{"host", host},
            {"address", address},
            {"reached", is_answered(last)},
            {"hops", hops},
            {"last_error", ping_error(last)}};
}

operation prepare(parameters& expected) {
    const auto host = add_host(expected, "HOST", "The host's name or address");
    const auto family = add_family(expected);
    auto max_hops = std::make_shared<unsigned>(30);
    expected.add_number("--max-hops", *max_hops, "Maximum number of hops", 1, 255);
    return [=](const progress& show) { return trace(*host, family(), *max_hops, show); };
}

std::string text(const value& result) {
    return plain_text(result["address"]) + (result["reached"].truth() ? " reached\n" : " not reached\n");
}

value failure(const value& result) {
    return result["last_error"];
}

} // namespace

const command trace_command = {
    .name = "trace",
    .summary = "Show the routers on the way to a host",
    .examples = {"trace www.example.com", "trace 192.0.2.1 --max-hops 5"},
    .prepare = prepare,
    .text = text,
    .failure = failure,
    .row_text = hop_line,
};
