// The adapter enumerator and what is built on it.

#include "address/convert.h"
#include "address/encoding.h"
#include "address/format.h"
#include "heap.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <ctime>
#include <sstream>
#include <tuple>

namespace {

using scripted::device;
using scripted::socket_address;

struct Adapters : testing::Test {
    explicit Adapters(DWORD version = 10) : system(version) {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.older_adapters = {scripted::older_adapter()};
        system.network_devices = {
            {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_SZ, L"PCI\\1"}}}};
        EXPECT_EQ(lib.init(), 0u);
    }
    bool first(std::uint32_t family = 0) {
        system.calls.clear();
        return enumerator.find_first(adapter, family);
    }
    bool next() { return enumerator.find_next(adapter); }

    scripted::system system;
    ip::lib lib;
    ip::adapter_enumerator enumerator;
    ip::_SFindAdapter adapter;
    ip::_SFindAddress address;
};

struct OlderAdapters : Adapters {
    OlderAdapters() : Adapters(5) {}
};

/// "-" for none.
std::string text(const ip::addr& address) {
    char ipv4[16];
    char ipv6[50];
    ip::detail::format_ipv4(address.address, ipv4);
    ip::detail::format_ipv6(address.address, ipv6);
    return address.family == ip::family_ipv4 ? ipv4 : address.family == ip::family_ipv6 ? ipv6 : "-";
}

/// "address@port", and for IPv6 "/flow%scope".
std::string text(const ip::saddr& from) {
    ip::addr address;
    ip::detail::to_addr(from, address);
    std::ostringstream out;
    out << text(address);
    if (from.family != ip::family_none) {
        out << "@" << from.port;
    }
    if (from.family == ip::family_ipv6) {
        out << "/" << from.flow_info << "%" << from.scope_id;
    }
    return out.str();
}

std::string text(const ip::saddr4& from) {
    return text(ip::detail::image_of(&from, sizeof from));
}

template <class List>
std::string joined(const List& list) {
    std::string result;
    for (const auto& element : list) {
        result += (result.empty() ? "" : ",") + text(element);
    }
    return result;
}

std::string hex(const std::uint8_t* bytes, std::size_t count) {
    std::ostringstream out;
    for (std::size_t i = 0; i < count; ++i) {
        out << std::hex << bytes[i] / 16 << bytes[i] % 16;
    }
    return out.str();
}

/// All that a record holds.
std::string text(const ip::_SFindAdapter& from) {
    std::ostringstream out;
    out << from.index << "/" << from.ipv6_index << " " << from.name << " '"
        << ip::detail::to_narrow(from.friendly_name.c_str()) << "' '"
        << ip::detail::to_narrow(from.description.c_str()) << "' mac "
        << hex(from.hw_address, from.hw_address_length) << " type " << from.type << " status "
        << from.oper_status << " gw " << joined(from.gateways) << " dns " << joined(from.dns_servers)
        << " dhcp " << from.dhcp_enabled << " " << text(from.dhcp_server) << " " << text(from.dhcpv6_server)
        << " metric " << from.ipv4_metric << "/" << from.ipv6_metric << " suffix "
        << ip::detail::to_narrow(from.dns_suffix.c_str()) << " device "
        << ip::detail::to_narrow(from.device_instance_id.c_str()) << " duid "
        << hex(from.dhcpv6_duid.data(), from.dhcpv6_duid.size()) << " iaid " << from.dhcpv6_iaid;
    return out.str();
}

