#pragma once

#include "kvt/exceptions/base.h"

namespace kvt::exceptions {

/// Misuse, or a state that must not occur. Carries no error code (0xFFFFFFFF).
class fatal : public detail::base {
public:
    static constexpr std::uint32_t no_error_code = 0xFFFFFFFF; ///< what `error_code` returns

    /// Makes an exception with the address of its caller as origin.
    KVTIP_NOINLINE explicit fatal(std::string message)
        : base(KVTIP_RETURN_ADDRESS(), no_error_code, std::move(message)) {}

protected:
    /// For a derived class, which passes the address that its constructor was called from.
    fatal(const void* origin, std::string message) : base(origin, no_error_code, std::move(message)) {}
};

} // namespace kvt::exceptions
