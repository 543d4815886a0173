#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/membuffer.h"

// The system's list entries, of which this header needs the names only.
struct _IP_ADAPTER_ADDRESSES_LH;
struct _IP_ADAPTER_INFO;
struct _IP_ADAPTER_UNICAST_ADDRESS_LH;
struct _IP_ADDR_STRING;

namespace ip {

/// @{
/// Operational states of an adapter: the values of `_SFindAdapter::oper_status`.
inline constexpr std::uint32_t oper_status_up = 1;
inline constexpr std::uint32_t oper_status_down = 2;
inline constexpr std::uint32_t oper_status_testing = 3;
inline constexpr std::uint32_t oper_status_unknown = 4;
inline constexpr std::uint32_t oper_status_dormant = 5;
inline constexpr std::uint32_t oper_status_not_present = 6;
inline constexpr std::uint32_t oper_status_lower_layer_down = 7;
/// @}

/// One network adapter. "Older source" marks what differs when the list came from `GetAdaptersInfo` (see
/// `adapter_enumerator`). A member that is "not written" keeps its value in a record that is used again.
struct _SFindAdapter {
    std::uint32_t index = 0;      ///< the IPv4 interface index; 0 when IPv4 is off
    std::uint32_t ipv6_index = 0; ///< the IPv6 interface index; 0 when IPv6 is off, and from the older source
    std::string name;             ///< the interface GUID in braces
    /// The connection's name, as users see it. Older source: empty when the newer call failed or is missing.
    std::wstring friendly_name;
    std::wstring description;                  ///< the device's description
    std::uint8_t hw_address[32];               ///< the hardware address: the first `hw_address_length` bytes
    std::uint32_t hw_address_length = 0;       ///< 0 to 32 bytes; 0 also for a longer address
    std::uint32_t type = interface_type_other; ///< the IANA type, such as `interface_type_ethernet`
    /// Older source: unknown when the newer call failed or is missing.
    std::uint32_t oper_status = oper_status_unknown;
    /// The gateways in the order of the system. Older source: only the first. It is 0.0.0.0 where there is
    /// none, and has family 0 when its text is not an address.
    std::vector<saddr> gateways;
    /// The DNS servers in the order of the system. Where no IPv6 server is set, Windows lists
    /// fec0:0:0:ffff::1 to ::3, where no server is. Older source: empty when the newer call failed or is
    /// missing.
    std::vector<saddr> dns_servers;
    bool dhcp_enabled = false; ///< whether DHCP configures the adapter
    saddr4 dhcp_server;        ///< family 0 when there is none; of an IPv6 server, the last four bytes
    /// Family 0 when there is none, and from the older source. An IPv4 server is an IPv4-mapped address.
    saddr dhcpv6_server;
    std::uint32_t ipv4_metric = 0;         ///< the IPv4 interface metric; older source: not written
    std::uint32_t ipv6_metric = 0;         ///< the IPv6 interface metric; older source: not written
    std::wstring dns_suffix;               ///< the DNS suffix; older source: not written
    std::wstring device_instance_id;       ///< empty when the registry has none; older source: not written
    std::vector<std::uint8_t> dhcpv6_duid; ///< the DHCPv6 client identifier; older source: empty
    /// The DHCPv6 association identifier. Written only when it is not 0: a record that is used again keeps
    /// that of an earlier adapter.
    std::uint32_t dhcpv6_iaid = 0;
};

/// One unicast address of an adapter.
struct _SFindAddress {
    addr address; ///< family 0 when it is neither IPv4 nor IPv6
    /// The on-link prefix as a mask; family 0 when it is unknown. Not written if the address is neither IPv4
    /// nor IPv6: a record that is used again keeps an earlier mask.
    addr mask;
    std::int64_t lease_obtained = 0; ///< in seconds since 1970 (UTC); 0 without a finite lifetime
    std::int64_t lease_expires = 0;  ///< in seconds since 1970 (UTC); 0 without a finite lifetime
};

/// How this host reaches a destination.
struct _SCurrentProfile {
    _SFindAdapter adapter; ///< the adapter that serves the destination
    /// The local address of the destination's family: that of the dial-up connection, otherwise the adapter's
    /// first. Where there is none, the connection's address of the other family, otherwise family 0.
    addr address;
    addr mask;                ///< the mask of `address`, as in `_SFindAddress`
    saddr gateway;            ///< the next hop, see `find_best_gateway`; family 0 when it is unknown
    bool dial_up = false;     ///< whether a remote-access connection (dial-up or VPN) has the address
    std::wstring entry_name;  ///< the connection's name in the user's phone book; empty without one
    std::wstring device_type; ///< "modem", "vpn", "PPPoE", ...; empty without a connection
    std::wstring device_name; ///< the device's name, as users see it; empty without a connection
};

/// Walks the network adapters one at a time, and the unicast addresses of the adapter it is on:
///
///     ip::adapter_enumerator adapters;
///     ip::_SFindAdapter adapter;
///     for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
///         ip::_SFindAddress address;
///         while (adapters.find_next_addr(address)) ...
///     }
///     // GetLastError() is ERROR_NO_MORE_ITEMS (259) here, or the reason why the walk ended early.
///
/// The list comes from `GetAdaptersAddresses`. On systems before version 6, and where that call fails or is
/// missing, it comes from the older source, `GetAdaptersInfo`, which lists IPv4 only. An `ip::lib` handle
/// must be initialised: without one, the list silently comes from the older source.
///
/// The records belong to the caller, and the same ones may be used for every step. One enumerator serves one
/// thread at a time, and keeps its buffers for the next walk.
class adapter_enumerator {
public:
    adapter_enumerator() = default;
    adapter_enumerator(const adapter_enumerator&) = delete;
    adapter_enumerator& operator=(const adapter_enumerator&) = delete;

