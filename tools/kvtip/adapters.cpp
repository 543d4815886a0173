#include "kvtip/adapters.hpp"

#include <ctime>
#include <optional>
#include <span>
#include <vector>

#include "adapter_choice.h"
#include "command.h"
#include "layout.h"
#include "network_values.h"
#include "rate.h"

namespace {

constexpr std::uint32_t no_mtu = 0xFFFFFFFF; ///< of adapters without a limit

/// Bytes as "02-00-5E"; null for none.
value bytes_value(std::span<const std::uint8_t> bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += {digits[byte >> 4], digits[byte & 15], '-'};
    }
    return text_or_null(std::string_view(text).substr(0, text.empty() ? 0 : text.size() - 1));
}

/// The mask of a network: the last of all addresses, less the bits after the prefix.
value mask_value(const kvtip::network& network) {
    const kvtip::address last = kvtip::network::of(network.address(), 0).last();
    return address_value(kvtip::network::of(last, network.prefix_length()).address());
}

value date_value(const std::optional<std::chrono::sys_seconds>& date) {
    return date ? value(date->time_since_epoch().count()) : value();
}

value metric_value(const std::optional<std::uint32_t>& metric) {
    return metric ? value(*metric) : value();
}

/// In seconds; null if it is unknown or infinite.
value lifetime_value(const std::optional<std::chrono::seconds>& lifetime) {
    return lifetime && *lifetime != kvtip::infinite_lifetime ? value(lifetime->count()) : value();
}

value own_address_value(const kvtip::adapter_address& found) {
    const bool has_prefix = found.prefix_length != kvtip::unknown_prefix;
    return {{"address", address_value(found.address)},
            {"mask", mask_value(found.network())},
            {"prefix_length", has_prefix ? value(found.prefix_length) : value()},
            {"lease_obtained", date_value(found.lease_obtained)},
            {"lease_expires", date_value(found.lease_expires)},
            {"prefix_origin", static_cast<std::uint32_t>(found.prefix_origin)},
            {"prefix_origin_name", text_or_null(to_string(found.prefix_origin))},
            {"suffix_origin", static_cast<std::uint32_t>(found.suffix_origin)},
            {"suffix_origin_name", text_or_null(to_string(found.suffix_origin))},
            {"state", found.state == kvtip::address_state::unknown ? value()
                                                                   : static_cast<std::uint32_t>(found.state)},
            {"state_name",
             found.state == kvtip::address_state::unknown ? value() : text_or_null(to_string(found.state))},
            {"temporary", found.temporary},
            {"preferred_lifetime", lifetime_value(found.preferred_lifetime)},
            {"valid_lifetime", lifetime_value(found.valid_lifetime)}};
}

/// Empty if counters were not asked for.
value counters_value(const std::optional<kvtip::adapter_counters>& counters) {
    return counters ? value({{"received", traffic_value(counters->received)},
                             {"sent", traffic_value(counters->sent)}})
                    : value();
}

value adapter_value(const kvtip::adapter& adapter, bool with_counters, bool knows_primary) {
    return {{"name", text_or_null(adapter.name)},
            {"guid", adapter.guid},
            {"description", text_or_null(adapter.description)},
            {"index", number_or_null(adapter.index)},
            {"ipv6_index", number_or_null(adapter.ipv6_index)},
            {"type", adapter.type},
            {"type_name", text_or_null(kvtip::interface_type_name(adapter.type))},
            {"kind", static_cast<std::uint32_t>(adapter.kind)},
            {"kind_name", text_or_null(to_string(adapter.kind))},
            {"physical", adapter.physical ? value(*adapter.physical) : value()},
            {"primary", knows_primary ? value(adapter.primary) : value()},
            {"status", static_cast<std::uint32_t>(adapter.status)},
            {"status_name", text_or_null(to_string(adapter.status))},
            {"mac", text_or_null(adapter.mac.text())},
            {"mtu", adapter.mtu == no_mtu ? value() : number_or_null(adapter.mtu)},
            {"transmit_speed", number_or_null(static_cast<std::int64_t>(adapter.transmit_speed))},
            {"receive_speed", number_or_null(static_cast<std::int64_t>(adapter.receive_speed))},
            {"addresses", list_of(adapter.addresses, own_address_value)},
            {"gateways", list_of(adapter.gateways, address_row)},
            {"dns_servers", list_of(adapter.dns_servers, address_row)},
            {"dns_suffix", text_or_null(adapter.dns_suffix)},
            {"dhcp_enabled", adapter.dhcp_enabled},
            {"dhcp_server", address_value(adapter.dhcp_server)},
            {"dhcpv6_server", address_value(adapter.dhcpv6_server)},
            {"dhcpv6_duid", bytes_value(adapter.dhcpv6_duid)},
            {"dhcpv6_iaid", number_or_null(adapter.dhcpv6_iaid)},
            {"ipv4_metric", metric_value(adapter.ipv4_metric)},
            {"ipv6_metric", metric_value(adapter.ipv6_metric)},
            {"device_id", text_or_null(adapter.device_id)},
            {"counters", with_counters ? counters_value(adapter.counters) : value()}};
}

