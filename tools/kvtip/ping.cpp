#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>

#include <windows.h>

#include "arguments.h"
#include "command.h"
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

void sleep_until(steady_clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - steady_clock::now());
    if (left.count() > 0) {
        Sleep(static_cast<DWORD>(left.count()));
    }
}

std::string reply_line(const value& reply) {
    if (reply["code"] == 0) {
        return "reply from " + plain_text(reply["address"]) + ": " +
               milliseconds_text(reply["milliseconds"]) +
               (reply["ttl"].is_null() ? "" : ", ttl " + plain_text(reply["ttl"]));
    }
    return "no answer" +
           (reply["address"].is_null() ? "" : ", as " + plain_text(reply["address"]) + " reports") + ": " +
           ping_failure(reply);
}

/// Sends one echo request a second.
value send(const kvtip::address& destination, const ping_request& what, const line_sink& show) {
    value replies = value::list();
    auto next = steady_clock::now();
    for (unsigned sent = 0; sent < what.count; ++sent) {
        sleep_until(next);
        next = steady_clock::now() + std::chrono::seconds(1);
        replies.add(ping_once(destination, what.options));
        show(reply_line(replies.elements().back()));
    }
    return replies;
}

/// Adds a summary of the replies; its times are null if there was no answer.
value with_summary(value result) {
    const std::vector<value>& replies = result["replies"].elements();
    std::vector<std::int64_t> times;
    for (const value& reply : replies) {
        if (reply["code"] == 0) {
            times.push_back(reply["milliseconds"].number());
        }
    }
    const std::size_t sent = replies.size();
    result.add("sent", sent);
    result.add("received", times.size());
    result.add("lost", sent - times.size());
    const bool answered = !times.empty();
    const double sum = std::accumulate(times.begin(), times.end(), 0.0);
    const double average = std::round(sum / static_cast<double>(times.size()) * 100) / 100;
    result.add("minimum", answered ? value(*std::min_element(times.begin(), times.end())) : value());
    result.add("average", answered ? value(average) : value());
    result.add("maximum", answered ? value(*std::max_element(times.begin(), times.end())) : value());
    return result;
}

value ping(const ping_request& what, const line_sink& show) {
    const kvtip::address destination = find_address(*what.host, what.family());
    const value address = address_value(destination);
    show("pinging " + plain_text(address) + " with " + std::to_string(what.options.data_size) + " bytes");
    return with_summary({{"host", *what.host},
                         {"address", address},
                         {"size", what.options.data_size},
                         {"replies", send(destination, what, show)}});
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
    return [what](const line_sink& show) {
        what->options.timeout = std::chrono::milliseconds(what->timeout);
        return ping(*what, show);
    };
}

std::string text(const value& result) {
    const std::int64_t lost_percent = result["lost"].number() * 100 / result["sent"].number();
    std::string line = plain_text(result["sent"]) + " sent, " + plain_text(result["received"]) +
                       " answered, " + std::to_string(lost_percent) + "% lost\n";
    if (!result["average"].is_null()) {
        line += "minimum " + milliseconds_text(result["minimum"]) + ", average " +
                milliseconds_text(result["average"]) + ", maximum " + milliseconds_text(result["maximum"]) +
                "\n";
    }
    return line;
}

std::string failure(const value& result) {
    return result["received"] == 0 ? ping_failure(result["replies"].elements().back()) : "";
}

} // namespace

const command ping_command = {"ping", "See whether a host answers, and how fast", prepare, text, failure};
