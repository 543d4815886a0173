#pragma once

// Waiting for changes of this host's interfaces, addresses and routes.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kvtip/adapters.hpp"
#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"
#include "kvtip/missing.hpp"

namespace kvtip {
inline namespace v1 {

/// What has changed.
enum class change_kind : std::uint32_t {
    interface_added = KVTIP_CHANGE_INTERFACE_ADDED,
    interface_removed = KVTIP_CHANGE_INTERFACE_REMOVED,
    /// Its name, DNS suffix, hardware address, indexes, MTU, metrics or DNS servers, or its state
    /// between others than up.
    interface_changed = KVTIP_CHANGE_INTERFACE_CHANGED,
    interface_up = KVTIP_CHANGE_INTERFACE_UP,     ///< it can be used now
    interface_down = KVTIP_CHANGE_INTERFACE_DOWN, ///< it cannot be used any longer
    address_added = KVTIP_CHANGE_ADDRESS_ADDED,
    address_removed = KVTIP_CHANGE_ADDRESS_REMOVED,
    address_changed = KVTIP_CHANGE_ADDRESS_CHANGED, ///< its state; with another prefix it is another address
    route_added = KVTIP_CHANGE_ROUTE_ADDED,
    route_removed = KVTIP_CHANGE_ROUTE_REMOVED,
    route_changed =
        KVTIP_CHANGE_ROUTE_CHANGED ///< its metric or protocol; by another router it is another route
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<change_kind> change_kind_names[] = {
    {change_kind::interface_added, "interface added"},
    {change_kind::interface_removed, "interface removed"},
    {change_kind::interface_changed, "interface changed"},
    {change_kind::interface_up, "interface up"},
    {change_kind::interface_down, "interface down"},
    {change_kind::address_added, "address added"},
    {change_kind::address_removed, "address removed"},
    {change_kind::address_changed, "address changed"},
    {change_kind::route_added, "route added"},
    {change_kind::route_removed, "route removed"},
    {change_kind::route_changed, "route changed"}};
constexpr std::string_view to_string(change_kind value) noexcept {
    return detail::name_in<change_kind>(change_kind_names, value);
}

/// A change of an interface, an address or a route: what it is now, or was before it was removed.
struct change {
    change_kind kind{};
    std::string adapter; ///< the name of the interface's adapter as users see it; empty without an adapter
    /// For the family of the address or route; for an interface the one for IPv4, if there is one.
    std::uint32_t interface_index = 0;
    kvtip::address address;             ///< of an address; otherwise none
    int prefix_length = unknown_prefix; ///< of the address's on-link prefix
    kvtip::address_state address_state = kvtip::address_state::unknown;
    kvtip::network network;                             ///< of a route; otherwise none
    kvtip::address next_hop;                            ///< of a route by a router; otherwise none
    std::optional<std::uint32_t> metric = std::nullopt; ///< of a route and its interface together
};

using change_list = listing<change>;

/// What to watch, and how.
struct watch_options {
    bool addresses = true;
    bool interfaces = true;
    bool routes = true;
    /// Looks for changes this often, also without a signal of the system; 0: only when it signals a change.
    std::chrono::milliseconds poll_interval{0};
    /// After a signal, waits this long for more, so that changes that belong together are reported together;
    /// at most a minute.
    std::chrono::milliseconds merge_time{100};

    kvtip_watch_options native() const noexcept {
        constexpr std::uint32_t nothing = 1U << 31; // which the C function refuses: 0 stands for all
        const std::uint32_t flags = (addresses ? std::uint32_t{KVTIP_WATCH_ADDRESSES} : 0) |
                                    (interfaces ? std::uint32_t{KVTIP_WATCH_INTERFACES} : 0) |
                                    (routes ? std::uint32_t{KVTIP_WATCH_ROUTES} : 0);
        return {sizeof(kvtip_watch_options), flags == 0 ? nothing : flags, detail::to_wait(poll_interval),
                detail::to_timeout(merge_time)};
    }
};

/// Watches for changes until it is destroyed: `kvtip_watch` makes one. Only one thread at a time may wait, and
/// any thread may cancel.
class [[nodiscard]] watcher {
public:
    watcher() noexcept = default;
    explicit watcher(kvtip_watcher* handle) noexcept : handle_(handle) {}
    ~watcher() { close(); }
    watcher(watcher&& other) noexcept : handle_(other.release()) {}
    watcher& operator=(watcher&& other) noexcept {
        if (this != &other) {
            close();
            handle_ = other.release();
        }
        return *this;
    }

    explicit operator bool() const noexcept { return handle_ != nullptr; }
    /// The watcher of the C interface, which stays this object's.
    kvtip_watcher* native_handle() const noexcept { return handle_; }
    /// Leaves the watcher to the caller, who must close it with `kvtip_watcher_close`.
    kvtip_watcher* release() noexcept { return std::exchange(handle_, nullptr); }

    void close() noexcept { kvtip_watcher_close(release()); }

    /// Waits until something has changed since the last changes that were reported, and lists the differences:
    /// `kvtip_watcher_wait`. A time-out of 0 does not wait, `forever` waits without end. After a time-out or
    /// another error the list is empty, and the next call reports what has changed.
    change_list wait(std::chrono::milliseconds timeout, std::error_code& error) {
        const auto list = detail::fetch<kvtip_change_list>(
            error, [&](auto** out) { return kvtip_watcher_wait(handle_, detail::to_wait(timeout), out); });
        return detail::listing_of<change>(list.get(), [](const kvtip_change& row) {
            return change{static_cast<change_kind>(row.kind),
                          row.adapter,
                          row.interface_index,
                          kvtip::address(row.address),
                          static_cast<int>(row.prefix_length),
                          static_cast<address_state>(row.address_state),
                          network(row.network),
                          kvtip::address(row.next_hop),
                          detail::to_metric(row.metric)};
        });
    }

#if KVTIP_HAS_EXCEPTIONS
    change_list wait(std::chrono::milliseconds timeout) {
        return detail::or_throw("kvtip::watcher::wait",
                                [&](std::error_code& error) { return wait(timeout, error); });
    }
#endif

    /// Ends the wait of another thread at once, and every later one, with `std::errc::operation_canceled`.
    void cancel() noexcept {
        kvtip_watcher_cancel(handle_);
    }

private:
    kvtip_watcher* handle_ = nullptr;
};

/// Begins to watch: `kvtip_watch`. Every change from now on is reported.
inline watcher watch(const watch_options& options, std::error_code& error) {
    const kvtip_watch_options native = options.native();
    kvtip_watcher* made = nullptr;
    const std::uint32_t code = kvtip_watch(&native, &made);
    watcher result(made);
    detail::report(code, error);
    return result;
}

#if KVTIP_HAS_EXCEPTIONS
inline watcher watch(const watch_options& options = {}) {
    return detail::or_throw("kvtip::watch", [&](std::error_code& error) { return watch(options, error); });
}
#endif

} // namespace v1
} // namespace kvtip
