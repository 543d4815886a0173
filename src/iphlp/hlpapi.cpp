#include "ip/hlpapi.h"

#include "ip/detail/helper.h"

namespace ip {

unsigned long hlpapi::load() {
    if (inited()) {
        return 0;
    }
    unsigned long code = init();
    if (code != 0) {
        return code;
    }
    code = detail::the_helper().iphlpapi.load();
    if (code != 0) {
        lib::free();
    }
    return code;
}

unsigned long hlpapi::free() {
    if (!inited()) {
        return 0;
    }
    const unsigned long unloaded = detail::the_helper().iphlpapi.unload();
    const unsigned long freed = lib::free();
    return unloaded != 0 ? unloaded : freed;
}

} // namespace ip
