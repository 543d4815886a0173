#pragma once

// The system's table of routes, for every operation that needs it.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstdint>

#include "iphlp/endpoint_tables.h"
#include "kvtip/kvtip.h"
#include "kvtip/mib_table.h"

namespace kvtip::library {

/// The routes of a family. The metrics of those of the older system call have that of the interface in them.
kvtip_route_entry to_entry(const MIB_IPFORWARD_ROW2& route);
kvtip_route_entry to_entry(const MIB_IPFORWARDROW& route);

/// The metric of a route together with that of its interface, by its adapter; unknown for null.
std::uint32_t add_interface_metric(std::uint32_t route_metric, const kvtip_adapter* adapter,
                                   std::uint32_t family);

/// The routes of this moment. The libraries must be held.
class route_table {
public:
    /// Fetches the routes of a family, 0 for both. Returns 0, also where the system has no such family, which
    /// sets a bit in `missing()`; 120 without the system calls; or the system's code. Throws
    /// `std::bad_alloc`.
    std::uint32_t fetch(std::uint32_t family);

    /// What the system cannot list: bits of `kvtip_missing`.
    std::uint32_t missing() const { return missing_; }

    /// Calls `use` with each route, as an entry without the name of its adapter. `metric_of` makes its metric
    /// whole.
    template <class Use>
    void for_each(Use use) const {
        const auto use_all = [&](const auto& rows) {
            for (const auto& row : rows) {
                use(to_entry(row));
            }
        };
        use_all(ipv4_.rows());
        use_all(ip::detail::rows_of<MIB_IPFORWARDROW>(older_));
        use_all(ipv6_.rows());
    }

    /// The metric of route and interface together. Null stands for an interface without an adapter.
    std::uint32_t metric_of(const kvtip_route_entry& entry, const kvtip_adapter* adapter) const {
        const std::uint32_t family = entry.network.address.family;
        return family == 4 && !older_.empty() ? entry.metric
                                              : add_interface_metric(entry.metric, adapter, family);
    }

    /// The entry with its metric whole, and with the name of its adapter from a list.
    kvtip_route_entry complete(kvtip_route_entry entry, const kvtip_adapter_list& adapters) const;

private:
    std::uint32_t fetch_ipv4();
    std::uint32_t fetch_ipv6();
    std::uint32_t fetch_older();

    mib_table<MIB_IPFORWARD_TABLE2> ipv4_, ipv6_;
    ip::detail::table_bytes older_; ///< of IPv4, instead of the other
    std::uint32_t missing_ = 0;
};

} // namespace kvtip::library
