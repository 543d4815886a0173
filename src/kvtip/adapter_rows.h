#pragma once

// The adapters as rows, for every operation that needs them.

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "kvtip/kvtip.h"

namespace kvtip::library {

class adapter_details;

struct adapter_rows_freer {
    void operator()(const kvtip_adapter_list* rows) const noexcept {
        std::free(const_cast<kvtip_adapter_list*>(rows));
    }
};

/// A list of adapters in its block.
using adapter_rows = std::unique_ptr<const kvtip_adapter_list, adapter_rows_freer>;

/// Lists the adapters that valid options select, while the libraries are held. The device identifiers cost a
/// walk of the registry. Returns 0, or the code without rows. Throws `std::bad_alloc`.
std::uint32_t list_adapters(const kvtip_adapter_options& options, bool with_device_ids, adapter_rows& rows);

/// The same of all adapters with their details, which the caller can look into.
std::uint32_t list_adapters(adapter_details& details, adapter_rows& rows);

/// The adapter's interface index for a family. Where the system has none for that family, the other one.
constexpr std::uint32_t index_for(const kvtip_adapter& adapter, std::uint32_t family) {
    return (family == 6 && adapter.ipv6_index != 0) || adapter.index == 0 ? adapter.ipv6_index
                                                                          : adapter.index;
}

/// Finds the adapter with that interface index for a family; null without such an adapter.
const kvtip_adapter* find_adapter(const kvtip_adapter_list& adapters, std::uint32_t interface_index,
                                  std::uint32_t family);

} // namespace kvtip::library
