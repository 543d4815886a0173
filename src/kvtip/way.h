#pragma once

// The way to a destination, for every operation that needs it.

#include <cstdint>

#include "kvtip/adapter_rows.h"
#include "kvtip/kvtip.h"

namespace kvtip::library {

/// A route, except for the name of its adapter.
struct way {
    kvtip_route route{};
    adapter_rows adapters;                  ///< all
    const kvtip_adapter* adapter = nullptr; ///< of these the one of the route; null if it has none
};

/// Finds the way, for interface index 0 through any interface, while the libraries are held. If `details` is
/// not null, the adapters have theirs. Returns 0, 10051 without a route, or the system's code. Throws
/// `std::bad_alloc`.
std::uint32_t find_way(const kvtip_address& destination, std::uint32_t interface_index,
                       adapter_details* details, way& found);

} // namespace kvtip::library
