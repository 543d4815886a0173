// Adapters, DNS servers and scopes of the C interface.

#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

using scripted::result_of;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

std::string list(const kvtip_address* addresses, std::size_t count) {
    return text(std::vector(addresses, addresses + count));
}

/// The addresses, gateways and DNS servers.
std::string lists(const kvtip_adapter& a) {
    std::string addresses;
    for (const kvtip_adapter_address* each : std::span(a.addresses.rows, a.addresses.count)) {
        addresses += text(each->address) + "/" + text(each->prefix_length) + " ";
    }
    return texts({addresses, list(a.gateways, a.gateway_count), list(a.dns_servers, a.dns_server_count)});
}

std::string record(const kvtip_adapter& a) {
    const std::vector duid(a.dhcpv6_duid, a.dhcpv6_duid + a.dhcpv6_duid_size);
    return texts({a.name, a.guid, a.description, a.dns_suffix, a.device_id}) +
           texts({a.index, a.ipv6_index, a.type, a.status, a.ipv4_metric, a.ipv6_metric, a.dhcp_enabled}) +
           texts({a.dhcpv6_iaid, a.mac, a.dhcp_server, a.dhcpv6_server, duid}) + lists(a);
}

struct AdapterRows : testing::Test {
    explicit AdapterRows(DWORD version = 10) : system(version) {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.older_adapters = {scripted::older_adapter()};
        system.network_devices = {
            {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_SZ, L"PCI\\1"}}}};
    }

    std::string all(kvtip_adapter_options options = {sizeof options, 0, 0}) const {
        return result_of([](const kvtip_adapter& row) { return record(row) + "\n"; }, kvtip_adapters,
                         &options);
    }
    /// The record of the first adapter alone.
    std::string first() const {
        const std::string records = all();
        return records.substr(2, records.find('\n') - 2);
    }

    scripted::system system;
};

struct OlderAdapterRows : AdapterRows {
    OlderAdapterRows() : AdapterRows(5) {}
};

TEST_F(AdapterRows, HaveEverythingTheSystemSays) {
    system.adapters[1].Dhcpv4Server = system.adapters[0].Dhcpv4Server; // without DHCP it does not count
    EXPECT_EQ(all(), "0 a friendly name|{A}|a description|lab.test|PCI\\1|7|7|6|1|25|35|1|7|2,0,94,16,0,2|"
                     "192.0.2.1|2001:db8::1|1,2,3|192.0.2.10/24 2001:db8::10/64 |192.0.2.1,fe80::1%9|"
                     "2001:db8::53,192.0.2.53|\n "
                     "a friendly name|{B}|a description|lab.test||1|1|24|1|0|0|0|0||-|-||127.0.0.1/8 ::1/128 "
                     "|||\n");
    EXPECT_EQ(system.count("GetAdaptersAddresses(0,128)"), 1);
}

TEST_F(AdapterRows, TakeMembersOnlyFromEntriesLongEnoughToHaveThem) {
    IP_ADAPTER_ADDRESSES& entry = system.adapters[0];
    entry.FirstUnicastAddress = nullptr;
    const std::string head = "a friendly name|{A}|a description|lab.test|PCI\\1|7|7|6|1|",
                      mac = "2,0,94,16,0,2|", no_metrics = "4294967295|4294967295|1|0|" + mac,
                      no_servers = "-|-||", dns_servers = "2001:db8::53,192.0.2.53|",
                      lists = "|192.0.2.1,fe80::1%9|" + dns_servers;
    const std::pair<ULONG, std::string> rows[] = {
        {48, no_metrics + no_servers + "|||"},
        {208, no_metrics + no_servers + "||" + dns_servers},
        {216, no_metrics + no_servers + lists},
        {221, "25|35|1|0|" + mac + no_servers + lists},
        {281, "25|35|1|0|" + mac + "192.0.2.1|2001:db8::1||" + lists},
        {440, "25|35|1|7|" + mac + "192.0.2.1|2001:db8::1|1,2,3|" + lists}};
    for (const auto& [length, expected] : rows) {
        entry.Length = length;
        EXPECT_EQ(first(), head + expected) << length;
    }
}

