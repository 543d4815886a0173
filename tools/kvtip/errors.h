#pragma once

#include <string>

#include "kvt/exceptions/error.h"

/// Throws `kvt::exceptions::error` for a code that is not 0.
inline void check(unsigned long code, const char* call) {
    if (code != 0) {
        throw kvt::exceptions::error(code, call);
    }
}

/// The system's text for an error code, on one line.
std::string system_message(unsigned long code);

/// "10061: Connection refused.": an error code with its meaning.
std::string code_text(unsigned long code, const std::string& meaning);
std::string code_text(unsigned long code);
