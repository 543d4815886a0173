#pragma once

// Owners of the resources of a binding.

#include <windows.h>

namespace ip::detail {

/// A critical section, for `std::lock_guard`. A thread may lock it again while it holds it.
class critical_section {
public:
    critical_section() noexcept { InitializeCriticalSection(&section_); }
    ~critical_section() { DeleteCriticalSection(&section_); }
    critical_section(const critical_section&) = delete;
    critical_section& operator=(const critical_section&) = delete;

    void lock() noexcept { EnterCriticalSection(&section_); }
    void unlock() noexcept { LeaveCriticalSection(&section_); }

private:
    CRITICAL_SECTION section_;
};

/// A system library loaded at run time. It is freed with this object at the latest.
class module_handle {
public:
    module_handle() = default;
    ~module_handle() { unload(); }
    module_handle(const module_handle&) = delete;
    module_handle& operator=(const module_handle&) = delete;

    /// Loads a library by its file name. False leaves the reason in the last error.
    bool load(const wchar_t* file_name) noexcept {
        handle_ = LoadLibraryW(file_name);
        return handle_ != nullptr;
    }

    /// Returns the entry of that name, or null with the reason in the last error.
    FARPROC find(const char* name) const noexcept { return GetProcAddress(handle_, name); }

    /// Frees the library, if it is loaded. Even when that fails, this object holds it no longer. Returns 0 or
    /// the error.
    unsigned long unload() noexcept {
        if (handle_ == nullptr) {
            return 0;
        }
        const unsigned long code = FreeLibrary(handle_) ? 0 : GetLastError();
        handle_ = nullptr;
        return code;
    }

private:
    HMODULE handle_ = nullptr;
};

} // namespace ip::detail
