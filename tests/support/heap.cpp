#include "heap.h"

#include <windows.h>

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

// These replace the C runtime's functions, and use the heap of the process. They cannot call the runtime's
// functions, because LLVM's linker would lead such a call back here.
extern "C" {
void* __wrap_malloc(std::size_t size) {
    return heap::ask([=] { return HeapAlloc(GetProcessHeap(), 0, size); });
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return heap::ask([=] { return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, count * size); });
}
void* __wrap_realloc(void* block, std::size_t size) {
    return heap::ask([=] {
        heap::forget(block);
        return block == nullptr ? HeapAlloc(GetProcessHeap(), 0, size)
                                : HeapReAlloc(GetProcessHeap(), 0, block, size);
    });
}
void __wrap_free(void* block) {
    heap::forget(block);
    HeapFree(GetProcessHeap(), 0, block);
}
}
