#pragma once

// The hosts on the same links, and their hardware addresses.

#include <cstdint>
#include <string_view>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"
#include "kvtip/missing.hpp"

namespace kvtip {
inline namespace v1 {

/// What is known of a neighbour.
enum class neighbour_state : std::uint32_t {
    unreachable = KVTIP_NEIGHBOUR_UNREACHABLE,
    incomplete = KVTIP_NEIGHBOUR_INCOMPLETE,
    probe = KVTIP_NEIGHBOUR_PROBE,
    delay = KVTIP_NEIGHBOUR_DELAY,
    stale = KVTIP_NEIGHBOUR_STALE,
    reachable = KVTIP_NEIGHBOUR_REACHABLE,
    permanent = KVTIP_NEIGHBOUR_PERMANENT,
    unknown = KVTIP_NEIGHBOUR_UNKNOWN ///< the system does not report the state
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<neighbour_state> neighbour_state_names[] = {
    {neighbour_state::unreachable, "unreachable"},
    {neighbour_state::incomplete, "incomplete"},
    {neighbour_state::probe, "probe"},
    {neighbour_state::delay, "delay"},
    {neighbour_state::stale, "stale"},
    {neighbour_state::reachable, "reachable"},
    {neighbour_state::permanent, "permanent"},
    {neighbour_state::unknown, "unknown"}};
constexpr std::string_view to_string(neighbour_state value) noexcept {
    return detail::name_in<neighbour_state>(neighbour_state_names, value);
}

/// A host on the same link, or a multicast group.
struct neighbour {
    kvtip::address address;
    kvtip::mac mac; ///< none without a hardware address
    std::uint32_t interface_index = 0;
    std::uint32_t interface_type = 1; ///< IANA ifType; 1 if unknown
    neighbour_state state = neighbour_state::unknown;
};

/// Which neighbours to list.
struct neighbour_options {
    kvtip::family family = family::none; ///< none: both
    std::uint32_t interface_index = 0;   ///< 0: any

    kvtip_neighbour_options native() const noexcept {
        return {sizeof(kvtip_neighbour_options), static_cast<std::uint32_t>(family), interface_index};
    }
};

using neighbour_list = listing<neighbour>;

/// Lists the neighbours that the system knows: `kvtip_neighbours`.
inline neighbour_list neighbours(const neighbour_options& options, std::error_code& error) {
    const kvtip_neighbour_options native = options.native();
    const auto list = detail::fetch<kvtip_neighbour_list>(
        error, [&](auto** out) { return kvtip_neighbours(&native, out); });
    return detail::listing_of<neighbour>(list.get(), [](const kvtip_neighbour& row) {
        return neighbour{address(row.address), mac(row.mac), row.interface_index, row.interface_type,
                         static_cast<neighbour_state>(row.state)};
    });
}

/// Asks a neighbour for its hardware address: `kvtip_hardware_address`. Interface index 0 leaves the choice
/// to the target's scope or the system. Returns none on failure.
inline mac hardware_address(const address& target, std::uint32_t interface_index, std::error_code& error) {
    kvtip_mac result{};
    detail::report(kvtip_hardware_address(&target.native(), interface_index, &result), error);
    return mac(result);
}

#if KVTIP_HAS_EXCEPTIONS
inline neighbour_list neighbours(const neighbour_options& options = {}) {
    return detail::or_throw("kvtip::neighbours",
                            [&](std::error_code& error) { return neighbours(options, error); });
}

inline mac hardware_address(const address& target, std::uint32_t interface_index = 0) {
    return detail::or_throw("kvtip::hardware_address", [&](std::error_code& error) {
        return hardware_address(target, interface_index, error);
    });
}
#endif

} // namespace v1
} // namespace kvtip
