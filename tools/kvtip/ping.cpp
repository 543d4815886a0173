#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "layout.h"
#include "network_values.h"
#include "ping_values.h"
#include "sweep.h"

namespace {

using std::chrono::steady_clock;

struct ping_request {
    std::shared_ptr<const std::string> host;
    std::function<kvtip::family()> family;
    std::optional<unsigned> count; ///< 0: until Ctrl-C
    double interval = 0;           ///< in seconds; 0: not given
    unsigned timeout = 4000;       ///< in milliseconds
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
    kvtip::ping_statistics pings;
    value last_error;

    void add(const kvtip::ping_result& result, const value& reply) {
        pings.add(result);
        last_error = is_answered(reply) ? last_error : ping_error(reply);
    }
};

/// Sends one echo request after the other, until Ctrl-C.
tally send(const kvtip::address& destination, const ping_request& what, const progress& show) {
    const std::uint64_t most =
        what.count == 0U ? std::numeric_limits<std::uint64_t>::max() : what.count.value_or(4);
    const std::chrono::duration<double> interval(what.interval > 0 ? what.interval : 1);
    tally result;
    auto next = steady_clock::now();
    while (result.pings.sent() < most && (wait_until(next) || result.pings.sent() == 0)) {
        next = steady_clock::now() + std::chrono::ceil<steady_clock::duration>(interval);
        std::error_code error;
        const kvtip::ping_result found = kvtip::ping(destination, what.options, error);
        if (error == std::errc::operation_canceled) {
            break;
        }
        const value reply = ping_value(found, error);
        show.row(reply);
        result.add(found, reply);
    }
    if (result.pings.sent() == 0) {
        result.last_error = interruption_error();
    }
    return result;
}

value times_value(const kvtip::ping_statistics& pings) {
    return pings.answered() == 0 ? value()
                                 : value{{"minimum", pings.minimum().count()},
                                         {"average", rounded(pings.average().count())},
                                         {"maximum", pings.maximum().count()},
                                         {"jitter", rounded(pings.jitter().count())}};
}

value ping_host(const ping_request& what, const progress& show) {
    const kvtip::address destination = find_address(*what.host, what.family(), what.options.cancel);
    const value address = address_value(destination);
    show.line("pinging " + plain_text(address) + " with " + std::to_string(what.options.data_size) +
              " bytes");
    const tally all = send(destination, what, show);
    return {{"host", *what.host},
            {"address", address},
            {"data_size", what.options.data_size},
            {"sent", all.pings.sent()},
            {"answered", all.pings.answered()},
            {"lost", all.pings.lost()},
            {"loss", rounded(all.pings.loss())},
            {"round_trip_time", times_value(all.pings)},
            {"last_error", all.last_error}};
}

value ping(ping_request& what, const progress& show) {
    const ctrl_c interrupted;
    what.options.timeout = std::chrono::milliseconds(what.timeout);
    what.options.cancel = interrupted.get();
    if (!is_network(*what.host)) {
        return ping_host(what, show);
    }
    if (what.count || what.interval > 0 || what.family() != kvtip::family::none) {
        throw usage_error(
            "the hosts of a network are pinged once each: --count, --interval and --family are for one host");
    }
    return sweep(*what.host, what.options, show);
}

operation prepare(parameters& expected) {
    auto what = std::make_shared<ping_request>();
    what->host =
        add_host(expected, "HOST",
                 "The host's name or address, or a network such as 192.0.2.0/24 of at most 65536 addresses");
    what->family = add_family(expected);
    expected.add_number("--count", what->count,
                        "Number of echo requests to send; 4 unless given, 0: until Ctrl-C", 0, 4294967295);
    expected.add_seconds("--interval", what->interval, "Seconds from one request to the next; 1 unless given",
                         86400);
    expected.add_number("--size", what->options.data_size, "Bytes of data in each request", 0, 65500);
    expected.add_number("--ttl", what->options.time_to_live, "Maximum number of hops", 1, 255);
    expected.add_number("--timeout", what->timeout, "Milliseconds to wait for each answer", 1, 60000);
    expected.add_flag("--df", what->options.dont_fragment, "Do not fragment");
    return [what](const progress& show) { return ping(*what, show); };
}

/// A mean of milliseconds, of which less than one is shown as such.
std::string mean_text(const value& milliseconds) {
    const std::string text = plain_text(milliseconds);
    return (text.starts_with('0') ? "<1" : text) + " ms";
}

std::string text(const value& result) {
    if (result.has("network")) {
        return sweep_text(result);
    }
    std::string line = plain_text(result["sent"]) + " sent, " + plain_text(result["answered"]) +
                       " answered, " + plain_text(result["loss"]) + "% lost\n";
    const value& times = result["round_trip_time"];
    if (!times.is_null()) {
        line += "minimum " + milliseconds_text(times["minimum"]) + ", average " +
                mean_text(times["average"]) + ", maximum " + milliseconds_text(times["maximum"]) +
                ", jitter " + mean_text(times["jitter"]) + "\n";
    }
    return line;
}

value failure(const value& result) {
    return result["answered"] == 0 ? result["last_error"] : value();
}

std::string row_text(const value& row) {
    return row.has("address") ? sweep_line(row) : reply_line(row);
}

} // namespace

const command ping_command = {
    .name = "ping",
    .summary = "See whether hosts answer, and how fast",
    .examples = {"ping www.example.com --interval 0.2", "ping 192.0.2.0/24 --timeout 500"},
    .prepare = prepare,
    .text = text,
    .failure = failure,
    .row_text = row_text,
};
