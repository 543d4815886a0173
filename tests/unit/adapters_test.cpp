// The adapter enumerator and what is built on it.

#include "address/convert.h"
#include "heap.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <array>
#include <ctime>

namespace {

using ip::detail::address_size;
using scripted::socket_address;

/// A system with adapters, and the library in use on it.
struct AdaptersOn {
    explicit AdaptersOn(DWORD version = 10) : system(version) {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.older_adapters = {scripted::older_adapter()};
        EXPECT_EQ(lib.init(), 0u);
    }

    bool first(std::uint32_t family = 0) {
        system.calls.clear();
        SetLastError(0);
        return enumerator.find_first(adapter, family);
    }
    bool next() { return enumerator.find_next(adapter); }

    scripted::system system;
    ip::lib lib;
    ip::adapter_enumerator enumerator;
    ip::_SFindAdapter adapter;
    ip::_SFindAddress address;
};

class Adapters : public testing::Test, protected AdaptersOn {};

struct OlderAdapters : testing::Test, protected AdaptersOn {
    OlderAdapters() : AdaptersOn(5) {}
};

bool same(const ip::saddr& a, const ip::saddr& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

/// Null stands for no address.
bool same(const ip::addr& a, const char* text) {
    const ip::addr b = text == nullptr ? ip::addr{} : scripted::address(text);
    return a.family == b.family && std::memcmp(a.address, b.address, address_size(a.family)) == 0;
}

TEST_F(Adapters, AreReportedWithEverythingTheSystemTells) {
    system.devices[scripted::network_class] = {
        {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_SZ, L"PCI\\1"}}}};
    ASSERT_TRUE(first());
    EXPECT_EQ(adapter.index, 7u);
    EXPECT_EQ(adapter.ipv6_index, 7u);
    EXPECT_EQ(adapter.name, "{A}");
    EXPECT_EQ(adapter.friendly_name, L"a friendly name");
    EXPECT_EQ(adapter.description, L"a description");
    EXPECT_EQ(adapter.hw_address_length, 6u);
    EXPECT_EQ(std::memcmp(adapter.hw_address, "\x02\x00\x5e\x10\x00\x02", 6), 0);
    EXPECT_EQ(adapter.type, 6u);
    EXPECT_EQ(adapter.oper_status, 1u);
    ASSERT_EQ(adapter.gateways.size(), 2u); // the entry without an address is passed over
    EXPECT_TRUE(same(adapter.gateways[0], socket_address("192.0.2.1")));
    EXPECT_TRUE(same(adapter.gateways[1], socket_address("fe80::1")));
    ASSERT_EQ(adapter.dns_servers.size(), 2u);
    EXPECT_TRUE(same(adapter.dns_servers[0], socket_address("2001:db8::53")));
    EXPECT_TRUE(adapter.dhcp_enabled);
    EXPECT_EQ(std::memcmp(&adapter.dhcp_server, "\2\0\0\x43\xC0\0\2\1\0\0\0\0\0\0\0", 16), 0);
    EXPECT_TRUE(same(adapter.dhcpv6_server, socket_address("2001:db8::1", 8962)));
    EXPECT_EQ(adapter.ipv4_metric, 25u);
    EXPECT_EQ(adapter.ipv6_metric, 35u);
    EXPECT_EQ(adapter.dns_suffix, L"lab.test");
    EXPECT_EQ(adapter.device_instance_id, L"PCI\\1");
    EXPECT_EQ(adapter.dhcpv6_duid, (std::vector<std::uint8_t>{1, 2, 3}));
    EXPECT_EQ(adapter.dhcpv6_iaid, 7u);

    ASSERT_TRUE(next()); // the same record again
    EXPECT_EQ(adapter.name, "{B}");
    EXPECT_EQ(adapter.type, 24u);
    EXPECT_TRUE(adapter.gateways.empty() && adapter.dns_servers.empty() && adapter.dhcpv6_duid.empty());
    EXPECT_EQ(adapter.dhcp_server.family + adapter.dhcpv6_server.family, 0);
    EXPECT_EQ(adapter.device_instance_id, L"");
    EXPECT_EQ(adapter.hw_address_length, 0u);
    EXPECT_EQ(adapter.dhcpv6_iaid, 7u); // has none: the record keeps the earlier adapter's
    EXPECT_FALSE(next());
    EXPECT_EQ(GetLastError(), 259u);
    EXPECT_FALSE(next());
    EXPECT_EQ(GetLastError(), 259u);
}

