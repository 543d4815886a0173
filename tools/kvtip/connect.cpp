#include <chrono>
#include <cmath>
#include <optional>

#include "arguments.h"
#include "command.h"
#include "kvtip/socket.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned longest_timeout = 86400;

struct target {
    std::shared_ptr<const std::string> host;
    std::optional<std::uint32_t> port;
    double timeout = 0; ///< in seconds; 0 for as long as the system takes

    kvtip::connect_options options() const {
        return {.timeout =
                    timeout > 0 ? milliseconds(std::lround(std::ceil(timeout * 1e3))) : kvtip::forever};
    }
};

/// Tries one address after the other; the error is that of the last one.
value connect_to(const target& to) {
    std::error_code error;
    for (const kvtip::endpoint& remote : find_endpoints(*to.host, static_cast<std::uint16_t>(*to.port))) {
        const auto start = steady_clock::now();
        const kvtip::connect_result made = kvtip::connect(remote, to.options(), error);
        const std::chrono::duration<double, std::milli> taken = steady_clock::now() - start;
        if (!error) {
            return {{"local", endpoint_value(made.local)},
                    {"remote", endpoint_value(made.remote)},
                    {"time", std::round(taken.count() * 100) / 100}};
        }
    }
    throw std::system_error(error);
}

operation prepare(parameters& expected) {
    auto to = std::make_shared<target>();
    to->host = add_host(expected, "HOST", "The host's name or address");
    expected.add_number("PORT", to->port, "The TCP port", 1, 65535);
    expected.add_seconds("--timeout", to->timeout,
                         "Seconds to wait for each address, otherwise as long as the system does",
                         longest_timeout);
    return [to](const progress&) { return connect_to(*to); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "local", endpoint_text(result["local"]));
    append_field(fields, "remote", endpoint_text(result["remote"]));
    append_field(fields, "time", plain_text(result["time"]) + " ms");
    return fields;
}

} // namespace

const command connect_command = {
    .name = "connect",
    .summary = "Connect to a TCP port of a host, and show how it went",
    .examples = {"connect www.example.com 80", "connect ::1 443 --timeout 0.5"},
    .prepare = prepare,
    .text = text,
};