    /// Starts a new walk and fills `adapter` with the first adapter. `family` goes to the system call: 0 for
    /// all adapters, 2 or 23 for those of one family. False leaves the reason in the last error:
    /// `ERROR_NOT_ENOUGH_MEMORY (8)` or the code of `GetAdaptersInfo`, such as `ERROR_NO_DATA (232)` without
    /// adapters. Only with family 23, where `GetAdaptersAddresses` fails or is missing, is the last error not
    /// set. `adapter` is untouched when there is no list, and partly filled when memory ran out later. Throws
    /// `kvt::exceptions::error` when an adapter's name cannot be converted.
    KVTIP_API bool find_first(_SFindAdapter& adapter, std::uint32_t family);

    /// Fills `adapter` with the next adapter. False leaves the reason in the last error. At the end of the
    /// list it is `ERROR_NO_MORE_ITEMS (259)`, and only the record's gateways, DNS servers and DUID are
    /// emptied. After `ERROR_NOT_ENOUGH_MEMORY (8)` the record is partly filled. Throws like `find_first`.
    /// After code 8 or an exception, the next call starts with the same adapter.
    bool find_next(_SFindAdapter& adapter) { return fill_adapter(adapter); }

    /// Fills `address` with the next unicast address of the adapter that was filled last. At the end it
    /// returns false: the lease times are then 0, and the other members and the last error are untouched.
    /// From the older source, an adapter without an address has one 0.0.0.0.
    KVTIP_API bool find_next_addr(_SFindAddress& address);

    /// Starts a new walk and fills `adapter` with the adapter of that IPv4 or IPv6 index. For index 0 that is
    /// the one that serves `destination` (see `getbestinterface`), which is not used otherwise. True leaves 0
    /// in the last error and the enumerator on that adapter: `find_next_addr` walks its addresses. False
    /// leaves the reason: that of `find_first`, the code of `getbestinterface`, `ERROR_NO_MORE_ITEMS (259)`
    /// if no adapter has that index, or `ERROR_NOT_ENOUGH_MEMORY (8)`. `adapter` is then as the failed step
    /// left it. Throws like `find_first`.
    KVTIP_API bool find_best(_SFindAdapter& adapter, const saddr& destination, std::uint32_t index = 0);

    /// Finds the next hop to `destination`. For a host on the same link it is a local address in IPv4, and
    /// `::` in IPv6. Of `adapter` only `ipv6_index` is used, and only for IPv6. Rests on `GetBestRoute` and,
    /// for IPv6, on `GetBestRoute2`. Returns 0 or, with `gateway` untouched, the system's code, such as
    /// `ERROR_NETWORK_UNREACHABLE (1231)`, or `WSAEINVAL (10022)` for another family and where the system
    /// lacks the IPv6 call. `WSAEPFNOSUPPORT (10046)` reports a next hop that is not IPv6, and overwrites
    /// `gateway`.
    KVTIP_API static unsigned long find_best_gateway(const _SFindAdapter& adapter, const saddr& destination,
                                                     saddr& gateway) noexcept;