TEST_F(AdapterRows, SurviveHostileEntries) {
    IP_ADAPTER_ADDRESSES& entry = system.adapters[0];
    entry.AdapterName = nullptr;
    entry.Description = entry.DnsSuffix = nullptr;
    entry.FriendlyName = system.text(L"\xD83D\xDE00 \xD83D \x00E9"); // a pair, half of one, two bytes
    entry.PhysicalAddressLength = 9;
    entry.Dhcpv6ClientDuidLength = 0xFFFFFFFF;
    entry.Dhcpv4Server = system.record(socket_address("2001:db8::1"));
    entry.Dhcpv6Server = system.record(socket_address("192.0.2.1"));
    entry.FirstUnicastAddress->Address.lpSockaddr->sa_family = 17;
    entry.FirstUnicastAddress->Next->Address.iSockaddrLength = 27;
    entry.FirstGatewayAddress->Address.iSockaddrLength = -1;
    entry.FirstDnsServerAddress->Address.iSockaddrLength = 1;
    std::string zeros;
    for (int i = 3; i < 130; ++i) {
        zeros += ",0";
    }
    EXPECT_EQ(first(), "\xF0\x9F\x98\x80 \xEF\xBF\xBD \xC3\xA9||||" + text("|7|7|6|1|25|35|1|7||-|-|1,2,3") +
                           zeros + "||fe80::1%9|192.0.2.53|");
}

TEST_F(AdapterRows, HaveScopesAndPrefixLengthsWhereTheyMakeSense) {
    const struct {
        const char* address;
        ULONG scope;
        UINT8 prefix;
        ULONG length, ipv6_index;
        const char* expected;
    } rows[] = {{"fe80::1", 0, 64, 64, 8, "|fe80::1%8/64 |"},
                {"fe80::1", 0, 64, 64, 0, "|fe80::1%7/64 |"},
                {"fe80::2", 9, 128, 64, 8, "|fe80::2%9/128 |"},
                {"2001:db8::2", 9, 0, 64, 8, "|2001:db8::2/0 |"},
                {"2001:db8::2", 9, 129, 64, 8, "|2001:db8::2/255 |"},
                {"192.0.2.1", 0, 32, 64, 8, "|192.0.2.1/32 |"},
                {"192.0.2.1", 0, 33, 64, 8, "|192.0.2.1/255 |"},
                {"192.0.2.1", 0, 24, 56, 8, "|192.0.2.1/255 |"}};
    for (const auto& row : rows) {
        IP_ADAPTER_UNICAST_ADDRESS node{};
        node.Length = row.length;
        node.OnLinkPrefixLength = row.prefix;
        ip::saddr address = socket_address(row.address);
        address.scope_id = row.scope;
        system.adapters[0].FirstUnicastAddress = system.list({address}, node);
        system.adapters[0].Ipv6IfIndex = row.ipv6_index;
        EXPECT_NE(first().find(row.expected), std::string::npos) << row.expected << first();
    }
}

TEST_F(AdapterRows, HaveTheLeaseOfAddressesWithAFiniteLifetime) {
    system.adapters[0].FirstUnicastAddress->LeaseLifetime = 3000; // below the valid lifetime of 3600
    const kvtip_adapter_list* adapters = nullptr;
    ASSERT_EQ(kvtip_adapters(nullptr, &adapters), 0u);
    const auto& addresses = adapters->rows[0]->addresses;
    EXPECT_NEAR(static_cast<double>(addresses.rows[0]->lease_expires - std::time(nullptr)), 3600, 2);
    EXPECT_EQ(addresses.rows[0]->lease_obtained, addresses.rows[0]->lease_expires - 3000);
    EXPECT_EQ(addresses.rows[1]->lease_obtained + addresses.rows[1]->lease_expires, 0);
    kvtip_free(adapters);
}

