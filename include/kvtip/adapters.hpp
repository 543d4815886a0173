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
    {6, "Ethernet"},          {23, "PPP"},     {24, "loopback"},   {53, "virtual"},
    {71, "IEEE 802.11"},      {131, "tunnel"}, {144, "IEEE 1394"}, {243, "mobile broadband"},
    {244, "mobile broadband"}};
/// The name of an interface type; empty for one that is not common.
constexpr std::string_view interface_type_name(std::uint32_t type) noexcept {
    return detail::name_in<std::uint32_t>(interface_type_names, type);
}

/// What an adapter is. Ethernet adapters that are something else by their medium, or without a device, are only
/// known as such with `details`.
enum class adapter_kind : std::uint32_t {
    other = KVTIP_KIND_OTHER,
    ethernet = KVTIP_KIND_ETHERNET,
    wifi = KVTIP_KIND_WIFI,
    loopback = KVTIP_KIND_LOOPBACK,
    tunnel = KVTIP_KIND_TUNNEL, ///< IPv6 over IPv4, and the like
    ppp = KVTIP_KIND_PPP,       ///< dial-up connections, and many to private networks
    mobile = KVTIP_KIND_MOBILE, ///< mobile broadband
    bluetooth = KVTIP_KIND_BLUETOOTH,
    virtual_adapter = KVTIP_KIND_VIRTUAL ///< made by software: of virtual machines and private networks
};

inline constexpr detail::named<adapter_kind> adapter_kind_names[] = {
    {adapter_kind::other, "other"},
    {adapter_kind::ethernet, "Ethernet"},
    {adapter_kind::wifi, "Wi-Fi"},
    {adapter_kind::loopback, "loopback"},
    {adapter_kind::tunnel, "tunnel"},
    {adapter_kind::ppp, "PPP"},
    {adapter_kind::mobile, "mobile broadband"},
    {adapter_kind::bluetooth, "Bluetooth"},
    {adapter_kind::virtual_adapter, "virtual"}};
constexpr std::string_view to_string(adapter_kind value) noexcept {
    return detail::name_in<adapter_kind>(adapter_kind_names, value);
}

/// Where the network part of an address comes from.
enum class prefix_origin : std::uint32_t {
    other = KVTIP_PREFIX_OTHER, ///< also if it is not known
    manual = KVTIP_PREFIX_MANUAL,
    well_known = KVTIP_PREFIX_WELL_KNOWN, ///< such as fe80::/64
    dhcp = KVTIP_PREFIX_DHCP,
    router_advertisement = KVTIP_PREFIX_ROUTER_ADVERTISEMENT
};

inline constexpr detail::named<prefix_origin> prefix_origin_names[] = {
    {prefix_origin::other, "other"},
    {prefix_origin::manual, "manual"},
    {prefix_origin::well_known, "well known"},
    {prefix_origin::dhcp, "DHCP"},
    {prefix_origin::router_advertisement, "router advertisement"}};
constexpr std::string_view to_string(prefix_origin value) noexcept {
    return detail::name_in<prefix_origin>(prefix_origin_names, value);
}

/// Where the rest of an address comes from.
enum class suffix_origin : std::uint32_t {
    other = KVTIP_SUFFIX_OTHER, ///< also if it is not known
    manual = KVTIP_SUFFIX_MANUAL,
    well_known = KVTIP_SUFFIX_WELL_KNOWN,
    dhcp = KVTIP_SUFFIX_DHCP,
    link_layer = KVTIP_SUFFIX_LINK_LAYER, ///< made of the hardware address, or in its place
    random = KVTIP_SUFFIX_RANDOM
};

inline constexpr detail::named<suffix_origin> suffix_origin_names[] = {
    {suffix_origin::other, "other"},           {suffix_origin::manual, "manual"},
    {suffix_origin::well_known, "well known"}, {suffix_origin::dhcp, "DHCP"},
    {suffix_origin::link_layer, "link layer"}, {suffix_origin::random, "random"}};
constexpr std::string_view to_string(suffix_origin value) noexcept {
    return detail::name_in<suffix_origin>(suffix_origin_names, value);
}

/// The state of an address.
enum class address_state : std::uint32_t {
    invalid = KVTIP_ADDRESS_INVALID,
    tentative = KVTIP_ADDRESS_TENTATIVE,   ///< the system still finds out whether another host has it
    duplicate = KVTIP_ADDRESS_DUPLICATE,   ///< another host on the link has it
    deprecated = KVTIP_ADDRESS_DEPRECATED, ///< valid, but not for new connections
    preferred = KVTIP_ADDRESS_PREFERRED,
    unknown = KVTIP_ADDRESS_UNKNOWN ///< the system does not report the state
};

inline constexpr detail::named<address_state> address_state_names[] = {
    {address_state::invalid, "invalid"},     {address_state::tentative, "tentative"},
    {address_state::duplicate, "duplicate"}, {address_state::deprecated, "deprecated"},
    {address_state::preferred, "preferred"}, {address_state::unknown, "unknown"}};
constexpr std::string_view to_string(address_state value) noexcept {
    return detail::name_in<address_state>(address_state_names, value);
}

/// The lifetime of an address that stays for good.
inline constexpr std::chrono::seconds infinite_lifetime{KVTIP_INFINITE_LIFETIME};

/// Stands for the length of a prefix that the system does not report.
inline constexpr int unknown_prefix = KVTIP_UNKNOWN_PREFIX;

