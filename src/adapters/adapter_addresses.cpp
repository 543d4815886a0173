#include "adapters/adapter_addresses.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <iterator>

#include "adapters/adapter_fields.h"
#include "address/convert.h"
#include "address/encoding.h"
#include "address/ipv4_mapped.h"

namespace ip::detail {

namespace {

// An entry is as long as its `Length` says: it has a newer member only if it is longer than that member's
// offset. The build selects a version of the headers that declares all members. Entries are passed by pointer:
// a compiler may read all of what a reference names, also past the end of a short entry.
static_assert(offsetof(IP_ADAPTER_ADDRESSES, FirstDnsServerAddress) == 48);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, FirstGatewayAddress) == 208);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, Dhcpv4Server) == 232);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, Dhcpv6Server) == 280);
static_assert(offsetof(IP_ADAPTER_UNICAST_ADDRESS, OnLinkPrefixLength) == 56);

/// The first `most` bytes of a socket address that the system has listed, or fewer if it is shorter.
saddr copy_of(const SOCKET_ADDRESS& address, int most = sizeof(saddr)) {
    return from_sockaddr(address.lpSockaddr,
                         static_cast<std::size_t>(std::clamp(address.iSockaddrLength, 0, most)));
}

/// The IPv4 or IPv6 socket address; empty if there is none or it has another family.
saddr ip_copy_of(const SOCKET_ADDRESS& address) {
    if (address.lpSockaddr == nullptr) {
        return {};
    }
    return copy_of(address, length_of(copy_of(address, sizeof address.lpSockaddr->sa_family)));
}

/// Appends the socket addresses of a linked list, whatever their family, and skips nodes without one.
template <class Node>
void append(std::vector<saddr>& addresses, const Node* first) {
    for (const Node* node = first; node != nullptr; node = node->Next) {
        if (node->Address.lpSockaddr != nullptr) {
            addresses.push_back(copy_of(node->Address));
        }
    }
}

/// An IPv6 server is narrowed to the IPv4 address in its last four bytes.
saddr4 dhcp_server(saddr server) {
    saddr4 result;
    if (const std::size_t size = address_size(server.family)) {
        result.family = family_ipv4;
        result.port = server.port;
        std::memcpy(result.address, address_of(server) + size - ipv4_size, ipv4_size);
    }
    return result;
}

/// An IPv4 server is reported as its IPv4-mapped IPv6 address.
saddr dhcpv6_server(const saddr& server) {
    if (server.family == family_ipv6) {
        return server;
    }
    saddr result;
    if (server.family == family_ipv4) {
        result.family = family_ipv6;
        result.port = server.port;
        std::memcpy(result.address6, ipv4_mapped_prefix, sizeof ipv4_mapped_prefix);
        std::memcpy(result.address6 + sizeof ipv4_mapped_prefix, server.address4, ipv4_size);
    }
    return result;
}

void copy_dhcp(_SFindAdapter& adapter, const IP_ADAPTER_ADDRESSES* entry) {
    adapter.dhcp_enabled = (entry->Flags & IP_ADAPTER_DHCP_ENABLED) != 0;
    adapter.dhcp_server = {};
    adapter.dhcpv6_server = {};
    if (!adapter.dhcp_enabled) {
        return;
    }
    if (entry->Length > offsetof(IP_ADAPTER_ADDRESSES, Dhcpv4Server)) {
        adapter.dhcp_server = dhcp_server(ip_copy_of(entry->Dhcpv4Server));
    }
    if (entry->Length > offsetof(IP_ADAPTER_ADDRESSES, Dhcpv6Server)) {
        adapter.dhcpv6_server = dhcpv6_server(ip_copy_of(entry->Dhcpv6Server));
    }
}

void copy_name(_SFindAdapter& adapter, const char* name, const device_id_map& device_ids) {
    adapter.name.clear();
    adapter.device_instance_id.clear();
    if (name == nullptr) {
        return;
    }
    adapter.name = name;
    const auto found = device_ids.find(to_wide(name, npos, code_page_utf8));
    if (found != device_ids.end()) {
        adapter.device_instance_id = found->second;
    }
}