TEST_F(AdapterRows, AreSelected) {
    system.adapters[0].OperStatus = IfOperStatusDown;
    system.adapters[0].Ipv6IfIndex = 0; // but there is an address
    system.adapters.push_back(plain_adapter(system, 5, "{C}", IF_TYPE_TUNNEL, {}));
    system.adapters[2].IfIndex = 0;
    constexpr std::uint32_t size = sizeof(kvtip_adapter_options);
    const struct {
        kvtip_adapter_options options;
        std::string expected; ///< GUID, addresses, gateways and DNS servers
    } rows[] = {
        {{size, 0, 1}, "0 {B} 127.0.0.1/8 ::1/128 ||| {C} |||"},
        {{size, 4, 0}, "0 {A} 192.0.2.10/24 |192.0.2.1|192.0.2.53| {B} 127.0.0.1/8 |||"},
        {{size, 6, 0}, "0 {A} 2001:db8::10/64 |fe80::1%9|2001:db8::53| {B} ::1/128 ||| {C} |||"},
        {{size, 6, 1}, "0 {B} ::1/128 ||| {C} |||"},
        {{8, 4, 1}, "0 {A} 192.0.2.10/24 |192.0.2.1|192.0.2.53| {B} 127.0.0.1/8 |||"}}; // older caller
    for (const auto& row : rows) {
        EXPECT_EQ(result_of([](const kvtip_adapter& each) { return each.guid + (" " + lists(each)); },
                            kvtip_adapters, &row.options),
                  row.expected);
    }
}

TEST_F(AdapterRows, ComeFromTheOlderSourceWithoutTheNewer) {
    const std::string older = "0 missing 2 |{A}|an older description|||7|0|6|4|4294967295|4294967295|1|0|"
                              "2,0,94,16,0,2|192.0.2.1|-||192.0.2.10/24 |192.0.2.1||\n";
    const struct {
        std::map<std::string, std::deque<DWORD>> answers;
        std::set<std::string> missing;
        std::string expected;
    } rows[] = {{{{"GetAdaptersAddresses", {5, 5}}}, {}, older},
                {{}, {"GetAdaptersAddresses"}, older},
                {{{"GetAdaptersAddresses", {8}}}, {}, "8"},
                {{{"GetAdaptersAddresses", {232}}}, {}, "0"},
                {{{"GetAdaptersInfo", {232}}}, {"GetAdaptersAddresses"}, "0 missing 2"},
                {{{"GetAdaptersInfo", {50}}}, {"GetAdaptersAddresses"}, "50"}};
    for (const auto& row : rows) {
        system.answers = row.answers;
        system.missing = row.missing;
        EXPECT_EQ(all(), row.expected);
    }
    EXPECT_EQ(all({sizeof(kvtip_adapter_options), 6, 0}), "0 missing 2");
    EXPECT_EQ(all({sizeof(kvtip_adapter_options), 5, 0}), "87");
    EXPECT_EQ(all({sizeof(kvtip_adapter_options), 0, 2}), "87");
}

