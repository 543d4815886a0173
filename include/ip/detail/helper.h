#pragma once

// The platform's headers need their order: sockets before windows.h.
#include "ip/detail/winsock_impl.h"

#include "ip/detail/dnsapi_impl.h"
#include "ip/detail/iphlpapi_impl.h"
#include "ip/detail/owners.h"

#include <cstdint>
#include <memory>

namespace ip::detail {

/// The version of the system, read when the library is loaded.
struct system_version {
    RTL_OSVERSIONINFOEXW version{};
    /// 2 once the version has been read.
    std::uint32_t probe_state = 0;
    /// The type that `GetProductInfo` returns; 0 on systems before version 6, where it is not called.
    std::uint32_t product_type = 0;

    /// Throws `kvt::exceptions::error` when a module or an entry is missing.
    system_version();

    bool is_version_6_or_later() const noexcept { return version.dwMajorVersion >= 6; }
};

/// The process-wide state of the bindings: one object, made when the library is loaded. It is destroyed when
/// the library is unloaded, or with the last client handle that shares it.
struct helper : system_version {
    iphlpapi_impl iphlpapi;
    dnsapi_impl dnsapi;
    winsock_impl winsock;

    /// Guards `init_count` and the start and stop of the bindings. Always taken before a binding's lock.
    critical_section lock;
    /// Successful `lib::init` calls that no `lib::free` has matched yet.
    std::int32_t init_count = 0;

    helper() = default;
    helper(const helper&) = delete;
    helper& operator=(const helper&) = delete;

    /// Stops the bindings once, whatever the count, and frees what is still loaded.
    ~helper();

    /// Takes one `init_count` back, and stops the bindings when none is left. Returns the result of `stop`,
    /// or 0.
    unsigned long drop_init();

    /// Unloads the IP Helper binding and cleans up the socket binding, if that is started. Returns the socket
    /// library's error, otherwise the IP Helper library's, or 0. The DNS binding is not touched.
    unsigned long stop();
};

/// Makes the one helper. An exception makes the load of the DLL fail.
void create_helper();

/// Takes the first share in the helper, and registers its release for the unload.
void own_helper();

/// The one helper. Valid as long as the library is loaded.
helper& the_helper() noexcept;

inline const winsock_impl& bound_winsock() noexcept {
    return the_helper().winsock;
}

inline const iphlpapi_impl& bound_iphlpapi() noexcept {
    return the_helper().iphlpapi;
}

inline const dnsapi_impl& bound_dnsapi() noexcept {
    return the_helper().dnsapi;
}

/// A share in the one helper, for a client handle.
std::shared_ptr<helper> share_helper() noexcept;

} // namespace ip::detail
