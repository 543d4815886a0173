#include <windows.h>

#include <ipexport.h>

#include "arguments.h"
#include "command.h"
#include "layout.h"
#include "network_values.h"
#include "single_ping.h"

namespace {

constexpr int tries_per_hop = 3;
constexpr std::chrono::seconds timeout{1};

value hop(const kvtip::address& destination, unsigned number) {
    const kvtip::ping_options options{.timeout = timeout, .time_to_live = number};
    value reply = ping_once(destination, options);
    for (int i = 1; i < tries_per_hop && reply["code"] == IP_REQ_TIMED_OUT; ++i) {
        reply = ping_once(destination, options);
    }
    return {{"hop", number},
            {"address", reply["address"]},
            {"milliseconds", reply["milliseconds"]},
            {"code", reply["code"]},
            {"message", reply["message"]}};
}

/// Whether the destination is further away, or may be.
bool goes_on(const value& code) {
    return code == IP_TTL_EXPIRED_TRANSIT || code == IP_REQ_TIMED_OUT;
}

std::string hop_line(const value& hop) {
    const std::string number = plain_text(hop["hop"]);
    std::string line = std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + "  ";
    line += hop["address"].is_null() ? "*" : plain_text(hop["address"]);
    if (hop["code"] != 0 && !goes_on(hop["code"])) {
        line += "  " + ping_failure(hop);
    } else if (!hop["milliseconds"].is_null()) {
        line += "  " + milliseconds_text(hop["milliseconds"]);
    }
    return line;
}

value trace(const std::string& host, kvtip::family family, unsigned max_hops, const line_sink& show) {
    const kvtip::address destination = find_address(host, family);
    const value address = address_value(destination);
    show("tracing the way to " + plain_text(address) + ", at most " + std::to_string(max_hops) + " hops");
    value hops = value::list();
    value code = IP_TTL_EXPIRED_TRANSIT;
    for (unsigned number = 1; number <= max_hops && goes_on(code); ++number) {
        hops.add(hop(destination, number));
        code = hops.elements().back()["code"];
        show(hop_line(hops.elements().back()));
    }
    return {{"host", host}, {"address", address}, {"reached", code == 0}, {"hops", hops}};
}

operation prepare(parameters& expected) {
    const auto host = add_host(expected, "HOST", "The host's name or address");
    const auto family = add_family(expected);
    auto max_hops = std::make_shared<unsigned>(30);
    expected.add_number("--max-hops", *max_hops, "Maximum number of hops", 1, 255);
    return [=](const line_sink& show) { return trace(*host, family(), *max_hops, show); };
}

std::string text(const value& result) {
    return plain_text(result["address"]) + (result["reached"].truth() ? " reached\n" : " not reached\n");
}

std::string failure(const value& result) {
    return ping_failure(result["hops"].elements().back());
}

} // namespace

const command trace_command = {"trace", "Show the routers on the way to a host", prepare, text, failure};
