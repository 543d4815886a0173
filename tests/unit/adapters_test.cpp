// The adapter enumerator and what is built on it.

#include "address/convert.h"
#include "ip/detail/helper.h"
#include "sample_adapters.h"
#include "text.h"

#include <gtest/gtest.h>

#include <bit>
#include <ctime>

namespace {

using scripted::device;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

struct Adapters : testing::Test {
    explicit Adapters(DWORD version = 10) : system(version) {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.older_adapters = {scripted::older_adapter()};
        system.network_devices = {registered(L"PCI\\1")};
        EXPECT_EQ(lib.init(), 0u);
    }

    static device registered(const std::wstring& id, DWORD type = REG_SZ, const std::wstring& on = L"{A}") {
        return {{L"NetCfgInstanceId", {REG_SZ, on}}, {L"DeviceInstanceID", {type, id}}};
    }
    /// An address of which the system lists the family only.
    SOCKET_ADDRESS cut(const ip::saddr& whole) {
        return {reinterpret_cast<SOCKADDR*>(system.keep(whole, sizeof whole.family)), 2};
    }
    /// All that the record of the first adapter holds.
    std::string first(std::uint32_t family = 0) {
        system.calls.clear();
        EXPECT_TRUE(enumerator.find_first(adapter, family));
        return record();
    }
    std::string next() {
        return enumerator.find_next(adapter) ? record() : "error " + std::to_string(GetLastError());
    }
    std::string record() const {
        const ip::_SFindAdapter& a = adapter;
        return texts({a.index, a.ipv6_index, a.name, a.friendly_name, a.description,
                      std::vector(a.hw_address, a.hw_address + a.hw_address_length), a.type, a.oper_status,
                      a.gateways, a.dns_servers, a.dhcp_enabled, a.dhcp_server, a.dhcpv6_server,
                      a.ipv4_metric, a.ipv6_metric, a.dns_suffix, a.device_instance_id, a.dhcpv6_duid,
                      a.dhcpv6_iaid});
    }
    /// The adapter's next address and its mask.
    std::string next_address() {
        return enumerator.find_next_addr(address) ? texts({address.address, address.mask}) : "none";
    }

    scripted::system system;
    ip::lib lib;
    ip::adapter_enumerator enumerator;
    ip::_SFindAdapter adapter;
    ip::_SFindAddress address;
};

struct OlderAdapters : Adapters {
    OlderAdapters() : Adapters(5) {}
};

TEST_F(Adapters, AreReportedWithEverythingTheSystemTells) {
    system.adapters[1].Dhcpv4Server = system.adapters[0].Dhcpv4Server; // without DHCP it does not count
    IP_ADAPTER_ADDRESSES& crossed = system.adapters.emplace_back(system.adapters[0]);
    crossed.Dhcpv4Server = system.record(socket_address("2001:db8::c000:205", 99));
    crossed.Dhcpv6Server = system.record(socket_address("192.0.2.6", 98));
    EXPECT_EQ(first(), "7|7|{A}|a friendly name|a description|2,0,94,16,0,2|6|1|192.0.2.1,fe80::1/5%9|"
                       "2001:db8::53,192.0.2.53|1|192.0.2.1@17152|2001:db8::1@8962|25|35|lab.test|PCI\\1|"
                       "1,2,3|7|");
    // Into the same record, which keeps only the identifier that this adapter lacks.
    EXPECT_EQ(next(), "1|1|{B}|a friendly name|a description||24|1|||0|-|-|0|0|lab.test|||7|");
    next();
    EXPECT_EQ(texts({adapter.dhcp_server, adapter.dhcpv6_server}), "192.0.2.5@99|::ffff:192.0.2.6@98|");
    EXPECT_EQ(next(), "error 259");
    EXPECT_EQ(next(), "error 259");
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,128)"), 1);
    system.list_size = 20000;
    first(ip::family_ipv6);
    EXPECT_EQ(system.count("GetAdaptersAddresses(23,128)"), 2);
}

