#pragma once

// What every ping shares: the handle of the echo calls and the records of their answers.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <icmpapi.h>

#include <cstddef>
#include <cstdint>

#include "ip/detail/helper.h"

namespace ip::detail {

/// A handle of `IcmpCreateFile` or `Icmp6CreateFile`.
class echo_handle {
public:
    explicit echo_handle(HANDLE handle) : handle_(handle) {}
    ~echo_handle() {
        if (is_open()) {
            the_helper().iphlpapi.IcmpCloseHandle(handle_);
        }
    }
    echo_handle(const echo_handle&) = delete;
    echo_handle& operator=(const echo_handle&) = delete;

    bool is_open() const { return handle_ != INVALID_HANDLE_VALUE; }
    HANDLE get() const { return handle_; }

private:
    HANDLE handle_;
};

static_assert(sizeof(ICMP_ECHO_REPLY) == 40 && sizeof(IP_OPTION_INFORMATION) == 16);

/// The system's record of an IPv6 answer, which not all headers declare. The address in it is packed.
struct icmpv6_echo_reply {
    std::uint8_t port[2];
    std::uint8_t flow_info[4];
    std::uint8_t address[16];
    std::uint8_t scope_id[4];
    std::uint32_t status;
    std::uint32_t round_trip_time;
};
static_assert(offsetof(icmpv6_echo_reply, address) == 6 && offsetof(icmpv6_echo_reply, status) == 28 &&
              sizeof(icmpv6_echo_reply) == 36);

} // namespace ip::detail
