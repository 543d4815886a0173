#include "ip/dnsapi.h"

#include "ip/detail/helper.h"

namespace ip {

unsigned long dnsapi::init() {
    unsigned long code = lib::init();
    if (code != 0) {
        return code;
    }
    code = detail::the_helper().dnsapi.load();
    if (code != 0) {
        lib::free();
    }
    return code;
}

unsigned long dnsapi::free() {
    if (!inited()) {
        return 0;
    }
    const unsigned long unloaded = detail::the_helper().dnsapi.unload();
    const unsigned long freed = lib::free();
    return unloaded != 0 ? unloaded : freed;
}

} // namespace ip
