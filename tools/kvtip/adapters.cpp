#include <bit>
#include <ctime>
#include <numeric>
#include <span>

#include <windows.h>

#include "check.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "output.h"

namespace {

json prefix_length_json(const ip::addr& mask) {
    if (mask.family == ip::family_none) {
        return nullptr;
    }
    const std::span<const std::uint8_t> bytes(mask.address, mask.family == ip::family_ipv4 ? 4 : 16);
    return std::accumulate(bytes.begin(), bytes.end(), 0,
                           [](int sum, std::uint8_t byte) { return sum + std::popcount(byte); });
}

json addresses_json(ip::adapter_enumerator& adapters) {
    json result = json::array();
    for (ip::_SFindAddress found; adapters.find_next_addr(found); found = {}) {
        result.push_back({{"address", address_json(found.address)},
                          {"mask", address_json(found.mask)},
                          {"prefix_length", prefix_length_json(found.mask)},
                          {"lease_obtained", number_json(found.lease_obtained)},
                          {"lease_expires", number_json(found.lease_expires)}});
    }
    return result;
}

json adapter_json(const ip::_SFindAdapter& adapter, json addresses) {
    return {{"name", adapter.name},
            {"friendly_name", text_json(adapter.friendly_name)},
            {"description", text_json(adapter.description)},
            {"index", number_json(adapter.index)},
            {"ipv6_index", number_json(adapter.ipv6_index)},
            {"type", adapter.type},
            {"oper_status", adapter.oper_status},
            {"hw_address", bytes_json({adapter.hw_address, adapter.hw_address_length})},
            {"addresses", std::move(addresses)},
            {"gateways", list_json(adapter.gateways)},
            {"dns_servers", list_json(adapter.dns_servers)},
            {"dns_suffix", text_json(adapter.dns_suffix)},
            {"dhcp_enabled", adapter.dhcp_enabled},
            {"dhcp_server", address_json(adapter.dhcp_server)},
            {"dhcpv6_server", address_json(adapter.dhcpv6_server)},
            {"dhcpv6_duid", bytes_json(adapter.dhcpv6_duid)},
            {"dhcpv6_iaid", number_json(adapter.dhcpv6_iaid)},
            {"ipv4_metric", adapter.ipv4_metric},
            {"ipv6_metric", adapter.ipv6_metric},
            {"device_instance_id", text_json(adapter.device_instance_id)}};
}

json list_adapters(const line_sink& /*show*/) {
    json result = json::array();
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
        result.push_back(adapter_json(adapter, addresses_json(adapters)));
        adapter.dhcpv6_iaid = 0; // not written for an adapter without one
    }
    if (const unsigned long code = GetLastError(); code != ERROR_NO_MORE_ITEMS) {
        check(code, "enumeration");
    }
    return result;
}

constexpr number_name types[] = {{6, "Ethernet"},          {23, "PPP"},     {24, "loopback"},
                                 {71, "IEEE 802.11"},      {131, "tunnel"}, {144, "IEEE 1394"},
                                 {243, "mobile broadband"}};
constexpr number_name statuses[] = {
    {1, "up"},      {2, "down"},        {3, "testing"},         {4, "unknown"},
    {5, "dormant"}, {6, "not present"}, {7, "lower layer down"}};

/// "Ethernet (6)", or just the number where it has no name.
std::string named(std::span<const number_name> names, const json& value) {
    const json name = name_json(names, value);
    return name.is_null() ? value.dump() : name.get<std::string>() + " (" + value.dump() + ")";
}

std::string time_text(const json& seconds) {
    const std::time_t time = seconds.is_null() ? 0 : seconds.get<std::time_t>();
    std::tm parts{};
    char text[32] = "?";
    if (gmtime_s(&parts, &time) == 0) {
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    }
    return text;
}

json address_line(const json& address) {
    if (address["address"].is_null()) {
        return nullptr;
    }
    std::string line = address["address"];
    if (!address["prefix_length"].is_null()) {
        line += "/" + address["prefix_length"].dump();
    }
    if (!address["lease_expires"].is_null()) {
        line += "  lease " + time_text(address["lease_obtained"]) + " to " +
                time_text(address["lease_expires"]) + " UTC";
    }
    return line;
}

json address_lines(const json& addresses) {
    json lines = json::array();
    for (const json& address : addresses) {
        lines.push_back(address_line(address));
    }
    return lines;
}

std::string adapter_block(const json& adapter) {
    const json& title = adapter[adapter["friendly_name"].is_null() ? "name" : "friendly_name"];
    std::string text = title.get<std::string>() + "\n";
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
    append_field(text, "DHCP", adapter["dhcp_enabled"] ? json("enabled") : json());
    append_field(text, "DHCP server", adapter["dhcp_server"]);
    append_field(text, "DHCPv6 server", adapter["dhcpv6_server"]);
    append_field(text, "DHCPv6 DUID", adapter["dhcpv6_duid"]);
    append_field(text, "DHCPv6 IAID", adapter["dhcpv6_iaid"]);
    append_field(text, "IPv4 metric", number_json(adapter["ipv4_metric"]));
    append_field(text, "IPv6 metric", number_json(adapter["ipv6_metric"]));
    append_field(text, "device", adapter["device_instance_id"]);
    return text;
}

std::string text(const json& result) {
    std::string blocks;
    for (const json& adapter : result) {
        blocks += (blocks.empty() ? "" : "\n") + adapter_block(adapter);
    }
    return blocks;
}

} // namespace

const command adapters_command = {"adapters", "List the network adapters and how they are set up",
                                  [](CLI::App&) -> operation { return list_adapters; }, text};