TEST_F(Adapters, TakeMembersOnlyFromEntriesLongEnoughToHaveThem) {
    // At each limit the pointers behind it lead nowhere.
    struct {
        ULONG length;
        std::size_t dns, gateways;
        std::uint16_t dhcp, dhcpv6;
    } const rows[] = {{48, 0, 0, 0, 0},  {49, 2, 0, 0, 0},  {208, 2, 0, 0, 0}, {209, 2, 2, 0, 0},
                      {232, 2, 2, 0, 0}, {233, 2, 2, 2, 0}, {280, 2, 2, 2, 0}, {281, 2, 2, 2, 23}};
    for (const auto& row : rows) {
        IP_ADAPTER_ADDRESSES entry = full_adapter(system);
        entry.Length = row.length;
        const auto nowhere = [](auto*& pointer) { pointer = nullptr, ++pointer; };
        row.dns == 0 ? nowhere(entry.FirstDnsServerAddress) : void();
        row.gateways == 0 ? nowhere(entry.FirstGatewayAddress) : void();
        row.dhcp == 0 ? nowhere(entry.Dhcpv4Server.lpSockaddr) : void();
        row.dhcpv6 == 0 ? nowhere(entry.Dhcpv6Server.lpSockaddr) : void();
        system.adapters = {entry};
        ASSERT_TRUE(first());
        EXPECT_EQ(adapter.dns_servers.size(), row.dns) << row.length;
        EXPECT_EQ(adapter.gateways.size(), row.gateways) << row.length;
        EXPECT_EQ(adapter.dhcp_server.family, row.dhcp) << row.length;
        EXPECT_EQ(adapter.dhcpv6_server.family, row.dhcpv6) << row.length;
        EXPECT_EQ(adapter.dns_suffix, L"lab.test");
    }
}

TEST_F(Adapters, SurviveHostileEntries) {
    IP_ADAPTER_ADDRESSES entry = full_adapter(system);
    entry.AdapterName = nullptr;
    entry.Description = entry.FriendlyName = entry.DnsSuffix = nullptr;
    entry.Dhcpv4Server.lpSockaddr = entry.Dhcpv6Server.lpSockaddr = nullptr;
    entry.PhysicalAddressLength = 33;
    entry.Dhcpv6ClientDuidLength = 0xFFFFFFFF;
    entry.FirstUnicastAddress = nullptr;
    system.adapters = {entry};
    system.devices[scripted::network_class] = {
        {{L"NetCfgInstanceId", {REG_SZ, L""}}, {L"DeviceInstanceID", {REG_SZ, L"of no name"}}}};
    ASSERT_TRUE(first());
    EXPECT_TRUE(adapter.name.empty() && adapter.friendly_name.empty() && adapter.description.empty());
    EXPECT_TRUE(adapter.dns_suffix.empty() && adapter.device_instance_id.empty());
    EXPECT_EQ(adapter.hw_address_length, 0u);
    EXPECT_EQ(adapter.dhcp_server.family + adapter.dhcpv6_server.family, 0);
    EXPECT_EQ(adapter.dhcpv6_duid.size(), 130u); // all that an entry can hold
    SetLastError(77);
    EXPECT_FALSE(enumerator.find_next_addr(address));
    EXPECT_EQ(GetLastError(), 77u);
}

TEST_F(Adapters, TurnDhcpServersIntoTheFamilyOfTheirField) {
    IP_ADAPTER_ADDRESSES entry = full_adapter(system);
    entry.Dhcpv4Server = system.record(socket_address("2001:db8::c000:205", 99));
    entry.Dhcpv6Server = system.record(socket_address("192.0.2.6", 98));
    system.adapters = {entry};
    ASSERT_TRUE(first());
    EXPECT_EQ(std::memcmp(&adapter.dhcp_server, "\2\0\x63\0\xC0\0\2\5", 8), 0);
    EXPECT_TRUE(same(adapter.dhcpv6_server, socket_address("::ffff:192.0.2.6", 98)));
}

