#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kvtip/detail/call.hpp"
#include "kvtip/kvtip.h"

namespace kvtip {
inline namespace v1 {

/// What a list lacks because this system cannot list it. Values may be combined.
enum class missing : std::uint32_t {
    nothing = 0,
    ipv4 = KVTIP_MISSING_IPV4,
    ipv6 = KVTIP_MISSING_IPV6,
    process_names = KVTIP_MISSING_PROCESS_NAMES,
    direction = KVTIP_MISSING_DIRECTION,
    counters = KVTIP_MISSING_COUNTERS,
    routes = KVTIP_MISSING_ROUTES,
    process_paths = KVTIP_MISSING_PROCESS_PATHS
};

/// Whether `all` contains `one`.
constexpr bool has(missing all, missing one) noexcept {
    return (static_cast<std::uint32_t>(all) & static_cast<std::uint32_t>(one)) != 0;
}

/// Rows, and what this system cannot list.
template <class Row>
struct listing {
    std::vector<Row> rows;
    kvtip::missing missing = missing::nothing;

    auto begin() const noexcept { return rows.begin(); }
    auto end() const noexcept { return rows.end(); }
    std::size_t size() const noexcept { return rows.size(); }
    bool empty() const noexcept { return rows.empty(); }
    const Row& operator[](std::size_t at) const noexcept { return rows[at]; }
};

namespace detail {

/// A list with each row converted to `Row` by `convert(const CRow&)`; empty for null.
template <class Row, class List, class Convert>
listing<Row> listing_of(const List* list, Convert convert) {
    const std::uint32_t missing = list == nullptr ? 0 : list->missing;
    return {rows_of<Row>(list, convert), static_cast<kvtip::missing>(missing)};
}

} // namespace detail
} // namespace v1
} // namespace kvtip
