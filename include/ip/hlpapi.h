#pragma once

#include <cstdint>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/lib.h"

namespace ip {

/// \name States of a TCP connection
/// The values of `hlpapi::_SIpConnection::state`, which is 0 for UDP.
/// @{
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

/// \name Directions of a TCP connection
/// The values of `hlpapi::_SIpConnection::direction`: which end opened the connection.
/// @{
inline constexpr std::uint32_t direction_unknown = 0;
inline constexpr std::uint32_t direction_accepted = 1;
inline constexpr std::uint32_t direction_opened = 2;
/// @}

/// \name States of a neighbour
/// The values of `hlpapi::_SIpNetRow::state`. `neighbour_unknown` stands for a row of the older system call,
/// which reports no state.
/// @{
inline constexpr std::uint32_t neighbour_unreachable = 0;
inline constexpr std::uint32_t neighbour_incomplete = 1;
inline constexpr std::uint32_t neighbour_probe = 2;
inline constexpr std::uint32_t neighbour_delay = 3;
inline constexpr std::uint32_t neighbour_stale = 4;
inline constexpr std::uint32_t neighbour_reachable = 5;
inline constexpr std::uint32_t neighbour_permanent = 6;
inline constexpr std::uint32_t neighbour_unknown = 7;
/// @}

/// The IP Helper library. An object is an `ip::lib` handle that holds one more load of that library. Use
/// `load` and `free` only: on a handle that `lib::init` has initialised, `load` takes nothing and `free`
/// takes back a load that is not its own.
///
/// The static members may run on several threads at once. They need the library loaded, by any handle in the
/// process, for as long as they run. None of them needs administrator rights.
class hlpapi : public lib {
public:
    hlpapi() = default;
    /// Calls `free`.
    ~hlpapi() { free(); }

    /// Initialises the handle and loads the IP Helper library for it. Returns 0, also when the handle is
    /// initialised already, the error of `lib::init`, or that of the load (126, 127), after which the
    /// handle is not initialised.
    KVTIP_API unsigned long load();

    /// Takes the load back and calls `lib::free`. Returns 0, also for a handle that is not initialised,
    /// or the first error of the two. The handle is free whatever the code says.
    KVTIP_API unsigned long free();

    /// The answer to a ping.
    struct _SPingReply {
        addr address;                      ///< who answered
        std::uint32_t round_trip_time = 0; ///< in milliseconds
        /// The system's `IP_STATUS`: 0 when the destination itself answered. Others are answers too: 11013
        /// time to live used up at `address`, 11003 host unreachable says `address`, maybe the own one, ...
        std::uint32_t status = 0;
        std::uint32_t ttl = 0; ///< of the IPv4 answer; 0 for IPv6
    };

    /// Sends an ICMP echo request and waits for the answer, `timeout` milliseconds at most. The request
    /// carries `size` bytes; `ttl`, `tos` and, if not 0, `dont_fragment` go into its IP header. The port of
    /// the destination does not count; a family other than IPv4 and IPv6 is pinged at 255.255.255.255.
    ///
    /// Returns 0 for any answer, "unreachable" from a router included: see the status. Else `reply` is
    /// untouched, and the code is that of the system (11010 no answer, 11050 general failure), 59 for an
    /// answer with other data than was sent, 8 when memory is exhausted, or 120 without the system calls:
    /// `IcmpSendEcho`, for IPv6 `Icmp6SendEcho2`. An IPv4-mapped address is pinged as IPv4 where the IPv6
    /// calls give 120. An IPv6 answer with a status other than 0 carries no data and gives 59 but for size 0.
    KVTIP_API static unsigned long ping(saddr destination, _SPingReply& reply, unsigned char ttl,
                                        unsigned long timeout, unsigned short size, unsigned char tos,
                                        int dont_fragment);

    /// Pings with 32 bytes, time to live 255 and a time-out of 5 s, up to `attempts` times until there is an
    /// answer. Returns 0, the code of the last attempt, or 87 for no attempts.
    KVTIP_API static unsigned long ping(const saddr& destination, unsigned long attempts, _SPingReply& reply);

