#pragma once

// Memory that ends at an inaccessible page: touching one byte too many crashes on the spot.

#include <windows.h>

#include <cstddef>
#include <new>

class guarded_buffer {
public:
    explicit guarded_buffer(std::size_t size) {
        SYSTEM_INFO system;
        GetSystemInfo(&system);
        const std::size_t page = system.dwPageSize;
        const std::size_t usable = (size + page - 1) / page * page;
        pages_ = static_cast<std::byte*>(
            VirtualAlloc(nullptr, usable + page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        if (!pages_)
            throw std::bad_alloc();
        std::byte* const guard = pages_ + usable;
        data_ = guard - size;
        DWORD before;
        if (!VirtualProtect(guard, page, PAGE_NOACCESS, &before)) {
            VirtualFree(pages_, 0, MEM_RELEASE);
            throw std::bad_alloc();
        }
    }
    ~guarded_buffer() { VirtualFree(pages_, 0, MEM_RELEASE); }
    guarded_buffer(const guarded_buffer&) = delete;
    guarded_buffer& operator=(const guarded_buffer&) = delete;

    std::byte* data() const noexcept { return data_; }

private:
    std::byte* pages_;
    std::byte* data_;
};
