// Adapters by GetAdaptersAddresses, straight from the system's list into the rows.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string_view>
#include <type_traits>
#include <vector>

#include "adapters/adapter_list.h"
#include "adapters/device_ids.h"
#include "address/convert.h"
#include "kvtip/adapter_sources.h"
#include "kvtip/values.h"

namespace kvtip::library {

namespace {

/// The value of a member, or another value from an entry that is too short to have the member. Entries are
/// passed by pointer: a compiler may read all of what a reference names, also past the end of a short entry.
template <class Entry, class Member>
Member value_or(std::type_identity_t<Member> value, const Entry* entry, Member Entry::*member) {
    const auto* address = reinterpret_cast<const std::uint8_t*>(&(entry->*member));
    const auto offset = address - reinterpret_cast<const std::uint8_t*>(entry);
    return static_cast<std::ptrdiff_t>(entry->Length) > offset ? entry->*member : value;
}

/// The address; none if the system gives less of it than its family needs. The scope is `interface_index` if
/// the system leaves it 0.
kvtip_address scoped_address(const SOCKET_ADDRESS& given, std::uint32_t interface_index) {
    if (given.lpSockaddr == nullptr || given.iSockaddrLength <= 0) {
        return {};
    }
    ip::saddr address =
        ip::detail::from_sockaddr(given.lpSockaddr, static_cast<std::size_t>(given.iSockaddrLength));
    if (given.iSockaddrLength < ip::detail::length_of(address)) {
        return {};
    }
    if (address.scope_id == 0) {
        address.scope_id = interface_index;
    }
    return to_address(address);
}

/// The system's speed of an unknown link is the greatest number.
std::uint64_t to_speed(std::uint64_t given) {
    return given == ~std::uint64_t{0} ? 0 : given;
}

/// Makes rows of the system's list.
class newer_source {
public:
    newer_source(const selection& wanted, const IP_ADAPTER_ADDRESSES* first)
        : wanted_(wanted), first_(first) {
        if (wanted.with_device_ids) {
            ip::detail::read_device_ids(device_ids_);
        }
    }

    /// Passes the wanted adapters to `use`.
    template <class Use>
    std::size_t walk(Use use) const {
        std::size_t count = 0;
        for (const auto* entry = first_; entry != nullptr; entry = entry->Next) {
            if ((!wanted_.up || entry->OperStatus == IfOperStatusUp) && has_family(entry)) {
                ++count;
                use(entry);
            }
        }
        return count;
    }

    /// Of all adapters what decides between the routes through them.
    std::vector<kvtip_adapter> states() const {
        std::vector<kvtip_adapter> all;
        for (const auto* entry = first_; entry != nullptr; entry = entry->Next) {
            write_state(all.emplace_back(), entry);
        }
        return all;
    }

    void write(block& out, kvtip_adapter& row, const IP_ADAPTER_ADDRESSES* entry) const {
        const std::string_view guid = entry->AdapterName == nullptr ? "" : entry->AdapterName;
        row.name = out.text(entry->FriendlyName);
        row.guid = out.text(guid);
        row.description = out.text(entry->Description);
        row.dns_suffix = out.text(entry->DnsSuffix);
        row.device_id = out.text(device_id_of(guid));
        write_state(row, entry);
        row.type = entry->IfType;
        row.mtu = entry->Mtu;
        row.transmit_speed = to_speed(value_or(0, entry, &IP_ADAPTER_ADDRESSES::TransmitLinkSpeed));
        row.receive_speed = to_speed(value_or(0, entry, &IP_ADAPTER_ADDRESSES::ReceiveLinkSpeed));
        row.mac = to_mac(entry->PhysicalAddress, entry->PhysicalAddressLength, sizeof entry->PhysicalAddress);
        write_dhcp(out, row, entry);
        write_all_addresses(out, row, entry);
    }

private:
    static void write_state(kvtip_adapter& row, const IP_ADAPTER_ADDRESSES* entry) {
        row.index = entry->IfIndex;
        row.ipv6_index = entry->Ipv6IfIndex;
        row.status = number_of(entry->OperStatus);
        row.ipv4_metric = value_or(KVTIP_UNKNOWN_METRIC, entry, &IP_ADAPTER_ADDRESSES::Ipv4Metric);
        row.ipv6_metric = value_or(KVTIP_UNKNOWN_METRIC, entry, &IP_ADAPTER_ADDRESSES::Ipv6Metric);
    }

    /// Passes the wanted addresses of a linked list to `use`, each with its node.
    template <class Node, class Use>
    std::size_t walk_addresses(const Node* node, std::uint32_t scope, Use use) const {
        std::size_t count = 0;
        for (; node != nullptr; node = node->Next) {
            if (const kvtip_address address = scoped_address(node->Address, scope); wanted_.has(address)) {
                ++count;
                use(address, node);
            }
        }
        return count;
    }

    /// An adapter has the wanted family if it has an index for it or an address of it.
    bool has_family(const IP_ADAPTER_ADDRESSES* entry) const {
        return wanted_.family == 0 || (wanted_.family == 4 ? entry->IfIndex : entry->Ipv6IfIndex) != 0 ||
               walk_addresses(entry->FirstUnicastAddress, 0, ignore) != 0;
    }