TEST_F(Adapters, AreReportedWithEverythingTheSystemTells) {
    ASSERT_TRUE(first());
    EXPECT_EQ(text(adapter),
              "7/7 {A} 'a friendly name' 'a description' mac 02005e100002 type 6 status 1 gw "
              "192.0.2.1@0,fe80::1@0/5%9 dns 2001:db8::53@0/0%0,192.0.2.53@0 dhcp 1 "
              "192.0.2.1@17152 2001:db8::1@8962/0%0 metric 25/35 suffix lab.test device PCI\\1 duid "
              "010203 iaid 7");
    ASSERT_TRUE(next()); // into the same record, which keeps only the identifier that this adapter lacks
    EXPECT_EQ(text(adapter),
              "1/1 {B} 'a friendly name' 'a description' mac  type 24 status 1 gw  dns  dhcp 0 - - "
              "metric 0/0 suffix lab.test device  duid  iaid 7");
    for (int repeated = 0; repeated < 2; ++repeated) {
        EXPECT_FALSE(next());
        EXPECT_EQ(GetLastError(), 259u);
    }
}

TEST_F(Adapters, TakeMembersOnlyFromEntriesLongEnoughToHaveThem) {
    const std::string dns = "2001:db8::53@0/0%0,192.0.2.53@0", gateways = "192.0.2.1@0,fe80::1@0/5%9";
    const std::tuple<ULONG, std::string, std::string, std::string, std::string> rows[] = {
        {48, "", "", "-", "-"},
        {49, dns, "", "-", "-"},
        {208, dns, "", "-", "-"},
        {209, dns, gateways, "-", "-"},
        {232, dns, gateways, "-", "-"},
        {233, dns, gateways, "192.0.2.1@17152", "-"},
        {280, dns, gateways, "192.0.2.1@17152", "-"},
        {281, dns, gateways, "192.0.2.1@17152", "2001:db8::1@8962/0%0"}};
    for (const auto& [length, servers, routers, dhcp, dhcpv6] : rows) {
        IP_ADAPTER_ADDRESSES& entry = system.adapters[0] = full_adapter(system);
        entry.Length = length;
        const auto nowhere = [](auto*& pointer, bool there) { pointer = there ? pointer : pointer + 1; };
        nowhere(entry.FirstDnsServerAddress, length > 48); // behind the length, pointers lead nowhere
        nowhere(entry.FirstGatewayAddress, length > 208);
        nowhere(entry.Dhcpv4Server.lpSockaddr, length > 232);
        nowhere(entry.Dhcpv6Server.lpSockaddr, length > 280);
        ASSERT_TRUE(first());
        EXPECT_EQ(std::tuple(length, joined(adapter.dns_servers), joined(adapter.gateways),
                             text(adapter.dhcp_server), text(adapter.dhcpv6_server)),
                  std::tuple(length, servers, routers, dhcp, dhcpv6));
    }
}

TEST_F(Adapters, SurviveHostileEntries) {
    IP_ADAPTER_ADDRESSES& entry = system.adapters[0];
    entry.AdapterName = nullptr;
    entry.Description = entry.FriendlyName = entry.DnsSuffix = nullptr;
    entry.Dhcpv4Server.lpSockaddr = entry.Dhcpv6Server.lpSockaddr = nullptr;
    entry.PhysicalAddressLength = 33;
    entry.Dhcpv6ClientDuidLength = 0xFFFFFFFF;
    entry.FirstUnicastAddress = nullptr;
    system.network_devices[0][L"NetCfgInstanceId"].second = L"";
    entry.FirstDnsServerAddress->Address.iSockaddrLength = -1;
    ASSERT_TRUE(first());
    EXPECT_EQ(adapter.dhcpv6_duid.size(), 130u); // all that an entry can hold
    adapter.dhcpv6_duid.clear();
    EXPECT_EQ(text(adapter), "7/7  '' '' mac  type 6 status 1 gw 192.0.2.1@0,fe80::1@0/5%9 dns "
                             "-,192.0.2.53@0 dhcp 1 - - metric 25/35 suffix  device  duid  iaid 7");
    SetLastError(77);
    EXPECT_FALSE(enumerator.find_next_addr(address));
    EXPECT_EQ(GetLastError(), 77u);
}

