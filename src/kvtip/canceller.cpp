#include "kvtip/canceller.h"

#include <memory>

#include "kvtip/boundary.h"

using namespace kvtip::library;

uint32_t kvtip_canceller_create(kvtip_canceller** canceller) noexcept {
    if (!clear(canceller)) {
        return ERROR_INVALID_PARAMETER;
    }
    return guarded([&] {
        auto made = std::make_unique<kvtip_canceller>();
        const std::uint32_t code = made->cancelled.open(reset::manual);
        if (code == 0) {
            *canceller = made.release();
        }
        return code;
    });
}

void kvtip_canceller_cancel(kvtip_canceller* canceller) noexcept {
    const last_error_keeper keeper;
    if (canceller != nullptr) {
        canceller->cancelled.set();
    }
}

void kvtip_canceller_close(kvtip_canceller* canceller) noexcept {
    const last_error_keeper keeper;
    delete canceller;
}
