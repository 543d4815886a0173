#include <chrono>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include <windows.h>

#include "command.h"
#include "command_line.h"
#include "interruption.h"
#include "kvtip/changes.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned longest = 86400;

milliseconds to_milliseconds(double seconds) {
    return milliseconds(std::lround(std::ceil(seconds * 1e3)));
}

struct watch_request {
    std::string kind;    ///< empty for all
    double interval = 0; ///< in seconds; 0 without one
    double timeout = 0;  ///< the same
    std::optional<std::uint32_t> count;

    kvtip::watch_options options() const {
        const auto is_wanted = [&](const char* of) { return kind.empty() || kind == of; };
        return {.addresses = is_wanted("addresses"),
                .interfaces = is_wanted("interfaces"),
                .routes = is_wanted("routes"),
                .poll_interval = to_milliseconds(interval)};
    }
};

value change_value(const kvtip::change& change) {
    const bool has_prefix = change.prefix_length != kvtip::unknown_prefix;
    const bool has_state = change.address_state != kvtip::address_state::unknown;
    return {{"kind", static_cast<std::uint32_t>(change.kind)},
            {"kind_name", text_or_null(to_string(change.kind))},
            {"adapter", text_or_null(change.adapter)},
            {"interface_index", change.interface_index},
            {"address", address_value(change.address)},
            {"prefix_length", has_prefix ? value(change.prefix_length) : value()},
            {"address_state", has_state ? value(static_cast<std::uint32_t>(change.address_state)) : value()},
            {"address_state_name", has_state ? text_or_null(to_string(change.address_state)) : value()},
            {"network", text_or_null(change.network.text())},
            {"next_hop", address_value(change.next_hop)},
            {"metric", optional_value(change.metric)}};
}

kvtip::watcher open(const watch_request& what) {
    std::error_code error;
    kvtip::watcher watcher = kvtip::watch(what.options(), error);
    if (error == std::errc::function_not_supported && what.interval == 0) {
        throw explained_error(ERROR_CALL_NOT_IMPLEMENTED,
                              "The system does not signal changes: say how often to look, as --interval 1.");
    }
    if (error) {
        throw std::system_error(error);
    }
    return watcher;
}

value watch(const watch_request& what, const progress& show) {
    kvtip::watcher watcher = open(what);
    const on_interruption cancelled([&] { watcher.cancel(); });
    const std::uint64_t most = what.count.value_or(std::numeric_limits<std::uint64_t>::max());
    const auto end = steady_clock::now() + to_milliseconds(what.timeout);
    std::uint64_t count = 0;
    while (count < most) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        std::error_code error;
        const kvtip::change_list changes = watcher.wait(what.timeout > 0 ? left : kvtip::forever, error);
        if (error == std::errc::operation_canceled || error == std::errc::timed_out) {
            break;
        }
        if (error) {
            throw std::system_error(error);
        }
        for (std::size_t i = 0; i < changes.size() && count < most; ++i, ++count) {
            show.row(change_value(changes[i]));
        }
    }
    return {{"changes", count}};
}

operation prepare(parameters& expected) {
    auto what = std::make_shared<watch_request>();
    expected.add_choice("--only", what->kind, "Only changes of these", {"addresses", "interfaces", "routes"});
    expected.add_seconds(
        "--interval", what->interval,
        "Seconds between looks at the network, which find also what the system does not signal", longest);
    expected.add_seconds("--timeout", what->timeout, "End after this many seconds", longest);
    expected.add_number("--count", what->count, "End after this many changes", 1, 4294967295);
    return [what](const progress& show) { return watch(*what, show); };
}

std::string change_line(const value& change) {
    std::string line = plain_text(change["kind_name"]) + "  " + plain_text(change["adapter"]);
    if (change.has("address")) {
        line += "  " + plain_text(change["address"]) +
                (change.has("prefix_length") ? "/" + plain_text(change["prefix_length"]) : "") +
                (change.has("address_state_name") ? "  " + plain_text(change["address_state_name"]) : "");
    }
    if (change.has("network")) {
        line += "  " + plain_text(change["network"]) +
                (change.has("next_hop") ? "  by " + plain_text(change["next_hop"]) : "  on the link") +
                (change.has("metric") ? "  metric " + plain_text(change["metric"]) : "");
    }
    return line;
}

/// The lines of the changes say it all.
std::string text(const value& /*result*/) {
    return {};
}

} // namespace

const command watch_command = {
    .name = "watch",
    .summary = "Show changes of interfaces, addresses and routes until Ctrl-C",
    .examples = {"watch", "watch --only addresses --interval 1 --timeout 3"},
    .prepare = prepare,
    .text = text,
    .row_text = change_line,
};
