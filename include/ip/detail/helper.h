#pragma once

// The order of the platform's own headers matters to them: sockets before windows.h.
#include "ip/detail/winsock_impl.h"

#include "ip/detail/dnsapi_impl.h"
#include "ip/detail/iphlpapi_impl.h"
#include "ip/detail/owners.h"

#include <cstdint>
#include <memory>

namespace ip::detail {

/// What the system says of itself when the library is loaded.
struct system_version {
    RTL_OSVERSIONINFOEXW version{};
    /// 2 once the version has been asked for.
    std::uint32_t probe_state = 0;
    /// What `GetProductInfo` reports; 0 on systems before version 6, which are not asked.
    std::uint32_t product_type = 0;

    /// Throws `kvt::exceptions::error` when the module or the entry to ask is missing.
    system_version();

    /// Whether this is a system of major version 6 or later.
    bool is_version_6_or_later() const noexcept { return version.dwMajorVersion >= 6; }
};

/// The process-wide binding state: one object, made when the library is loaded and dropped when it is
/// unloaded, or with the last client handle that still shares it.
struct helper : system_version {
    iphlpapi_impl iphlpapi;
    dnsapi_impl dnsapi;
    winsock_impl winsock;

    /// Guards `init_count` and the start and stop of the bindings. Always taken before a binding's own
    /// lock, never after it.
    critical_section lock;
    /// Successful `lib::init` calls that no `lib::free` has matched yet.
    std::int32_t init_count = 0;

    helper() = default;
    helper(const helper&) = delete;
    helper& operator=(const helper&) = delete;

    /// Stops the bindings once, whatever the count, and frees what is still loaded.
    ~helper();

    /// Undoes one count of `init_count`, and stops the bindings when none is left. Returns `stop`'s
    /// result, or 0.
    unsigned long drop_init();

    /// Unloads the IP Helper binding and, if it is started, cleans the socket binding up. Returns the
    /// socket library's error, failing that the IP Helper library's, or 0. The DNS binding is left alone.
    unsigned long stop();
};

/// Makes the one helper; its exception makes the load of the DLL fail.
void create_helper();

/// Puts the helper under shared ownership and registers the release of this share for the unload.
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