TEST_F(Adapters, GiveTheirAddressesWithMaskAndLease) {
    ASSERT_TRUE(first());
    IP_ADAPTER_UNICAST_ADDRESS& unicast = *system.adapters[0].FirstUnicastAddress;
    unicast.LeaseLifetime = 3000; // shorter than the valid lifetime: the lease began in the future
    const std::int64_t now = std::time(nullptr);
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_TRUE(same(address.address, "192.0.2.10"));
    EXPECT_TRUE(same(address.mask, "255.255.255.0"));
    EXPECT_NEAR(static_cast<double>(address.lease_obtained - now), 600, 2);
    EXPECT_EQ(address.lease_expires, address.lease_obtained + 3000);
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_TRUE(same(address.address, "2001:db8::10"));
    EXPECT_TRUE(same(address.mask, "ffff:ffff:ffff:ffff::"));
    EXPECT_EQ(address.lease_obtained + address.lease_expires, 0); // for ever
    EXPECT_FALSE(enumerator.find_next_addr(address));
}

TEST_F(Adapters, MakeMasksOfPrefixLengthsThatTheFamilyHas) {
    struct {
        ip::saddr of;
        ULONG length;
        UINT8 prefix;
        const char* mask; ///< null: unknown
    } const rows[] = {{socket_address("1.2.3.4"), 64, 0, "0.0.0.0"},
                      {socket_address("1.2.3.4"), 64, 27, "255.255.255.224"},
                      {socket_address("1.2.3.4"), 64, 32, "255.255.255.255"},
                      {socket_address("1.2.3.4"), 64, 33, nullptr},
                      {socket_address("1.2.3.4"), 56, 24, nullptr},
                      {socket_address("::1"), 64, 33, "ffff:ffff:8000::"},
                      {socket_address("::1"), 64, 255, nullptr},
                      {socket_address("::1"), 57, 8, "ff00::"},
                      {ip::saddr{}, 64, 8, nullptr}};
    for (const auto& row : rows) {
        IP_ADAPTER_UNICAST_ADDRESS node{};
        node.Length = row.length;
        node.OnLinkPrefixLength = row.prefix;
        system.adapters[0].FirstUnicastAddress = system.list({row.of}, node); // as long as it says
        ASSERT_TRUE(first() && enumerator.find_next_addr(address));
        EXPECT_EQ(address.address.family, row.of.family);
        EXPECT_TRUE(same(address.mask, row.mask)) << row.length << " " << int{row.prefix};
    }
    // Another family is no address, and leaves the mask as it is.
    IP_ADAPTER_UNICAST_ADDRESS node{};
    node.Length = sizeof node;
    system.adapters[0].FirstUnicastAddress = system.list({socket_address("1.2.3.4")}, node);
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
        heap::watch heap;
        ASSERT_TRUE(first(ip::family_ipv6));
        EXPECT_LT(heap.largest(), 3520u) << "a second walk needs no new buffer";
    }
    system.list_size = 20000;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,128)"), 2);
    system.answers["GetAdaptersAddresses"] = {111, 111};
    ASSERT_TRUE(first()); // no third attempt: the older source answers
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_EQ(adapter.oper_status, 4u); // without a list to look it up in
}

TEST_F(Adapters, FallBackToTheOlderSourceUnlessOnlyIpv6IsWanted) {
    system.answers["GetAdaptersAddresses"] = {5, 5, 5};
    ASSERT_TRUE(first());
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_FALSE(first(ip::family_ipv6));
    EXPECT_EQ(system.count("GetAdaptersInfo"), 0);
    system.answers["GetAdaptersInfo"] = {232};
    EXPECT_FALSE(first());
    EXPECT_EQ(GetLastError(), 232u);
}

