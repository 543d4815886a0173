#include "sweep.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "failure.h"
#include "layout.h"
#include "network_values.h"
#include "ping_values.h"

namespace {

constexpr int most_host_bits = 16;

kvtip::network parse_network(const std::string& text) {
    if (const auto network = kvtip::network::parse(text)) {
        const int host_bits = network->address().bits() - network->prefix_length();
        if (host_bits > most_host_bits) {
            throw usage_error(text + " is too large: at most 65536 addresses can be pinged, as in a /" +
                              std::to_string(network->address().bits() - most_host_bits));
        }
        return *network;
    }
    const std::size_t slash = text.find('/');
    const auto address = kvtip::address::parse(text.substr(0, slash));
    for (int length = 0; address && length <= address->bits(); ++length) {
        if (text.substr(slash + 1) == std::to_string(length)) {
            throw usage_error(text + " is not a network: its address lies in " +
                              kvtip::network::of(*address, length).to_string());
        }
    }
    throw usage_error(text + " is not a network");
}

/// Lists the addresses that hosts of the network can have. In an IPv4 network of more than two addresses, the
/// first and the last one belong to no host.
std::vector<kvtip::address> hosts_of(const kvtip::network& network) {
    const int host_bits = network.address().bits() - network.prefix_length();
    std::vector<kvtip::address> hosts;
    for (std::uint32_t i = 0; i < 1U << host_bits; ++i) {
        kvtip_address host = network.address().native();
        const std::size_t last = network.address().size() - 1;
        host.bytes[last] = static_cast<std::uint8_t>(host.bytes[last] | (i & 0xFF));
        host.bytes[last - 1] = static_cast<std::uint8_t>(host.bytes[last - 1] | (i >> 8));
        hosts.emplace_back(host);
    }
    if (network.address().is_ipv4() && host_bits > 1) {
        hosts.pop_back();
        hosts.erase(hosts.begin());
    }
    return hosts;
}

/// What came of all pings so far.
struct tally {
    kvtip::ping_statistics pings;
    value last_error;

    void add(const kvtip::ping_reply& each, const progress& show) {
        pings.add(each.result);
        value reply = ping_value(each.result, each.error);
        if (is_answered(reply)) {
            reply.add("address", address_value(each.target));
            show.row(reply);
        } else {
            last_error = ping_error(reply);
        }
    }
};

} // namespace

bool is_network(const std::string& text) {
    return text.find('/') != std::string::npos;
}

value sweep(const std::string& text, const kvtip::ping_options& options, const progress& show) {
    constexpr std::size_t block = 256; // as many as the library has in flight at once
    const std::vector<kvtip::address> hosts = hosts_of(parse_network(text));
    show.line("pinging " +
              (hosts.size() == 1 ? "the host" : "the " + std::to_string(hosts.size()) + " hosts") + " of " +
              text);
    tally all;
    std::error_code error;
    for (std::size_t i = 0; i < hosts.size() && !error; i += block) {
        const auto targets = std::span(hosts).subspan(i, std::min(block, hosts.size() - i));
        for (const kvtip::ping_reply& each : kvtip::ping_all(targets, options, error)) {
            each.error == std::errc::operation_canceled ? void() : all.add(each, show);
        }
        if (error == std::errc::operation_canceled) {
            let_pings_end(options.timeout);
        } else if (error) {
            throw std::system_error(error);
        }
    }
    const bool is_interrupted = error && all.last_error.is_null();
    return {{"host", text},
            {"network", text},
            {"data_size", options.data_size},
            {"sent", all.pings.sent()},
            {"answered", all.pings.answered()},
            {"lost", all.pings.lost()},
            {"loss", rounded(all.pings.loss())},
            {"last_error", is_interrupted ? interruption_error() : all.last_error}};
}

std::string sweep_line(const value& reply) {
    return plain_text(reply["address"]) + "  " + milliseconds_text(reply["round_trip_time"]);
}

std::string sweep_text(const value& result) {
    return plain_text(result["sent"]) + (result["sent"] == 1 ? " host" : " hosts") + " pinged, " +
           plain_text(result["answered"]) + " answered\n";
}
