#pragma once

// The list of adapters that the enumerator and the DNS server list ask for.

#include "binding/system_list.h"
#include "ip/detail/helper.h"

namespace ip::detail {

/// The adapters by `GetAdaptersAddresses`, which must be bound.
inline unsigned long get_adapters(membuffer& buffer, std::uint32_t family, std::uint32_t flags) {
    return get_list<IP_ADAPTER_ADDRESSES>(buffer, 15360, ERROR_BUFFER_OVERFLOW, [=](auto* list, ULONG* size) {
        return the_helper().iphlpapi.GetAdaptersAddresses(family, flags, nullptr, list, size);
    });
}

/// The flags that the system takes for that list: gateways are listed from version 6 on.
inline std::uint32_t adapter_list_flags() {
    return the_helper().is_version_6_or_later() ? GAA_FLAG_INCLUDE_GATEWAYS : 0;
}

} // namespace ip::detail