operation prepare(parameters& expected) {
    const auto up = std::make_shared<bool>(false), counters = std::make_shared<bool>(false);
    const auto list = add_adapter(expected);
    expected.add_flag("--up", *up, "Only adapters that are up");
    expected.add_flag("--counters", *counters, "What they have received and sent");
    return [=](const progress&) {
        const kvtip::adapter_list adapters = list({.up = *up, .details = true});
        const bool knows_primary = !has(adapters.missing, kvtip::missing::routes);
        return list_of(adapters, [=](const kvtip::adapter& each) {
            return adapter_value(each, *counters, knows_primary);
        });
    };
}

/// "Ethernet (6)", or just the number where it has no name.
std::string named(const value& number, const value& name) {
    return name.is_null() ? plain_text(number) : name.text() + " (" + plain_text(number) + ")";
}

std::string time_text(const value& seconds) {
    const std::time_t time = seconds.is_null() ? 0 : static_cast<std::time_t>(seconds.number());
    std::tm parts{};
    char text[32] = "?";
    if (gmtime_s(&parts, &time) == 0) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    }
    return text;
}

value address_line(const value& address) {
    std::string line = address["address"].text();
    if (!address["prefix_length"].is_null()) {
        line += "/" + plain_text(address["prefix_length"]);
    }
    if (address.has("state") && address["state_name"] != value("preferred")) {
        line += "  " + plain_text(address[address.has("state_name") ? "state_name" : "state"]);
    }
    if (address["temporary"].truth()) {
        line += "  temporary";
    }
    if (!address["lease_expires"].is_null()) {
        line += "  lease " + time_text(address["lease_obtained"]) + " to " +
                time_text(address["lease_expires"]) + " UTC";
    }
    return line;
}

/// "Ethernet, primary", and what else is worth a word.
std::string kind_text(const value& adapter) {
    const bool is_virtual = adapter.has("physical") && !adapter["physical"].truth();
    return plain_text(adapter["kind_name"]) + (is_virtual ? ", no device" : "") +
           (adapter["primary"] == value(true) ? ", primary" : "");
}

/// The speeds of a link, one if both are the same.
value speed_text(const value& adapter) {
    if (!adapter.has("transmit_speed")) {
        return nullptr;
    }
    const std::string sent = rate_text(static_cast<double>(adapter["transmit_speed"].number()));
    const std::int64_t received = adapter["receive_speed"].is_null() ? 0 : adapter["receive_speed"].number();
    return adapter["receive_speed"] == adapter["transmit_speed"] || received == 0
               ? sent
               : sent + " out, " + rate_text(static_cast<double>(received)) + " in";
}

std::string traffic_text(const value& traffic) {
    return plain_text(traffic["bytes"]) + " bytes, " + plain_text(traffic["unicast_packets"]) +
           " unicast and " + plain_text(traffic["multicast_packets"]) + " multicast packets, " +
           plain_text(traffic["errors"]) + " errors, " + plain_text(traffic["discards"]) + " discards";
}

std::string adapter_block(const value& adapter) {
    const value& title = adapter[adapter.has("name") ? "name" : "guid"];
    std::string text = title.text() + "\n";
    append_field(text, "description", adapter["description"]);
    append_field(text, "GUID", adapter["guid"]);
    append_field(text, "IPv4 index", adapter["index"]);
    append_field(text, "IPv6 index", adapter["ipv6_index"]);
    append_field(text, "kind", kind_text(adapter));
    append_field(text, "type", named(adapter["type"], adapter["type_name"]));
    append_field(text, "status", named(adapter["status"], adapter["status_name"]));
    append_field(text, "MAC", adapter["mac"]);
    append_field(text, "MTU", adapter["mtu"]);
    append_field(text, "speed", speed_text(adapter));
    append_field(text, "address", list_of(adapter["addresses"].elements(), address_line));
    append_field(text, "gateway", members_of(adapter["gateways"], "address"));
    append_field(text, "DNS server", members_of(adapter["dns_servers"], "address"));
    append_field(text, "DNS suffix", adapter["dns_suffix"]);
    append_field(text, "DHCP", adapter["dhcp_enabled"].truth() ? value("enabled") : value());
    append_field(text, "DHCP server", adapter["dhcp_server"]);
    append_field(text, "DHCPv6 server", adapter["dhcpv6_server"]);
    append_field(text, "DHCPv6 DUID", adapter["dhcpv6_duid"]);
    append_field(text, "DHCPv6 IAID", adapter["dhcpv6_iaid"]);
    append_field(text, "IPv4 metric", adapter["ipv4_metric"]);
    append_field(text, "IPv6 metric", adapter["ipv6_metric"]);
    append_field(text, "device", adapter["device_id"]);
    if (adapter.has("counters")) {
        append_field(text, "received", traffic_text(adapter["counters"]["received"]));
        append_field(text, "sent", traffic_text(adapter["counters"]["sent"]));
    }
    return text;
}

std::string text(const value& result) {
    std::string blocks;
    for (const value& adapter : result.elements()) {
        blocks += (blocks.empty() ? "" : "\n") + adapter_block(adapter);
    }
    return blocks.empty() ? "no adapters\n" : blocks;
}

} // namespace

const command adapters_command = {
    .name = "adapters",
    .summary = "List the network adapters and how they are set up",
    .examples = {"adapters Ethernet --counters", "adapters --up --json"},
    .prepare = prepare,
    .text = text,
};
