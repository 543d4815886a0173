#pragma once

#include <memory>

#include "ip/export.h"

namespace ip {

namespace detail {
struct helper;
}

/// Keeps the system's socket and IP Helper libraries bound and started while it is initialised. Any number of
/// handles share one start: the first `init` in the process loads and starts, the last `free` stops and
/// unloads. The operations of this library need such a handle somewhere in the process. Without one, socket
/// calls crash, most IP Helper calls return `ERROR_CALL_NOT_IMPLEMENTED (120)`, and adapters silently come
/// from an older system call that lists IPv4 only. After the last `free` they may crash.
///
/// One handle serves one thread at a time; different handles may be used on different threads. Do not use a
/// handle in `DllMain`: loading and starting under the loader's lock can deadlock. Free every handle before
/// the DLL is unloaded: a handle that is used or destroyed afterwards runs code that is gone.
class lib {
public:
    lib() = default;
    /// Calls `free`.
    ~lib() { free(); }
    lib(const lib&) = delete;
    lib& operator=(const lib&) = delete;

    /// Loads the IP Helper library and starts the socket library (`WSAStartup`, version 1.1) for this handle.
    /// Returns 0, also when the handle is already initialised, or the first of these errors. After a failure
    /// nothing is started and the handle is not initialised.
    /// - The socket library's: `ERROR_MOD_NOT_FOUND (126)` or `ERROR_PROC_NOT_FOUND (127)` when the library
    ///   or an entry is missing, `WSASYSNOTREADY (10091)` or `WSAVERNOTSUPPORTED (10092)` when it cannot
    ///   start.
    /// - The IP Helper library's: `ERROR_MOD_NOT_FOUND (126)` or `ERROR_PROC_NOT_FOUND (127)`.
    ///
    /// When the IP Helper library fails in the first `init`, its count is below zero afterwards, so that a
    /// later `init` succeeds without loading it. Operations that need one of its entries then return a code,
    /// mostly `ERROR_CALL_NOT_IMPLEMENTED (120)`, and adapters come from the older source. `hlpapi::load`
    /// binds the library.
    KVTIP_API unsigned long init() noexcept;

    /// Ends the use of this handle. Returns 0, also for a handle that is not initialised, or the first error
    /// of the stop: that of `WSACleanup`, then those of unloading the two libraries. The handle is not
    /// initialised afterwards, whatever the code.
    KVTIP_API unsigned long free() noexcept;

    /// Whether the system is of major version 6 or later. Needs no `init` and makes no system call.
    KVTIP_API static bool is_ipv6_supported() noexcept;

    /// Whether an adapter that is up and is not the loopback has an address of this family. Walks the
    /// adapters (`GetAdaptersAddresses`), and returns false also when that fails. Throws
    /// `kvt::exceptions::error` when an adapter's name cannot be converted.
    KVTIP_API bool address_family_supported(unsigned short family);

protected:
    /// Whether the handle is initialised.
    bool inited() const noexcept { return inited_; }

private:
    bool inited_ = false;
    std::shared_ptr<detail::helper> owner_;
};

} // namespace ip
