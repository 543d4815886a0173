#include <algorithm>
#include <string>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "kvtip/connections.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// What a process does at an address and the port.
struct use {
    kvtip::connection of; ///< the first row
    bool listening = false;
    std::uint32_t connections = 0;

    bool is_of(const kvtip::connection& row) const {
        return row.protocol == of.protocol && row.local == of.local && row.process == of.process;
    }
    void add(const kvtip::connection& row) {
        const bool waits =
            row.protocol == kvtip::protocol::udp || row.state == kvtip::connection_state::listen;
        listening = listening || waits;
        connections += !waits;
    }
};

value use_value(const use& each) {
    const std::error_code& why_no_path = each.of.process_path_error;
    return {{"protocol", static_cast<std::uint32_t>(each.of.protocol)},
            {"protocol_name", text_or_null(to_string(each.of.protocol))},
            {"local", endpoint_value(each.of.local)},
            {"listening", each.listening},
            {"connections", each.connections},
            {"process", process_value(each.of)},
            {"process_name", text_or_null(each.of.process_name)},
            {"process_path", text_or_null(each.of.process_path)},
            {"process_path_error",
             why_no_path ? error_value(static_cast<std::uint32_t>(why_no_path.value())) : value()}};
}

value list_uses(std::uint32_t port, kvtip::protocol protocol) {
    std::vector<use> uses;
    for (const kvtip::connection& row : kvtip::connections({.protocol = protocol,
                                        .local_port = static_cast<std::uint16_t>(port),
                                        .directions = false,
                                        .paths = true})) {
        auto known = std::find_if(uses.begin(), uses.end(), [&](const use& each) { return each.is_of(row); });
        if (known == uses.end()) {
            known = uses.insert(known, {row});
        }
        known->add(row);
    }
    if (uses.empty()) {
        constexpr std::uint32_t not_found = 1168; // ERROR_NOT_FOUND
        const std::string what = std::string(to_string(protocol)) + (to_string(protocol).empty() ? "" : " ");
        throw explained_error(not_found,
                              "Nothing on this host uses " + what + "port " + std::to_string(port) + ".");
    }
    return list_of(uses, use_value);
}

operation prepare(parameters& expected) {
    auto port = std::make_shared<std::optional<std::uint32_t>>();
    expected.add_number("PORT", *port, "A port of this host", 1, 65535);
    return [port, protocol = add_protocol(expected)](const progress&) {
        return list_uses(port->value(), protocol());
    };
}

/// "listens", "3 connections", or both.
std::string use_text(const value& row) {
    const std::int64_t count = row["connections"].number();
    const std::string connections =
        count == 0 ? "" : std::to_string(count) + (count == 1 ? " connection" : " connections");
    const bool listening = row["listening"].truth();
    return (listening ? "listens" : "") + std::string(listening && count != 0 ? ", " : "") + connections;
}

std::string text(const value& result) {
    constexpr int access_denied = 5;
    constexpr column columns[] = {
        {"PROTOCOL", "protocol_name"}, {"LOCAL", "local", endpoint_text}, {"USE", "use"}, {"PID", "process"},
        {"PROCESS", "process_name"},   {"PATH", "process_path"}};
    const value shown = list_of(result.elements(), [](const value& row) {
        value line = row;
        line.add("use", use_text(row));
        if (row.has("process_path_error") && row["process_path_error"]["code"] == value(access_denied)) {
            line.add("process_path", "access denied");
        }
        return line;
    });
    return table_text(shown, columns, "");
}

} // namespace

const command port_command = {
    .name = "port",
    .summary = "Show the processes that listen on a port of this host or use it",
    .examples = {"port 8080", "port 53 --udp"},
    .prepare = prepare,
    .text = text,
};
