#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "layout.h"
#include "network_values.h"
#include "single_ping.h"

namespace {

using std::chrono::steady_clock;

struct ping_request {
    std::shared_ptr<const std::string> host;
    std::function<kvtip::family()> family;
    unsigned count = 4;
    unsigned timeout = 4000; ///< in milliseconds
    kvtip::ping_options options;
};

std::string reply_line(const value& reply) {
    if (is_answered(reply)) {
        return "reply from " + plain_text(reply["from"]) + ": " +
               milliseconds_text(reply["round_trip_time"]) +
               (reply.has("time_to_live") ? ", ttl " + plain_text(reply["time_to_live"]) : "");
    }
    return "no answer" + (reply.has("from") ? ", as " + plain_text(reply["from"]) + " reports" : "") + ": " +
           error_text(ping_error(reply));
}

/// What came of all echo requests.
struct tally {
    std::size_t sent = 0;
    std::vector<std::int64_t> times; ///< of the answers, in milliseconds
    value last_error;
};

/// Sends one echo request a second, until Ctrl-C.
tally send(const kvtip::address& destination, const ping_request& what, const progress& show) {
    tally result;
    auto next = steady_clock::now();
    for (; result.sent < what.count && (wait_until(next) || result.sent == 0); ++result.sent) {
        next = steady_clock::now() + std::chrono::seconds(1);
        const value reply = ping_once(destination, what.options);
        show.row(reply);
        if (is_answered(reply)) {
            result.times.push_back(reply["round_trip_time"].number());
        } else {
            result.last_error = ping_error(reply);
        }
    }
    return result;
}

value times_value(const std::vector<std::int64_t>& times) {
    if (times.empty()) {
        return nullptr;
    }
    const double sum = std::accumulate(times.begin(), times.end(), 0.0);
    return {{"minimum", *std::min_element(times.begin(), times.end())},
            {"average", std::round(sum / static_cast<double>(times.size()) * 100) / 100},
            {"maximum", *std::max_element(times.begin(), times.end())}};
}

value ping(const ping_request& what, const progress& show) {
    const kvtip::address destination = find_address(*what.host, what.family());
    const value address = address_value(destination);
    show.line("pinging " + plain_text(address) + " with " + std::to_string(what.options.data_size) +
              " bytes");
    const tally all = send(destination, what, show);
    return {{"host", *what.host},
            {"address", address},
            {"data_size", what.options.data_size},
            {"sent", all.sent},
            {"answered", all.times.size()},
            {"lost", all.sent - all.times.size()},
            {"round_trip_time", times_value(all.times)},
            {"last_error", all.last_error}};
}

operation prepare(parameters& expected) {
    auto what = std::make_shared<ping_request>();
    what->host = add_host(expected, "HOST", "The host's name or address");
    what->family = add_family(expected);
    expected.add_number("--count", what->count, "Number of echo requests to send", 1, 65535);
    expected.add_number("--size", what->options.data_size, "Bytes of data in each", 0, 65500);
    expected.add_number("--ttl", what->options.time_to_live, "Maximum number of hops", 1, 255);
    expected.add_number("--timeout", what->timeout, "Milliseconds to wait for each answer", 1, 60000);
    expected.add_flag("--df", what->options.dont_fragment, "Do not fragment");
    return [what](const progress& show) {
        what->options.timeout = std::chrono::milliseconds(what->timeout);
        return ping(*what, show);
    };
}

std::string text(const value& result) {
    const std::int64_t lost_percent = result["lost"].number() * 100 / result["sent"].number();
    std::string line = plain_text(result["sent"]) + " sent, " + plain_text(result["answered"]) +
                       " answered, " + std::to_string(lost_percent) + "% lost\n";
    const value& times = result["round_trip_time"];
    if (!times.is_null()) {
        const std::string average = plain_text(times["average"]);
        line += "minimum " + milliseconds_text(times["minimum"]) + ", average " +
                (average.starts_with('0') ? "<1" : average) + " ms, maximum " +
                milliseconds_text(times["maximum"]) + "\n";
    }
    return line;
}

value failure(const value& result) {
    return result["answered"] == 0 ? result["last_error"] : value();
}

} // namespace

const command ping_command = {
    .name = "ping",
    .summary = "See whether a host answers, and how fast",
    .examples = {"ping www.example.com", "ping 192.0.2.1 --count 1 --timeout 500"},
    .prepare = prepare,
    .text = text,
    .failure = failure,
    .row_text = reply_line,
};