    /// A neighbour: a host on the same link, or a multicast group.
    struct _SIpNetRow {
        std::uint32_t interface_index = 0;
        /// 0 unreachable, 1 incomplete, 2 probe, 3 delay, 4 stale, 5 reachable, 6 permanent; 7 unknown: from
        /// the older system call.
        std::uint32_t state = 0;
        std::uint32_t interface_type = 0; ///< IANA ifType; 1 from the older system call
        saddr address;                    ///< port 0
        macaddr mac;                      ///< length 0 without a hardware address
    };

    /// The neighbours of a family (2 or 23), or of both (0), in the system's order. `rows` is emptied first,
    /// and on failure stays so, except that exhausted memory (8) leaves the rows so far. A table without
    /// entries is a failure for the system (1168 or 232). Rests on `GetIpNetTable2`; for IPv4 alone, and
    /// where that call is missing, on `GetIpNetTable` (120 without it), whose rows do not say which are
    /// unfinished or invalid. Without the newer call IPv6 has no rows, which is no error.
    KVTIP_API static unsigned long getipnettable(std::vector<_SIpNetRow>& rows, unsigned short family);

    /// Asks for the hardware address of an IPv4 neighbour (`SendARP`; can take 3 s). `source` is the own
    /// address to ask from, 0.0.0.0 for any; ports do not count. Returns 0 with an address of 6 bytes, or
    /// the system's code (67 or 31 no answer, 1168 no such own address) with `mac` untouched, or 120.
    KVTIP_API static unsigned long sendARP(const saddr4& source, const saddr4& destination, macaddr& mac);

    /// A TCP connection or listener, or a UDP endpoint.
    struct _SIpConnection {
        /// TCP: 1 closed, 2 listen, 3 SYN sent, 4 SYN received, 5 established, 6 FIN wait 1, 7 FIN wait 2, 8
        /// close wait, 9 closing, 10 last ACK, 11 time wait, 12 delete TCB. UDP: 0.
        std::uint32_t state = 0;
        std::uint32_t protocol = 0; ///< 6 TCP, 17 UDP
        /// 2 opened from here, 1 accepted here, 0 unknown: UDP, listeners, normally all of IPv6, and where
        /// the system call (`GetPerTcpConnectionEStats`) is missing.
        std::uint32_t direction = 0;
        saddr local;
        saddr remote;          ///< without meaning for listeners; all zero but the family for UDP
        std::uint32_t pid = 0; ///< owning process; 0 when there is none any more
    };

    /// Lists TCP over IPv4, TCP over IPv6, UDP over IPv4 and UDP over IPv6, each in the system's sorted
    /// order. `protocol` (6 or 17) and `family` (2 or 23) restrict the list, 0 is all, another value none.
    /// `state` lists only TCP connections in that state, 0 all and UDP too. Scope ids are not carried over.
    /// `connections` is emptied first; on failure, rows listed by then stay. Returns 0, the system's code, or
    /// 1627 without the system calls (`GetExtendedTcpTable`, `GetExtendedUdpTable`). Throws `std::bad_alloc`.
    KVTIP_API static unsigned long getConnections(std::vector<_SIpConnection>& connections,
                                                  unsigned long protocol, unsigned short family,
                                                  unsigned long state);

    /// The process that owns the first connection, in the order of that list, between two addresses. Ports
    /// are not compared. For a UDP endpoint `remote` is the all-zero address of its family. Returns 0, the
    /// code of the listing, or 2 when there is none, and then leaves `pid` alone. Throws `std::bad_alloc`.
    KVTIP_API static unsigned long findPid(unsigned long protocol, const saddr& local, const saddr& remote,
                                           unsigned long& pid);

private:
    // These append, of one family, 2 or 23.
    KVTIP_API static unsigned long getTcpConnections(std::vector<_SIpConnection>& connections,
                                                     unsigned short family, unsigned long state);
    KVTIP_API static unsigned long getUdpConnections(std::vector<_SIpConnection>& connections,
                                                     unsigned short family);
};

} // namespace ip
