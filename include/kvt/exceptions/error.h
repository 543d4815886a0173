#pragma once

#include "kvt/exceptions/base.h"

namespace kvt::exceptions {

/// A system call failed. The code is the one that `GetLastError` returned.
class error : public detail::base {
public:
    /// Makes an exception with the address of its caller as origin.
    KVTIP_NOINLINE error(std::uint32_t error_code, std::string message)
        : base(KVTIP_RETURN_ADDRESS(), error_code, std::move(message)) {}
};

} // namespace kvt::exceptions
