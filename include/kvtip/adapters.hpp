#pragma once

// Network adapters with their addresses, their DNS servers, and scopes by name.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"
#include "kvtip/missing.hpp"

namespace kvtip {
inline namespace v1 {

enum class adapter_status : std::uint32_t {
    up = KVTIP_ADAPTER_UP,
    down = KVTIP_ADAPTER_DOWN,
    testing = KVTIP_ADAPTER_TESTING,
    unknown = KVTIP_ADAPTER_UNKNOWN,
    dormant = KVTIP_ADAPTER_DORMANT,
    not_present = KVTIP_ADAPTER_NOT_PRESENT,
    lower_layer_down = KVTIP_ADAPTER_LOWER_LAYER_DOWN
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<adapter_status> adapter_status_names[] = {
    {adapter_status::up, "up"},
    {adapter_status::down, "down"},
    {adapter_status::testing, "testing"},
    {adapter_status::unknown, "unknown"},
    {adapter_status::dormant, "dormant"},
    {adapter_status::not_present, "not present"},
    {adapter_status::lower_layer_down, "lower layer down"}};
constexpr std::string_view to_string(adapter_status value) noexcept {
    return detail::name_in<adapter_status>(adapter_status_names, value);
}

/// Common types of interfaces (IANA ifType), and their names.
inline constexpr detail::named<std::uint32_t> interface_type_names[] = {
    {6, "Ethernet"}, {23, "PPP"},        {24, "loopback"},         {71, "IEEE 802.11"},
    {131, "tunnel"}, {144, "IEEE 1394"}, {243, "mobile broadband"}};
/// The name of an interface type; empty for one that is not common.
constexpr std::string_view interface_type_name(std::uint32_t type) noexcept {
    return detail::name_in<std::uint32_t>(interface_type_names, type);
}

/// Stands for the length of a prefix that the system does not report.
inline constexpr int unknown_prefix = KVTIP_UNKNOWN_PREFIX;

/// A unicast address of an adapter.
struct adapter_address {
    kvtip::address address;
    int prefix_length = unknown_prefix; ///< of the on-link prefix
    /// When the lease began and ends; none without a finite lifetime.
    std::optional<std::chrono::sys_seconds> lease_obtained = std::nullopt;
    std::optional<std::chrono::sys_seconds> lease_expires = std::nullopt;

    /// The on-link network; none if the length of its prefix is unknown.
    constexpr kvtip::network network() const noexcept { return kvtip::network::of(address, prefix_length); }
};

/// A network adapter.
struct adapter {
    std::string name;        ///< as users see it: "Ethernet"
    std::string guid;        ///< of the interface, in braces; unique
    std::string description; ///< of the device
    std::string dns_suffix;
    std::string device_id;        ///< the device instance identifier; empty if the device has none
    std::uint32_t index = 0;      ///< the interface index for IPv4; 0 while IPv4 is off
    std::uint32_t ipv6_index = 0; ///< the one for IPv6; 0 while IPv6 is off
    std::uint32_t type = 0;       ///< IANA ifType: 6 Ethernet, 24 loopback, 71 IEEE 802.11, 131 tunnel, ...
    adapter_status status = adapter_status::unknown;
    std::optional<std::uint32_t> ipv4_metric = std::nullopt;
    std::optional<std::uint32_t> ipv6_metric = std::nullopt;
    kvtip::mac mac;
    bool dhcp_enabled = false;
    address dhcp_server;           ///< no address without DHCP
    address dhcpv6_server;         ///< no address without DHCPv6
    std::uint32_t dhcpv6_iaid = 0; ///< the identity association of DHCPv6; 0 without DHCPv6
    std::vector<std::uint8_t> dhcpv6_duid;
    std::vector<adapter_address> addresses;
    std::vector<address> gateways;
    /// Where no IPv6 server is set, Windows lists addresses that lead nowhere: `address::is_dns_placeholder`.
    std::vector<address> dns_servers;
};

/// Which adapters to list.
struct adapter_options {
    /// Only adapters with that family, and of their addresses, gateways and DNS servers only those of that
    /// family; none: both.
    kvtip::family family = family::none;
    bool up = false; ///< only adapters that are up

    kvtip_adapter_options native() const noexcept {
        return {sizeof(kvtip_adapter_options), static_cast<std::uint32_t>(family), up ? 1u : 0u};
    }
};

using adapter_list = listing<adapter>;

namespace detail {

inline std::optional<std::uint32_t> to_metric(std::uint32_t metric) {
    return metric == KVTIP_UNKNOWN_METRIC ? std::nullopt : std::optional(metric);
}

inline std::optional<std::chrono::sys_seconds> to_date(std::int64_t seconds) {
    return seconds == 0 ? std::nullopt
                        : std::optional(std::chrono::sys_seconds(std::chrono::seconds(seconds)));
}

inline std::vector<address> to_addresses(const kvtip_address* first, std::size_t count) {
    std::vector<address> result;
    result.reserve(count);
    for (const kvtip_address* each = first; each != first + count; ++each) {
        result.emplace_back(*each);
    }
    return result;
}

inline adapter_address to_adapter_address(const kvtip_adapter_address& row) {
    return {address(row.address), static_cast<int>(row.prefix_length), to_date(row.lease_obtained),
            to_date(row.lease_expires)};
}

inline adapter to_adapter(const kvtip_adapter& row) {
    return {row.name,
            row.guid,
            row.description,
            row.dns_suffix,
            row.device_id,
            row.index,
            row.ipv6_index,
            row.type,
            static_cast<adapter_status>(row.status),
            to_metric(row.ipv4_metric),
            to_metric(row.ipv6_metric),
            mac(row.mac),
            row.dhcp_enabled != 0,
            address(row.dhcp_server),
            address(row.dhcpv6_server),
            row.dhcpv6_iaid,
            std::vector(row.dhcpv6_duid, row.dhcpv6_duid + row.dhcpv6_duid_size),
            rows_of<adapter_address>(&row.addresses, to_adapter_address),
            to_addresses(row.gateways, row.gateway_count),
            to_addresses(row.dns_servers, row.dns_server_count)};
}

} // namespace detail

/// Lists the network adapters in the system's order: `kvtip_adapters`.
inline adapter_list adapters(const adapter_options& options, std::error_code& error) {
    const kvtip_adapter_options native = options.native();
    const auto list =
        detail::fetch<kvtip_adapter_list>(error, [&](auto** out) { return kvtip_adapters(&native, out); });
    return detail::listing_of<adapter>(list.get(), detail::to_adapter);
}

/// A DNS server of an adapter.
struct dns_server {
    kvtip::address address;
    std::uint32_t interface_index = 0; ///< of the adapter, for the address's family
    bool placeholder = false; ///< fec0:0:0:ffff::1 to ::3, which Windows lists where no IPv6 server is set
    std::string adapter;      ///< the adapter's name as users see it
};

using dns_server_list = listing<dns_server>;

/// Lists the DNS servers of all adapters: `kvtip_dns_servers`.
inline dns_server_list dns_servers(const adapter_options& options, std::error_code& error) {
    const kvtip_adapter_options native = options.native();
    const auto list = detail::fetch<kvtip_dns_server_list>(
        error, [&](auto** out) { return kvtip_dns_servers(&native, out); });
    return detail::listing_of<dns_server>(list.get(), [](const kvtip_dns_server& row) {
        return dns_server{address(row.address), row.interface_index, row.placeholder != 0, row.adapter};
    });
}

/// Finds the scope that the name of an interface or a number stands for: `kvtip_scope`. Returns 0 on failure.
inline std::uint32_t scope(std::string_view text, std::error_code& error) {
    const detail::c_text name(text);
    std::uint32_t result = 0;
    detail::report(name.is_valid() ? kvtip_scope(name.get(), &result) : detail::invalid_parameter, error);
    return result;
}

#if KVTIP_HAS_EXCEPTIONS
inline adapter_list adapters(const adapter_options& options = {}) {
    return detail::or_throw("kvtip::adapters",
                            [&](std::error_code& error) { return adapters(options, error); });
}

inline dns_server_list dns_servers(const adapter_options& options = {}) {
    return detail::or_throw("kvtip::dns_servers",
                            [&](std::error_code& error) { return dns_servers(options, error); });
}

inline std::uint32_t scope(std::string_view text) {
    return detail::or_throw("kvtip::scope", [&](std::error_code& error) { return scope(text, error); });
}
#endif

} // namespace v1
} // namespace kvtip
