#pragma once

// What every exported function is wrapped in: it holds the libraries while its work runs, and lets no
// exception out.

#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <utility>
#include <windows.h>

#include "ip/lib.h"
#include "kvt/exceptions/base.h"

namespace kvtip::library {

/// Keeps the system's libraries loaded and started: by one `ip::lib`, and by one more load of the IP Helper
/// library. An earlier start by a class that failed can leave that library's count below zero; the first of
/// the two then only brings it to zero, and the second binds the entries.
class hold {
public:
    hold() = default;
    ~hold() { release(); }
    hold(const hold&) = delete;
    hold& operator=(const hold&) = delete;

    /// Returns 0, or the code of the library that cannot be loaded or started, with nothing held.
    std::uint32_t take() noexcept;
    void release() noexcept;

private:
    std::optional<ip::lib> lib_; ///< none unless taken: one whose start failed still shares the binding state
};

/// The same for the DNS library.
class dns_hold {
public:
    dns_hold() = default;
    ~dns_hold();
    dns_hold(const dns_hold&) = delete;
    dns_hold& operator=(const dns_hold&) = delete;

    std::uint32_t take() noexcept;

private:
    bool counted_ = false;
};

/// Puts the last error back at its end.
class last_error_keeper {
public:
    last_error_keeper() = default;
    ~last_error_keeper() { SetLastError(code_); }
    last_error_keeper(const last_error_keeper&) = delete;
    last_error_keeper& operator=(const last_error_keeper&) = delete;

private:
    const DWORD code_ = GetLastError();
};

/// Runs `work`, which returns a code, and turns its exceptions into codes.
template <class Work>
std::uint32_t guarded(Work&& work) noexcept {
    try {
        return static_cast<std::uint32_t>(std::forward<Work>(work)());
    } catch (const std::bad_alloc&) {
        return ERROR_NOT_ENOUGH_MEMORY;
    } catch (const kvt::exceptions::detail::base& error) {
        return error.error_code();
    } catch (...) {
        return ERROR_INTERNAL_ERROR;
    }
}

/// The same while the libraries are held.
template <class Work>
std::uint32_t held(Work&& work) noexcept {
    hold libraries;
    if (const std::uint32_t code = libraries.take()) {
        return code;
    }
    return guarded(std::forward<Work>(work));
}

/// The code of a call: one that is there but does nothing counts as missing.
constexpr std::uint32_t to_call_code(std::uint32_t code) noexcept {
    return code == ERROR_NOT_SUPPORTED ? ERROR_CALL_NOT_IMPLEMENTED : code;
}

/// Empties an output. False for misuse: a null pointer.
template <class Output>
bool clear(Output* output) noexcept {
    if (output == nullptr) {
        return false;
    }
    *output = Output{};
    return true;
}

} // namespace kvtip::library
