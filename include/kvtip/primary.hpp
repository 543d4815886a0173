#pragma once

// How this host reaches the network.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvtip/adapters.hpp"

namespace kvtip {
inline namespace v1 {

/// How this host reaches the network: the adapter, and how it is set up.
struct primary_adapter {
    std::uint32_t interface_index = 0;           ///< of the interface that the route leads through
    std::string adapter;                         ///< the name of its adapter as users see it
    std::string guid;                            ///< of the adapter, in braces
    std::uint32_t type = 0;                      ///< IANA ifType, as of `kvtip::adapter`
    adapter_kind kind = adapter_kind::other;     ///< tells virtual adapters and tunnels apart
    std::optional<bool> physical = std::nullopt; ///< whether it is a device; none if unknown
    /// Of route and interface together; none if unknown.
    std::optional<std::uint32_t> metric = std::nullopt;
    kvtip::address address;                  ///< the host's address there; no address if it has none
    int prefix_length = unknown_prefix;      ///< of the on-link prefix of the address
    kvtip::address next_hop;                 ///< the router; no address without one
    std::vector<kvtip::address> dns_servers; ///< the usable ones of the adapter

    /// The on-link network; none if the length of its prefix is unknown.
    constexpr kvtip::network network() const noexcept { return kvtip::network::of(address, prefix_length); }
};

/// Finds the adapter through which this host reaches a destination, or without one everything beyond its
/// links: `kvtip_primary`.
inline primary_adapter primary(const address& destination, std::error_code& error) {
    const auto found = detail::fetch<kvtip_primary_adapter>(
        error, [&](auto** out) { return kvtip_primary(destination ? &destination.native() : nullptr, out); });
    if (!found) {
        return {};
    }
    return {found->interface_index,
            found->adapter,
            found->guid,
            found->type,
            static_cast<adapter_kind>(found->kind),
            detail::to_truth(found->physical),
            detail::to_metric(found->metric),
            address(found->address),
            static_cast<int>(found->prefix_length),
            address(found->next_hop),
            detail::to_addresses(found->dns_servers, found->dns_server_count)};
}

#if KVTIP_HAS_EXCEPTIONS
inline primary_adapter primary(const address& destination = {}) {
    return detail::or_throw("kvtip::primary",
                            [&](std::error_code& error) { return primary(destination, error); });
}
#endif

} // namespace v1
} // namespace kvtip