    std::wstring_view device_id_of(std::string_view guid) const {
        const auto found = std::find_if(device_ids_.begin(), device_ids_.end(), [&](const auto& each) {
            return std::equal(each.first.begin(), each.first.end(), guid.begin(), guid.end());
        });
        return guid.empty() || found == device_ids_.end() ? std::wstring_view() : found->second;
    }

    static std::uint32_t scope_of(const IP_ADAPTER_ADDRESSES* entry) {
        return entry->Ipv6IfIndex != 0 ? entry->Ipv6IfIndex : entry->IfIndex;
    }

    static void write_dhcp(block& out, kvtip_adapter& row, const IP_ADAPTER_ADDRESSES* entry) {
        using adapter = IP_ADAPTER_ADDRESSES;
        const auto server = [&](SOCKET_ADDRESS adapter::*member, std::uint8_t family) {
            const kvtip_address address = scoped_address(value_or({}, entry, member), scope_of(entry));
            return address.family == family ? address : kvtip_address{};
        };
        row.dhcp_enabled = (entry->Flags & IP_ADAPTER_DHCP_ENABLED) != 0;
        if (row.dhcp_enabled != 0) {
            row.dhcp_server = server(&adapter::Dhcpv4Server, 4);
        }
        row.dhcpv6_server = server(&adapter::Dhcpv6Server, 6);
        row.dhcpv6_iaid = value_or(0, entry, &adapter::Dhcpv6Iaid);
        row.dhcpv6_duid_size = std::min<std::size_t>(value_or(0, entry, &adapter::Dhcpv6ClientDuidLength),
                                                     std::size(entry->Dhcpv6ClientDuid));
        auto* duid = out.array<std::uint8_t>(row.dhcpv6_duid_size);
        row.dhcpv6_duid = duid;
        if (duid != nullptr) {
            std::memcpy(duid, entry->Dhcpv6ClientDuid, row.dhcpv6_duid_size);
        }
    }

    void write_all_addresses(block& out, kvtip_adapter& row, const IP_ADAPTER_ADDRESSES* entry) const {
        using adapter = IP_ADAPTER_ADDRESSES;
        const auto walk_of = [&](const auto* node) {
            return [this, node, scope = scope_of(entry)](auto use) {
                return this->walk_addresses(node, scope, use);
            };
        };
        write_addresses(out, row.addresses, walk_of(entry->FirstUnicastAddress),
                        [this](const auto& address, const auto& node) { return to_row(address, node); });
        write_addresses(out, row.gateways, row.gateway_count,
                        walk_of(value_or(nullptr, entry, &adapter::FirstGatewayAddress)));
        write_addresses(out, row.dns_servers, row.dns_server_count,
                        walk_of(value_or(nullptr, entry, &adapter::FirstDnsServerAddress)));
    }

    kvtip_adapter_address to_row(const kvtip_address& address, const IP_ADAPTER_UNICAST_ADDRESS* node) const {
        const std::uint32_t length =
            value_or(KVTIP_UNKNOWN_PREFIX, node, &IP_ADAPTER_UNICAST_ADDRESS::OnLinkPrefixLength);
        kvtip_adapter_address row{};
        row.address = address;
        row.prefix_length = length > size_of_family(address.family) * 8 ? KVTIP_UNKNOWN_PREFIX : length;
        if (node->ValidLifetime != KVTIP_INFINITE_LIFETIME) {
            row.lease_expires = now_ + node->ValidLifetime;
            row.lease_obtained = row.lease_expires - node->LeaseLifetime;
        }
        row.prefix_origin = number_of(node->PrefixOrigin);
        row.suffix_origin = number_of(node->SuffixOrigin);
        row.state = number_of(node->DadState);
        // An IPv4 address that the host has chosen for itself is random too, but stays.
        row.temporary = row.prefix_origin == KVTIP_PREFIX_ROUTER_ADVERTISEMENT &&
                        row.suffix_origin == KVTIP_SUFFIX_RANDOM;
        row.preferred_lifetime = node->PreferredLifetime;
        row.valid_lifetime = node->ValidLifetime;
        return row;
    }

    const selection& wanted_;
    const IP_ADAPTER_ADDRESSES* first_;
    ip::detail::device_id_map device_ids_;
    std::int64_t now_ = _time64(nullptr);
};

} // namespace

std::uint32_t list_newer_adapters(const selection& wanted, adapter_rows& rows) {
    ip::membuffer buffer;
    const std::uint32_t code =
        ip::detail::get_adapters(buffer, ip::family_none, ip::detail::adapter_list_flags());
    if (code != 0 && code != ERROR_NO_DATA) {
        return code;
    }
    const newer_source source(wanted,
                              code == 0 ? static_cast<const IP_ADAPTER_ADDRESSES*>(buffer.get(0)) : nullptr);
    if (const std::uint32_t failure =
            wanted.details == nullptr ? 0 : wanted.details->fetch(source.states())) {
        return failure;
    }
    rows.reset(make_rows(
        wanted, 0, [&](auto use) { return source.walk(use); },
        [&](block& out, kvtip_adapter& row, const auto& entry) { source.write(out, row, entry); }));
    return 0;
}

} // namespace kvtip::library