TEST_F(Adapters, TakeMembersOnlyFromEntriesLongEnoughToHaveThem) {
    for (const ULONG length : {48u, 49u, 208u, 209u, 232u, 233u, 280u, 281u}) {
        system.adapters[0].Length = length;
        first();
        const std::string found = text(!adapter.dns_servers.empty()) + text(!adapter.gateways.empty()) +
                                  text(adapter.dhcp_server.family) + text(adapter.dhcpv6_server.family);
        EXPECT_EQ(found, text(length > 48) + text(length > 208) + (length > 232 ? "2" : "0") +
                             (length > 280 ? "23" : "0"));
    }
}

TEST_F(Adapters, SurviveHostileEntries) {
    IP_ADAPTER_ADDRESSES& entry = system.adapters[0];
    entry.AdapterName = nullptr;
    entry.Description = entry.FriendlyName = entry.DnsSuffix = nullptr;
    entry.Dhcpv4Server.lpSockaddr = nullptr;
    entry.Dhcpv6Server.lpSockaddr->sa_family = 17;
    system.adapters[1].Dhcpv4Server = system.adapters[1].Dhcpv6Server = cut(socket_address("::1"));
    system.adapters[1].Flags = IP_ADAPTER_DHCP_ENABLED;
    system.adapters[1].FirstUnicastAddress->Address = cut(socket_address("::1"));
    entry.PhysicalAddressLength = 33;
    system.adapters[1].PhysicalAddressLength = 32;
    entry.Dhcpv6ClientDuidLength = 0xFFFFFFFF;
    entry.FirstUnicastAddress = nullptr;
    entry.FirstDnsServerAddress->Address.iSockaddrLength = -1;
    system.network_devices = {registered(L"nameless", REG_SZ, L"")};
    first();
    EXPECT_EQ(adapter.dhcpv6_duid.size(), 130u); // all that an entry can hold
    adapter.dhcpv6_duid.clear();
    EXPECT_EQ(record(), "7|7|||||6|1|192.0.2.1,fe80::1/5%9|-,192.0.2.53|1|-|-|25|35||||7|");
    SetLastError(77);
    EXPECT_EQ(next_address(), "none");
    EXPECT_EQ(GetLastError(), 77u);
    next();
    EXPECT_EQ(texts({adapter.hw_address_length, adapter.dhcp_server, adapter.dhcpv6_server}) + next_address(),
              "32|0.0.0.0|::|::|ff00::|");
}

TEST_F(Adapters, GiveTheirAddressesWithMaskAndLease) {
    first();
    system.adapters[0].FirstUnicastAddress->LeaseLifetime = 3000; // below the valid lifetime of 3600
    const std::int64_t now = std::time(nullptr);
    EXPECT_EQ(next_address(), "192.0.2.10|255.255.255.0|");
    EXPECT_NEAR(static_cast<double>(address.lease_obtained - now), 600, 2);
    EXPECT_EQ(address.lease_expires, address.lease_obtained + 3000);
    EXPECT_EQ(next_address(), "2001:db8::10|ffff:ffff:ffff:ffff::|");
    EXPECT_EQ(address.lease_obtained + address.lease_expires, 0); // valid for ever
    address.lease_expires = 9;
    EXPECT_EQ(next_address(), "none");
    EXPECT_EQ(address.lease_expires, 0);
}

