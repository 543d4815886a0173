#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <windows.h>

#include <ipexport.h>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"
#include "ping_values.h"

namespace {

constexpr std::size_t probes_per_hop = 3;

struct trace_request {
    std::shared_ptr<const std::string> host;
    std::function<kvtip::family()> family;
    unsigned max_hops = 30;
    unsigned timeout = 1000; ///< in milliseconds
    bool numeric = false;
};

/// The names of the hosts on the way; null for a host without one.
class host_names {
public:
    explicit host_names(bool numeric) : numeric_(numeric) {}

    value of(const kvtip::address& host) {
        if (numeric_ || !host || !wait_until(std::chrono::steady_clock::now())) {
            return nullptr; // after Ctrl-C, too
        }
        const auto [known, is_new] = known_.try_emplace(host);
        if (is_new) {
            std::error_code none;
            const std::vector<std::string> names = kvtip::reverse(host, none);
            known->second = names.empty() ? value() : value(names.front());
        }
        return known->second;
    }

private:
    bool numeric_;
    std::map<kvtip::address, value> known_;
};

/// Whether nobody answered in time.
bool is_silent(const value& reply) {
    return reply["status"] == IP_REQ_TIMED_OUT;
}

/// Whether the destination is further away, or may be.
bool goes_on(const value& reply) {
    return is_silent(reply) || reply["status"] == IP_TTL_EXPIRED_TRANSIT;
}

/// The reply that says most: an answer of the destination, or otherwise one that came at all.
const value& best_of(const std::vector<value>& replies) {
    const auto answer = std::find_if(replies.begin(), replies.end(), is_answered);
    const auto any = std::find_if_not(replies.begin(), replies.end(), is_silent);
    return answer != replies.end() ? *answer : any != replies.end() ? *any : replies.front();
}

/// Sends the probes of a hop together. Null after Ctrl-C.
value probe(const kvtip::address& destination, const kvtip::ping_options& options, host_names& names) {
    std::array<kvtip::address, probes_per_hop> targets;
    targets.fill(destination);
    std::error_code error;
    const std::vector<kvtip::ping_reply> replies = kvtip::ping_all(targets, options, error);
    if (error == std::errc::operation_canceled) {
        let_pings_end(options.timeout);
        return nullptr;
    }
    if (error) {
        throw std::system_error(error);
    }
    std::vector<value> probes;
    for (const kvtip::ping_reply& each : replies) {
        probes.push_back(ping_value(each.result, each.error));
        probes.back().add("name", names.of(each.result.from));
    }
    value hop = best_of(probes);
    hop.add("probes", probes);
    hop.add("hop", options.time_to_live);
    return hop;
}

/// "router.lab.test (192.0.2.1)", or the address alone.
std::string host_text(const value& probe) {
    const std::string from = plain_text(probe["from"]);
    return probe.has("name") ? plain_text(probe["name"]) + " (" + from + ")" : from;
}

/// The hosts that replied, each followed by the times of its replies; "*" for a probe without a reply.
std::string hop_line(const value& hop) {
    const std::string number = plain_text(hop["hop"]);
    std::string line = std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number;
    value last;
    for (const value& probe : hop["probes"].elements()) {
        if (!probe.has("from")) {
            line += "  *";
            continue;
        }
        line += probe["from"] == last ? "" : "  " + host_text(probe);
        line += "  " + milliseconds_text(probe["round_trip_time"]);
        last = probe["from"];
    }
    return is_answered(hop) || goes_on(hop) ? line : line + "  " + error_text(ping_error(hop));
}

value trace(const trace_request& what, const progress& show) {
    const ctrl_c interrupted;
    const kvtip::address destination = find_address(*what.host, what.family(), interrupted.get());
    const value address = address_value(destination);
    show.line("tracing the way to " + plain_text(address) + ", at most " + std::to_string(what.max_hops) +
              " hops");
    host_names names(what.numeric);
    value last_error;
    bool reached = false;
    unsigned hops = 0;
    for (bool more = true; more; more = more && hops < what.max_hops) {
        const value hop = probe(destination,
                                {.timeout = std::chrono::milliseconds(what.timeout),
                                 .time_to_live = hops + 1,
                                 .cancel = interrupted.get()},
                                names);
        if (hop.is_null()) {
            last_error = interruption_error();
            break;
        }
        ++hops;
        show.row(hop);
        reached = is_answered(hop);
        last_error = ping_error(hop);
        more = !reached && goes_on(hop);
    }
    return {{"host", *what.host},
            {"address", address},
            {"reached", reached},
            {"hops", hops},
            {"last_error", last_error}};
}

operation prepare(parameters& expected) {
    auto what = std::make_shared<trace_request>();
    what->host = add_host(expected, "HOST", "The host's name or address");
    what->family = add_family(expected);
    expected.add_number("--max-hops", what->max_hops, "Maximum number of hops", 1, 255);
    expected.add_number("--timeout", what->timeout, "Milliseconds to wait for the answers of a hop", 1,
                        60000);
    expected.add_flag("--numeric", what->numeric,
                      "Do not look up the hosts' names, which takes long if no name server answers");
    return [what](const progress& show) { return trace(*what, show); };
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
    .examples = {"trace www.example.com", "trace 192.0.2.1 --numeric --timeout 300"},
    .prepare = prepare,
    .text = text,
    .failure = failure,
    .row_text = hop_line,
};
