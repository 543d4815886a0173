#include "kvtip/adapters.hpp"

#include <ctime>
#include <optional>
#include <span>
#include <vector>

#include "command.h"
#include "layout.h"
#include "network_values.h"

namespace {

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

value own_address_value(const kvtip::adapter_address& found) {
    const bool has_prefix = found.prefix_length != kvtip::unknown_prefix;
    return {{"address", address_value(found.address)},
            {"mask", mask_value(found.network())},
            {"prefix_length", has_prefix ? value(found.prefix_length) : value()},
            {"lease_obtained", date_value(found.lease_obtained)},
            {"lease_expires", date_value(found.lease_expires)}};
}

value adapter_value(const kvtip::adapter& adapter) {
    return {{"name", text_or_null(adapter.name)},
            {"guid", adapter.guid},
            {"description", text_or_null(adapter.description)},
            {"index", number_or_null(adapter.index)},
            {"ipv6_index", number_or_null(adapter.ipv6_index)},
            {"type", adapter.type},
            {"type_name", text_or_null(kvtip::interface_type_name(adapter.type))},
            {"status", static_cast<std::uint32_t>(adapter.status)},
            {"status_name", text_or_null(to_string(adapter.status))},
            {"mac", text_or_null(adapter.mac.text())},
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
            {"device_id", text_or_null(adapter.device_id)}};
}

value list_adapters(const progress& /*show*/) {
    return list_of(kvtip::adapters(), adapter_value);
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
    if (!address["lease_expires"].is_null()) {
        line += "  lease " + time_text(address["lease_obtained"]) + " to " +
                time_text(address["lease_expires"]) + " UTC";
    }
    return line;
}

std::string adapter_block(const value& adapter) {
    const value& title = adapter[adapter.has("name") ? "name" : "guid"];
    std::string text = title.text() + "\n";
    append_field(text, "description", adapter["description"]);
    append_field(text, "GUID", adapter["guid"]);
    append_field(text, "IPv4 index", adapter["index"]);
    append_field(text, "IPv6 index", adapter["ipv6_index"]);
    append_field(text, "type", named(adapter["type"], adapter["type_name"]));
    append_field(text, "status", named(adapter["status"], adapter["status_name"]));
    append_field(text, "MAC", adapter["mac"]);
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
    return text;
}

std::string text(const value& result) {
    std::string blocks;
    for (const value& adapter : result.elements()) {
        blocks += (blocks.empty() ? "" : "\n") + adapter_block(adapter);
    }
    return blocks;
}

} // namespace

const command adapters_command = {
    .name = "adapters",
    .summary = "List the network adapters and how they are set up",
    .examples = {"adapters", "adapters --json"},
    .prepare = [](parameters&) -> operation { return list_adapters; },
    .text = text,
};