TEST_F(Adapters, MakeMasksOfPrefixLengthsThatTheFamilyHas) {
    const auto masks = [this](const char* of, std::initializer_list<UINT8> prefixes, ULONG length = 64) {
        std::string found;
        for (const UINT8 prefix : prefixes) {
            IP_ADAPTER_UNICAST_ADDRESS node{};
            node.Length = length;
            node.OnLinkPrefixLength = prefix;
            const ip::saddr record = *of == '-' ? ip::saddr{} : socket_address(of);
            system.adapters[0].FirstUnicastAddress = system.list({record}, node);
            first();
            EXPECT_TRUE(next_address().starts_with(of));
            found += text(address.mask) + " ";
        }
        return found;
    };
    EXPECT_EQ(masks("1.2.3.4", {0, 27, 32, 33}), "0.0.0.0 255.255.255.224 255.255.255.255 - ");
    EXPECT_EQ(masks("1.2.3.4", {8}, 57) + masks("1.2.3.4", {24}, 56) + masks("-", {8}), "255.0.0.0 - - ");
    EXPECT_EQ(masks("::1", {129, 33}), "- ffff:ffff:8000:: ");
}

TEST_F(Adapters, FallBackToTheOlderSourceUnlessOnlyIpv6IsWanted) {
    system.answers["GetAdaptersAddresses"] = {111, 111, 5, 5}; // no third attempt
    const std::string older = first();
    EXPECT_EQ(adapter.description, L"an older description");
    EXPECT_EQ(adapter.oper_status, 4u); // there is no list to look it up in
    system.calls.clear();
    EXPECT_FALSE(enumerator.find_first(adapter, ip::family_ipv6));
    EXPECT_EQ(system.count("GetAdaptersInfo"), 0);
    system.answers["GetAdaptersInfo"] = {111, 111};
    EXPECT_FALSE(enumerator.find_first(adapter, 0));
    EXPECT_EQ(GetLastError(), 111u);
    EXPECT_EQ(record(), older); // untouched
}

TEST_F(OlderAdapters, ComeWithStatusNameAndDnsServersOfTheNewerList) {
    // The first of its index gives the name, and the first of those that know one the status.
    IP_ADAPTER_ADDRESSES earlier = system.adapters[0], later = earlier;
    later.OperStatus = IfOperStatusDown;
    earlier.OperStatus = IfOperStatusUnknown;
    earlier.FriendlyName = system.text(L"the first of its index");
    earlier.Length = 184; // as long as such a system makes them
    system.adapters = {system.adapters[1], earlier, system.adapters[0], later};
    adapter.dns_suffix = adapter.device_instance_id = L"kept";
    adapter.dhcpv6_iaid = adapter.ipv4_metric = adapter.ipv6_metric = 9;
    first();
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,0)"), 1);
    EXPECT_EQ(record(), "7|0|{A}|the first of its index|an older description|2,0,94,16,0,2|6|1|192.0.2.1|"
                        "2001:db8::53,192.0.2.53|1|192.0.2.1|-|9|9|kept|kept||9|");
    EXPECT_EQ(next_address(), "192.0.2.10|255.255.255.0|");
    EXPECT_EQ(next_address(), "none");
    EXPECT_EQ(next(), "error 259");
    EXPECT_FALSE(enumerator.find_first(adapter, ip::family_ipv6));
}

