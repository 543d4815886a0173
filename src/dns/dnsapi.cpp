#include "ip/dnsapi.h"

#include "binding/handle_load.h"
#include "ip/detail/helper.h"

namespace ip {

unsigned long dnsapi::init() noexcept {
    return detail::init_and_load(*this, detail::the_helper().dnsapi);
}

unsigned long dnsapi::free() noexcept {
    return inited() ? detail::unload_and_free(*this, detail::the_helper().dnsapi) : 0;
}

} // namespace ip
