// Watching for changes of interfaces, addresses and routes.

#include <algorithm>
#include <atomic>
#include <bit>
#include <memory>
#include <utility>

#include "kvtip/boundary.h"
#include "kvtip/change_signals.h"
#include "kvtip/deadline.h"
#include "kvtip/network_state.h"
#include "kvtip/options.h"
#include "kvtip/system_entries.h"

namespace kvtip::library {

/// Keeps the module loaded that this code is in.
class own_module {
public:
    own_module() = default;
    ~own_module() {
        if (handle_ != nullptr) {
            FreeLibrary(handle_);
        }
    }
    own_module(const own_module&) = delete;
    own_module& operator=(const own_module&) = delete;

    /// Returns 0 or the system's code.
    std::uint32_t keep() noexcept {
        const auto get_module = entries().GetModuleHandleExW;
        if (get_module == nullptr) {
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
        const auto* inside = std::bit_cast<const wchar_t*>(&kvtip_watch);
        return get_module(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, inside, &handle_) ? 0 : GetLastError();
    }

private:
    HMODULE handle_ = nullptr;
};

} // namespace kvtip::library

using namespace kvtip::library;

struct kvtip_watcher {
public:
    explicit kvtip_watcher(const kvtip_watch_options& options) : options_(options) {}

    /// Subscribes before it takes the first snapshot, so that no change is lost in between.
    std::uint32_t open() {
        if (const std::uint32_t code = libraries_.take()) {
            return code;
        }
        if (const std::uint32_t code = module_.keep()) {
            return code;
        }
        if (const std::uint32_t code = signals_.open()) {
            return code;
        }
        const std::uint32_t code = signals_.subscribe(options_.flags);
        return code != 0 && options_.poll_interval == 0 ? code : look(last_);
    }

    std::uint32_t wait(std::uint32_t timeout, const kvtip_change_list*& changes) {
        const deadline end(timeout);
        for (;;) {
            if (is_cancelled_) {
                return ERROR_OPERATION_ABORTED;
            }
            if (is_due_) {
                const std::uint32_t code = compare(changes);
                if (code != 0 || changes != nullptr) {
                    return code;
                }
                if (end.left() == 0) {
                    return WSAETIMEDOUT;
                }
            }
            const std::uint32_t code = signals_.wait(std::min(end.left(), until_poll()));
            if (code == 0) {
                is_due_ = true;
                wait_for_more(end);
            } else if (code != WSAETIMEDOUT) {
                return code;
            } else if (until_poll() == 0) {
                is_due_ = true;
            } else if (end.left() == 0) {
                return WSAETIMEDOUT;
            }
        }
    }

    void cancel() noexcept {
        is_cancelled_ = true;
        signals_.set();
    }

    std::atomic<bool> is_in_use = false; ///< a thread waits

private:
    std::uint32_t look(network_state& at) {
        const std::uint32_t code = at.take(options_.flags);
        looked_at_ = milliseconds_now();
        return code;
    }

    /// Reports what has changed. Only then the new snapshot takes the place of the old one.
    std::uint32_t compare(const kvtip_change_list*& changes) {
        network_state now;
        std::uint32_t code = signals_.renew();
        if (code != 0 && options_.poll_interval == 0) {
            return code;
        }
        code = look(now);
        if (code == 0) {
            changes = last_.changes_to(now, options_.flags);
            last_ = std::move(now);
            is_due_ = false;
        }
        return code;
    }

    std::uint32_t until_poll() const noexcept {
        if (options_.poll_interval == 0) {
            return KVTIP_FOREVER;
        }
        const std::uint64_t passed = milliseconds_now() - looked_at_;
        return passed < options_.poll_interval ? options_.poll_interval - static_cast<std::uint32_t>(passed)
                                               : 0;
    }

    /// Lets the signals come that belong to the first one.
    void wait_for_more(const deadline& end) const noexcept {
        const deadline burst(std::min(end.left(), options_.merge_time));
        while (!is_cancelled_ && burst.left() != 0 && signals_.wait(burst.left()) == 0) {
        }
    }

    own_module module_; ///< outlives what the system still calls
    hold libraries_;
    kvtip_watch_options options_;
    change_signals signals_;
    network_state last_;
    std::uint64_t looked_at_ = 0;
    bool is_due_ = false; ///< there was a signal, or it is time, since the last comparison
    std::atomic<bool> is_cancelled_ = false;
};

uint32_t kvtip_watch(const kvtip_watch_options* options, kvtip_watcher** watcher) noexcept {
    constexpr std::uint32_t everything = KVTIP_WATCH_ADDRESSES | KVTIP_WATCH_INTERFACES | KVTIP_WATCH_ROUTES;
    constexpr std::uint32_t default_merge_time = 100;
    constexpr std::uint32_t longest_merge_time = 60000;
    kvtip_watch_options wanted;
    if (!clear(watcher) || !read_options(options, wanted) || !has_only(wanted.flags, everything) ||
        wanted.merge_time > longest_merge_time) {
        return ERROR_INVALID_PARAMETER;
    }
    wanted.flags = wanted.flags == 0 ? everything : wanted.flags;
    wanted.merge_time = wanted.merge_time == 0 ? default_merge_time : wanted.merge_time;
    return guarded([&] {
        auto made = std::make_unique<kvtip_watcher>(wanted);
        const uint32_t code = made->open();
        if (code == 0) {
            *watcher = made.release();
        }
        return code;
    });
}

uint32_t kvtip_watcher_wait(kvtip_watcher* watcher, uint32_t timeout,
                            const kvtip_change_list** changes) noexcept {
    if (!clear(changes) || watcher == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    if (watcher->is_in_use.exchange(true)) {
        return ERROR_BUSY;
    }
    const uint32_t code = guarded([&] { return watcher->wait(timeout, *changes); });
    watcher->is_in_use = false;
    return code;
}

void kvtip_watcher_cancel(kvtip_watcher* watcher) noexcept {
    if (watcher != nullptr) {
        watcher->cancel();
    }
}

void kvtip_watcher_close(kvtip_watcher* watcher) noexcept {
    const last_error_keeper keeper;
    delete watcher;
}
