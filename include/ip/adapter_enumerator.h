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

/// \name Operational states of an adapter
/// The values of `_SFindAdapter::oper_status`.
/// @{
inline constexpr std::uint32_t oper_status_up = 1;
inline constexpr std::uint32_t oper_status_down = 2;
inline constexpr std::uint32_t oper_status_testing = 3;
inline constexpr std::uint32_t oper_status_unknown = 4;
inline constexpr std::uint32_t oper_status_dormant = 5;
inline constexpr std::uint32_t oper_status_not_present = 6;
inline constexpr std::uint32_t oper_status_lower_layer_down = 7;
/// @}

/// One network adapter. "Older source" marks what differs when `GetAdaptersInfo` gave the list (see
/// `adapter_enumerator`); what is "not written" then stays as it was in a record that is used again.
struct _SFindAdapter {
    std::uint32_t index = 0;      ///< IPv4 interface index; 0 when IPv4 is off
    std::uint32_t ipv6_index = 0; ///< IPv6 interface index; 0 when IPv6 is off, and from the older source
    std::string name;             ///< the interface GUID in braces
    /// The connection's name as users see it. Older source: that of the newer list before version 6, else
    /// empty; the same holds for `dns_servers`, and for `oper_status`, which is else 4.
    std::wstring friendly_name;
    std::wstring description;
    std::uint8_t hw_address[32];         ///< only the first `hw_address_length` bytes mean anything
    std::uint32_t hw_address_length = 0; ///< 0 to 32; 0 also for an address that would be longer
    std::uint32_t type = 1;              ///< IANA ifType: 6 Ethernet, 24 loopback, 71 IEEE 802.11, ...
    std::uint32_t oper_status = 4;       ///< 1 up, 2 down, ..., 4 unknown
    /// In the order listed. Older source: only the first, which is 0.0.0.0 where there is none, and has
    /// family 0 when its text is no address.
    std::vector<saddr> gateways;
    /// In the order listed. Where no IPv6 server is set, Windows lists fec0:0:0:ffff::1 to ::3, which lead
    /// nowhere.
    std::vector<saddr> dns_servers;
    bool dhcp_enabled = false;
    saddr4 dhcp_server;  ///< family 0 when there is none; of an IPv6 server the last four bytes
    saddr dhcpv6_server; ///< family 0 when there is none, and from the older source; an IPv4 one is mapped
    std::uint32_t ipv4_metric = 0;         ///< older source: not written
    std::uint32_t ipv6_metric = 0;         ///< older source: not written
    std::wstring dns_suffix;               ///< older source: not written
    std::wstring device_instance_id;       ///< empty when the registry knows none; older source: not written
    std::vector<std::uint8_t> dhcpv6_duid; ///< older source: empty
    /// Written only when the adapter has one: a record that is used again keeps an earlier adapter's.
    std::uint32_t dhcpv6_iaid = 0;
};

/// One unicast address of an adapter.
struct _SFindAddress {
    addr address; ///< family 0 when it could not be taken
    /// The on-link prefix as a mask; family 0 when unknown. Not written beside an address of another
    /// family than these two: a record that is used again keeps an earlier one.
    addr mask;
    /// When the current lease began and ends, in seconds since 1970 (UTC); 0 without a finite lifetime.
    std::int64_t lease_obtained = 0;
    std::int64_t lease_expires = 0;
};

/// How this host reaches a destination.
struct _SCurrentProfile {
    _SFindAdapter adapter; ///< the adapter that serves the destination
    /// The own address: of the destination's family, the dial-up connection's or else the adapter's first.
    /// Without one, the connection's of the other family, or family 0.
    addr address;
    addr mask;                ///< of that address, as in `_SFindAddress`
    saddr gateway;            ///< the next hop, see `find_best_gateway`; family 0 when it is not known
    bool dial_up = false;     ///< whether the adapter is a remote-access (dial-up, VPN) connection; if not,
                              ///< the texts are empty
    std::wstring entry_name;  ///< of the connection, in the user's phone book
    std::wstring device_type; ///< "modem", "vpn", "PPPoE", ...
    std::wstring device_name; ///< the device's name, as users see it
};

/// Walks the network adapters one at a time and, of the adapter it stands on, the unicast addresses:
///
///     ip::adapter_enumerator adapters;
///     ip::_SFindAdapter adapter;
///     for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
///         ip::_SFindAddress address;
///         while (adapters.find_next_addr(address)) ...
///     }
///     // GetLastError() is 259 here, or says why the walk ended early
///
/// The list comes from `GetAdaptersAddresses`; on systems before version 6, and where that call fails or
/// is missing, from the older source, `GetAdaptersInfo`, which knows IPv4 only. An `ip::lib` handle must
/// be initialised. Records are the caller's, copied out of the enumerator; the same ones may be used for
/// every step. One enumerator serves one thread at a time, and keeps its buffers for the next walk.
class adapter_enumerator {
public:
    adapter_enumerator() = default;
    adapter_enumerator(const adapter_enumerator&) = delete;
    adapter_enumerator& operator=(const adapter_enumerator&) = delete;

    /// Starts from scratch and fills `adapter` with the first adapter. `family` goes to the system call:
    /// 0 for all adapters, 2 or 23 for one family. False leaves the reason in the last error: 8 memory
    /// exhausted, else `GetAdaptersInfo`'s own code (232 no adapters). One case does not set it: family 23
    /// where `GetAdaptersAddresses` does not answer. The record is untouched when no list could be had, and
    /// partly filled when memory ran out later. Throws `kvt::exceptions::error` when an adapter's name
    /// cannot be converted.
    KVTIP_API bool find_first(_SFindAdapter& adapter, std::uint32_t family);

