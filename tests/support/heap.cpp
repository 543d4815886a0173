#include "heap.h"

#include <algorithm>
#include <iterator>

namespace heap {

constinit void* blocks[4096] = {};

/// Allocates a block unless it is denied.
template <class Allocate>
void* ask(Allocate allocate) {
    if (!now.watched || paused != 0) {
        return allocate();
    }
    const std::size_t number = now.asked++;
    if (number >= now.first_denied && number <= now.last_denied) {
        return nullptr;
    }
    return blocks[now.live++ % std::size(blocks)] = allocate();
}

void forget(void* block) {
    void** const end = blocks + now.live;
    void** const found = std::find(blocks, end, block);
    if (block != nullptr && found != end) {
        *found = blocks[--now.live];
    }
}

} // namespace heap

extern "C" {
void* __real_malloc(std::size_t);
void* __real_calloc(std::size_t, std::size_t);
void* __real_realloc(void*, std::size_t);
void __real_free(void*);

void* __wrap_malloc(std::size_t size) {
    return heap::ask([=] { return __real_malloc(size); });
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return heap::ask([=] { return __real_calloc(count, size); });
}
void* __wrap_realloc(void* block, std::size_t size) {
    return heap::ask([=] { return heap::forget(block), __real_realloc(block, size); });
}
void __wrap_free(void* block) {
    heap::forget(block);
    __real_free(block);
}
}
