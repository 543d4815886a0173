#pragma once

// The address values that every operation takes and fills: plain, trivially copyable records without
// heap storage, the socket addresses laid out as the system's own. No platform header is needed to use
// them. Addresses and ports stay in network byte order, exactly as the system holds them: nothing here
// converts byte order.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "ip/export.h"

namespace ip {

/// Address family codes, with the values of the Windows socket library.
inline constexpr std::uint16_t family_none = 0;
inline constexpr std::uint16_t family_ipv4 = 2;
inline constexpr std::uint16_t family_ipv6 = 23;

/// \name Types of an interface
/// The common IANA interface types, as in `_SFindAdapter::type` and `hlpapi::_SIpNetRow::interface_type`.
/// @{
inline constexpr std::uint32_t interface_type_other = 1;
inline constexpr std::uint32_t interface_type_ethernet = 6;
inline constexpr std::uint32_t interface_type_ppp = 23;
inline constexpr std::uint32_t interface_type_loopback = 24;
inline constexpr std::uint32_t interface_type_wlan = 71; ///< IEEE 802.11
inline constexpr std::uint32_t interface_type_tunnel = 131;
inline constexpr std::uint32_t interface_type_ieee1394 = 144;
inline constexpr std::uint32_t interface_type_mobile_broadband = 243;
/// @}

/// An IP address without port and without scope id.
struct addr {
    /// `family_none`, `family_ipv4` or `family_ipv6`.
    std::uint16_t family = family_none;
    /// IPv4: the first 4 bytes, the other 12 carry no meaning. IPv6: all 16. None: no meaning.
    std::uint8_t address[16] = {};
};

/// A socket address: address and port. Its 28 bytes are the system's `SOCKADDR_IN6`, with
/// `SOCKADDR_IN` laid over the first 16. Family 0 marks an empty one.
struct saddr {
    std::uint16_t family = family_none;
    std::uint16_t port = 0;
    union {
        std::uint32_t flow_info = 0; ///< IPv6, as the system holds it
        std::uint8_t address4[4];    ///< IPv4
    };
    /// IPv6; of an IPv4 socket address the first 8 bytes are zero and the rest is unused.
    std::uint8_t address6[16] = {};
    std::uint32_t scope_id = 0; ///< IPv6: the interface's index, in the host's byte order
};

/// An IPv4 socket address, the 16 bytes of `SOCKADDR_IN`. Operations that take one read only the
/// address.
struct alignas(4) saddr4 {
    std::uint16_t family = family_none;
    std::uint16_t port = 0;
    std::uint8_t address[4] = {};
    std::uint8_t zero[8] = {};
};

/// A hardware (link-layer) address.
struct macaddr {
    static constexpr std::size_t max_length = 32;

    std::uint8_t bytes[max_length] = {};
    /// The number of valid leading bytes, 0 to 32; 0 means that there is no hardware address.
    std::uint8_t length = 0;

    /// Asks for the hardware address of a neighbour; can take seconds. `source`: the own address to ask
    /// from, null for any; for an IPv4 target the last four bytes of an IPv6 one count, and one of family 0
    /// is 255.255.255.255. Needs an initialised `ip::lib`. Returns 0 (length 0: the address has more than 32
    /// bytes) or the code of `SendARP` or, for IPv6, `ResolveIpNetEntry2` (67 or 31 no answer; 87 where the
    /// system wants an interface named, 120 without `SendARP`), with this object untouched; or 87 with
    /// length 0: no such family, or a system without `ResolveIpNetEntry2`.
    KVTIP_API unsigned long from_addr(const addr& target, const addr* source);
};

/// The handle of one socket. A plain value: copying it copies the handle, and dropping it closes
/// nothing; only the close operation does.
struct socket {
    static constexpr std::uintptr_t none = ~std::uintptr_t{0};

    /// The system's `SOCKET`; `none` (`INVALID_SOCKET`) when there is none.
    std::uintptr_t handle = none;

    /// Puts `replacement` in and returns the handle that was there, in one atomic step: of two
    /// threads that take the same handle out, one gets it and the other gets `none`.
    std::uintptr_t exchange(std::uintptr_t replacement = none) noexcept {
        return std::atomic_ref<std::uintptr_t>(handle).exchange(replacement);
    }
};

/// A raw IPv4 address: the bytes of `IN_ADDR`, and the first 4 of `addr::address`.
struct _raw_addr4_no {
    std::uint8_t bytes[4] = {};
};

/// A raw IPv6 address: the bytes of `IN6_ADDR`, and of `addr::address`.
struct _raw_addr6_no {
    std::uint8_t bytes[16] = {};
};

} // namespace ip
