#include "sample_adapters.h"

#include <algorithm>
#include <string_view>

namespace scripted {

namespace {

template <std::size_t Size>
void put(char (&out)[Size], std::string_view text) {
    *std::copy(text.begin(), text.end(), out) = 0;
}

IP_ADAPTER_ADDRESSES named_adapter(system& on, DWORD index, const char* name, IFTYPE type) {
    IP_ADAPTER_ADDRESSES entry{};
    entry.Length = sizeof entry;
    entry.IfIndex = index;
    entry.Ipv6IfIndex = index;
    entry.IfType = type;
    entry.OperStatus = IfOperStatusUp;
    entry.AdapterName = on.text(name);
    entry.Description = on.text(L"a description");
    entry.FriendlyName = on.text(L"a friendly name");
    entry.DnsSuffix = on.text(L"lab.test");
    return entry;
}

IP_ADAPTER_UNICAST_ADDRESS unicast(UINT8 prefix, ULONG lifetime) {
    IP_ADAPTER_UNICAST_ADDRESS node{};
    node.Length = sizeof node;
    node.OnLinkPrefixLength = prefix;
    node.ValidLifetime = node.LeaseLifetime = lifetime;
    return node;
}

} // namespace

IP_ADAPTER_ADDRESSES full_adapter(system& on) {
    IP_ADAPTER_ADDRESSES entry = named_adapter(on, 7, "{A}", IF_TYPE_ETHERNET_CSMACD);
    entry.PhysicalAddressLength = 6;
    std::copy_n("\x02\x00\x5e\x10\x00\x02", 6, entry.PhysicalAddress);
    entry.Flags = IP_ADAPTER_DHCP_ENABLED;
    entry.Dhcpv4Server = on.record(socket_address("192.0.2.1", 17152));
    entry.Dhcpv6Server = on.record(socket_address("2001:db8::1", 8962));
    entry.Ipv4Metric = 25;
    entry.Ipv6Metric = 35;
    ip::saddr router = socket_address("fe80::1");
    router.flow_info = 5;
    router.scope_id = 9;
    entry.FirstGatewayAddress =
        on.list<IP_ADAPTER_GATEWAY_ADDRESS>({socket_address("192.0.2.1"), {}, router});
    entry.FirstDnsServerAddress = on.list<IP_ADAPTER_DNS_SERVER_ADDRESS>(
        {socket_address("2001:db8::53"), {}, socket_address("192.0.2.53")});
    entry.FirstUnicastAddress = on.list({socket_address("192.0.2.10")}, unicast(24, 3600));
    entry.FirstUnicastAddress->Next = on.list({socket_address("2001:db8::10")}, unicast(64, 0xFFFFFFFF));
    entry.Dhcpv6ClientDuidLength = 3;
    std::copy_n("\x01\x02\x03", 3, entry.Dhcpv6ClientDuid);
    entry.Dhcpv6Iaid = 7;
    return entry;
}

IP_ADAPTER_ADDRESSES loopback_adapter(system& on) {
    IP_ADAPTER_ADDRESSES entry = named_adapter(on, 1, "{B}", IF_TYPE_SOFTWARE_LOOPBACK);
    entry.FirstUnicastAddress = on.list({socket_address("127.0.0.1")}, unicast(8, 0xFFFFFFFF));
    entry.FirstUnicastAddress->Next = on.list({socket_address("::1")}, unicast(128, 0xFFFFFFFF));
    return entry;
}

IP_ADAPTER_INFO older_adapter() {
    IP_ADAPTER_INFO entry{};
    entry.Index = 7;
    entry.Type = MIB_IF_TYPE_ETHERNET;
    put(entry.AdapterName, "{A}");
    put(entry.Description, "an older description");
    entry.AddressLength = 6;
    std::copy_n("\x02\x00\x5e\x10\x00\x02", 6, entry.Address);
    entry.DhcpEnabled = 1;
    put(entry.DhcpServer.IpAddress.String, "192.0.2.1");
    put(entry.GatewayList.IpAddress.String, "192.0.2.1");
    put(entry.IpAddressList.IpAddress.String, "192.0.2.10");
    put(entry.IpAddressList.IpMask.String, "255.255.255.0");
    return entry;
}

} // namespace scripted
