// The one subcommand that uses a class, since kvtip.hpp does not know remote-access connections.

#include "arguments.h"
#include "command.h"
#include "encoding.h"
#include "ip/adapter_enumerator.h"
#include "ip/lib.h"
#include "kvtip/routes.hpp"
#include "kvtip/winsock.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

void check(unsigned long code) {
    if (code != 0) {
        throw std::system_error(static_cast<int>(code), kvtip::category());
    }
}

value text_value(const std::wstring& from) {
    return text_or_null(to_utf8(from));
}

value profile_of(const std::string& host, kvtip::family family) {
    const kvtip::address destination = find_address(host, family);
    ip::lib library;
    check(library.init());
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    if (!adapters.find_current_profile(profile, kvtip::to_saddr({destination, 0}))) {
        check(GetLastError());
    }
    std::error_code unused; // without a route, no gateway is known
    const ip::_SFindAdapter& adapter = profile.adapter;
    return {
        {"destination", address_value(destination)},
        {"adapter", adapter.friendly_name.empty() ? value(adapter.name) : text_value(adapter.friendly_name)},
        {"address", address_value(kvtip::to_address(profile.address))},
        {"mask", address_value(kvtip::to_address(profile.mask))},
        {"next_hop", address_value(kvtip::route_to(destination, 0, unused).next_hop)},
        {"dns_servers",
         list_of(adapter.dns_servers,
                 [](const ip::saddr& each) { return address_row(kvtip::to_endpoint(each).address()); })},
        {"dial_up", profile.dial_up},
        {"entry_name", text_value(profile.entry_name)},
        {"device_type", text_value(profile.device_type)},
        {"device_name", text_value(profile.device_name)}};
}

operation prepare(parameters& expected) {
    constexpr const char* example = "192.0.2.1"; // reserved for examples: reached by the default route
    const auto host =
        add_host(expected, "DESTINATION", "A host's name or address; nothing is sent to it", example);
    return [host, family = add_family(expected)](const progress&) { return profile_of(*host, family()); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "adapter", result["adapter"]);
    append_field(fields, "address", result["address"]);
    append_field(fields, "mask", result["mask"]);
    append_field(fields, "gateway", result["next_hop"]);
    append_field(fields, "DNS server", members_of(result["dns_servers"], "address"));
    append_field(fields, "dial-up", result["dial_up"].truth() ? "yes" : "no");
    append_field(fields, "entry", result["entry_name"]);
    append_field(fields, "device type", result["device_type"]);
    append_field(fields, "device", result["device_name"]);
    return fields;
}

} // namespace

const command profile_command = {
    .name = "profile",
    .summary = "Show the adapter, local address and connection that lead to a host",
    .examples = {"profile", "profile www.example.com"},
    .prepare = prepare,
    .text = text,
};
