#pragma once

// The way to a destination.

#include <cstdint>
#include <optional>
#include <string>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"

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
        result = {found->interface_index,
                  found->adapter,
                  network(found->network),
                  address(found->source),
                  address(found->next_hop),
                  found->on_link != 0,
                  std::nullopt};
        if (found->metric != KVTIP_UNKNOWN_METRIC) {
            result.metric = found->metric;
        }
    }
    return result;
}

#if KVTIP_HAS_EXCEPTIONS
inline route route_to(const address& destination, std::uint32_t interface_index = 0) {
    return detail::or_throw("kvtip::route_to", [&](std::error_code& error) {
        return route_to(destination, interface_index, error);
    });
}
#endif

} // namespace v1
} // namespace kvtip