TEST_F(Adapters, TurnDhcpServersIntoTheFamilyOfTheirField) {
    system.adapters[0].Dhcpv4Server = system.record(socket_address("2001:db8::c000:205", 99));
    system.adapters[0].Dhcpv6Server = system.record(socket_address("192.0.2.6", 98));
    ASSERT_TRUE(first());
    EXPECT_EQ(text(adapter.dhcp_server), "192.0.2.5@99");
    EXPECT_EQ(text(adapter.dhcpv6_server), "::ffff:192.0.2.6@98/0%0");
    system.adapters[0].Dhcpv4Server.lpSockaddr->sa_family = 17;
    system.adapters[0].Dhcpv6Server.lpSockaddr->sa_family = 17;
    ASSERT_TRUE(first());
    EXPECT_EQ(text(adapter.dhcp_server) + text(adapter.dhcpv6_server), "--");
}

TEST_F(Adapters, GiveTheirAddressesWithMaskAndLease) {
    ASSERT_TRUE(first());
    system.adapters[0].FirstUnicastAddress->LeaseLifetime = 3000; // below the valid lifetime of 3600
    const std::int64_t now = std::time(nullptr);
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_EQ(text(address.address) + " " + text(address.mask), "192.0.2.10 255.255.255.0");
    EXPECT_NEAR(static_cast<double>(address.lease_obtained - now), 600, 2);
    EXPECT_EQ(address.lease_expires, address.lease_obtained + 3000);
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_EQ(text(address.address) + " " + text(address.mask), "2001:db8::10 ffff:ffff:ffff:ffff::");
    EXPECT_EQ(address.lease_obtained + address.lease_expires, 0); // valid for ever
    address.lease_expires = 9;
    EXPECT_FALSE(enumerator.find_next_addr(address));
    EXPECT_EQ(address.lease_expires, 0);
}

TEST_F(Adapters, MakeMasksOfPrefixLengthsThatTheFamilyHas) {
    const std::tuple<const char*, ULONG, UINT8, const char*> rows[] = {{"1.2.3.4", 64, 0, "0.0.0.0"},
                                                                       {"1.2.3.4", 64, 27, "255.255.255.224"},
                                                                       {"1.2.3.4", 64, 32, "255.255.255.255"},
                                                                       {"1.2.3.4", 64, 33, "-"},
                                                                       {"1.2.3.4", 57, 8, "255.0.0.0"},
                                                                       {"1.2.3.4", 56, 24, "-"},
                                                                       {"::1", 64, 33, "ffff:ffff:8000::"},
                                                                       {"::1", 64, 129, "-"},
                                                                       {"-", 64, 8, "-"}};
    for (const auto& [of, length, prefix, mask] : rows) {
        IP_ADAPTER_UNICAST_ADDRESS node{};
        node.Length = length;
        node.OnLinkPrefixLength = prefix;
        const ip::saddr record = *of == '-' ? ip::saddr{} : socket_address(of);
        system.adapters[0].FirstUnicastAddress = system.list({record}, node);
        ASSERT_TRUE(first() && enumerator.find_next_addr(address));
        EXPECT_EQ(text(address.address) + " " + text(address.mask), std::string(of) + " " + mask) << length;
    }
    // Another family is no address, and leaves the mask as it is.
    system.adapters[0].FirstUnicastAddress =
        system.list<IP_ADAPTER_UNICAST_ADDRESS>({socket_address("1.2.3.4")});
    system.adapters[0].FirstUnicastAddress->Address.lpSockaddr->sa_family = 17;
    address.mask.family = 99;
    ASSERT_TRUE(first() && enumerator.find_next_addr(address));
    EXPECT_EQ(address.address.family, 0);
    EXPECT_EQ(address.mask.family, 99);
}

TEST_F(Adapters, AreAskedForOnceAndOnceMoreForALongerList) {
    ASSERT_TRUE(first(ip::family_ipv6));
    EXPECT_EQ(system.count("GetAdaptersAddresses(23,128)"), 1);
    {
        const heap::watch heap;
        ASSERT_TRUE(first(ip::family_ipv6));
        EXPECT_LT(heap.largest(), 3520u) << "a second walk needs no new buffer";
    }
    system.list_size = 20000;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,128)"), 2);
    system.answers["GetAdaptersAddresses"] = {111, 111};
    ASSERT_TRUE(first()); // no third attempt: the older source answers
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_EQ(adapter.oper_status, 4u); // there is no list to look it up in
}

