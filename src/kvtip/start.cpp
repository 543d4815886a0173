// Starting and stopping the library, and what belongs to no family.

#include <cstdlib>
#include <mutex>
#include <winsock2.h>

#include "ip/detail/helper.h"
#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

namespace kvtip::library {

std::uint32_t hold::take() noexcept {
    // In this order a failure leaves both counts as they were: an `ip::lib` whose first start fails takes
    // back one load too many.
    if (const unsigned long code = ip::detail::the_helper().iphlpapi.load()) {
        return code;
    }
    if (const unsigned long code = lib_.emplace().init()) {
        lib_.reset();
        ip::detail::the_helper().iphlpapi.unload();
        return code;
    }
    entries().load();
    return 0;
}

void hold::release() noexcept {
    if (lib_) {
        entries().unload();
        lib_.reset();
        ip::detail::the_helper().iphlpapi.unload();
    }
}

std::uint32_t dns_hold::take() noexcept {
    counted_ = true; // a load that fails is counted too
    return dns_entries().load();
}

dns_hold::~dns_hold() {
    if (counted_) {
        dns_entries().unload();
    }
}

namespace {

critical_section start_lock;
std::uint32_t start_count = 0;
hold started;

} // namespace

} // namespace kvtip::library

using namespace kvtip::library;

uint32_t kvtip_version() noexcept {
    return KVTIP_VERSION;
}

uint32_t kvtip_start() noexcept {
    const std::lock_guard guard(start_lock);
    if (start_count == 0) {
        if (const uint32_t code = started.take()) {
            return code;
        }
    }
    ++start_count;
    return 0;
}

uint32_t kvtip_stop() noexcept {
    const last_error_keeper keeper;
    const std::lock_guard guard(start_lock);
    if (start_count == 0) {
        return WSANOTINITIALISED;
    }
    if (--start_count == 0) {
        started.release();
    }
    return 0;
}

void kvtip_free(const void* result) noexcept {
    const last_error_keeper keeper;
    std::free(const_cast<void*>(result));
}
