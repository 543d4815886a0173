#pragma once

#include <cstdint>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/lib.h"

namespace ip {

/// @{
/// States of a TCP connection: the values of `hlpapi::_SIpConnection::state`, which is 0 for UDP.
inline constexpr std::uint32_t tcp_state_closed = 1;
inline constexpr std::uint32_t tcp_state_listen = 2;
inline constexpr std::uint32_t tcp_state_syn_sent = 3;
inline constexpr std::uint32_t tcp_state_syn_received = 4;
inline constexpr std::uint32_t tcp_state_established = 5;
inline constexpr std::uint32_t tcp_state_fin_wait_1 = 6;
inline constexpr std::uint32_t tcp_state_fin_wait_2 = 7;
inline constexpr std::uint32_t tcp_state_close_wait = 8;
inline constexpr std::uint32_t tcp_state_closing = 9;
inline constexpr std::uint32_t tcp_state_last_ack = 10;
inline constexpr std::uint32_t tcp_state_time_wait = 11;
inline constexpr std::uint32_t tcp_state_delete_tcb = 12;
/// @}

/// @{
/// Which end opened a TCP connection: the values of `hlpapi::_SIpConnection::direction`.
inline constexpr std::uint32_t direction_unknown = 0;
inline constexpr std::uint32_t direction_accepted = 1;
inline constexpr std::uint32_t direction_opened = 2;
/// @}

/// @{
/// States of a neighbour: the values of `hlpapi::_SIpNetRow::state`. The older system call reports no state:
/// its rows have `neighbour_unknown`.
inline constexpr std::uint32_t neighbour_unreachable = 0;
inline constexpr std::uint32_t neighbour_incomplete = 1;
inline constexpr std::uint32_t neighbour_probe = 2;
inline constexpr std::uint32_t neighbour_delay = 3;
inline constexpr std::uint32_t neighbour_stale = 4;
inline constexpr std::uint32_t neighbour_reachable = 5;
inline constexpr std::uint32_t neighbour_permanent = 6;
inline constexpr std::uint32_t neighbour_unknown = 7;
/// @}

/// The IP Helper library. An object is an `ip::lib` handle that holds one more load of that library. Use only
/// `load` and `free` of this class. On a handle that `lib::init` has initialised, `load` loads nothing, and
/// `free` takes back a load of another handle.
///
/// The static members may run on several threads at once. They need the library loaded by any handle in the
/// process while they run. None of them needs administrator rights.
class hlpapi : public lib {
public:
    hlpapi() = default;
    /// Calls `free`.
    ~hlpapi() { free(); }

    /// Initialises the handle and loads the IP Helper library for it. Returns 0, also when the handle is
    /// already initialised, the error of `lib::init`, or `ERROR_MOD_NOT_FOUND (126)` or `ERROR_PROC_NOT_FOUND
    /// (127)`, after which the handle is not initialised.
    KVTIP_API unsigned long load() noexcept;

    /// Takes the load back and calls `lib::free`. Returns 0, also for a handle that is not initialised, or
    /// the first error of the two. The handle is not initialised afterwards, whatever the code.
    KVTIP_API unsigned long free() noexcept;

    /// The answer to a ping.
    struct _SPingReply {
        addr address;                      ///< the host that answered
        std::uint32_t round_trip_time = 0; ///< in milliseconds
        /// The system's `IP_STATUS`: 0 when the destination itself answered. Other values are answers too:
        /// `IP_TTL_EXPIRED_TRANSIT (11013)` when the time to live ran out at `address`,
        /// `IP_DEST_HOST_UNREACHABLE (11003)` when `address`, possibly a local one, reports the host as
        /// unreachable, ...
        std::uint32_t status = 0;
        std::uint32_t ttl = 0; ///< the time to live of an IPv4 answer; 0 for IPv6
    };

    /// Sends an ICMP echo request and waits at most `timeout` milliseconds for the answer. The request
    /// carries `size` bytes. `ttl`, `tos` and, if not 0, `dont_fragment` go into its IP header. The port of
    /// the destination is not used. A destination that is neither IPv4 nor IPv6 stands for 255.255.255.255.
    /// Rests on `IcmpSendEcho` and, for IPv6, on `Icmp6SendEcho2`. Where the IPv6 entries are missing, an
    /// IPv4-mapped address is pinged as IPv4.
    ///
    /// Returns 0 for any answer, including a router's "unreachable": see the status. On failure `reply` is
    /// untouched, and the code is that of the system or one of these:
    /// - `IP_REQ_TIMED_OUT (11010)`: no answer;
    /// - `IP_GENERAL_FAILURE (11050)`;
    /// - `ERROR_UNEXP_NET_ERR (59)`: the answer carries other data than was sent. An IPv6 answer with a
    ///   status other than 0 carries no data, and returns this code unless `size` is 0;
    /// - `ERROR_NOT_ENOUGH_MEMORY (8)`;
    /// - `ERROR_CALL_NOT_IMPLEMENTED (120)`: the system lacks the calls.
    KVTIP_API static unsigned long ping(saddr destination, _SPingReply& reply, unsigned char ttl,
                                        unsigned long timeout, unsigned short size, unsigned char tos,
                                        int dont_fragment) noexcept;