TEST_F(OlderAdapters, MakeTheBestOfOddEntries) {
    IP_ADAPTER_INFO& entry = system.older_adapters[0];
    const std::tuple<const char*, const char*> rows[] = {
        {"0.0.0.0", "192.0.2.10|0.0.0.0|0.0.0.0|0.0.0.0|"},
        {"", "192.0.2.10|-||-|"},
        {"2001:db8::1", "192.0.2.10|2001:db8::1|2001:db8::1|-|"},
        {"2001:db8:0::0:1099", "192.0.2.10|2001:db8::10|2001:db8::10|-|"}, // cut at its 16 characters
        {"nonsense", "192.0.2.10|-|-|-|"}};
    for (const auto& [given, made_of_it] : rows) { // of mask, gateways and DHCP server
        std::strcpy(entry.IpAddressList.IpMask.String, given);
        std::strcpy(entry.GatewayList.IpAddress.String, given);
        std::strcpy(entry.DhcpServer.IpAddress.String, given);
        first();
        EXPECT_EQ(next_address() + texts({adapter.gateways, adapter.dhcp_server}), made_of_it);
    }
    std::fill_n(entry.AdapterName, sizeof entry.AdapterName + sizeof entry.Description, 'x');
    entry.AddressLength = 32;
    first();
    EXPECT_EQ(adapter.name.size() + adapter.description.size(), 260u + 132u);
    EXPECT_EQ(adapter.hw_address_length, 32u);
    entry.AddressLength = 33;
    entry.DhcpEnabled = 0;
    std::strcpy(entry.DhcpServer.IpAddress.String, "192.0.2.1"); // without DHCP it does not count
    entry.AdapterName[0] = 0;
    system.adapters.clear(); // an error of the newer list
    system.answers["MultiByteToWideChar"] = {1113};
    system.older_list_size = 9000;
    first();
    EXPECT_EQ(system.count("GetAdaptersInfo"), 2);
    EXPECT_EQ(record(), "7|0|||||6|4|-||0|-|-|0|0||||0|");
}

TEST_F(Adapters, FindTheirDeviceInTheRegistry) {
    const std::wstring x100(100, L'x'), x1000(1000, L'x');
    const device idless{{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}};
    const device nameless{{L"DeviceInstanceID", {REG_SZ, L"nameless"}}};
    const struct {
        std::vector<device> network;
        std::wstring id;
        std::vector<device> modems = {};
        std::map<std::string, std::deque<DWORD>> answers = {};
    } rows[] = {{{registered(L"one"), registered(L"two")}, L"two"},
                {{registered(L"one")}, L"modem", {registered(L"modem")}},
                {{registered(L"other case", REG_SZ, L"{a}")}, L""},
                {{idless, nameless, registered(L"complete"), idless, nameless}, L"complete"},
                {{registered(x1000)}, x1000},
                {{registered(L"end inside", REG_SZ, std::wstring(L"{A}\0x", 5))}, L"end inside"},
                {{registered(L"grows")}, L"", {}, {{"RegQueryValueExW", std::deque<DWORD>(16, 234)}}},
                {{registered(L"grows", REG_EXPAND_SZ)},
                 L"",
                 {},
                 {{"ExpandEnvironmentStringsW", std::deque<DWORD>(16, 234)}}},
                {{registered(L"ab", REG_EXPAND_SZ)}, L"abababababababababab"},
                {std::vector<device>(10, registered(x100, REG_EXPAND_SZ)), x1000}};
    for (const auto& row : rows) {
        system.network_devices = row.network;
        system.modem_devices = row.modems;
        system.answers = row.answers;
        first();
        EXPECT_EQ(adapter.device_instance_id, row.id);
    }
    const auto registry = [](const std::string& call) { return call.starts_with("Reg"); };
    EXPECT_LE(std::count_if(system.calls.begin(), system.calls.end(), registry), 10 * 5 + 4);
}

TEST_F(Adapters, GiveTheLocalAddressesOfAFamilyAndNoneAtAllIsAnError) {
    system.adapters[0].FirstUnicastAddress->Next->Next =
        system.list<IP_ADAPTER_UNICAST_ADDRESS>({ip::saddr{}});
    const auto local = [](unsigned short family, unsigned long code) {
        std::vector<ip::addr> all(3);
        ip::addr one{ip::family_ipv4, {}};
        EXPECT_EQ(ip::localaddresses(all, family), code);
        EXPECT_EQ(ip::local_address(one, family), code);
        return texts({all, one});
    };
    EXPECT_EQ(local(ip::family_none, 0), "192.0.2.10,2001:db8::10,-,127.0.0.1,::1|192.0.2.10|");
    EXPECT_EQ(local(ip::family_ipv4, 0), "192.0.2.10,127.0.0.1|192.0.2.10|");
    EXPECT_EQ(local(ip::family_ipv6, 0), "2001:db8::10,::1|2001:db8::10|");
    EXPECT_EQ(local(99, 0), "|-|");
    const auto supports = [this](unsigned short family) { return lib.address_family_supported(family); };
    EXPECT_TRUE(supports(ip::family_ipv4) && supports(ip::family_ipv6) && !supports(99));
    system.adapters[0].OperStatus = IfOperStatusDown; // the loopback adapter does not count
    EXPECT_FALSE(supports(ip::family_ipv4));
    EXPECT_EQ(system.count("RegOpenKeyExW"), 0); // these report no device identifier
    system.adapters.clear();
    system.older_adapters.clear();
    EXPECT_EQ(local(ip::family_none, 232), "|-|");
}

