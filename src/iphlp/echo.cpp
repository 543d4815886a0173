#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "address/convert.h"
#include "address/ipv4_mapped.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"
#include "iphlp/echo_calls.h"

namespace ip {

using namespace detail;

namespace {

constexpr std::uint8_t pattern = 'E';

/// What both families send.
struct echo_request {
    unsigned char ttl;
    unsigned long timeout;
    unsigned short size;
    unsigned char tos;
    bool dont_fragment;

    /// The bytes to send. There is at least one, because the system takes no null pointer even for size 0.
    std::vector<std::uint8_t> data() const {
        std::vector<std::uint8_t> result(std::max<std::size_t>(size, 1), pattern);
        return result;
    }
    IP_OPTION_INFORMATION options() const {
        IP_OPTION_INFORMATION result{};
        result.Ttl = ttl;
        result.Tos = tos;
        result.Flags = dont_fragment ? IP_FLAG_DF : 0;
        return result;
    }
};

bool is_pattern(const std::uint8_t* data, std::size_t size) {
    return std::all_of(data, data + size, [](std::uint8_t byte) { return byte == pattern; });
}

/// The most bytes of echoed data that can be at `data`: as many as fit after the reply, and none past the end
/// of the buffer.
std::size_t data_room(const std::vector<std::uint8_t>& buffer, const void* data) {
    const auto offset =
        reinterpret_cast<std::uintptr_t>(data) - reinterpret_cast<std::uintptr_t>(buffer.data());
    const std::size_t after_reply = buffer.size() - sizeof(ICMP_ECHO_REPLY);
    return offset < buffer.size() ? std::min(buffer.size() - offset, after_reply) : after_reply;
}

unsigned long echo_ipv4(const _raw_addr4_no& destination, const echo_request& request,
                        hlpapi::_SPingReply& reply) try {
    const iphlpapi_impl& bound = the_helper().iphlpapi;
    if (bound.IcmpCreateFile == nullptr || bound.IcmpCloseHandle == nullptr ||
        bound.IcmpSendEcho == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    std::vector<std::uint8_t> data; // these two outlive the handle
    std::vector<std::uint8_t> buffer;
    const echo_handle handle(bound.IcmpCreateFile());
    if (!handle.is_open()) {
        return GetLastError();
    }
    data = request.data();
    IP_OPTION_INFORMATION options = request.options();
    ICMP_ECHO_REPLY answer;
    constexpr std::size_t least_data = 8; // room for an error message
    buffer.resize(sizeof answer + std::max<std::size_t>(request.size, least_data));
    if (bound.IcmpSendEcho(handle.get(), ipv4_number(destination.bytes), data.data(), request.size, &options,
                           buffer.data(), static_cast<DWORD>(buffer.size()), request.timeout) == 0) {
        return GetLastError();
    }
    std::memcpy(&answer, buffer.data(), sizeof answer);
    const std::size_t size = std::min(std::size_t{answer.DataSize}, data_room(buffer, answer.Data));
    if (size != 0 && (answer.Data == nullptr || !is_pattern(static_cast<std::uint8_t*>(answer.Data), size))) {
        return ERROR_UNEXP_NET_ERR;
    }
    reply.address.family = family_ipv4;
    std::memcpy(reply.address.address, &answer.Address, ipv4_size);
    reply.round_trip_time = answer.RoundTripTime;
    reply.status = answer.Status;
    reply.ttl = answer.Options.Ttl;
    return 0;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

unsigned long echo_ipv6(const saddr& destination, const echo_request& request,
                        hlpapi::_SPingReply& reply) try {
    const iphlpapi_impl& bound = the_helper().iphlpapi;
    if (bound.Icmp6CreateFile == nullptr || bound.Icmp6SendEcho2 == nullptr ||
        bound.IcmpCloseHandle == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    std::vector<std::uint8_t> data; // these two outlive the handle
    std::vector<std::uint8_t> buffer;
    const echo_handle handle(bound.Icmp6CreateFile());
    if (!handle.is_open()) {
        return GetLastError();
    }
    SOCKADDR_IN6 from{}; // the system chooses the source
    from.sin6_family = AF_INET6;
    SOCKADDR_IN6 to;
    static_assert(sizeof to == sizeof destination);
    std::memcpy(&to, &destination, sizeof to);
    data = request.data();
    IP_OPTION_INFORMATION options = request.options();
    icmpv6_echo_reply answer;
    constexpr std::size_t extra = 16; // room for an error message and the system's own block
    buffer.resize(sizeof answer + extra + request.size);
    if (bound.Icmp6SendEcho2(handle.get(), nullptr, nullptr, nullptr, &from, &to, data.data(), request.size,
                             &options, buffer.data(), static_cast<DWORD>(buffer.size()),
                             request.timeout) == 0) {
        return GetLastError();
    }
    if (!is_pattern(buffer.data() + sizeof answer, request.size)) {
        return ERROR_UNEXP_NET_ERR;
    }
    std::memcpy(&answer, buffer.data(), sizeof answer);
    reply.address.family = family_ipv6;
    std::memcpy(reply.address.address, answer.address, ipv6_size);
    reply.round_trip_time = answer.round_trip_time;
    reply.status = answer.status;
    reply.ttl = 0;
    return 0;
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

} // namespace

unsigned long hlpapi::ping(saddr destination, _SPingReply& reply, unsigned char ttl, unsigned long timeout,
                           unsigned short size, unsigned char tos, int dont_fragment) noexcept {
    const echo_request request{ttl, timeout, size, tos, dont_fragment != 0};
    if (destination.family == family_ipv6) {
        const unsigned long code = echo_ipv6(destination, request, reply);
        if (code != ERROR_CALL_NOT_IMPLEMENTED || !is_ipv4_mapped(destination.address6)) {
            return code;
        }
        // A system without the IPv6 calls can still reach the IPv4 host of a mapped address.
    }
    addr address;
    to_addr(destination, address);
    return echo_ipv4(ipv4_view(&address), request, reply);
}

unsigned long hlpapi::ping(const saddr& destination, unsigned long attempts, _SPingReply& reply) noexcept {
    unsigned long code = ERROR_INVALID_PARAMETER;
    for (; attempts != 0; --attempts) {
        code = ping(destination, reply, 255, 5000, 32, 0, 0);
        if (code == 0) {
            break;
        }
    }
    return code;
}

} // namespace ip
