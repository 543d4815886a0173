#include "kvtip/change_signals.h"

#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

namespace kvtip::library {

namespace {

/// What the system calls on a thread of its own, on several at once too. It uses nothing but the event.
template <class Row>
void NETIOAPI_API_ on_change(void* event, Row*, MIB_NOTIFICATION_TYPE) noexcept {
    entries().SetEvent(event);
}

} // namespace

change_signals::~change_signals() {
    // This waits for calls of `on_change` that are under way. No lock is held here for which they could wait.
    for (std::size_t i = 0; i < subscription_count_; ++i) {
        entries().CancelMibChangeNotify2(subscriptions_[i]);
    }
    cancel_older();
}

std::uint32_t change_signals::subscribe(std::uint32_t flags) noexcept {
    std::uint32_t code = 0;
    if ((flags & KVTIP_WATCH_INTERFACES) != 0) {
        code = subscribe_by(entries().NotifyIpInterfaceChange, true);
    }
    if (code == 0 && (flags & KVTIP_WATCH_ADDRESSES) != 0) {
        code = subscribe_by(entries().NotifyUnicastIpAddressChange, true);
    }
    if (code == 0 && (flags & KVTIP_WATCH_ROUTES) != 0) {
        code = subscribe_by(entries().NotifyRouteChange2, false);
    }
    return to_call_code(code);
}

/// Where this call is there in name only, as in Wine, the older one is so too.
template <class Notify>
std::uint32_t change_signals::subscribe_by(Notify notify, bool has_older) noexcept {
    if (notify == nullptr || entries().CancelMibChangeNotify2 == nullptr) {
        uses_older_ = uses_older_ || has_older;
        return has_older ? renew() : ERROR_CALL_NOT_IMPLEMENTED;
    }
    HANDLE& subscription = subscriptions_[subscription_count_];
    if (const std::uint32_t code = notify(AF_UNSPEC, on_change, event_.handle(), FALSE, &subscription)) {
        return code;
    }
    if (subscription == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    ++subscription_count_;
    return 0;
}

std::uint32_t change_signals::renew() noexcept {
    if (!uses_older_ || is_older_pending()) {
        return 0;
    }
    const system_entries& bound = entries();
    if (bound.NotifyAddrChange == nullptr || bound.CancelIPChangeNotify == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    HANDLE unused = nullptr;
    older_ = {};
    older_.hEvent = event_.handle();
    const std::uint32_t code = bound.NotifyAddrChange(&unused, &older_);
    if (code == ERROR_IO_PENDING) {
        return 0;
    }
    older_ = {};
    return code;
}

bool change_signals::is_older_pending() const noexcept {
    constexpr ULONG_PTR pending = 0x103; // STATUS_PENDING
    return static_cast<const volatile OVERLAPPED&>(older_).Internal == pending;
}

/// A cancelled signal is given at once, and until then the system may write to the record.
void change_signals::cancel_older() noexcept {
    constexpr std::uint32_t longest = 1000; // a system that gives no signal writes nothing either
    if (is_older_pending()) {
        entries().CancelIPChangeNotify(&older_);
        while (is_older_pending() && wait(longest) == 0) {
        }
    }
}

} // namespace kvtip::library
