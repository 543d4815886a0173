#include "ip/hlpapi.h"

#include "binding/handle_load.h"
#include "ip/detail/helper.h"

namespace ip {

unsigned long hlpapi::load() noexcept {
    return inited() ? 0 : detail::init_and_load(*this, detail::the_helper().iphlpapi);
}

unsigned long hlpapi::free() noexcept {
    return inited() ? detail::unload_and_free(*this, detail::the_helper().iphlpapi) : 0;
}

} // namespace ip
