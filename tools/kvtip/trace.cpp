#include <CLI/CLI.hpp>
#include <windows.h>

#include <ipexport.h>

#include "arguments.h"
#include "command.h"
#include "echo.h"
#include "output.h"

namespace {

constexpr int tries_per_hop = 3;
constexpr unsigned timeout = 1000; // milliseconds

json hop(const ip::saddr& destination, unsigned number) {
    // IPv6 error messages do not bring the data back; IPv4 ones, which some systems take only where the
    // answer has room for them, may do so.
    const unsigned size = destination.family == ip::family_ipv6 ? 0 : 32;
    const echo_options options{number, timeout, size, false};
    json reply = echo(destination, options);
    for (int i = 1; i < tries_per_hop && reply["code"] == IP_REQ_TIMED_OUT; ++i) {
        reply = echo(destination, options);
    }
    return {{"hop", number},
            {"address", reply["address"]},
            {"milliseconds", reply["milliseconds"]},
            {"code", reply["code"]}};
}

std::string hop_line(const json& hop) {
    const std::string number = hop["hop"].dump();
    std::string line = std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + "  ";
    line += hop["address"].is_null() ? "*" : plain_text(hop["address"]);
    const unsigned long code = hop["code"];
    if (code != 0 && code != IP_TTL_EXPIRED_TRANSIT && code != IP_REQ_TIMED_OUT) {
        line += "  " + echo_code_text(code);
    } else if (!hop["milliseconds"].is_null()) {
        line += "  " + milliseconds_text(hop["milliseconds"]);
    }
    return line;
}

json trace(const std::string& host, unsigned short family, unsigned max_hops, const line_sink& show) {
    const ip::saddr destination = look_up_first(host, family);
    const json address = address_json(destination);
    show("tracing the way to " + plain_text(address) + ", up to hop " + std::to_string(max_hops));
    json hops = json::array();
    unsigned long code = IP_TTL_EXPIRED_TRANSIT;
    while (hops.size() < max_hops && (code == IP_TTL_EXPIRED_TRANSIT || code == IP_REQ_TIMED_OUT)) {
        hops.push_back(hop(destination, static_cast<unsigned>(hops.size()) + 1));
        code = hops.back()["code"];
        show(hop_line(hops.back()));
    }
    return {{"host", host}, {"address", address}, {"reached", code == 0}, {"hops", hops}};
}

operation prepare(CLI::App& options) {
    const auto host = add_host(options, "HOST", "The host's name or address");
    const auto family = add_family(options);
    auto max_hops = std::make_shared<unsigned>(30);
    options.add_option("--max-hops", *max_hops, "Routers and hosts to show at most")
        ->check(CLI::Range(1, 255))
        ->capture_default_str();
    return [=](const line_sink& show) { return trace(*host, family(), *max_hops, show); };
}

std::string text(const json& result) {
    return plain_text(result["address"]) + (result["reached"] ? " reached\n" : " not reached\n");
}

std::string failure(const json& result) {
    return echo_failure(result["hops"].back()["code"]);
}

} // namespace

const command trace_command = {"trace", "Show the routers on the way to a host", prepare, text, failure};
