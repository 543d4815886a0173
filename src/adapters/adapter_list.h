#pragma once

// The system's list of adapters, for the enumerator and the list of DNS servers.

#include "binding/system_list.h"
#include "ip/detail/helper.h"

namespace ip::detail {

/// Fetches the list by `GetAdaptersAddresses`, which must be bound.
inline unsigned long get_adapters(membuffer& buffer, std::uint32_t family, std::uint32_t flags) {
    return get_list<IP_ADAPTER_ADDRESSES>(buffer, 15360, ERROR_BUFFER_OVERFLOW, [=](auto* list, ULONG* size) {
        return the_helper().iphlpapi.GetAdaptersAddresses(family, flags, nullptr, list, size);
    });
}

/// The flags that the system accepts for that list: it can list gateways from version 6.
inline std::uint32_t adapter_list_flags() {
    return the_helper().is_version_6_or_later() ? GAA_FLAG_INCLUDE_GATEWAYS : 0;
}

} // namespace ip::detail
