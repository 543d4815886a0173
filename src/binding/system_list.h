#pragma once

// Lists that a system call writes into a caller's buffer.

#include <windows.h>

#include "ip/membuffer.h"

namespace ip::detail {

/// How often a call is made for a list or text that is longer each time than the system has said.
inline constexpr int most_attempts = 16;

/// Fetches a list with a first buffer of `first_size` bytes. When the call returns `too_small`, calls once
/// more with the size that it asked for. `call` takes the buffer and the size, which it updates, and returns
/// the system's code. After 0 the list is at `buffer.get(0)`. Returns the last call's code, or
/// `ERROR_NOT_ENOUGH_MEMORY (8)`.
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