    /// Pings with 32 bytes, a time to live of 255 and a time-out of 5 s, up to `attempts` times until there
    /// is an answer. Returns 0, the code of the last attempt, or `ERROR_INVALID_PARAMETER (87)` for no
    /// attempts.
    KVTIP_API static unsigned long ping(const saddr& destination, unsigned long attempts,
                                        _SPingReply& reply) noexcept;

    /// A neighbour: a host on the same link, or a multicast group.
    struct _SIpNetRow {
        std::uint32_t interface_index = 0; ///< the interface that reaches it
        std::uint32_t state = 0; ///< such as `neighbour_reachable`; `neighbour_unknown` from the older call
        /// The IANA type of that interface; `interface_type_other` from the older system call.
        std::uint32_t interface_type = 0;
        saddr address; ///< port 0
        macaddr mac;   ///< length 0 without a hardware address
    };

    /// Lists the neighbours of a family (2 or 23), or of both (0), in the order of the system. `rows` is
    /// emptied first, and is empty after a failure. Rests on `GetIpNetTable2`. For IPv4 alone, and where that
    /// call is missing, rests on the older `GetIpNetTable`, whose rows do not show which are incomplete or
    /// invalid. Without the newer call there are no IPv6 rows, which is not an error. Returns 0 or:
    /// - `ERROR_NOT_FOUND (1168)` or `ERROR_NO_DATA (232)`: the system's table is empty;
    /// - `ERROR_NOT_ENOUGH_MEMORY (8)`;
    /// - `ERROR_CALL_NOT_IMPLEMENTED (120)`: the system lacks `GetIpNetTable`;
    /// - another code of the system.
    KVTIP_API static unsigned long getipnettable(std::vector<_SIpNetRow>& rows,
                                                 unsigned short family) noexcept;

    /// Finds the hardware address of an IPv4 neighbour, which can take 3 s. `source` is the local address to
    /// ask from, 0.0.0.0 for any. Ports are not used. Returns 0 with an address of 6 bytes, or, with `mac`
    /// untouched, the code of `SendARP`:
    /// - `ERROR_BAD_NET_NAME (67)` or `ERROR_GEN_FAILURE (31)`: no answer;
    /// - `ERROR_NOT_FOUND (1168)`: `source` is not a local address;
    /// - `ERROR_CALL_NOT_IMPLEMENTED (120)`: the system lacks the call.
    KVTIP_API static unsigned long sendARP(const saddr4& source, const saddr4& destination,
                                           macaddr& mac) noexcept;

    /// A TCP connection or listener, or a UDP endpoint.
    struct _SIpConnection {
        std::uint32_t state = 0;    ///< such as `tcp_state_established`; 0 for UDP
        std::uint32_t protocol = 0; ///< `IPPROTO_TCP` (6) or `IPPROTO_UDP` (17)
        /// Which end opened the connection. Unknown for UDP, for listeners, normally for all of IPv6, and
        /// where the system lacks `GetPerTcpConnectionEStats`.
        std::uint32_t direction = direction_unknown;
        saddr local;           ///< the local address and port
        saddr remote;          ///< without meaning for listeners; all zero but the family for UDP
        std::uint32_t pid = 0; ///< the process that owns it; 0 when there is none any more
    };

    /// Lists TCP over IPv4, TCP over IPv6, UDP over IPv4 and UDP over IPv6, each in the sorted order of the
    /// system. `protocol` (6 or 17) and `family` (2 or 23) restrict the list; 0 lists all, another value
    /// none. With a `state`, only TCP connections in that state are listed; 0 lists all states and UDP. Scope
    /// ids are not reported. `connections` is emptied first; after a failure, the rows listed so far remain.
    /// Returns 0, the system's code, or `ERROR_FUNCTION_FAILED (1627)` where the system lacks
    /// `GetExtendedTcpTable` or `GetExtendedUdpTable`. Throws `std::bad_alloc`.
    KVTIP_API static unsigned long getConnections(std::vector<_SIpConnection>& connections,
                                                  unsigned long protocol, unsigned short family,
                                                  unsigned long state);

    /// Finds the process that owns the first connection between two addresses, in the order of
    /// `getConnections`. Ports are not compared. For a UDP endpoint `remote` is the all-zero address of its
    /// family. Returns 0 or, with `pid` untouched, the code of the listing, or `ERROR_FILE_NOT_FOUND (2)`
    /// when there is no such connection. Throws `std::bad_alloc`.
    KVTIP_API static unsigned long findPid(unsigned long protocol, const saddr& local, const saddr& remote,
                                           unsigned long& pid);

private:
    // These append the rows of one family, 2 or 23.
    KVTIP_API static unsigned long getTcpConnections(std::vector<_SIpConnection>& connections,
                                                     unsigned short family, unsigned long state);
    KVTIP_API static unsigned long getUdpConnections(std::vector<_SIpConnection>& connections,
                                                     unsigned short family);
};

} // namespace ip