/// A unicast address of an adapter.
struct adapter_address {
    kvtip::address address;
    int prefix_length = unknown_prefix; ///< of the on-link prefix
    /// When the lease began and ends; none without a finite lifetime.
    std::optional<std::chrono::sys_seconds> lease_obtained = std::nullopt;
    std::optional<std::chrono::sys_seconds> lease_expires = std::nullopt;
    kvtip::prefix_origin prefix_origin = prefix_origin::other;
    kvtip::suffix_origin suffix_origin = suffix_origin::other;
    address_state state = address_state::unknown;
    bool temporary = false; ///< an IPv6 address that the system replaces from time to time, for privacy
    /// For how long it stays preferred, and until the adapter loses it; none if unknown.
    std::optional<std::chrono::seconds> preferred_lifetime = std::nullopt;
    std::optional<std::chrono::seconds> valid_lifetime = std::nullopt;

    /// The on-link network; none if the length of its prefix is unknown.
    constexpr kvtip::network network() const noexcept { return kvtip::network::of(address, prefix_length); }
};

/// What an adapter has received, or sent, since it came up.
struct traffic {
    std::uint64_t bytes = 0;
    std::uint64_t unicast_packets = 0;
    std::uint64_t multicast_packets = 0; ///< and broadcast ones
    std::uint64_t errors = 0;            ///< packets with errors, which were dropped
    std::uint64_t discards = 0;          ///< packets without errors that were dropped, as for lack of room
};

struct adapter_counters {
    traffic received;
    traffic sent;
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
    std::uint64_t transmit_speed = 0; ///< of the link, in bits per second; 0 if unknown
    std::uint64_t receive_speed = 0;
    std::uint32_t mtu = 0; ///< the largest packet in bytes: 0 if unknown, 4294967295 without a limit
    adapter_kind kind = adapter_kind::other;
    // The rest is only there with `details`.
    std::optional<bool> physical = std::nullopt; ///< whether it is a device; none if unknown
    bool primary = false;                        ///< the default route leads through it: `kvtip::primary`
    std::optional<adapter_counters> counters = std::nullopt; ///< none if the system has none for the adapter
};

/// Which adapters to list.
struct adapter_options {
    /// Only adapters with that family, and of their addresses, gateways and DNS servers only those of that
    /// family; none: both.
    kvtip::family family = family::none;
    bool up = false;      ///< only adapters that are up
    bool details = false; ///< asks for what costs more system calls: `physical`, `primary`, `counters`

    kvtip_adapter_options native() const noexcept {
        return {sizeof(kvtip_adapter_options), static_cast<std::uint32_t>(family), up ? 1u : 0u,
                details ? 1u : 0u};
    }
};

using adapter_list = listing<adapter>;

namespace detail {

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

inline std::optional<std::chrono::seconds> to_lifetime(std::uint32_t seconds) {
    return seconds == KVTIP_UNKNOWN_LIFETIME ? std::nullopt : std::optional(std::chrono::seconds(seconds));
}

inline adapter_address to_adapter_address(const kvtip_adapter_address& row) {
    return {address(row.address),
            static_cast<int>(row.prefix_length),
            to_date(row.lease_obtained),
            to_date(row.lease_expires),
            static_cast<prefix_origin>(row.prefix_origin),
            static_cast<suffix_origin>(row.suffix_origin),
            static_cast<address_state>(row.state),
            row.temporary != 0,
            to_lifetime(row.preferred_lifetime),
            to_lifetime(row.valid_lifetime)};
}

inline std::optional<bool> to_truth(std::uint32_t physical) {
    return physical == KVTIP_UNKNOWN_PHYSICAL ? std::nullopt : std::optional(physical != 0);
}

inline traffic to_traffic(const kvtip_traffic& row) {
    return {row.bytes, row.unicast_packets, row.multicast_packets, row.errors, row.discards};
}

inline std::optional<adapter_counters> to_counters(const kvtip_adapter_counters* row) {
    return row == nullptr ? std::nullopt
                          : std::optional(adapter_counters{to_traffic(row->received), to_traffic(row->sent)});
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
            to_addresses(row.dns_servers, row.dns_server_count),
            row.transmit_speed,
            row.receive_speed,
            row.mtu,
            static_cast<adapter_kind>(row.kind),
            to_truth(row.physical),
            row.primary != 0,
            to_counters(row.counters)};
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

/// Which DNS servers to list.
struct dns_server_options {
    kvtip::family family = family::none; ///< none: both
    /// Only those of adapters that are up, without placeholders, each once, in the order of the adapters'
    /// metrics.
    bool usable = false;

    kvtip_dns_server_options native() const noexcept {
        return {sizeof(kvtip_dns_server_options), static_cast<std::uint32_t>(family), usable ? 1u : 0u};
    }
};

/// Lists the DNS servers of the adapters: `kvtip_dns_servers`.
inline dns_server_list dns_servers(const dns_server_options& options, std::error_code& error) {
    const kvtip_dns_server_options native = options.native();
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

inline dns_server_list dns_servers(const dns_server_options& options = {}) {
    return detail::or_throw("kvtip::dns_servers",
                            [&](std::error_code& error) { return dns_servers(options, error); });
}

inline std::uint32_t scope(std::string_view text) {
    return detail::or_throw("kvtip::scope", [&](std::error_code& error) { return scope(text, error); });
}
#endif

} // namespace v1
} // namespace kvtip
