#pragma once

// The system's protocol for lists that a caller's buffer takes.

#include <windows.h>

#include "ip/membuffer.h"

namespace ip::detail {

/// Fetches a list: a buffer of `first_size`, and one more try when the call answers `too_small`. `call` gets
/// the buffer and the in/out size and returns the system's code; after 0 the list is what `buffer.get(0)`
/// gives. Returns the last call's code, or 8 when memory is exhausted.
template <class List, class Call>
unsigned long get_list(membuffer& buffer, ULONG first_size, unsigned long too_small, Call call) {
    ULONG size = first_size;
    auto* list = static_cast<List*>(buffer.get(size));
    if (list == nullptr) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    const unsigned long code = call(list, &size);
    if (code != too_small) {
        return code;
    }
    list = static_cast<List*>(buffer.get(size));
    return list == nullptr ? ERROR_NOT_ENOUGH_MEMORY : call(list, &size);
}

} // namespace ip::detail