    /// Finds how this host reaches `destination`. Finds the adapter like `find_best`, with its result, last
    /// error and exceptions, and looks for a remote-access connection that has an IPv4 address of that
    /// adapter (`RasEnumConnectionsW` and `RasGetProjectionInfoW` of `rasapi32.dll`, loaded for the call from
    /// the system folder).
    /// Where that library is missing or fails, the profile is reported as not dial-up. On failure only
    /// `profile.adapter` is touched.
    ///
    /// On success the enumerator is on that adapter, after its last address: `find_next_addr` returns false,
    /// and `find_next` fills the next adapter.
    KVTIP_API bool find_current_profile(_SCurrentProfile& profile, const saddr& destination);

    /// Lists the DNS servers that the host uses, as text without blanks, separated by commas. First come
    /// those of the system-wide list (`GetNetworkParams`, IPv4), then those of the adapters that are up or
    /// dormant (`GetAdaptersAddresses`), each once. A list that fails is left out, and where memory runs out
    /// the text ends. Returns false when there is no server, and when the IP Helper library cannot be loaded:
    /// `servers` then has the system-wide list. The last error has no meaning.
    KVTIP_API static bool retrievednsservers(std::string& servers);

private:
    // These report no device identifiers, and so do not look for them.
    friend KVTIP_API unsigned long localaddresses(std::vector<addr>&, unsigned short);
    friend class lib;
    bool find_first_without_ids(_SFindAdapter& adapter, std::uint32_t family);

    KVTIP_API bool fill_adapter(_SFindAdapter& adapter);

    unsigned long get_adapters_addresses(std::uint32_t family, std::uint32_t flags);
    unsigned long get_adapters_info();
    void load_device_ids();

    membuffer addresses_buffer;
    membuffer info_buffer;
    // Cursors into the buffers: the next entry to report, null where the source is not used or at its end.
    // Before version 6 `addresses_cursor` stays at the start, where the older source takes what it lacks.
    const _IP_ADAPTER_INFO* info_cursor = nullptr;
    const _IP_ADDR_STRING* info_addr_cursor = nullptr;
    bool use_info = false; ///< whether the older source is used
    const _IP_ADAPTER_ADDRESSES_LH* addresses_cursor = nullptr;
    const _IP_ADAPTER_UNICAST_ADDRESS_LH* unicast_cursor = nullptr;
    std::map<std::wstring, std::wstring> device_ids; ///< adapter name to device instance identifier
};

/// Lists all unicast addresses of all adapters in the order of the walk, including loopback addresses and
/// those of adapters that are down. `family` 2 or 23 selects one family. 0 selects all, including addresses
/// that are neither IPv4 nor IPv6 (family 0). `addresses` is emptied first, and keeps what was found before a
/// failure. Returns 0, `ERROR_NOT_ENOUGH_MEMORY (8)` or the code of the failed walk, such as `ERROR_NO_DATA
/// (232)` without adapters. Throws like `adapter_enumerator::find_first`.
KVTIP_API unsigned long localaddresses(std::vector<addr>& addresses, unsigned short family);

/// Takes the first address of `localaddresses`, or family 0 when there is none, even on failure. Returns and
/// throws the same.
KVTIP_API unsigned long local_address(addr& address, unsigned short family);

/// Finds the index of the interface that serves `destination`. Returns 0 or the code of `GetBestInterfaceEx`:
/// `ERROR_NETWORK_UNREACHABLE (1231)` without a route, `ERROR_INVALID_PARAMETER (87)` for an unsupported
/// family. Where that call is missing, `GetBestInterface` serves IPv4, and other families return code 87.
/// After a failure `index` has whatever value the system left.
KVTIP_API unsigned long getbestinterface(const saddr& destination, std::uint32_t& index) noexcept;

/// Finds the adapter that serves `destination`, like `adapter_enumerator::find_best`, with its result, last
/// error and exceptions.
KVTIP_API bool getbestinterface(const saddr& destination, _SFindAdapter& adapter);

} // namespace ip
