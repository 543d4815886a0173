#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "ip/export.h"

namespace kvt::exceptions::detail {

/// What every exception of the library carries. The classes are complete in their headers and are
/// matched by name across modules, so a client catches what the DLL throws.
class base : public std::exception {
public:
    /// Exactly the message the exception was made with.
    const char* what() const noexcept override { return message_.c_str(); }

    /// The code address the exception's constructor was called from, for diagnostics.
    std::uint64_t origin() const noexcept { return origin_; }

    /// A Win32 error code; 0xFFFFFFFF where there is none.
    std::uint32_t error_code() const noexcept { return error_code_; }

protected:
    base(const void* origin, std::uint32_t error_code, std::string message)
        : message_(std::move(message)), origin_(reinterpret_cast<std::uintptr_t>(origin)),
          error_code_(error_code) {}

private:
    std::string message_;
    std::uint64_t origin_;
    std::uint32_t error_code_;
};

} // namespace kvt::exceptions::detail