TEST_F(Adapters, BestOneIsFoundByEitherIndex) {
    system.adapters[1].IfIndex = 0;
    system.adapters[1].Ipv6IfIndex = 9;
    ip::saddr ipv6 = socket_address("2001:db8::9", 1);
    ipv6.flow_info = 5;
    ipv6.scope_id = 6;
    const struct {
        std::uint32_t wanted = 0, best = 7;
        DWORD code = 0;
        std::string expected;
    } rows[] = {{.expected = "{A} 0(2001:db8::9@1/5%6)"},
                {.best = 9, .expected = "{B} 0(2001:db8::9@1/5%6)"},
                {.wanted = 9, .expected = "{B} 0"},
                {.wanted = 1, .expected = "- 259"},
                {.best = 0, .expected = "- 259(2001:db8::9@1/5%6)"},
                {.code = 1231, .expected = "- 1231(2001:db8::9@1/5%6)"}};
    for (const auto& row : rows) {
        system.best_index = row.best;
        for (const bool own_enumerator : {true, false}) {
            system.calls.clear();
            system.answers["GetBestInterfaceEx"] = {row.code};
            const bool found = own_enumerator && row.wanted == 0
                                   ? ip::getbestinterface(ipv6, adapter)
                                   : enumerator.find_best(adapter, ipv6, row.wanted);
            const std::string result = (found ? adapter.name : "-") + " " + text(GetLastError());
            EXPECT_EQ(result + system.called("GetBestInterfaceEx"), row.expected)
                << row.wanted << " is wanted, " << row.best << " is best";
        }
    }
    EXPECT_TRUE(enumerator.find_best(adapter, ipv6, 7));
    EXPECT_EQ(next_address(), "192.0.2.10|255.255.255.0|");
    system.missing = {"Iphlpapi.dll"};
    ip::detail::the_helper().iphlpapi.GetBestInterfaceEx = nullptr;
    std::uint32_t index = 0;
    system.calls.clear();
    EXPECT_EQ(ip::getbestinterface(socket_address("192.0.2.9"), index), 0u);
    EXPECT_EQ(text(index) + system.called("GetBestInterface"), "7(192.0.2.9)");
    EXPECT_FALSE(enumerator.find_best(adapter, ipv6));
    EXPECT_EQ(GetLastError(), 87u);
}

