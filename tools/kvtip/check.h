#pragma once

#include "kvt/exceptions/error.h"

/// Throws `kvt::exceptions::error` for a code that is not 0.
inline void check(unsigned long code, const char* call) {
    if (code != 0) {
        throw kvt::exceptions::error(code, call);
    }
}