TEST_F(OlderAdapterRows, KnowIpv4AndWhatTheNewerListAdds) {
    const std::string head =
        "0 missing 2 a friendly name|{A}|an older description|||7|0|6|1|4294967295|4294967295|"
        "1|0|2,0,94,16,0,2|";
    EXPECT_EQ(all(), head + "192.0.2.1|-||192.0.2.10/24 |192.0.2.1|2001:db8::53,192.0.2.53|\n");
    IP_ADAPTER_INFO& entry = system.older_adapters[0];
    const struct {
        const char *address, *mask, *gateway, *server;
        std::string expected;
    } rows[] = {
        {"0.0.0.0", "0.0.0.0", "0.0.0.0", "255.255.255.255", "-|-||||"},
        {"192.0.2.1", "255.255.255.255", "192.0.2.2", "192.0.2.3", "192.0.2.3|-||192.0.2.1/32 |192.0.2.2|"},
        {"192.0.2.1", "0.0.0.0", "nonsense", "", "-|-||192.0.2.1/0 ||"},
        {"192.0.2.1", "255.0.255.0", "", "0.0.0.0", "-|-||192.0.2.1/255 ||"},
        {"192.0.2.1", "nonsense", "", "0.0.0.0", "-|-||192.0.2.1/255 ||"}};
    for (const auto& row : rows) {
        std::strcpy(entry.IpAddressList.IpAddress.String, row.address);
        std::strcpy(entry.IpAddressList.IpMask.String, row.mask);
        std::strcpy(entry.GatewayList.IpAddress.String, row.gateway);
        std::strcpy(entry.DhcpServer.IpAddress.String, row.server);
        EXPECT_EQ(all(), head + row.expected + "2001:db8::53,192.0.2.53|\n");
    }
}

TEST_F(AdapterRows, DnsServersSayTheirAdapter) {
    ip::saddr placeholder = socket_address("fec0:0:0:ffff::3");
    system.adapters[1].FirstDnsServerAddress = system.list<IP_ADAPTER_DNS_SERVER_ADDRESS>(
        {placeholder, socket_address("fec0:0:0:ffff::4"), socket_address("192.0.2.54")});
    system.adapters[1].FriendlyName = system.text(L"other");
    system.adapters[1].Ipv6IfIndex = 3;
    const auto servers = [](std::uint32_t family) {
        const kvtip_adapter_options options{sizeof options, family, 0};
        return result_of(
            [](const kvtip_dns_server& each) {
                return texts({each.address, each.interface_index, each.placeholder, each.adapter});
            },
            kvtip_dns_servers, &options);
    };
    EXPECT_EQ(servers(0),
              "0 2001:db8::53|7|0|a friendly name| 192.0.2.53|7|0|a friendly name| "
              "fec0:0:0:ffff::3%3|3|1|other| fec0:0:0:ffff::4%3|3|0|other| 192.0.2.54|1|0|other|");
    EXPECT_EQ(servers(4), "0 192.0.2.53|7|0|a friendly name| 192.0.2.54|1|0|other|");
    EXPECT_EQ(system.count("RegOpenKeyExW"), 0);
    system.answers["GetAdaptersAddresses"] = {8};
    EXPECT_EQ(servers(0), "8");
}

TEST_F(AdapterRows, ScopesAreFoundByName) {
    system.adapters[0].FriendlyName = system.text(L"B\x00FCro \x0416");
    system.adapters[0].Ipv6IfIndex = 8;
    system.adapters[1].Ipv6IfIndex = 0;
    system.adapters[1].FriendlyName = system.text(L"");
    const struct {
        const char* text;
        std::uint32_t code, scope;
        std::set<std::string> missing = {};
    } rows[] = {{"1", 0, 1},
                {"4294967295", 0, 0xFFFFFFFF},
                {"4294967296", 1168, 0},
                {"07", 1168, 0},
                {"7 ", 1168, 0},
                {"0", 1168, 0},
                {"", 1168, 0},
                {"B\xC3\xBCro \xD0\x96", 0, 8},
                {"b\xC3\x9CRO \xD0\xB6", 0, 8}, // the other case of every letter
                {"b\xC3\xBCRO \xD0\x96", 0, 8, {"CompareStringOrdinal"}},
                {"B\xC3\xBCro", 1168, 0},
                {"B\xC3\xBCro", 1168, 0, {"CompareStringOrdinal"}},
                {"{a}", 0, 8},
                {"{B}", 0, 1}};
    for (const auto& row : rows) {
        system.missing = row.missing;
        std::uint32_t scope = 9;
        EXPECT_EQ(kvtip_scope(row.text, &scope), row.code) << row.text;
        EXPECT_EQ(scope, row.scope) << row.text;
    }
}

} // namespace