TEST_F(Adapters, GatewayIsTheNextHop) {
    adapter.ipv6_index = 7;
    const ip::saddr router = socket_address("fe80::1", 1), older = socket_address("192.0.2.1", 1);
    const struct {
        const char* destination;
        const ip::saddr& hop;
        std::string expected;
        DWORD code = 0;
        const char* missing = "";
    } rows[] = {{"1.2.3.4", older, "0|192.0.2.1|GetBestRoute(1.2.3.4,0.0.0.0)|"},
                {"1.2.3.4", older, "5|::8|GetBestRoute(1.2.3.4,0.0.0.0)|", 5},
                {"9::", router, "0|fe80::1@1|GetBestRoute2(7,9::,0)|"},
                {"9::", older, "10046|192.0.2.1@1|GetBestRoute2(7,9::,0)|"},
                {"9::", router, "5|::8|GetBestRoute2(7,9::,0)|", 5},
                {"9::", router, "10022|::8||", 0, "GetBestRoute2"},
                {"-", router, "10022|::8||"}};
    for (const auto& row : rows) {
        ip::saddr gateway = socket_address("::8");
        system.next_hop = row.hop;
        system.missing = {row.missing};
        system.answers = {{"GetBestRoute", {row.code}}, {"GetBestRoute2", {row.code}}};
        system.calls.clear();
        const ip::saddr to = *row.destination == '-' ? ip::saddr{} : socket_address(row.destination);
        EXPECT_EQ(texts({enumerator.find_best_gateway(adapter, to, gateway), gateway,
                         system.called("GetBest").empty() ? "" : "GetBest" + system.called("GetBest")}),
                  row.expected);
    }
}

