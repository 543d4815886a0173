#include <algorithm>
#include <vector>

#include <windows.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/adapter_enumerator.h"
#include "layout.h"
#include "network_values.h"

namespace {

/// Null if the next hop is not known, and if the destination is on a local link: the next hop is then a local
/// address or none.
value gateway_value(const ip::saddr& next_hop) {
    if (next_hop.family == ip::family_none) {
        return nullptr;
    }
    std::vector<ip::addr> local;
    check(ip::localaddresses(local, next_hop.family), "localaddresses");
    value direct = address_list(local);
    direct.add("0.0.0.0");
    direct.add("::");
    const value gateway = address_value(next_hop);
    const std::vector<value>& elements = direct.elements();
    return std::find(elements.begin(), elements.end(), gateway) == elements.end() ? gateway : value();
}

value route_to(const std::string& host, unsigned short family) {
    const ip::saddr destination = find_first_address(host, family);
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    if (!adapters.find_best(adapter, destination)) {
        check(GetLastError(), "find_best");
    }
    ip::saddr next_hop;
    check(ip::adapter_enumerator::find_best_gateway(adapter, destination, next_hop), "find_best_gateway");
    const bool ipv6 = destination.family == ip::family_ipv6;
    return {{"destination", address_value(destination)},
            {"interface_index", ipv6 ? adapter.ipv6_index : adapter.index},
            {"adapter", display_name(adapter)},
            {"gateway", gateway_value(next_hop)}};
}

value profile_of(const std::string& host, unsigned short family) {
    const ip::saddr destination = find_first_address(host, family);
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    if (!adapters.find_current_profile(profile, destination)) {
        check(GetLastError(), "find_current_profile");
    }
    return {{"destination", address_value(destination)},
            {"adapter", display_name(profile.adapter)},
            {"address", address_value(profile.address)},
            {"mask", address_value(profile.mask)},
            {"gateway", gateway_value(profile.gateway)},
            {"dns_servers", address_list(profile.adapter.dns_servers)},
            {"dial_up", profile.dial_up},
            {"entry_name", text_or_null(profile.entry_name)},
            {"device_type", text_or_null(profile.device_type)},
            {"device_name", text_or_null(profile.device_name)}};
}

template <value (*find)(const std::string& host, unsigned short family)>
operation prepare(parameters& expected, const char* fallback) {
    const auto host =
        add_host(expected, "DESTINATION", "A host's name or address; nothing is sent to it", fallback);
    return [host, family = add_family(expected)](const line_sink&) { return find(*host, family()); };
}

operation prepare_route(parameters& expected) {
    return prepare<route_to>(expected, "");
}

operation prepare_profile(parameters& expected) {
    return prepare<profile_of>(expected, "192.0.2.1"); // reserved for examples: reached by the default route
}

std::string route_text(const value& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "interface", result["interface_index"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "gateway",
                 result["gateway"].is_null() ? value("none: on the link") : result["gateway"]);
    return fields;
}

std::string profile_text(const value& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "address", result["address"]);
    append_field(fields, "mask", result["mask"]);
    append_field(fields, "gateway", result["gateway"]);
    append_field(fields, "DNS server", result["dns_servers"]);
    append_field(fields, "dial-up", result["dial_up"].truth() ? "yes" : "no");
    append_field(fields, "entry", result["entry_name"]);
    append_field(fields, "device type", result["device_type"]);
    append_field(fields, "device", result["device_name"]);
    return fields;
}

} // namespace

const command route_command = {"route", "Show the adapter and the gateway that lead to a host", prepare_route,
                               route_text};
const command profile_command = {"profile",
                                 "Show the adapter, local address and connection that lead to a host",
                                 prepare_profile, profile_text};
