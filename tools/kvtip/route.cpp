#include "kvtip/routes.hpp"

#include "arguments.h"
#include "command.h"
#include "layout.h"
#include "network_values.h"

namespace {

value route_to(const std::string& host, kvtip::family family) {
    const kvtip::address destination = find_address(host, family);
    const kvtip::route way = kvtip::route_to(destination);
    return {{"destination", address_value(destination)},
            {"interface_index", way.interface_index},
            {"adapter", text_or_null(way.adapter)},
            {"network", text_or_null(way.network.text())},
            {"source", address_value(way.source)},
            {"next_hop", address_value(way.next_hop)},
            {"on_link", way.on_link},
            {"metric", optional_value(way.metric)}};
}

operation prepare(parameters& expected) {
    const auto host = add_host(expected, "DESTINATION", "A host's name or address; nothing is sent to it");
    return [host, family = add_family(expected)](const progress&) { return route_to(*host, family()); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "interface", result["interface_index"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "source", result["source"]);
    append_field(fields, "gateway",
                 result["on_link"].truth() ? value("none: on the link") : result["next_hop"]);
    append_field(fields, "route", result["network"]);
    append_field(fields, "metric", result["metric"]);
    return fields;
}

} // namespace

const command route_command = {
    .name = "route",
    .summary = "Show the adapter, the source address and the gateway that lead to a host",
    .examples = {"route 192.0.2.1", "route www.example.com --family 4"},
    .prepare = prepare,
    .text = text,
};