TEST_F(OlderAdapters, ComeWithStatusNameAndDnsServersOfTheNewerList) {
    IP_ADAPTER_ADDRESSES unknown = system.adapters[0]; // same index, but no status: the next one counts
    unknown.OperStatus = IfOperStatusUnknown;
    unknown.FriendlyName = system.text(L"first of the index");
    unknown.FirstDnsServerAddress = nullptr;
    system.adapters.insert(system.adapters.begin(), unknown);
    adapter.dns_suffix = L"kept";
    adapter.dhcpv6_iaid = adapter.ipv4_metric = 9;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,0)"), 1);
    EXPECT_EQ(adapter.index, 7u);
    EXPECT_EQ(adapter.ipv6_index, 0u);
    EXPECT_EQ(adapter.type, 6u);
    EXPECT_EQ(adapter.oper_status, 1u);
    EXPECT_EQ(adapter.name, "{A}");
    EXPECT_EQ(adapter.friendly_name, L"first of the index");
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_EQ(adapter.hw_address_length, 6u);
    EXPECT_TRUE(adapter.dns_servers.empty());
    EXPECT_TRUE(adapter.dhcp_enabled);
    EXPECT_EQ(std::memcmp(&adapter.dhcp_server, "\2\0\0\0\xC0\0\2\1", 8), 0);
    ASSERT_EQ(adapter.gateways.size(), 1u);
    EXPECT_TRUE(same(adapter.gateways[0], socket_address("192.0.2.1")));
    EXPECT_EQ(adapter.dns_suffix, L"kept");
    EXPECT_EQ(adapter.dhcpv6_iaid + adapter.ipv4_metric, 18u);
    ASSERT_TRUE(enumerator.find_next_addr(address));
    EXPECT_TRUE(same(address.address, "192.0.2.10"));
    EXPECT_TRUE(same(address.mask, "255.255.255.0"));
    EXPECT_FALSE(enumerator.find_next_addr(address));
    EXPECT_FALSE(next());
    EXPECT_EQ(GetLastError(), 259u);
    EXPECT_FALSE(first(ip::family_ipv6));
}

TEST_F(OlderAdapters, TurnGatewayTextIntoASocketAddressOfAnyKind) {
    const std::pair<const char*, std::vector<ip::saddr>> rows[] = {
        {"", {}},
        {"0.0.0.0", {socket_address("0.0.0.0")}}, // what the system says for none
        {"2001:db8::1", {socket_address("2001:db8::1")}},
        {"nonsense", {ip::saddr{}}}};
    for (const auto& [text, gateways] : rows) {
        std::strcpy(system.older_adapters[0].GatewayList.IpAddress.String, text);
        std::strcpy(system.older_adapters[0].IpAddressList.IpMask.String, text);
        ASSERT_TRUE(first());
        ASSERT_EQ(adapter.gateways.size(), gateways.size()) << text;
        EXPECT_TRUE(gateways.empty() || same(adapter.gateways[0], gateways[0])) << text;
        address.mask.family = 99;
        ASSERT_TRUE(enumerator.find_next_addr(address));
        EXPECT_EQ(address.mask.family, gateways.empty() ? 0 : gateways[0].family) << text;
    }
}

TEST_F(OlderAdapters, ReadEntriesAsShortAsTheirSystemMakesThem) {
    system.adapters = {system.adapters[1], system.adapters[0]};
    system.adapters[1].Length = 184;
    ASSERT_TRUE(first());
    EXPECT_EQ(adapter.dns_servers.size(), 2u);
    system.older_adapters[0].AddressLength = 33;
    system.older_adapters[0].DhcpEnabled = 0;
    system.answers["MultiByteToWideChar"] = {1113};
    system.older_list_size = 9000;
    ASSERT_TRUE(first());
    EXPECT_EQ(system.count("GetAdaptersInfo"), 2);
    EXPECT_EQ(adapter.description, L""); // cannot be converted, and nobody minds
    EXPECT_EQ(adapter.hw_address_length, 0u);
    EXPECT_EQ(adapter.dhcp_server.family, 0);
}

