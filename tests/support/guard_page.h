#pragma once

// Memory that ends at an inaccessible page: touching one byte too many crashes on the spot.

#include <windows.h>

#include <cstddef>
#include <cstring>
#include <map>
#include <new>
#include <vector>

class guarded_buffer {
public:
    explicit guarded_buffer(std::size_t size) : usable_((size / page + 1) * page) {
        // The system takes long to hand out pages, so they are used again.
        if (auto& spare = spare_pages[usable_]; !spare.empty()) {
            pages_ = spare.back();
            spare.pop_back();
            std::memset(pages_, 0, usable_); // as new ones are
        } else {
            pages_ = VirtualAlloc(nullptr, usable_ + page, MEM_RESERVE, PAGE_NOACCESS);
            if (pages_ == nullptr || !VirtualAlloc(pages_, usable_, MEM_COMMIT, PAGE_READWRITE)) {
                throw std::bad_alloc();
            }
        }
        data_ = static_cast<std::byte*>(pages_) + usable_ - size;
    }
    ~guarded_buffer() {
        std::memset(pages_, 0xDD, usable_); // for readers that come too late
        spare_pages[usable_].push_back(pages_);
    }
    guarded_buffer(guarded_buffer&&) = delete;

    std::byte* data() const noexcept { return data_; }

private:
    static constexpr std::size_t page = 4096;
    inline static std::map<std::size_t, std::vector<void*>> spare_pages;

    std::size_t usable_;
    void* pages_;
    std::byte* data_;
};
