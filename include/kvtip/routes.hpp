#pragma once

// The way to a destination, and the table of routes.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"
#include "kvtip/missing.hpp"

namespace kvtip {
inline namespace v1 {

/// The way to a destination.
struct route {
    std::uint32_t interface_index = 0; ///< of the interface that serves the destination
    std::string adapter;               ///< the name of its adapter as users see it; empty without an adapter
    kvtip::network network;            ///< the destinations that this route is for; none if not known
    address source;                    ///< the host's address that the system would use; none if not known
    address next_hop;                  ///< the router; no address if `on_link`
    bool on_link = false;              ///< the destination is reached without a router
    /// Of route and interface together; none if unknown.
    std::optional<std::uint32_t> metric = std::nullopt;
};

/// Finds the way to a destination: `kvtip_route_to`. Interface index 0 leaves the choice to the system.
inline route route_to(const address& destination, std::uint32_t interface_index, std::error_code& error) {
    const auto found = detail::fetch<kvtip_route>(
        error, [&](auto** out) { return kvtip_route_to(&destination.native(), interface_index, out); });
    route result;
    if (found) {
        result = {found->interface_index,          found->adapter,           network(found->network),
                  address(found->source),          address(found->next_hop), found->on_link != 0,
                  detail::to_metric(found->metric)};
    }
    return result;
}

/// How a route came into the table.
enum class route_protocol : std::uint32_t {
    other = KVTIP_ROUTE_OTHER,
    local = KVTIP_ROUTE_LOCAL,     ///< made by the system for an address or a link of this host
    netmgmt = KVTIP_ROUTE_NETMGMT, ///< set by an administrator, a program or DHCP
    icmp = KVTIP_ROUTE_ICMP,       ///< from an ICMP redirect
    egp = KVTIP_ROUTE_EGP,
    ggp = KVTIP_ROUTE_GGP,
    hello = KVTIP_ROUTE_HELLO,
    rip = KVTIP_ROUTE_RIP,
    is_is = KVTIP_ROUTE_IS_IS,
    es_is = KVTIP_ROUTE_ES_IS,
    igrp = KVTIP_ROUTE_IGRP,
    spf_igp = KVTIP_ROUTE_SPF_IGP,
    ospf = KVTIP_ROUTE_OSPF,
    bgp = KVTIP_ROUTE_BGP,
    idpr = KVTIP_ROUTE_IDPR,
    eigrp = KVTIP_ROUTE_EIGRP,
    dvmrp = KVTIP_ROUTE_DVMRP,
    rpl = KVTIP_ROUTE_RPL,
    dhcp = KVTIP_ROUTE_DHCP,
    auto_static = KVTIP_ROUTE_AUTO_STATIC,       ///< static, from a routing protocol of dial-up links
    static_route = KVTIP_ROUTE_STATIC,           ///< static, from a routing service
    static_non_dod = KVTIP_ROUTE_STATIC_NON_DOD, ///< the same, without opening a dial-up link
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<route_protocol> route_protocol_names[] = {
    {route_protocol::other, "other"},
    {route_protocol::local, "local"},
    {route_protocol::netmgmt, "netmgmt"},
    {route_protocol::icmp, "icmp"},
    {route_protocol::egp, "egp"},
    {route_protocol::ggp, "ggp"},
    {route_protocol::hello, "hello"},
    {route_protocol::rip, "rip"},
    {route_protocol::is_is, "is-is"},
    {route_protocol::es_is, "es-is"},
    {route_protocol::igrp, "igrp"},
    {route_protocol::spf_igp, "spf-igp"},
    {route_protocol::ospf, "ospf"},
    {route_protocol::bgp, "bgp"},
    {route_protocol::idpr, "idpr"},
    {route_protocol::eigrp, "eigrp"},
    {route_protocol::dvmrp, "dvmrp"},
    {route_protocol::rpl, "rpl"},
    {route_protocol::dhcp, "dhcp"},
    {route_protocol::auto_static, "auto-static"},
    {route_protocol::static_route, "static"},
    {route_protocol::static_non_dod, "static-non-dod"}};
constexpr std::string_view to_string(route_protocol value) noexcept {
    return detail::name_in<route_protocol>(route_protocol_names, value);
}

/// A route in the system's table.
struct route_entry {
    kvtip::network network;            ///< the destinations that this route is for
    address next_hop;                  ///< the router, with its scope; no address if `on_link`
    bool on_link = false;              ///< these destinations are reached without a router
    std::uint32_t interface_index = 0; ///< of the interface that serves them
    std::string adapter;               ///< the name of its adapter as users see it; empty without an adapter
    /// Of route and interface together; none if unknown.
    std::optional<std::uint32_t> metric = std::nullopt;
    route_protocol protocol = route_protocol::other;

    /// Whether the route is for destinations that no other route is for.
    bool is_default() const noexcept { return network && network.prefix_length() == 0; }
};

/// Which routes to list.
struct route_options {
    kvtip::family family = family::none; ///< none: both
    std::uint32_t interface_index = 0;   ///< 0: any

    kvtip_route_options native() const noexcept {
        return {sizeof(kvtip_route_options), static_cast<std::uint32_t>(family), interface_index};
    }
};

using route_list = listing<route_entry>;

/// Lists the routes of the system's table: `kvtip_routes`.
inline route_list routes(const route_options& options, std::error_code& error) {
    const kvtip_route_options native = options.native();
    const auto list =
        detail::fetch<kvtip_route_list>(error, [&](auto** out) { return kvtip_routes(&native, out); });
    return detail::listing_of<route_entry>(list.get(), [](const kvtip_route_entry& row) {
        return route_entry{network(row.network),
                           address(row.next_hop),
                           row.on_link != 0,
                           row.interface_index,
                           row.adapter,
                           detail::to_metric(row.metric),
                           static_cast<route_protocol>(row.protocol)};
    });
}

#if KVTIP_HAS_EXCEPTIONS
inline route_list routes(const route_options& options = {}) {
    return detail::or_throw("kvtip::routes", [&](std::error_code& error) { return routes(options, error); });
}

inline route route_to(const address& destination, std::uint32_t interface_index = 0) {
    return detail::or_throw("kvtip::route_to", [&](std::error_code& error) {
        return route_to(destination, interface_index, error);
    });
}
#endif

} // namespace v1
} // namespace kvtip