TEST_F(Adapters, FallBackToTheOlderSourceUnlessOnlyIpv6IsWanted) {
    system.answers["GetAdaptersAddresses"] = {5, 5, 5};
    ASSERT_TRUE(first());
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_FALSE(first(ip::family_ipv6));
    EXPECT_EQ(system.count("GetAdaptersInfo"), 0);
    system.answers["GetAdaptersInfo"] = {111, 111};
    EXPECT_FALSE(first());
    EXPECT_EQ(GetLastError(), 111u);
    EXPECT_EQ(adapter.gateways.size(), 1u); // the record is untouched
}

TEST_F(OlderAdapters, ComeWithStatusNameAndDnsServersOfTheNewerList) {
    IP_ADAPTER_ADDRESSES earlier = system.adapters[0]; // gives the name; the status is the next one's
    earlier.OperStatus = IfOperStatusUnknown;
    earlier.FriendlyName = system.text(L"the first of its index");
    earlier.Length = 184; // as long as such a system makes them
    system.adapters = {system.adapters[1], earlier, system.adapters[0]};
    adapter.dns_suffix = adapter.device_instance_id = L"kept";
    adapter.dhcpv6_iaid = adapter.ipv4_metric = adapter.ipv6_metric = 9;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,0)"), 1);
    EXPECT_EQ(text(adapter),
              "7/0 {A} 'the first of its index' 'an older description' mac 02005e100002 type 6 "
              "status 1 gw 192.0.2.1@0 dns 2001:db8::53@0/0%0,192.0.2.53@0 dhcp 1 192.0.2.1@0 - metric "
              "9/9 suffix kept device kept duid  iaid 9");
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_EQ(text(address.address) + " " + text(address.mask), "192.0.2.10 255.255.255.0");
    EXPECT_FALSE(enumerator.find_next_addr(address));
    EXPECT_FALSE(next());
    EXPECT_EQ(GetLastError(), 259u);
    EXPECT_FALSE(first(ip::family_ipv6));
}

TEST_F(OlderAdapters, MakeTheBestOfOddEntries) {
    IP_ADAPTER_INFO& entry = system.older_adapters[0];
    const std::pair<const char*, std::string> gateways[] = {
        {"", ""}, {"0.0.0.0", "0.0.0.0@0"}, {"2001:db8::1", "2001:db8::1@0/0%0"}, {"nonsense", "-"}};
    for (const auto& [given, expected] : gateways) {
        std::strcpy(entry.GatewayList.IpAddress.String, given);
        std::strcpy(entry.DhcpServer.IpAddress.String, given);
        std::strcpy(entry.IpAddressList.IpMask.String, given);
        address.mask.family = 99;
        ASSERT_TRUE(first() && enumerator.find_next_addr(address));
        EXPECT_EQ(joined(adapter.gateways), expected);
        EXPECT_EQ(text(adapter.dhcp_server), expected == "0.0.0.0@0" ? expected : "-");
        EXPECT_EQ(text(address.mask), expected.empty() ? "-" : expected.substr(0, expected.find('@')));
    }
    entry.AddressLength = 33;
    entry.DhcpEnabled = 0;
    entry.AdapterName[0] = 0;
    system.adapters.clear(); // an error of the newer list
    system.answers["MultiByteToWideChar"] = {1113};
    system.older_list_size = 9000;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersInfo"), 2);
    EXPECT_EQ(text(adapter),
              "7/0  '' '' mac  type 6 status 4 gw - dns  dhcp 0 - - metric 0/0 suffix  device  "
              "duid  iaid 0");
}

