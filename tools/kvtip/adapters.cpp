#include <bit>
#include <ctime>
#include <numeric>
#include <span>

#include <windows.h>

#include "all_adapters.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "layout.h"
#include "network_values.h"

namespace {

value prefix_length_value(const ip::addr& mask) {
    if (mask.family == ip::family_none) {
        return nullptr;
    }
    const std::span<const std::uint8_t> bytes(mask.address, mask.family == ip::family_ipv4 ? 4 : 16);
    return std::accumulate(bytes.begin(), bytes.end(), 0,
                           [](int sum, std::uint8_t byte) { return sum + std::popcount(byte); });
}

value addresses_value(ip::adapter_enumerator& adapters) {
    value result = value::list();
    for (ip::_SFindAddress found; adapters.find_next_addr(found); found = {}) {
        result.add({{"address", address_value(found.address)},
                    {"mask", address_value(found.mask)},
                    {"prefix_length", prefix_length_value(found.mask)},
                    {"lease_obtained", number_or_null(found.lease_obtained)},
                    {"lease_expires", number_or_null(found.lease_expires)}});
    }
    return result;
}

value adapter_value(const ip::_SFindAdapter& adapter, value addresses) {
    return {{"name", adapter.name},
            {"friendly_name", text_or_null(adapter.friendly_name)},
            {"description", text_or_null(adapter.description)},
            {"index", number_or_null(adapter.index)},
            {"ipv6_index", number_or_null(adapter.ipv6_index)},
            {"type", adapter.type},
            {"oper_status", adapter.oper_status},
            {"hw_address", bytes_value({adapter.hw_address, adapter.hw_address_length})},
            {"addresses", std::move(addresses)},
            {"gateways", address_list(adapter.gateways)},
            {"dns_servers", address_list(adapter.dns_servers)},
            {"dns_suffix", text_or_null(adapter.dns_suffix)},
            {"dhcp_enabled", adapter.dhcp_enabled},
            {"dhcp_server", address_value(adapter.dhcp_server)},
            {"dhcpv6_server", address_value(adapter.dhcpv6_server)},
            {"dhcpv6_duid", bytes_value(adapter.dhcpv6_duid)},
            {"dhcpv6_iaid", number_or_null(adapter.dhcpv6_iaid)},
            {"ipv4_metric", adapter.ipv4_metric},
            {"ipv6_metric", adapter.ipv6_metric},
            {"device_instance_id", text_or_null(adapter.device_instance_id)}};
}

value list_adapters(const line_sink& /*show*/) {
    value result = value::list();
    for_each_adapter([&](const ip::_SFindAdapter& adapter, ip::adapter_enumerator& adapters) {
        result.add(adapter_value(adapter, addresses_value(adapters)));
    });
    return result;
}

constexpr number_name types[] = {{ip::interface_type_ethernet, "Ethernet"},
                                 {ip::interface_type_ppp, "PPP"},
                                 {ip::interface_type_loopback, "loopback"},
                                 {ip::interface_type_wlan, "IEEE 802.11"},
                                 {ip::interface_type_tunnel, "tunnel"},
                                 {ip::interface_type_ieee1394, "IEEE 1394"},
                                 {ip::interface_type_mobile_broadband, "mobile broadband"}};
constexpr number_name statuses[] = {{ip::oper_status_up, "up"},
                                    {ip::oper_status_down, "down"},
                                    {ip::oper_status_testing, "testing"},
                                    {ip::oper_status_unknown, "unknown"},
                                    {ip::oper_status_dormant, "dormant"},
                                    {ip::oper_status_not_present, "not present"},
                                    {ip::oper_status_lower_layer_down, "lower layer down"}};

/// "Ethernet (6)", or just the number where it has no name.
std::string named(std::span<const number_name> names, const value& number) {
    const value name = name_value(names, static_cast<std::uint32_t>(number.number()));
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
    if (address["address"].is_null()) {
        return nullptr;
    }
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

value address_lines(const value& addresses) {
    value lines = value::list();
    for (const value& address : addresses.elements()) {
        lines.add(address_line(address));
    }
    return lines;
}

std::string adapter_block(const value& adapter) {
    const value& title = adapter[adapter["friendly_name"].is_null() ? "name" : "friendly_name"];
    std::string text = title.text() + "\n";
    append_field(text, "description", adapter["description"]);
    append_field(text, "name", adapter["name"]);
    append_field(text, "IPv4 index", adapter["index"]);
    append_field(text, "IPv6 index", adapter["ipv6_index"]);
    append_field(text, "type", named(types, adapter["type"]));
    append_field(text, "status", named(statuses, adapter["oper_status"]));
    append_field(text, "MAC", adapter["hw_address"]);
    append_field(text, "address", address_lines(adapter["addresses"]));
    append_field(text, "gateway", adapter["gateways"]);
    append_field(text, "DNS server", adapter["dns_servers"]);
    append_field(text, "DNS suffix", adapter["dns_suffix"]);
    append_field(text, "DHCP", adapter["dhcp_enabled"].truth() ? value("enabled") : value());
    append_field(text, "DHCP server", adapter["dhcp_server"]);
    append_field(text, "DHCPv6 server", adapter["dhcpv6_server"]);
    append_field(text, "DHCPv6 DUID", adapter["dhcpv6_duid"]);
    append_field(text, "DHCPv6 IAID", adapter["dhcpv6_iaid"]);
    append_field(text, "IPv4 metric", number_or_null(adapter["ipv4_metric"].number()));
    append_field(text, "IPv6 metric", number_or_null(adapter["ipv6_metric"].number()));
    append_field(text, "device", adapter["device_instance_id"]);
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

const command adapters_command = {"adapters", "List the network adapters and how they are set up",
                                  [](parameters&) -> operation { return list_adapters; }, text};
