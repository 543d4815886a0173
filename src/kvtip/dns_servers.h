#pragma once

// The DNS servers of adapters.

#include <cstdint>
#include <span>
#include <vector>

#include "kvtip/kvtip.h"

namespace kvtip::library {

/// A DNS server, and the adapter that has it.
struct adapter_server {
    const kvtip_adapter* adapter;
    const kvtip_address* address;
};

/// The DNS servers of these adapters in their order.
std::vector<adapter_server> servers_of(std::span<const kvtip_adapter* const> adapters);

/// Leaves those that the system can ask, each once, in the order of their adapters' metrics.
void keep_usable(std::vector<adapter_server>& servers);

} // namespace kvtip::library
