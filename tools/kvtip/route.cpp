#include <algorithm>
#include <vector>

#include <CLI/CLI.hpp>
#include <windows.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "output.h"

namespace {

/// Null where the next hop is not known, and where the destination is on the own link: it is then an own
/// address or none.
json gateway_json(const ip::saddr& next_hop) {
    if (next_hop.family == ip::family_none) {
        return nullptr;
    }
    std::vector<ip::addr> own;
    check(ip::localaddresses(own, next_hop.family), "localaddresses");
    json direct = list_json(own);
    direct.push_back("0.0.0.0");
    direct.push_back("::");
    json gateway = address_json(next_hop);
    return std::find(direct.begin(), direct.end(), gateway) == direct.end() ? gateway : json();
}

json route_to(const std::string& host, unsigned short family) {
    const ip::saddr destination = look_up_first(host, family);
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    if (!adapters.find_best(adapter, destination)) {
        check(GetLastError(), "find_best");
    }
    ip::saddr next_hop;
    check(ip::adapter_enumerator::find_best_gateway(adapter, destination, next_hop), "find_best_gateway");
    const bool ipv6 = destination.family == ip::family_ipv6;
    return {{"destination", address_json(destination)},
            {"interface_index", ipv6 ? adapter.ipv6_index : adapter.index},
            {"adapter", title_of(adapter)},
            {"gateway", gateway_json(next_hop)}};
}

json profile_of(const std::string& host, unsigned short family) {
    const ip::saddr destination = look_up_first(host, family);
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    if (!adapters.find_current_profile(profile, destination)) {
        check(GetLastError(), "find_current_profile");
    }
    return {{"destination", address_json(destination)},
            {"adapter", title_of(profile.adapter)},
            {"address", address_json(profile.address)},
            {"mask", address_json(profile.mask)},
            {"gateway", gateway_json(profile.gateway)},
            {"dns_servers", list_json(profile.adapter.dns_servers)},
            {"dial_up", profile.dial_up},
            {"entry_name", text_json(profile.entry_name)},
            {"device_type", text_json(profile.device_type)},
            {"device_name", text_json(profile.device_name)}};
}

template <json (*find)(const std::string& host, unsigned short family)>
operation prepare(CLI::App& options, const char* otherwise) {
    const auto host =
        add_host(options, "DESTINATION", "A host's name or address; nothing is sent to it", otherwise);
    return [host, family = add_family(options)](const line_sink&) { return find(*host, family()); };
}

operation prepare_route(CLI::App& options) {
    return prepare<route_to>(options, "");
}

operation prepare_profile(CLI::App& options) {
    return prepare<profile_of>(options, "192.0.2.1"); // hardly a host: the way there is the default one
}

std::string route_text(const json& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "interface", result["interface_index"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "gateway",
                 result["gateway"].is_null() ? json("none: on the link") : result["gateway"]);
    return fields;
}

std::string profile_text(const json& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "address", result["address"]);
    append_field(fields, "mask", result["mask"]);
    append_field(fields, "gateway", result["gateway"]);
    append_field(fields, "DNS server", result["dns_servers"]);
    append_field(fields, "dial-up", result["dial_up"] ? "yes" : "no");
    append_field(fields, "entry", result["entry_name"]);
    append_field(fields, "device type", result["device_type"]);
    append_field(fields, "device", result["device_name"]);
    return fields;
}

} // namespace

const command route_command = {"route", "Show the adapter and the gateway that lead to a host", prepare_route,
                               route_text};
const command profile_command = {"profile",
                                 "Show the adapter, own address and connection that lead to a host",
                                 prepare_profile, profile_text};
