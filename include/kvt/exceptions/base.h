#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "ip/export.h"

namespace kvt::exceptions::detail {

/// The base of the library's exceptions. The classes are complete in their headers and are matched by name
/// across modules, so that a client can catch what the DLL throws.
class base : public std::exception {
public:
    /// The message that the exception was made with.
    const char* what() const noexcept override { return message_.c_str(); }

    /// The code address that the exception's constructor was called from, for diagnostics.
    std::uint64_t origin() const noexcept { return origin_; }

    /// A Win32 error code; 0xFFFFFFFF when there is none.
    std::uint32_t error_code() const noexcept { return error_code_; }

protected:
    /// `origin` is the code address that the derived constructor was called from.
    base(const void* origin, std::uint32_t error_code, std::string message)
        : message_(std::move(message)), origin_(reinterpret_cast<std::uintptr_t>(origin)),
          error_code_(error_code) {}

private:
    std::string message_;
    std::uint64_t origin_;
    std::uint32_t error_code_;
};

} // namespace kvt::exceptions::detail
