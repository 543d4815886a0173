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
            {"gateway", address_value(way.next_hop)}};
}

operation prepare(parameters& expected) {
    const auto host = add_host(expected, "DESTINATION", "A host's name or address; nothing is sent to it");
    return [host, family = add_family(expected)](const line_sink&) { return route_to(*host, family()); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "interface", result["interface_index"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "gateway",
                 result["gateway"].is_null() ? value("none: on the link") : result["gateway"]);
    return fields;
}

} // namespace

const command route_command = {"route", "Show the adapter and the gateway that lead to a host", prepare,
                               text};