TEST_F(Adapters, FindTheirDeviceInTheRegistry) {
    const auto of = [](const wchar_t* name, const wchar_t* id, DWORD type = REG_SZ) {
        return device{{L"NetCfgInstanceId", {REG_SZ, name}}, {L"DeviceInstanceID", {type, id}}};
    };
    const std::wstring long_id(1000, L'x');
    const std::tuple<std::vector<device>, std::vector<device>, std::wstring> rows[] = {
        {{of(L"{A}", L"one"), of(L"{A}", L"two")}, {}, L"two"},
        {{of(L"{A}", L"one")}, {of(L"{A}", L"modem")}, L"modem"},
        {{of(L"{a}", L"other case")}, {}, L""},
        {{of(L"{A}", L"no text", REG_DWORD)}, {}, L""},
        {{device{{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}}, of(L"{A}", L"complete")}, {}, L"complete"},
        {{device{{L"DeviceInstanceID", {REG_SZ, L"nameless"}}}, of(L"{A}", L"named")}, {}, L"named"},
        {{of(L"{A}", long_id.c_str())}, {}, long_id},
        {{device{{L"NetCfgInstanceId", {REG_SZ, std::wstring(L"{A}\0x", 5)}},
                 {L"DeviceInstanceID", {REG_SZ, L"id"}}}},
         {},
         L"id"},
        {{of(L"{A}", L"ab", REG_EXPAND_SZ)}, {}, L"abababababababababab"},
        {{of(L"{A}", std::wstring(100, L'x').c_str(), REG_EXPAND_SZ)}, {}, long_id}};
    for (const auto& [network, modems, expected] : rows) {
        system.network_devices = network;
        system.modem_devices = modems;
        ASSERT_TRUE(first());
        EXPECT_EQ(adapter.device_instance_id, expected);
    }
    system.network_devices.assign(10, of(L"{A}", L"id"));
    ASSERT_TRUE(first());
    const auto registry = [](const std::string& call) { return call.starts_with("Reg"); };
    EXPECT_LE(std::count_if(system.calls.begin(), system.calls.end(), registry), 10 * 5 + 4);
}

TEST_F(Adapters, GiveTheLocalAddressesOfAFamily) {
    system.adapters[0].FirstUnicastAddress->Next->Next =
        system.list<IP_ADAPTER_UNICAST_ADDRESS>({ip::saddr{}});
    const std::pair<unsigned short, std::string> rows[] = {
        {ip::family_none, "192.0.2.10,2001:db8::10,-,127.0.0.1,::1"},
        {ip::family_ipv4, "192.0.2.10,127.0.0.1"},
        {ip::family_ipv6, "2001:db8::10,::1"},
        {99, ""}};
    for (const auto& [family, expected] : rows) {
        std::vector<ip::addr> addresses(3);
        ip::addr one{99, {}};
        EXPECT_EQ(ip::localaddresses(addresses, family) + ip::local_address(one, family), 0u);
        EXPECT_EQ(joined(addresses), expected);
        EXPECT_EQ(text(one), expected.empty() ? "-" : expected.substr(0, expected.find(',')));
    }
}

TEST_F(Adapters, NoneAtAllIsAnError) {
    system.adapters.clear();
    system.older_adapters.clear();
    std::vector<ip::addr> addresses(3);
    ip::addr one{ip::family_ipv4, {}};
    EXPECT_EQ(ip::localaddresses(addresses, 0), 232u);
    EXPECT_EQ(ip::local_address(one, 0), 232u);
    EXPECT_EQ(joined(addresses) + text(one), "-");
    EXPECT_FALSE(lib.address_family_supported(ip::family_ipv4));
}

TEST_F(Adapters, SupportAFamilyWhenOneThatIsUpAndNotTheLoopbackHasIt) {
    EXPECT_TRUE(lib.address_family_supported(ip::family_ipv4));
    EXPECT_TRUE(lib.address_family_supported(ip::family_ipv6));
    EXPECT_FALSE(lib.address_family_supported(99));
    system.adapters[0].OperStatus = IfOperStatusDown;
    EXPECT_FALSE(lib.address_family_supported(ip::family_ipv4));
}

} // namespace