    /// Fills `adapter` with the next adapter. False leaves the reason in the last error: 259 the end of
    /// the list, which empties the record's gateways, DNS servers and DUID only; 8 memory exhausted, with
    /// the record partly filled. Throws like `find_first`. After 8 or an exception the same adapter comes
    /// next.
    bool find_next(_SFindAdapter& adapter) { return fill_adapter(adapter); }

    /// Fills `address` with the next unicast address of the adapter last filled. False at the end, with
    /// the last error left alone, the lease times 0 and the rest untouched. From the older source an
    /// adapter without address has one 0.0.0.0.
    KVTIP_API bool find_next_addr(_SFindAddress& address);

    /// Fills `adapter` with the adapter of that IPv4 or IPv6 index; for index 0, with the one that serves
    /// `destination` (see `getbestinterface`), which does not matter otherwise. True leaves 0 in the last
    /// error and the enumerator on that adapter, so that `find_next_addr` gives its addresses. False leaves
    /// the reason: that of `find_first`, the code of `getbestinterface`, 259 no adapter of that index, 8;
    /// `adapter` is then as the step that failed leaves it. Starts from scratch and throws like `find_first`.
    KVTIP_API bool find_best(_SFindAdapter& adapter, const saddr& destination, std::uint32_t index = 0);

    /// The next hop towards `destination`; for a host on the own link that is, in IPv4, the own address, in
    /// IPv6 `::`. Of `adapter` only `ipv6_index` counts, and for IPv6 only. Returns 0 or the code of
    /// `GetBestRoute` (1231 no route) or, for IPv6, `GetBestRoute2`, with `gateway` untouched; 10022 for
    /// another family, and for IPv6 where the system lacks that call; 10046 when the next hop is not IPv6,
    /// with `gateway` overwritten.
    KVTIP_API static unsigned long find_best_gateway(const _SFindAdapter& adapter, const saddr& destination,
                                                     saddr& gateway);

    /// How the host reaches `destination`: finds the adapter like `find_best`, with its result, last error
    /// and exceptions, and asks the remote-access connections (`RasEnumConnectionsW`,
    /// `RasGetProjectionInfoW` of `rasapi32.dll`, loaded for the call) whether one has an IPv4 address of
    /// that adapter. Where that library is missing or fails, there is no dial-up connection. On failure only
    /// `profile.adapter` is touched.
    KVTIP_API bool find_current_profile(_SCurrentProfile& profile, const saddr& destination);

    /// All DNS servers that the host knows, as text without blanks, separated by commas: those of the
    /// system-wide list (`GetNetworkParams`, IPv4), then those of the adapters that are up or dormant
    /// (`GetAdaptersAddresses`), each text once. A list that cannot be had is left out; where
    /// memory runs out the text ends. False when there is no server, or when the IP Helper library cannot be
    /// loaded, in which case `servers` holds the system-wide list all the same; the last error means nothing.
    KVTIP_API static bool retrievednsservers(std::string& servers);

private:
    KVTIP_API bool fill_adapter(_SFindAdapter& adapter);

    unsigned long get_adapters_addresses(std::uint32_t family, std::uint32_t flags);
    unsigned long get_adapters_info();
    void load_device_ids();

    membuffer addresses_buffer;
    membuffer info_buffer;
    // Cursors into the buffers: the next entry to report, null where the source is not in use or at its
    // end. Before version 6 `addresses_cursor` stays at the start, for look-ups beside the older source.
    const _IP_ADAPTER_INFO* info_cursor = nullptr;
    const _IP_ADDR_STRING* info_addr_cursor = nullptr;
    bool use_info = false; ///< the older source has been asked for; tells whoever looks with a debugger
    const _IP_ADAPTER_ADDRESSES_LH* addresses_cursor = nullptr;
    const _IP_ADAPTER_UNICAST_ADDRESS_LH* unicast_cursor = nullptr;
    std::map<std::wstring, std::wstring> device_ids; ///< adapter name to device instance identifier
};

/// All unicast addresses of all adapters, loopback and adapters that are down included, in enumeration
/// order. `family` 0 takes every address, those that could not be taken (family 0) included; 2 or 23
/// those of one family. `addresses` is cleared first, and keeps what was found before a failure. Returns
/// 0, 8 (memory exhausted), or the code of the failed enumeration (232: no adapters). Throws like
/// `adapter_enumerator::find_first`.
KVTIP_API unsigned long localaddresses(std::vector<addr>& addresses, unsigned short family);

/// The first of `localaddresses`, or family 0 when there is none, whatever the code says. Returns and
/// throws the same.
KVTIP_API unsigned long local_address(addr& address, unsigned short family);

/// The index of the interface that serves `destination`. Returns 0 or the code of `GetBestInterfaceEx` (1231
/// no route, 87 no such family). Where that call is missing, `GetBestInterface` answers for IPv4, and other
/// families give 87. `index` is what the system makes of it.
KVTIP_API unsigned long getbestinterface(const saddr& destination, std::uint32_t& index);

/// The adapter that serves `destination`, as `adapter_enumerator::find_best` finds it, with its result, last
/// error and exceptions.
KVTIP_API bool getbestinterface(const saddr& destination, _SFindAdapter& adapter);

} // namespace ip
