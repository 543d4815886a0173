#pragma once

#include <cstdint>

#include "kvtip/kvtip.h"

namespace kvtip {
inline namespace v1 {

/// What a list lacks because this system cannot list it. Values may be combined.
enum class missing : std::uint32_t {
    nothing = 0,
    ipv4 = KVTIP_MISSING_IPV4,
    ipv6 = KVTIP_MISSING_IPV6,
    process_names = KVTIP_MISSING_PROCESS_NAMES,
    direction = KVTIP_MISSING_DIRECTION
};

/// Whether `all` contains `one`.
constexpr bool has(missing all, missing one) noexcept {
    return (static_cast<std::uint32_t>(all) & static_cast<std::uint32_t>(one)) != 0;
}

namespace detail {

template <class List>
constexpr kvtip::missing missing_of(const List* list) noexcept {
    return list == nullptr ? kvtip::missing::nothing : static_cast<kvtip::missing>(list->missing);
}

} // namespace detail
} // namespace v1
} // namespace kvtip
