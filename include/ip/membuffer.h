#pragma once

#include <cstddef>

#include "ip/export.h"

namespace ip {

/// A scratch block for system calls that fill a caller's buffer. It grows in steps of 128 bytes, does not
/// keep its contents when it grows, and never shrinks. One object serves one thread at a time.
class membuffer {
public:
    membuffer() = default;
    /// Calls `free`.
    ~membuffer() { free(); }
    membuffer(const membuffer&) = delete;
    membuffer& operator=(const membuffer&) = delete;

    /// Returns a block of at least `size` bytes, rounded up to a multiple of 128; 0 counts as 128. The block
    /// belongs to this object and is valid until the next larger `get` or `free`. A block that is large
    /// enough is returned as it is, with its contents; a smaller one is freed first. Returns null when memory
    /// is exhausted: there is no block then. The 127 largest sizes round up to 0 and return the present
    /// block, or null. Rests on the C runtime's `malloc`.
    KVTIP_API void* get(std::size_t size) noexcept;

    /// Frees the block, if there is one.
    KVTIP_API void free() noexcept;

private:
    void* data_ = nullptr;
    std::size_t capacity_ = 0;
};

} // namespace ip
