#pragma once

// The system's protocol for lists, and the list of adapters that several services ask for.

#include <winsock2.h>

#include <iphlpapi.h>

#include "ip/detail/helper.h"
#include "ip/membuffer.h"

namespace ip::detail {

/// Fetches a list: a buffer of `first_size`, and one more try when the call asks for more (111). `call` gets
/// the buffer and the in/out size and returns the system's code; after 0 the list is what `buffer.get(0)`
/// gives. Returns the last call's code, or 8 when memory is exhausted.
template <class List, class Call>
unsigned long get_list(membuffer& buffer, ULONG first_size, Call call) {
    ULONG size = first_size;
    auto* list = static_cast<List*>(buffer.get(size));
    if (list == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    const unsigned long code = call(list, &size);
    if (code != ERROR_BUFFER_OVERFLOW) {
        return code;
    }
    list = static_cast<List*>(buffer.get(size));
    return list == nullptr ? ERROR_NOT_ENOUGH_MEMORY : call(list, &size);
}

/// The adapters by `GetAdaptersAddresses`, which must be bound.
inline unsigned long get_adapters(membuffer& buffer, std::uint32_t family, std::uint32_t flags) {
    return get_list<IP_ADAPTER_ADDRESSES>(buffer, 15360, [=](auto* list, ULONG* size) {
        return the_helper().iphlpapi.GetAdaptersAddresses(family, flags, nullptr, list, size);
    });
}

/// The flags that the system takes for that list: gateways are listed from version 6 on.
inline std::uint32_t adapter_list_flags() {
    return the_helper().is_version_6() ? GAA_FLAG_INCLUDE_GATEWAYS : 0;
}

} // namespace ip::detail
