#pragma once

#include "kvt/exceptions/base.h"

namespace kvt::exceptions {

/// A system call failed: its code is what `GetLastError` said then.
class error : public detail::base {
public:
    KVTIP_NOINLINE error(std::uint32_t error_code, std::string message)
        : base(KVTIP_RETURN_ADDRESS(), error_code, std::move(message)) {}
};

} // namespace kvt::exceptions
