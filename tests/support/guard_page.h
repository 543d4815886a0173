#pragma once

// Memory that ends at an inaccessible page: touching one byte too many crashes on the spot.

#include <windows.h>

#include <cstddef>
#include <memory>
#include <new>

class guarded_buffer {
public:
    explicit guarded_buffer(std::size_t size) {
        SYSTEM_INFO system;
        GetSystemInfo(&system);
        const std::size_t page = system.dwPageSize, usable = (size / page + 1) * page;
        pages_.reset(VirtualAlloc(nullptr, usable + page, MEM_RESERVE, PAGE_NOACCESS));
        if (!pages_ || !VirtualAlloc(pages_.get(), usable, MEM_COMMIT, PAGE_READWRITE))
            throw std::bad_alloc();
        data_ = static_cast<std::byte*>(pages_.get()) + usable - size;
    }

    std::byte* data() const noexcept { return data_; }

private:
    struct release {
        void operator()(void* pages) const noexcept { VirtualFree(pages, 0, MEM_RELEASE); }
    };
    std::unique_ptr<void, release> pages_;
    std::byte* data_;
};
