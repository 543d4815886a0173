#pragma once

#include <cstdlib>

/// Ends the fuzzer's run, which reports the input, unless the condition holds.
inline void check(bool condition) {
    if (!condition)
        std::abort();
}
