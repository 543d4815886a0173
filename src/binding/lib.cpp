#include "ip/lib.h"

#include <mutex>

#include "ip/detail/helper.h"

namespace ip {

namespace {

/// The first start of the process. The socket library is started even when the IP Helper library failed to
/// load, and its error takes precedence.
unsigned long start_bindings(detail::helper& helper) {
    constexpr unsigned short winsock_1_1 = 0x0101;
    const unsigned long loaded = helper.iphlpapi.load();
    WSAData scratch;
    const unsigned long started = helper.winsock.start(scratch, winsock_1_1);
    return started != 0 ? started : loaded;
}

} // namespace

unsigned long lib::init() noexcept {
    if (inited_) {
        return 0;
    }
    owner_ = detail::share_helper();
    {
        const std::lock_guard guard(owner_->lock);
        if (owner_->init_count++ < 1) {
            const unsigned long code = start_bindings(*owner_);
            if (code != 0) {
                owner_->drop_init();
                return code;
            }
        }
    }
    inited_ = true;
    return 0;
}

unsigned long lib::free() noexcept {
    if (!inited_) {
        return 0;
    }
    inited_ = false;
    const unsigned long code = owner_->drop_init();
    owner_.reset();
    return code;
}

bool lib::is_ipv6_supported() noexcept {
    return detail::the_helper().is_version_6_or_later();
}

} // namespace ip
