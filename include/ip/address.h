#pragma once

// The address values that every operation takes and fills: plain, trivially copyable records. The socket
// addresses have the layout of the system's records. No platform header is needed to use them. Addresses and
// ports stay in network byte order, as the system has them: nothing here converts byte order.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "ip/export.h"

namespace ip {

/// @{
/// Address families, with the values of the Windows socket library.
inline constexpr std::uint16_t family_none = 0;
inline constexpr std::uint16_t family_ipv4 = 2;
inline constexpr std::uint16_t family_ipv6 = 23;
/// @}

/// @{
/// Common interface types (IANA ifType), as in `_SFindAdapter::type` and
/// `hlpapi::_SIpNetRow::interface_type`.
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
    /// IPv4 uses the first 4 bytes, IPv6 all 16. The other bytes have no meaning.
    std::uint8_t address[16] = {};
};

/// A socket address: address and port. Its 28 bytes have the layout of the system's `SOCKADDR_IN6`, the first
/// 16 also that of `SOCKADDR_IN`. Family 0 marks an empty one.
struct saddr {
    std::uint16_t family = family_none; ///< `family_none`, `family_ipv4` or `family_ipv6`
    std::uint16_t port = 0;             ///< in network byte order
    union {
        std::uint32_t flow_info = 0; ///< IPv6, as the system has it
        std::uint8_t address4[4];    ///< IPv4
    };
    /// IPv6. In an IPv4 socket address the first 8 bytes are 0 and the others are not used.
    std::uint8_t address6[16] = {};
    std::uint32_t scope_id = 0; ///< IPv6: the index of the interface, in host byte order
};

/// An IPv4 socket address, with the layout of `SOCKADDR_IN`. Operations that take one read only the address.
struct alignas(4) saddr4 {
    std::uint16_t family = family_none; ///< `family_none` or `family_ipv4`
    std::uint16_t port = 0;             ///< in network byte order
    std::uint8_t address[4] = {};       ///< in network byte order
    std::uint8_t zero[8] = {};          ///< not used
};

/// A hardware (link-layer) address.
struct macaddr {
    static constexpr std::size_t max_length = 32; ///< the most bytes that an address has

    std::uint8_t bytes[max_length] = {}; ///< the address: the first `length` bytes
    std::uint8_t length = 0;             ///< 0 to 32 bytes; 0 without a hardware address

    /// Finds the hardware address of a neighbour, which can take seconds. `source` is the local address to
    /// ask from, or null for any. For an IPv4 target, an IPv6 source stands for its last four bytes, and any
    /// other family for 255.255.255.255. Needs an initialised `ip::lib`. Rests on `SendARP` and, for IPv6, on
    /// `ResolveIpNetEntry2`. Returns 0; `length` is then 0 if the address has more than 32 bytes. On failure
    /// this object is untouched and the code is the system's, or `ERROR_CALL_NOT_IMPLEMENTED (120)` without
    /// `SendARP`:
    /// - `ERROR_BAD_NET_NAME (67)` or `ERROR_GEN_FAILURE (31)`: no answer;
    /// - `ERROR_INVALID_PARAMETER (87)`: the system needs an interface for an IPv6 target. The same code sets
    ///   `length` to 0 for any other family, and where the system lacks `ResolveIpNetEntry2`.
    KVTIP_API unsigned long from_addr(const addr& target, const addr* source) noexcept;
};

/// The handle of one socket. A plain value: a copy has the same handle, and only `winsock2::closesocket`
/// closes it.
struct socket {
    static constexpr std::uintptr_t none = ~std::uintptr_t{0}; ///< no socket (`INVALID_SOCKET`)

    /// The system's `SOCKET`, or `none`. While another thread may change it, read it by `std::atomic_ref`, as
    /// the library does.
    std::uintptr_t handle = none;

    /// Stores `replacement` and returns the previous handle, in one atomic step. Of two threads that take the
    /// handle out concurrently, one gets it and the other gets `none`.
    std::uintptr_t exchange(std::uintptr_t replacement = none) noexcept {
        return std::atomic_ref<std::uintptr_t>(handle).exchange(replacement);
    }
};

/// A raw IPv4 address, with the layout of `IN_ADDR`.
struct _raw_addr4_no {
    std::uint8_t bytes[4] = {}; ///< in network byte order
};

/// A raw IPv6 address, with the layout of `IN6_ADDR`.
struct _raw_addr6_no {
    std::uint8_t bytes[16] = {}; ///< in network byte order
};

} // namespace ip
