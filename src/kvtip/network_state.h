#pragma once

// What a watcher compares.

#include <cstdint>
#include <vector>

#include "kvtip/adapter_rows.h"
#include "kvtip/kvtip.h"

namespace kvtip::library {

/// This host's interfaces, addresses and routes at one moment.
class network_state {
public:
    /// Looks at what the flags of `kvtip_watch` name, while the libraries are held. Returns 0 or the system's
    /// code. Throws `std::bad_alloc`.
    std::uint32_t take(std::uint32_t flags);

    /// Lists what of that is different in a later state that was taken with the same flags. Null without a
    /// difference. Throws `std::bad_alloc`.
    const kvtip_change_list* changes_to(const network_state& later, std::uint32_t flags) const;

private:
    adapter_rows adapters_;
    std::vector<kvtip_route_entry> routes_; ///< with the names of `adapters_`, none unless wanted
    std::uint32_t missing_ = 0;
};

} // namespace kvtip::library
