#include "heap.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cxxabi.h>
#include <stdexcept>

namespace {

constinit bool watching = false;
constinit std::atomic<int> paused = 0;
constinit std::size_t asked = 0;
constinit std::size_t largest_asked = 0;
constinit std::size_t first_denied = 0;
constinit bool deny_all_later = false;
constinit void* blocks[4096] = {};
constinit std::size_t block_count = 0;

bool counts() {
    return watching && paused == 0;
}

bool denied(std::size_t size) {
    if (!counts()) {
        return false;
    }
    largest_asked = std::max(largest_asked, size);
    const std::size_t number = asked++;
    return number == first_denied || (deny_all_later && number > first_denied);
}

void* noted(void* block) {
    if (counts() && block != nullptr && block_count < std::size(blocks)) {
        blocks[block_count++] = block;
    }
    return block;
}

void forget(void* block) {
    void** const end = blocks + block_count;
    void** const found = std::find(blocks, end, block);
    if (block != nullptr && found != end) {
        *found = *(end - 1);
        --block_count;
    }
}

} // namespace

extern "C" {
void* __real_malloc(std::size_t);
void* __real_calloc(std::size_t, std::size_t);
void* __real_realloc(void*, std::size_t);
void __real_free(void*);

void* __wrap_malloc(std::size_t size) {
    return denied(size) ? nullptr : noted(__real_malloc(size));
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return denied(count * size) ? nullptr : noted(__real_calloc(count, size));
}
void* __wrap_realloc(void* block, std::size_t size) {
    if (denied(size)) {
        return nullptr;
    }
    forget(block);
    return noted(__real_realloc(block, size));
}
void __wrap_free(void* block) {
    forget(block);
    __real_free(block);
}
}

namespace heap {

watch::watch(std::size_t denied, bool persistent) {
    asked = 0;
    largest_asked = 0;
    block_count = 0;
    first_denied = denied;
    deny_all_later = persistent;
    watching = true;
}
watch::~watch() {
    watching = false;
}
std::size_t watch::allocations() const {
    return asked;
}
std::size_t watch::largest() const {
    return largest_asked;
}
std::size_t watch::live() const {
    return block_count;
}

pause::pause() {
    ++paused;
}
pause::~pause() {
    --paused;
}

void warm_up_exceptions() {
    try {
        throw std::runtime_error("warm-up");
    } catch (const std::exception&) {
    }
    const watch one_denied(0); // the pool makes its lock now, while it can
    abi::__cxa_free_exception(abi::__cxa_allocate_exception(64));
}

} // namespace heap
