#include "kvtip/routes.hpp"

#include <memory>
#include <optional>
#include <string>

#include "arguments.h"
#include "command.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

value row_value(const kvtip::route_entry& row) {
    return {{"network", text_or_null(row.network.text())},
            {"next_hop", address_value(row.next_hop)},
            {"on_link", row.on_link},
            {"interface_index", row.interface_index},
            {"adapter", text_or_null(row.adapter)},
            {"metric", optional_value(row.metric)},
            {"protocol", static_cast<std::uint32_t>(row.protocol)},
            {"protocol_name", text_or_null(to_string(row.protocol))}};
}

operation prepare(parameters& expected) {
    const auto family = add_family(expected);
    auto name = std::make_shared<std::optional<std::string>>();
    expected.add_text("--interface", *name, "Only those through this interface: its name or index");
    return [=](const progress&) {
        const std::uint32_t index = *name ? find_interface(**name) : 0;
        return list_of(kvtip::routes({.family = family(), .interface_index = index}), row_value);
    };
}

std::string text(const value& result) {
    constexpr column columns[] = {{"NETWORK", "network"}, {"NEXT HOP", "next_hop"},
                                  {"ADAPTER", "adapter"}, {"INTERFACE", "interface_index"},
                                  {"METRIC", "metric"},   {"PROTOCOL", "protocol_name"}};
    const value shown = list_of(result.elements(), [](value row) {
        if (row["on_link"].truth()) {
            row.add("next_hop", "on the link");
        }
        return row;
    });
    return table_text(shown, columns, "no routes");
}

} // namespace

const command routes_command = {
    .name = "routes",
    .summary = "List the routes of the system's table",
    .examples = {"routes", "routes --family 4 --interface Ethernet"},
    .prepare = prepare,
    .text = text,
};
