#include <algorithm>
#include <chrono>
#include <cmath>

#include <CLI/CLI.hpp>
#include <windows.h>

#include "arguments.h"
#include "command.h"
#include "echo.h"
#include "output.h"

namespace {

using std::chrono::steady_clock;

struct request {
    std::shared_ptr<const std::string> host;
    std::function<unsigned short()> family;
    unsigned count = 4;
    echo_options options;
};

void sleep_until(steady_clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - steady_clock::now());
    if (left.count() > 0) {
        Sleep(static_cast<DWORD>(left.count()));
    }
}

std::string reply_line(const json& reply) {
    const unsigned long code = reply["code"];
    if (code == 0) {
        return "reply from " + plain_text(reply["address"]) + ": " +
               milliseconds_text(reply["milliseconds"]) +
               (reply["ttl"].is_null() ? "" : ", ttl " + reply["ttl"].dump());
    }
    return "no answer: " + echo_code_text(code) +
           (reply["address"].is_null() ? "" : ", says " + plain_text(reply["address"]));
}

/// Echoes one by one, a second from one to the next.
json send(const ip::saddr& destination, const request& what, const line_sink& show) {
    json replies = json::array();
    for (auto next = steady_clock::now(); replies.size() < what.count;) {
        sleep_until(next);
        next = steady_clock::now() + std::chrono::seconds(1);
        replies.push_back(echo(destination, what.options));
        show(reply_line(replies.back()));
    }
    return replies;
}

/// Adds how the replies were on the whole: times are null where no answer came.
json with_summary(json result) {
    double sum = 0;
    std::uint32_t received = 0;
    json least;
    json most;
    for (const json& reply : result["replies"]) {
        if (reply["code"] == 0) {
            const json& time = reply["milliseconds"];
            least = received == 0 ? time : std::min(least, time);
            most = received == 0 ? time : std::max(most, time);
            sum += time.get<double>();
            ++received;
        }
    }
    const std::size_t sent = result["replies"].size();
    result["sent"] = sent;
    result["received"] = received;
    result["lost"] = sent - received;
    result["minimum"] = least;
    result["average"] = received == 0 ? json() : json(std::round(sum / received * 100) / 100);
    result["maximum"] = most;
    return result;
}

json ping(const request& what, const line_sink& show) {
    const ip::saddr destination = look_up_first(*what.host, what.family());
    const json address = address_json(destination);
    show("pinging " + plain_text(address) + " with " + std::to_string(what.options.size) + " bytes");
    return with_summary({{"host", *what.host},
                         {"address", address},
                         {"size", what.options.size},
                         {"replies", send(destination, what, show)}});
}

operation prepare(CLI::App& options) {
    auto what = std::make_shared<request>();
    what->host = add_host(options, "HOST", "The host's name or address");
    what->family = add_family(options);
    const auto add_number = [&](const char* name, unsigned& value, const char* description, unsigned least,
                                unsigned most) {
        options.add_option(name, value, description)->check(CLI::Range(least, most))->capture_default_str();
    };
    add_number("--count", what->count, "How many echoes to send", 1, 65535);
    add_number("--size", what->options.size, "Bytes of data in each", 0, 65500);
    add_number("--ttl", what->options.ttl, "Time to live: routers it may pass, and one", 1, 255);
    add_number("--timeout", what->options.timeout, "Milliseconds to wait for each answer", 1, 60000);
    options.add_flag("--df", what->options.dont_fragment, "Do not fragment");
    return [what](const line_sink& show) { return ping(*what, show); };
}

std::string text(const json& result) {
    const std::uint64_t sent = result["sent"];
    const std::uint64_t lost = result["lost"];
    std::string line = result["sent"].dump() + " sent, " + result["received"].dump() + " answered, " +
                       std::to_string(lost * 100 / sent) + "% lost\n";
    if (!result["average"].is_null()) {
        line += "minimum " + milliseconds_text(result["minimum"]) + ", average " +
                milliseconds_text(result["average"]) + ", maximum " + milliseconds_text(result["maximum"]) +
                "\n";
    }
    return line;
}

std::string failure(const json& result) {
    return result["received"] == 0 ? echo_failure(result["replies"].back()["code"]) : "";
}

} // namespace

const command ping_command = {"ping", "See whether a host answers, and how fast", prepare, text, failure};