/// The mask of the first `length` bits; family 0 if an address of `family` does not have that many.
void set_prefix_mask(addr& mask, std::uint16_t family, std::size_t length) {
    const std::size_t size = address_size(family);
    if (length > size * 8) {
        mask.family = family_none;
        return;
    }
    mask.family = family;
    std::fill_n(mask.address, size, std::uint8_t{0});
    std::fill_n(mask.address, length / 8, std::uint8_t{0xFF});
    if (length % 8 != 0) {
        mask.address[length / 8] = static_cast<std::uint8_t>(0xFF00u >> (length % 8));
    }
}

void set_lease(_SFindAddress& address, const IP_ADAPTER_UNICAST_ADDRESS* entry) {
    constexpr ULONG infinite = 0xFFFFFFFF;
    if (entry->ValidLifetime == infinite) {
        return;
    }
    const std::int64_t lease = entry->LeaseLifetime;
    const std::int64_t age = lease - std::int64_t{entry->ValidLifetime};
    address.lease_obtained = _time64(nullptr) - age;
    address.lease_expires = address.lease_obtained + lease;
}

} // namespace

void append_dns_servers(std::vector<saddr>& servers, const IP_ADAPTER_ADDRESSES* entry) {
    if (entry->Length > offsetof(IP_ADAPTER_ADDRESSES, FirstDnsServerAddress)) {
        append(servers, entry->FirstDnsServerAddress);
    }
}

void fill_record(_SFindAdapter& adapter, const IP_ADAPTER_ADDRESSES* entry, const device_id_map& device_ids) {
    adapter.index = entry->IfIndex;
    adapter.ipv6_index = entry->Ipv6IfIndex;
    adapter.type = entry->IfType;
    adapter.oper_status = static_cast<std::uint32_t>(entry->OperStatus);
    copy_hw_address<offsetof(IP_ADAPTER_ADDRESSES, PhysicalAddress)>(adapter, entry,
                                                                     entry->PhysicalAddressLength);
    copy_name(adapter, entry->AdapterName, device_ids);
    adapter.description = text_or_empty(entry->Description);
    adapter.friendly_name = text_or_empty(entry->FriendlyName);
    copy_dhcp(adapter, entry);
    adapter.ipv4_metric = entry->Ipv4Metric;
    adapter.ipv6_metric = entry->Ipv6Metric;
    if (entry->Length > offsetof(IP_ADAPTER_ADDRESSES, FirstGatewayAddress)) {
        append(adapter.gateways, entry->FirstGatewayAddress);
    }
    append_dns_servers(adapter.dns_servers, entry);
    adapter.dns_suffix = text_or_empty(entry->DnsSuffix);
    // Of a longer identifier, only what an entry can hold is copied.
    const std::size_t duid_length =
        std::min<std::size_t>(entry->Dhcpv6ClientDuidLength, std::size(entry->Dhcpv6ClientDuid));
    adapter.dhcpv6_duid.assign(entry->Dhcpv6ClientDuid, entry->Dhcpv6ClientDuid + duid_length);
    // If the adapter has no IAID, a record that is used again keeps that of an earlier adapter.
    if (entry->Dhcpv6Iaid != 0) {
        adapter.dhcpv6_iaid = entry->Dhcpv6Iaid;
    }
}

void fill_record(_SFindAddress& address, const IP_ADAPTER_UNICAST_ADDRESS* entry) {
    set_lease(address, entry);
    to_addr(ip_copy_of(entry->Address), address.address);
    if (entry->Length <= offsetof(IP_ADAPTER_UNICAST_ADDRESS, OnLinkPrefixLength) ||
        entry->Address.lpSockaddr == nullptr) {
        address.mask.family = family_none;
    } else if (address.address.family != family_none) { // otherwise the mask stays as it was
        set_prefix_mask(address.mask, address.address.family, entry->OnLinkPrefixLength);
    }
}

} // namespace ip::detail
