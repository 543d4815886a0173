#include <windows.h>

#include <chrono>
#include <cmath>
#include <optional>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "interruption.h"
#include "kvtip/socket.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

constexpr unsigned longest_timeout = 86400;

struct target {
    std::shared_ptr<const std::string> host;
    std::function<kvtip::family()> family;
    std::optional<std::uint32_t> port;
    double timeout = 30; ///< in seconds
};

value error_or_null(std::error_code error) {
    return error ? error_value(static_cast<std::uint32_t>(error.value())) : value();
}

value attempt_value(const kvtip::connect_attempt& attempt) {
    return {{"remote", endpoint_value(attempt.remote)},
            {"start", attempt.start.count()},
            {"time", attempt.time.count()},
            {"error", error_or_null(attempt.error)}};
}

value result_value(const kvtip::connect_result& made, std::error_code error) {
    value result = value::object();
    if (!error) {
        result.add("local", endpoint_value(made.local));
        result.add("remote", endpoint_value(made.remote));
        for (const kvtip::connect_attempt& each : made.attempts) {
            result.add("time", each.error ? value() : value(each.time.count()));
        }
    }
    result.add("lookup_time", made.lookup_time.count());
    result.add("connect_time", (made.time - made.lookup_time).count());
    result.add("attempts", list_of(made.attempts, attempt_value));
    result.add("last_error", error_or_null(error));
    return result;
}

value connect_to(const target& to) {
    const std::string host = with_numeric_scope(*to.host);
    check_scope(kvtip::address::parse(host).value_or(kvtip::address()));
    const ctrl_c interrupted;
    std::error_code error;
    const kvtip::connect_result made =
        kvtip::connect(host, static_cast<std::uint16_t>(*to.port),
                       {.timeout = std::chrono::milliseconds(std::lround(std::ceil(to.timeout * 1e3))),
                        .family = to.family(),
                        .cancel = interrupted.get()},
                       error);
    if (error && made.attempts.empty()) {
        throw std::system_error(error);
    }
    return result_value(made, error);
}

operation prepare(parameters& expected) {
    auto to = std::make_shared<target>();
    to->host = add_host(expected, "HOST", "The host's name or address");
    expected.add_number("PORT", to->port, "The TCP port", 1, 65535);
    to->family = add_family(expected);
    expected.add_seconds("--timeout", to->timeout, "Seconds for the lookup and all attempts; 30 unless given",
                         longest_timeout);
    return [to](const progress&) { return connect_to(*to); };
}

std::string start_text(const value& milliseconds) {
    return plain_text(milliseconds) + " ms";
}

/// What came of an attempt; when another has connected, those still under way were given up.
std::string outcome_text(const value& error, bool is_connected) {
    if (error.is_null()) {
        return "connected";
    }
    return is_connected && error["code"] == ERROR_OPERATION_ABORTED ? "given up" : error_text(error);
}

std::string text(const value& result) {
    constexpr column columns[] = {{"ADDRESS", "remote", endpoint_text},
                                  {"START", "start", start_text},
                                  {"TIME", "time", milliseconds_text},
                                  {"RESULT", "outcome"}};
    const bool is_connected = result.has("local");
    const value shown = list_of(result["attempts"].elements(), [&](const value& attempt) {
        value line = attempt;
        line.add("outcome", outcome_text(attempt["error"], is_connected));
        return line;
    });
    std::string fields;
    if (is_connected) {
        append_field(fields, "local", endpoint_text(result["local"]));
        append_field(fields, "remote", endpoint_text(result["remote"]));
    }
    append_field(fields, "lookup", milliseconds_text(result["lookup_time"]));
    append_field(fields, "connect", milliseconds_text(result["connect_time"]));
    return table_text(shown, columns, "") + fields;
}

value failure(const value& result) {
    return result["last_error"];
}

} // namespace

const command connect_command = {
    .name = "connect",
    .summary = "Connect to a TCP port of a host, and show each attempt",
    .examples = {"connect www.example.com 80", "connect www.example.com 443 --family 4 --timeout 3"},
    .prepare = prepare,
    .text = text,
    .failure = failure,
};
