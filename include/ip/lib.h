#pragma once

#include <memory>

#include "ip/export.h"

namespace ip {

namespace detail {
struct helper;
}

/// Keeps the system's socket and IP Helper libraries bound and started while it is initialised. Any
/// number of handles share one start: the first `init` in the process loads and starts, the last `free`
/// stops and unloads. Operations of this library need such a handle somewhere in the process.
///
/// One handle serves one thread at a time; different handles may be used from different threads. Not to
/// be used from `DllMain`: loading and starting under the loader's lock can deadlock. Free every handle
/// before the process ends or the DLL is unloaded: a stop that is left to the unload runs under that lock.
class lib {
public:
    lib() = default;
    /// Calls `free`.
    ~lib() { free(); }
    lib(const lib&) = delete;
    lib& operator=(const lib&) = delete;

    /// Loads the IP Helper library and starts the socket library (`WSAStartup`, version 1.1) for this
    /// handle. Returns 0, also when the handle is initialised already, or the socket library's error
    /// (126 or 127: library or entry missing; 10091, 10092: not usable), failing that the IP Helper
    /// library's (126, 127). A failure leaves nothing started and the handle as it was.
    ///
    /// After a failure of the IP Helper library, also one behind the socket library's error, a later `init`
    /// succeeds without loading it: its count went below zero when the failure was undone. Operations that
    /// need an entry never bound then answer with a code of their own, mostly 120 (adapters come from the
    /// older source); `hlpapi::load` binds the library.
    KVTIP_API unsigned long init();

    /// Ends this handle's use. Returns 0, also for a handle that is not initialised, or the first error
    /// of the stop: that of `WSACleanup`, then those of unloading the two libraries. The handle is free
    /// whatever the code says.
    KVTIP_API unsigned long free();

    /// Whether the system is of major version 6 or later. Needs no `init` and makes no system call.
    KVTIP_API static bool is_ipv6_supported();

    /// Whether an adapter that is up and is not the loopback has an address of this family. Enumerates
    /// the adapters (`GetAdaptersAddresses`); false also when that fails. May throw
    /// `kvt::exceptions::error` where an adapter's name cannot be converted.
    KVTIP_API bool address_family_supported(unsigned short family);

protected:
    bool inited() const noexcept { return inited_; }

private:
    bool inited_ = false;
    std::shared_ptr<detail::helper> owner_;
};

} // namespace ip