TEST_F(Adapters, DnsServersAreListedOnce) {
    const auto of = [this](IFTYPE status, const std::vector<ip::saddr>& servers) {
        system.adapters[1].OperStatus = static_cast<IF_OPER_STATUS>(status);
        system.adapters[1].FirstDnsServerAddress = system.list<IP_ADAPTER_DNS_SERVER_ADDRESS>(servers);
        system.adapters.push_back(system.adapters[1]);
    };
    ip::saddr scoped = socket_address("2001:db8::53", 1), other = socket_address("1.1.1.1");
    scoped.scope_id = 5;
    other.family = 17;
    of(IfOperStatusUnknown, {socket_address("1.1.1.1")});
    of(IfOperStatusDormant, {socket_address("0.0.0.0"), socket_address("255.255.255.255"), other, scoped,
                             socket_address("::"), socket_address("192.0.2.55")});
    IP_ADDR_STRING second{};
    std::strcpy(second.IpAddress.String, "192.000.002.0054 and on");
    second.Next = system.keep(second);
    std::strcpy(system.network.DnsServerList.IpAddress.String, "192.0.2.53");
    system.network.DnsServerList.Next = system.keep(second);
    const std::string adapters = "2001:db8::53,192.0.2.55";
    const struct {
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {{{}, "192.0.2.53,192.000.002.0054,2001:db8::53,192.0.2.55"},
                {{{"GetNetworkParams", {111, 111}}}, "2001:db8::53,192.0.2.53,192.0.2.55"},
                {{{"GetAdaptersAddresses", {5}}}, "192.0.2.53,192.000.002.0054"}};
    std::string servers = "?";
    system.wanted = {700};
    for (const auto& row : rows) {
        system.answers = row.answers;
        EXPECT_TRUE(ip::adapter_enumerator::retrievednsservers(servers));
        EXPECT_EQ(servers, row.expected);
    }
    EXPECT_EQ(system.count("GetNetworkParams(700)"), 1);
    system.answers = {{"GetNetworkParams", {5}}, {"GetAdaptersAddresses", {5}}};
    EXPECT_FALSE(ip::adapter_enumerator::retrievednsservers(servers));
    EXPECT_EQ(servers, "");
    EXPECT_EQ(lib.free(), 0u);
    system.missing = {"Iphlpapi.dll"};
    EXPECT_FALSE(ip::adapter_enumerator::retrievednsservers(servers));
    EXPECT_EQ(servers, "192.0.2.53,192.000.002.0054"); // for all that
    EXPECT_EQ(ip::detail::the_helper().iphlpapi.load_count, 0u);
}

TEST_F(Adapters, CurrentProfileKnowsADialUpConnectionByItsAddress) {
    system.adapters[0]
        .FirstUnicastAddress->Next->Next = // as little an address as a connection without one has
        system.list<IP_ADAPTER_UNICAST_ADDRESS>({ip::saddr{}});
    system.dial_ups.resize(3);
    for (std::size_t i = 0; i < 3; ++i) {
        system.dial_ups[i].hrasconn = std::bit_cast<HRASCONN>(i);
        std::wcscpy(system.dial_ups[i].szEntryName, std::to_wstring(i).c_str());
        std::wcscpy(system.dial_ups[i].szDeviceType, L"vpn");
        std::wcscpy(system.dial_ups[i].szDeviceName, L"a port");
    }
    const std::string lan = "{A}|192.0.2.10|255.255.255.0|192.0.2.1|0||||",
                      second = "{A}|192.0.2.10|255.255.255.0|192.0.2.1|1|1|vpn|a port|",
                      second_on_ipv6 = "{A}|2001:db8::10|ffff:ffff:ffff:ffff::|-|1|1|vpn|a port|";
    const std::vector<std::wstring> none(3), first{L"192.0.2.10", L"", L""};
    const struct {
        std::string expected;
        std::vector<std::wstring> addresses = {L"1.1.1.1", L"192.0.2.10", L"192.0.2.10"}; ///< of the three
        const char* destination = "192.0.2.9";
        std::map<std::string, std::deque<DWORD>> answers = {};
        std::deque<DWORD> wanted = {};
        DWORD record_size = 1388;
    } rows[] = {{.expected = second},
                {.expected = second, .wanted = {4000, 9000}},
                {.expected = second, .record_size = 1372},
                {.expected = second, .wanted = {3000}, .record_size = 1344},
                {.expected = lan, .addresses = first, .record_size = 820},
                {.expected = lan, .answers = {{"RasEnumConnectionsW", std::deque<DWORD>(16, 603)}}},
                {.expected = second, .answers = {{"RasGetProjectionInfoW", {731}}}},
                {.expected = lan, .addresses = first, .answers = {{"RasGetProjectionInfoW", {731}}}},
                {.expected = "{A}|192.0.2.10|255.255.255.0|-|0||||",
                 .addresses = none,
                 .answers = {{"GetBestRoute", {5}}}},
                {.expected = "{A}|2001:db8::10|ffff:ffff:ffff:ffff::|-|0||||",
                 .addresses = none,
                 .destination = "9::"},
                {.expected = second_on_ipv6, .destination = "9::"},
                {.expected = second_on_ipv6, // the text is longer than its member
                 .addresses = {L"1.1.1.1", L"2001:db8:0::0:1099", L""},
                 .destination = "9::"}};
    for (const auto& row : rows) {
        ip::_SCurrentProfile p;
        p.gateway = socket_address("::8");
        p.entry_name = L"old";
        system.dial_up_addresses = row.addresses;
        system.answers = row.answers;
        system.wanted = row.wanted;
        system.dial_up_size = row.record_size;
        EXPECT_TRUE(enumerator.find_current_profile(p, socket_address(row.destination)));
        EXPECT_EQ(GetLastError(), 0u);
        EXPECT_EQ(texts({p.adapter.name, p.address, p.mask, p.gateway, p.dial_up, p.entry_name, p.device_type,
                         p.device_name}),
                  row.expected)
            << texts({row.addresses, row.destination, row.record_size});
    }
    std::fill_n(system.dial_ups[1].szEntryName, 257 + 17 + 129 + 260, L'x');
    ip::_SCurrentProfile unterminated;
    EXPECT_TRUE(enumerator.find_current_profile(unterminated, socket_address("192.0.2.9")));
    EXPECT_EQ(texts({unterminated.entry_name.size(), unterminated.device_type.size(),
                     unterminated.device_name.size()}),
              "257|17|129|");
    ip::_SCurrentProfile untouched;
    untouched.entry_name = L"old";
    system.answers["GetBestInterfaceEx"] = {1231};
    EXPECT_FALSE(enumerator.find_current_profile(untouched, socket_address("192.0.2.9")));
    EXPECT_EQ(untouched.entry_name + std::to_wstring(GetLastError()), L"old1231");
}

} // namespace
