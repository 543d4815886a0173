#pragma once

#include <new>
#include <windows.h>

namespace ip::detail {

/// Runs `operation`, which returns an error code. Returns that code, or `ERROR_NOT_ENOUGH_MEMORY (8)` when
/// the operation ran out of memory.
template <class Operation>
unsigned long report_exhaustion(Operation operation) try {
    return operation();
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

} // namespace ip::detail
