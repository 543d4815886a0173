// Ping: one echo request and what became of it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "address/convert.h"
#include "iphlp/echo_calls.h"
#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/ping_status.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

using namespace kvtip::library;
using ip::detail::echo_handle;
using ip::detail::icmpv6_echo_reply;

namespace {

constexpr std::uint8_t pattern = 'E';

bool is_pattern(const std::uint8_t* data, std::size_t size) {
    return std::all_of(data, data + size, [](std::uint8_t each) { return each == pattern; });
}

/// A request, and the room for its answer.
struct request {
    explicit request(const kvtip_ping_options& options)
        : size(static_cast<WORD>(options.data_size)), timeout(options.timeout) {
        header.Ttl = static_cast<UCHAR>(options.time_to_live);
        header.Tos = static_cast<UCHAR>(options.type_of_service);
        header.Flags = (options.flags & KVTIP_PING_DONT_FRAGMENT) != 0 ? IP_FLAG_DF : 0;
        // The system wants a valid pointer also where there is no data.
        data.assign(std::max<std::size_t>(size, 1), pattern);
        // The largest record, the data, an error message and the system's status block.
        answer.resize(sizeof(ICMP_ECHO_REPLY) + size + 8 + 16);
    }

    DWORD room() const { return static_cast<DWORD>(answer.size()); }