TEST_F(Adapters, FindTheirDeviceInTheRegistry) {
    const auto device = [](const wchar_t* name, DWORD type, std::wstring id) {
        return scripted::device{{L"NetCfgInstanceId", {REG_SZ, name}},
                                {L"DeviceInstanceID", {type, std::move(id)}}};
    };
    const std::wstring long_id(1000, L'x');
    struct {
        std::vector<scripted::device> network, modems;
        std::wstring expected;
    } const rows[] = {
        {{device(L"{A}", REG_SZ, L"one"), device(L"{A}", REG_SZ, L"two")}, {}, L"two"},
        {{device(L"{A}", REG_SZ, L"one")}, {device(L"{A}", REG_SZ, L"modem")}, L"modem"},
        {{device(L"{a}", REG_SZ, L"other case")}, {}, L""},
        {{device(L"{A}", REG_DWORD, L"no text")}, {}, L""},
        {{scripted::device{{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}}}, {device(L"{A}", REG_SZ, L"m")}, L"m"},
        {{scripted::device{{L"DeviceInstanceID", {REG_SZ, L"nameless"}}}, device(L"{A}", REG_SZ, L"b")},
         {},
         L"b"},
        {{device(L"{A}", REG_SZ, long_id)}, {}, long_id},
        {{device(L"{A}", REG_SZ, std::wstring(L"ends\0here", 9))}, {}, L"ends"},
        {{device(L"{A}", REG_EXPAND_SZ, L"ab")}, {}, L"abababababababababab"},
        {{device(L"{A}", REG_EXPAND_SZ, std::wstring(100, L'y'))}, {}, std::wstring(1000, L'y')}};
    for (const auto& row : rows) {
        system.devices = {{scripted::network_class, row.network}, {scripted::modem_class, row.modems}};
        ASSERT_TRUE(first());
        EXPECT_EQ(adapter.device_instance_id, row.expected);
    }
    system.devices = {{scripted::network_class, std::vector(10, device(L"{A}", REG_SZ, L"id"))}};
    ASSERT_TRUE(first());
    const auto registry = [](const std::string& call) { return call.starts_with("Reg"); };
    EXPECT_LE(std::count_if(system.calls.begin(), system.calls.end(), registry), 10 * 5 + 4);
}

TEST_F(Adapters, NameThatCannotBeConvertedIsAnException) {
    system.answers["MultiByteToWideChar"] = {1113};
    EXPECT_THROW(first(), kvt::exceptions::error);
    ASSERT_TRUE(first());
}

TEST_F(Adapters, GiveTheLocalAddressesOfAFamily) {
    ip::saddr none;
    system.adapters[0].FirstUnicastAddress->Next->Next = system.list<IP_ADAPTER_UNICAST_ADDRESS>({none});
    const std::pair<unsigned short, std::vector<const char*>> rows[] = {
        {ip::family_none, {"192.0.2.10", "2001:db8::10", nullptr, "127.0.0.1", "::1"}},
        {ip::family_ipv4, {"192.0.2.10", "127.0.0.1"}},
        {ip::family_ipv6, {"2001:db8::10", "::1"}},
        {99, {}}};
    for (const auto& [family, expected] : rows) {
        std::vector<ip::addr> addresses(3);
        ip::addr one{99, {}};
        EXPECT_EQ(ip::localaddresses(addresses, family), 0u);
        EXPECT_EQ(ip::local_address(one, family), 0u);
        ASSERT_EQ(addresses.size(), expected.size()) << family;
        for (std::size_t i = 0; i < expected.size(); ++i) {
            EXPECT_TRUE(same(addresses[i], expected[i])) << family << " " << i;
        }
        EXPECT_TRUE(same(one, expected.empty() ? nullptr : expected[0]));
    }
}

TEST_F(Adapters, NoneAtAllIsAnError) {
    system.adapters.clear();
    system.older_adapters.clear();
    std::vector<ip::addr> addresses(3);
    ip::addr one{ip::family_ipv4, {}};
    EXPECT_EQ(ip::localaddresses(addresses, 0), 232u);
    EXPECT_TRUE(addresses.empty());
    EXPECT_EQ(ip::local_address(one, 0), 232u);
    EXPECT_EQ(one.family, 0);
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
