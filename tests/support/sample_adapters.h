#pragma once

// Entries of the system's adapter lists.

#include "scripted_system.h"

#include <tuple>

namespace scripted {

using unicast = std::tuple<const char*, UINT8, ULONG>; ///< address, prefix length, lifetime
constexpr ULONG forever = 0xFFFFFFFF;

/// An adapter that is up and has what all of them have.
inline IP_ADAPTER_ADDRESSES plain_adapter(system& on, DWORD index, const char* name, IFTYPE type,
                                          const std::vector<unicast>& addresses) {
    IP_ADAPTER_ADDRESSES entry{};
    entry.Length = sizeof entry;
    entry.IfIndex = entry.Ipv6IfIndex = index;
    entry.IfType = type;
    entry.OperStatus = IfOperStatusUp;
    entry.AdapterName = on.text(name);
    entry.Description = on.text(L"a description");
    entry.FriendlyName = on.text(L"a friendly name");
    entry.DnsSuffix = on.text(L"lab.test");
    auto** end = &entry.FirstUnicastAddress;
    for (const auto& [address, prefix, lifetime] : addresses) {
        IP_ADAPTER_UNICAST_ADDRESS node{};
        node.OnLinkPrefixLength = prefix;
        node.ValidLifetime = node.LeaseLifetime = lifetime;
        *end = on.list({socket_address(address)}, node);
        end = &(*end)->Next;
    }
    return entry;
}

/// The loopback adapter: 127.0.0.1/8 and ::1/128.
inline IP_ADAPTER_ADDRESSES loopback_adapter(system& on) {
    return plain_adapter(on, 1, "{B}", IF_TYPE_SOFTWARE_LOOPBACK,
                         {{"127.0.0.1", 8, forever}, {"::1", 128, forever}});
}

/// An Ethernet adapter that is up and has everything an entry can have.
inline IP_ADAPTER_ADDRESSES full_adapter(system& on) {
    IP_ADAPTER_ADDRESSES entry = plain_adapter(on, 7, "{A}", IF_TYPE_ETHERNET_CSMACD,
                                               {{"192.0.2.10", 24, 3600}, {"2001:db8::10", 64, forever}});
    entry.PhysicalAddressLength = 6;
    std::memcpy(entry.PhysicalAddress, "\x02\x00\x5e\x10\x00\x02", 6);
    entry.Flags = IP_ADAPTER_DHCP_ENABLED;
    entry.Dhcpv4Server = on.record(socket_address("192.0.2.1", 17152));
    entry.Dhcpv6Server = on.record(socket_address("2001:db8::1", 8962));
    entry.Ipv4Metric = 25;
    entry.Ipv6Metric = 35;
    ip::saddr router = socket_address("fe80::1");
    router.flow_info = 5;
    router.scope_id = 9;
    const ip::saddr none{}, other_router = socket_address("192.0.2.1");
    entry.FirstGatewayAddress = on.list<IP_ADAPTER_GATEWAY_ADDRESS>({other_router, none, router});
    entry.FirstDnsServerAddress = on.list<IP_ADAPTER_DNS_SERVER_ADDRESS>(
        {socket_address("2001:db8::53"), none, socket_address("192.0.2.53")});
    entry.Dhcpv6ClientDuidLength = 3;
    std::memcpy(entry.Dhcpv6ClientDuid, "\x01\x02\x03", 3);
    entry.Dhcpv6Iaid = 7;
    return entry;
}

/// The same adapter as the older source tells it: 192.0.2.10/24, gateway 192.0.2.1.
inline IP_ADAPTER_INFO older_adapter() {
    IP_ADAPTER_INFO entry{};
    entry.Index = 7;
    entry.Type = MIB_IF_TYPE_ETHERNET;
    std::strcpy(entry.AdapterName, "{A}");
    std::strcpy(entry.Description, "an older description");
    entry.AddressLength = 6;
    std::memcpy(entry.Address, "\x02\x00\x5e\x10\x00\x02", 6);
    entry.DhcpEnabled = 1;
    std::strcpy(entry.DhcpServer.IpAddress.String, "192.0.2.1");
    std::strcpy(entry.GatewayList.IpAddress.String, "192.0.2.1");
    std::strcpy(entry.IpAddressList.IpAddress.String, "192.0.2.10");
    std::strcpy(entry.IpAddressList.IpMask.String, "255.255.255.0");
    return entry;
}

} // namespace scripted
