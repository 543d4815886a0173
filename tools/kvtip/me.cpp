// The one subcommand that uses a class, since kvtip.hpp does not know remote-access connections.

#include <optional>

#include "arguments.h"
#include "command.h"
#include "encoding.h"
#include "failure.h"
#include "ip/adapter_enumerator.h"
#include "ip/lib.h"
#include "kvtip/primary.hpp"
#include "kvtip/winsock.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// The dial-up connection of the adapter that leads there, if it is one of that interface.
std::optional<ip::_SCurrentProfile> find_dial_up(const kvtip::address& destination,
                                                 std::uint32_t interface_index) {
    ip::lib library;
    ip::adapter_enumerator adapters;
    ip::_SCurrentProfile profile;
    const bool found =
        library.init() == 0 && adapters.find_current_profile(profile, kvtip::to_saddr({destination, 0})) &&
        profile.dial_up &&
        (profile.adapter.index == interface_index || profile.adapter.ipv6_index == interface_index);
    return found ? std::optional(profile) : std::nullopt;
}

void add_text(value& result, const char* name, const std::wstring& from) {
    result.add(name, text_or_null(to_utf8(from)));
}

value find_me(const std::optional<std::string>& host, kvtip::family family) {
    const kvtip::address destination = host ? find_address(*host, family) : kvtip::address();
    const kvtip::primary_adapter way = kvtip::primary(destination);
    const bool has_prefix = way.prefix_length != kvtip::unknown_prefix;
    value result{{"destination", address_value(destination)},
                 {"adapter", text_or_null(way.adapter)},
                 {"guid", text_or_null(way.guid)},
                 {"interface_index", way.interface_index},
                 {"type", number_or_null(way.type)},
                 {"type_name", text_or_null(kvtip::interface_type_name(way.type))},
                 {"kind", static_cast<std::uint32_t>(way.kind)},
                 {"kind_name", text_or_null(to_string(way.kind))},
                 {"physical", way.physical ? value(*way.physical) : value()},
                 {"address", address_value(way.address)},
                 {"prefix_length", has_prefix ? value(way.prefix_length) : value()},
                 {"next_hop", address_value(way.next_hop)},
                 {"metric", optional_value(way.metric)},
                 {"dns_servers", list_of(way.dns_servers, address_row)}};
    // What the router is reached by, this host is: no other destination needs to be made up.
    const kvtip::address end = destination ? destination : way.next_hop ? way.next_hop : way.address;
    const auto dial_up = find_dial_up(end, way.interface_index);
    result.add("dial_up", dial_up.has_value());
    if (dial_up) {
        add_text(result, "entry_name", dial_up->entry_name);
        add_text(result, "device_type", dial_up->device_type);
        add_text(result, "device_name", dial_up->device_name);
    }
    return result;
}

operation prepare(parameters& expected) {
    const auto host = std::make_shared<std::optional<std::string>>();
    expected.add_text("HOST", *host, "The host to reach; without it the Internet, by the default route");
    return [host, family = add_family(expected)](const progress&) {
        if (!*host && family() != kvtip::family::none) {
            throw usage_error("--family needs HOST");
        }
        return find_me(*host, family());
    };
}

std::string text(const value& result) {
    const bool is_device = result["physical"].is_null() || result["physical"].truth();
    std::string fields;
    append_field(fields, "destination", result["destination"]);
    append_field(fields, "adapter",
                 plain_text(result["adapter"]) + " (" + plain_text(result["kind_name"]) +
                     (is_device ? ")" : ", no device)"));
    append_field(fields, "address",
                 plain_text(result["address"]) +
                     (result.has("prefix_length") ? "/" + plain_text(result["prefix_length"]) : ""));
    append_field(fields, "gateway", result["next_hop"]);
    append_field(fields, "DNS server", members_of(result["dns_servers"], "address"));
    append_field(fields, "metric", result["metric"]);
    append_field(fields, "dial-up", result["entry_name"]);
    append_field(fields, "device type", result["device_type"]);
    append_field(fields, "device", result["device_name"]);
    return fields;
}

} // namespace

const command me_command = {
    .name = "me",
    .summary = "Show the address, adapter and gateway by which this host reaches the network",
    .examples = {"me", "me www.example.com"},
    .prepare = prepare,
    .text = text,
};
