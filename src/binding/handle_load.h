#pragma once

// The loads of a binding that client handles hold, for the handles of the DNS and IP Helper libraries.

#include "ip/lib.h"

namespace ip::detail {

/// Initialises the handle and loads the binding for it. Returns 0 or the first error; when the load fails,
/// the handle's use ends.
template <class Binding>
unsigned long init_and_load(lib& handle, Binding& binding) {
    if (const unsigned long code = handle.init()) {
        return code;
    }
    const unsigned long code = binding.load();
    if (code != 0) {
        handle.free();
    }
    return code;
}

/// Takes the load back and ends the handle's use. Returns the first error of the two, or 0.
template <class Binding>
unsigned long unload_and_free(lib& handle, Binding& binding) {
    const unsigned long unloaded = binding.unload();
    const unsigned long freed = handle.free();
    return unloaded != 0 ? unloaded : freed;
}

} // namespace ip::detail
