#pragma once

// One echo request of either family, and what became of it.

#include <winsock2.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "iphlp/echo_calls.h"
#include "kvtip/kvtip.h"

namespace kvtip::library {

/// What is sent, to every target the same.
struct echo {
    explicit echo(const kvtip_ping_options& options);

    kvtip_address source;
    DWORD timeout;
    WORD size;
    IP_OPTION_INFORMATION header{};
    std::vector<std::uint8_t> data;
};

/// The handles of the echo calls, one for each family, which the first request of that family opens. They are
/// closed after the last request has ended: closing them waits for it on Windows.
struct echo_handles {
    std::optional<ip::detail::echo_handle> ipv4;
    std::optional<ip::detail::echo_handle> ipv6;
};

/// A request, and the room for its answer, which must both outlive the handle or the request's end.
class echo_request {
public:
    explicit echo_request(std::shared_ptr<echo> what);

    /// Sends the request. With an event it returns `ERROR_IO_PENDING (997)` where the system has asynchronous
    /// echoes; the system then sets the event at the end. Otherwise it waits for the answer, and returns 0 with
    /// the result, or why nothing could be sent.
    std::uint32_t send(echo_handles& handles, const kvtip_address& target, HANDLE event,
                       kvtip_ping_result& result);

    /// The result, after the event. Returns 0, or why nothing could be sent.
    std::uint32_t read(kvtip_ping_result& result);

private:
    std::uint32_t send_ipv4(echo_handles& handles, const std::uint8_t* target, HANDLE event,
                            kvtip_ping_result& result);
    std::uint32_t send_ipv6(echo_handles& handles, const kvtip_address& target, HANDLE event,
                            kvtip_ping_result& result);
    void read_ipv4(kvtip_ping_result& result) const;
    void read_ipv6(kvtip_ping_result& result) const;
    bool has_same_data(const ICMP_ECHO_REPLY& answer) const;
    DWORD room() const { return static_cast<DWORD>(answer_.size()); }

    std::shared_ptr<echo> what_; ///< the system may read it until the end
    std::vector<std::uint8_t> answer_;
    bool is_ipv6_ = false;
};

} // namespace kvtip::library