    IP_OPTION_INFORMATION header{};
    WORD size;
    DWORD timeout;
    std::vector<std::uint8_t> data;
    std::vector<std::uint8_t> answer;
};

/// The result of a call that has just reported no answer. Returns 0, or a code if nothing could be sent.
std::uint32_t unanswered(kvtip_ping_result& result) {
    const DWORD code = GetLastError();
    if (is_ping_status(code)) {
        result.status = code;
        result.outcome = outcome_of(code);
        return 0;
    }
    switch (code) {
    case ERROR_NETWORK_UNREACHABLE:
        return WSAENETUNREACH;
    case ERROR_HOST_UNREACHABLE:
        return WSAEHOSTUNREACH;
    default:
        return code != 0 ? code : DWORD{ERROR_GEN_FAILURE};
    }
}

/// Whether the answer carries the data that was sent. The system points to it: into the buffer as a rule, and
/// no further than its end in any case.
bool has_same_data(const ICMP_ECHO_REPLY& answer, const request& sent) {
    const auto* begin = static_cast<const std::uint8_t*>(answer.Data);
    const auto offset =
        reinterpret_cast<std::uintptr_t>(begin) - reinterpret_cast<std::uintptr_t>(sent.answer.data());
    return answer.DataSize == sent.size &&
           (sent.size == 0 || (offset <= sent.answer.size() - sent.size && is_pattern(begin, sent.size)));
}

std::uint32_t ping_ipv4(const std::uint8_t* target, const kvtip_ping_options& options,
                        kvtip_ping_result& result) {
    const auto& bound = ip::detail::the_helper().iphlpapi;
    const auto send_from = entries().IcmpSendEcho2Ex;
    const bool has_source = options.source.family == 4;
    if (bound.IcmpCreateFile == nullptr || bound.IcmpCloseHandle == nullptr ||
        bound.IcmpSendEcho == nullptr || (has_source && send_from == nullptr)) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    request sent(options); // outlives the handle
    const echo_handle handle(bound.IcmpCreateFile());
    if (!handle.is_open()) {
        return GetLastError();
    }
    const IPAddr to = ip::detail::ipv4_number(target);
    const DWORD answers =
        has_source ? send_from(handle.get(), nullptr, nullptr, nullptr,
                               ip::detail::ipv4_number(options.source.bytes), to, sent.data.data(), sent.size,
                               &sent.header, sent.answer.data(), sent.room(), sent.timeout)
                   : bound.IcmpSendEcho(handle.get(), to, sent.data.data(), sent.size, &sent.header,
                                        sent.answer.data(), sent.room(), sent.timeout);
    if (answers == 0) {
        return unanswered(result);
    }
    ICMP_ECHO_REPLY answer;
    std::memcpy(&answer, sent.answer.data(), sizeof answer);
    result.from = ipv4_address(&answer.Address);
    result.status = answer.Status;
    result.round_trip_time = answer.RoundTripTime;
    result.time_to_live = answer.Options.Ttl;
    result.outcome = answer.Status == 0 && !has_same_data(answer, sent)
                         ? std::uint32_t{KVTIP_PING_DATA_DIFFERS}
                         : outcome_of(answer.Status);
    return 0;
}

SOCKADDR_IN6 to_sockaddr(const kvtip_address& address) {
    const ip::saddr converted = to_saddr(address);
    SOCKADDR_IN6 result;
    static_assert(sizeof result == sizeof converted);
    std::memcpy(&result, &converted, sizeof result);
    result.sin6_family = AF_INET6; // also for no address, from which the system chooses
    return result;
}

std::uint32_t ping_ipv6(const kvtip_address& target, const kvtip_ping_options& options,
                        kvtip_ping_result& result) {
    const auto& bound = ip::detail::the_helper().iphlpapi;
    if (bound.Icmp6CreateFile == nullptr || bound.IcmpCloseHandle == nullptr ||
        bound.Icmp6SendEcho2 == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    request sent(options); // outlives the handle
    const echo_handle handle(bound.Icmp6CreateFile());
    if (!handle.is_open()) {
        return GetLastError();
    }
    SOCKADDR_IN6 from = to_sockaddr(options.source);
    SOCKADDR_IN6 to = to_sockaddr(target);
    if (bound.Icmp6SendEcho2(handle.get(), nullptr, nullptr, nullptr, &from, &to, sent.data.data(), sent.size,
                             &sent.header, sent.answer.data(), sent.room(), sent.timeout) == 0) {
        return unanswered(result);
    }
    icmpv6_echo_reply answer;
    std::memcpy(&answer, sent.answer.data(), sizeof answer);
    std::uint32_t scope = 0;
    std::memcpy(&scope, answer.scope_id, sizeof scope);
    result.from = ipv6_address(answer.address, scope);
    result.status = answer.status;
    result.round_trip_time = answer.round_trip_time;
    // There is data only in an answer of the target itself.
    result.outcome = answer.status == 0 && !is_pattern(sent.answer.data() + sizeof answer, sent.size)
                         ? std::uint32_t{KVTIP_PING_DATA_DIFFERS}
                         : outcome_of(answer.status);
    return 0;
}

/// Whether a code says that the system has no IPv6 echo.
bool lacks_ipv6(std::uint32_t code) {
    return code == ERROR_CALL_NOT_IMPLEMENTED || code == ERROR_NOT_SUPPORTED || code == ERROR_FILE_NOT_FOUND;
}

std::uint32_t ping(const kvtip_address& target, const kvtip_ping_options& options,
                   kvtip_ping_result& result) {
    if (target.family == 4) {
        return ping_ipv4(target.bytes, options, result);
    }
    const std::uint32_t code = ping_ipv6(target, options, result);
    return lacks_ipv6(code) && kvtip::address(target).is_mapped() && options.source.family == 0
               ? ping_ipv4(target.bytes + 12, options, result)
               : code;
}

bool are_valid(const kvtip_ping_options& options, const kvtip_address& target) {
    constexpr std::uint32_t most_data = 65500;
    return is_valid(options.source) &&
           (options.source.family == 0 || options.source.family == target.family) &&
           options.time_to_live <= 255 && options.type_of_service <= 255 && options.data_size <= most_data &&
           has_only(options.flags, KVTIP_PING_DONT_FRAGMENT | KVTIP_PING_NO_DATA) &&
           ((options.flags & KVTIP_PING_NO_DATA) == 0 || options.data_size == 0);
}

void set_defaults(kvtip_ping_options& options) {
    const auto set = [](std::uint32_t& member, std::uint32_t value) {
        member = member == 0 ? value : member;
    };
    set(options.timeout, 4000);
    set(options.time_to_live, 128);
    if ((options.flags & KVTIP_PING_NO_DATA) == 0) {
        set(options.data_size, 32);
    }
}

} // namespace

uint32_t kvtip_ping(const kvtip_address* target, const kvtip_ping_options* options,
                    kvtip_ping_result* result) noexcept {
    kvtip_ping_options wanted;
    if (!clear(result) || target == nullptr || !is_valid(*target) || target->family == 0 ||
        !read_options(options, wanted) || !are_valid(wanted, *target)) {
        return ERROR_INVALID_PARAMETER;
    }
    set_defaults(wanted);
    return held([&] { return ping(*target, wanted, *result); });
}
