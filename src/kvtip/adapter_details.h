#pragma once

// What adapters are, and what costs more system calls than to list them.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstdint>
#include <span>

#include "kvtip/block.h"
#include "kvtip/kvtip.h"
#include "kvtip/mib_table.h"

namespace kvtip::library {

/// What an interface of that type is (`kvtip_adapter_kind`).
std::uint32_t kind_of_type(std::uint32_t type);

/// What the system's tables of interfaces and routes add to the adapters.
class adapter_details {
public:
    /// Fetches the tables, while the libraries are held. Of `all` adapters, their indexes, states and metrics
    /// count. Returns 8 without memory, otherwise 0: what the system does not have is in `missing`. Throws
    /// `std::bad_alloc`.
    std::uint32_t fetch(std::span<const kvtip_adapter> all);
    std::uint32_t missing() const;

    /// Adds what is known of the adapter in that row.
    void write(block& out, kvtip_adapter& row) const;

    /// The default route with the least metric, of IPv4 if there is one, otherwise of IPv6. Returns 0, 10051
    /// without one, or the code for which the routes are not known.
    std::uint32_t default_route(kvtip_route_entry& route) const;

private:
    std::uint32_t find_default_route(std::span<const kvtip_adapter> all);

    mib_table<MIB_IF_TABLE2> interfaces_;
    kvtip_route_entry default_route_{};
    std::uint32_t interfaces_code_ = 0;
    std::uint32_t route_code_ = 0;
};

} // namespace kvtip::library
