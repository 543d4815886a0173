#include "ip/winsock2.h"

#include "winsock/calls.h"

namespace ip {

unsigned long winsock2::start(::WSAData& data) noexcept {
    if (started_) {
        return 0;
    }
    unsigned long code = init();
    if (code != 0) {
        return code;
    }
    code = detail::the_helper().winsock.start(data, wsa_version_);
    if (code != 0) {
        free();
        return code;
    }
    started_ = true;
    return 0;
}

unsigned long winsock2::cleanup() noexcept {
    const unsigned long cleaned = detail::the_helper().winsock.cleanup();
    const unsigned long freed = free();
    started_ = false;
    return cleaned != 0 ? cleaned : freed;
}

unsigned long winsock2::getlasterror() noexcept {
    return detail::last_error();
}

} // namespace ip
