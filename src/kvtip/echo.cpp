#include "kvtip/echo.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "address/convert.h"
#include "kvtip/address.hpp"
#include "kvtip/ping_status.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

namespace kvtip::library {

using ip::detail::echo_handle;
using ip::detail::icmpv6_echo_reply;

namespace {

constexpr std::uint8_t pattern = 'E';

bool is_pattern(const std::uint8_t* data, std::size_t size) {
    return std::all_of(data, data + size, [](std::uint8_t each) { return each == pattern; });
}

/// Opens a handle unless it is open. Returns 0, 120 or the system's code.
std::uint32_t open(std::optional<echo_handle>& handle, decltype(&::IcmpCreateFile) create) {
    if (handle) {
        return 0;
    }
    if (create == nullptr || ip::detail::the_helper().iphlpapi.IcmpCloseHandle == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    const HANDLE made = create();
    if (made == INVALID_HANDLE_VALUE) {
        return GetLastError();
    }
    handle.emplace(made);
    return 0;
}

/// The result of a call that has just reported no answer. Returns 0, or why there can be none.
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

SOCKADDR_IN6 to_sockaddr(const kvtip_address& address) {
    const ip::saddr converted = to_saddr(address);
    SOCKADDR_IN6 result;
    static_assert(sizeof result == sizeof converted);
    std::memcpy(&result, &converted, sizeof result);
    result.sin6_family = AF_INET6; // also for no address, from which the system chooses
    return result;
}

/// Whether a code says that the system has no IPv6 echo.
bool lacks_ipv6(std::uint32_t code) {
    return code == ERROR_CALL_NOT_IMPLEMENTED || code == ERROR_NOT_SUPPORTED || code == ERROR_FILE_NOT_FOUND;
}

} // namespace

echo::echo(const kvtip_ping_options& options)
    : source(options.source), timeout(options.timeout), size(static_cast<WORD>(options.data_size)),
      // The system wants a valid pointer also where there is no data.
      data(std::max<std::size_t>(size, 1), pattern) {
    header.Ttl = static_cast<UCHAR>(options.time_to_live);
    header.Tos = static_cast<UCHAR>(options.type_of_service);
    header.Flags = (options.flags & KVTIP_PING_DONT_FRAGMENT) != 0 ? IP_FLAG_DF : 0;
}

echo_request::echo_request(std::shared_ptr<echo> what)
    : what_(std::move(what)),
      // The largest record, the data, an error message and the system's status block.
      answer_(sizeof(ICMP_ECHO_REPLY) + what_->size + 8 + 16) {}

std::uint32_t echo_request::send(echo_handles& handles, const kvtip_address& target, HANDLE event,
                                 kvtip_ping_result& result) {
    if (target.family == 4) {
        return send_ipv4(handles, target.bytes, event, result);
    }
    const std::uint32_t code = send_ipv6(handles, target, event, result);
    return lacks_ipv6(code) && kvtip::address(target).is_mapped() && what_->source.family == 0
               ? send_ipv4(handles, target.bytes + 12, event, result)
               : code;
}

std::uint32_t echo_request::send_ipv4(echo_handles& handles, const std::uint8_t* target, HANDLE event,
                                      kvtip_ping_result& result) {
    const system_entries& bound = entries();
    const auto& older = ip::detail::the_helper().iphlpapi;
    const bool has_source = what_->source.family == 4;
    if (older.IcmpSendEcho == nullptr || (has_source && bound.IcmpSendEcho2Ex == nullptr)) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    if (const std::uint32_t code = open(handles.ipv4, older.IcmpCreateFile)) {
        return code;
    }
    is_ipv6_ = false;
    const HANDLE handle = handles.ipv4->get();
    const HANDLE end = bound.IcmpParseReplies != nullptr ? event : nullptr;
    const IPAddr to = ip::detail::ipv4_number(target);
    const auto send_all = [&](auto call, auto... before) {
        return call(handle, before..., to, what_->data.data(), what_->size, &what_->header, answer_.data(),
                    room(), what_->timeout);
    };
    const DWORD answers = has_source ? send_all(bound.IcmpSendEcho2Ex, end, nullptr, nullptr,
                                                ip::detail::ipv4_number(what_->source.bytes))
                          : end != nullptr && bound.IcmpSendEcho2 != nullptr
                              ? send_all(bound.IcmpSendEcho2, end, nullptr, nullptr)
                              : send_all(older.IcmpSendEcho);
    if (answers == 0) {
        return unanswered(result);
    }
    read_ipv4(result);
    return 0;
}

std::uint32_t echo_request::send_ipv6(echo_handles& handles, const kvtip_address& target, HANDLE event,
                                      kvtip_ping_result& result) {
    const auto& bound = ip::detail::the_helper().iphlpapi;
    if (bound.Icmp6SendEcho2 == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    if (const std::uint32_t code = open(handles.ipv6, bound.Icmp6CreateFile)) {
        return code;
    }
    is_ipv6_ = true;
    SOCKADDR_IN6 from = to_sockaddr(what_->source);
    SOCKADDR_IN6 to = to_sockaddr(target);
    const HANDLE end = entries().Icmp6ParseReplies != nullptr ? event : nullptr;
    if (bound.Icmp6SendEcho2(handles.ipv6->get(), end, nullptr, nullptr, &from, &to, what_->data.data(),
                             what_->size, &what_->header, answer_.data(), room(), what_->timeout) == 0) {
        return unanswered(result);
    }
    read_ipv6(result);
    return 0;
}

std::uint32_t echo_request::read(kvtip_ping_result& result) {
    const auto parse = is_ipv6_ ? entries().Icmp6ParseReplies : entries().IcmpParseReplies;
    if (parse(answer_.data(), room()) == 0) {
        return unanswered(result);
    }
    is_ipv6_ ? read_ipv6(result) : read_ipv4(result);
    return 0;
}

void echo_request::read_ipv4(kvtip_ping_result& result) const {
    ICMP_ECHO_REPLY answer;
    std::memcpy(&answer, answer_.data(), sizeof answer);
    result.from = ipv4_address(&answer.Address);
    result.status = answer.Status;
    result.round_trip_time = answer.RoundTripTime;
    result.time_to_live = answer.Options.Ttl;
    result.outcome = answer.Status == 0 && !has_same_data(answer) ? std::uint32_t{KVTIP_PING_DATA_DIFFERS}
                                                                  : outcome_of(answer.Status);
}

/// Whether the answer carries the data that was sent. The system points to it: into the buffer as a rule, and
/// no further than its end in any case.
bool echo_request::has_same_data(const ICMP_ECHO_REPLY& answer) const {
    const std::size_t size = what_->size;
    const auto* begin = static_cast<const std::uint8_t*>(answer.Data);
    const auto offset =
        reinterpret_cast<std::uintptr_t>(begin) - reinterpret_cast<std::uintptr_t>(answer_.data());
    return answer.DataSize == size &&
           (size == 0 || (offset <= answer_.size() - size && is_pattern(begin, size)));
}

void echo_request::read_ipv6(kvtip_ping_result& result) const {
    icmpv6_echo_reply answer;
    std::memcpy(&answer, answer_.data(), sizeof answer);
    std::uint32_t scope = 0;
    std::memcpy(&scope, answer.scope_id, sizeof scope);
    result.from = ipv6_address(answer.address, scope);
    result.status = answer.status;
    result.round_trip_time = answer.round_trip_time;
    // There is data only in an answer of the target itself.
    result.outcome = answer.status == 0 && !is_pattern(answer_.data() + sizeof answer, what_->size)
                         ? std::uint32_t{KVTIP_PING_DATA_DIFFERS}
                         : outcome_of(answer.status);
}

} // namespace kvtip::library
