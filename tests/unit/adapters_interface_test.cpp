// Adapters, DNS servers and scopes of the C interface.

#include "kvtip/adapters.hpp"
#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

using scripted::forever;
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
        system.interfaces.resize(2); // of which the first one is nobody's
        system.interfaces[1].InterfaceIndex = 7;
        system.network_devices = {
            {{L"NetCfgInstanceId", {REG_SZ, L"{A}"}}, {L"DeviceInstanceID", {REG_SZ, L"PCI\\1"}}}};
    }

    std::string all(kvtip_adapter_options options = {sizeof options, 0, 0, 0}) const {
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

TEST_F(AdapterRows, SayWhereAddressesComeFromAndHowLongTheyStay) {
    IP_ADAPTER_UNICAST_ADDRESS& node = *system.adapters[0].FirstUnicastAddress;
    const struct {
        int prefix, suffix, state;
        ULONG preferred, valid;
        const char* expected;
    } rows[] = {{1, 1, 4, forever, forever, "manual|manual|preferred|0|4294967295|4294967295|"},
                {2, 4, 1, 0, 7, "well known|link layer|tentative|0|0|7|"},
                {2, 5, 2, 1, 2, "well known|random|duplicate|0|1|2|"},
                {3, 3, 0, 1, 2, "DHCP|DHCP|invalid|0|1|2|"},
                {4, 4, 4, 1, 2, "router advertisement|link layer|preferred|0|1|2|"},
                {4, 5, 3, 1, 2, "router advertisement|random|deprecated|1|1|2|"},
                {0, 2, 4, 1, 2, "other|well known|preferred|0|1|2|"},
                {16, 16, 9, 1, 2, "|||0|1|2|"}};
    for (const auto& row : rows) {
        std::memcpy(&node.PrefixOrigin, &row.prefix, sizeof row.prefix);
        std::memcpy(&node.SuffixOrigin, &row.suffix, sizeof row.suffix);
        std::memcpy(&node.DadState, &row.state, sizeof row.state);
        node.PreferredLifetime = row.preferred;
        node.ValidLifetime = row.valid;
        const auto address = kvtip::adapters()[0].addresses.at(0);
        EXPECT_EQ(
            texts({std::string(to_string(address.prefix_origin)),
                   std::string(to_string(address.suffix_origin)), std::string(to_string(address.state)),
                   address.temporary, address.preferred_lifetime->count(), address.valid_lifetime->count()}),
            row.expected);
    }
    system.missing = {"GetAdaptersAddresses"};
    const auto older = kvtip::adapters()[0].addresses.at(0);
    EXPECT_EQ(older.state, kvtip::address_state::unknown);
    EXPECT_FALSE(older.temporary || older.preferred_lifetime || older.valid_lifetime);
}

TEST_F(AdapterRows, SayWhatKindOfAdapterItIs) {
    const struct {
        IFTYPE type;
        int medium;
        bool device;
        const char *expected, *with_details;
    } rows[] = {{6, 0, true, "Ethernet", "Ethernet"},
                {6, 14, true, "Ethernet", "Ethernet"},
                {6, 14, false, "Ethernet", "virtual"},
                {6, 1, true, "Ethernet", "Wi-Fi"},
                {6, 9, false, "Ethernet", "Wi-Fi"},
                {6, 8, true, "Ethernet", "mobile broadband"},
                {6, 10, true, "Ethernet", "Bluetooth"},
                {71, 0, false, "Wi-Fi", "Wi-Fi"},
                {23, 14, false, "PPP", "PPP"},
                {24, 0, false, "loopback", "loopback"},
                {53, 0, true, "virtual", "virtual"},
                {131, 0, false, "tunnel", "tunnel"},
                {243, 8, true, "mobile broadband", "mobile broadband"},
                {244, 8, true, "mobile broadband", "mobile broadband"},
                {144, 7, true, "other", "other"}};
    for (const auto& row : rows) {
        system.adapters[0].IfType = row.type;
        MIB_IF_ROW2& found = system.interfaces[1];
        std::memcpy(&found.PhysicalMediumType, &row.medium, sizeof row.medium);
        found.InterfaceAndOperStatusFlags.HardwareInterface = row.device ? 1 : 0;
        const kvtip::adapter plain = kvtip::adapters()[0], full = kvtip::adapters({.details = true})[0];
        EXPECT_EQ(to_string(plain.kind), row.expected) << row.type;
        EXPECT_EQ(to_string(full.kind), row.with_details) << row.type << " " << row.medium;
        EXPECT_EQ(full.physical, row.device) << row.type;
        EXPECT_FALSE(plain.physical || plain.counters);
    }
}

TEST_F(AdapterRows, HaveTheirLinkAndWithDetailsTheirCounters) {
    system.adapters[0].Mtu = 1500;
    system.adapters[0].TransmitLinkSpeed = 10'000'000'000;
    system.adapters[0].ReceiveLinkSpeed = ~0ULL; // unknown
    MIB_IF_ROW2& found = system.interfaces[1];
    ULONG64 next = 1;
    for (ULONG64 MIB_IF_ROW2::*member :
         {&MIB_IF_ROW2::InOctets, &MIB_IF_ROW2::InUcastPkts, &MIB_IF_ROW2::InNUcastPkts,
          &MIB_IF_ROW2::InErrors, &MIB_IF_ROW2::InDiscards, &MIB_IF_ROW2::OutOctets,
          &MIB_IF_ROW2::OutUcastPkts, &MIB_IF_ROW2::OutNUcastPkts, &MIB_IF_ROW2::OutErrors,
          &MIB_IF_ROW2::OutDiscards}) {
        found.*member = next++ << 32;
    }
    const auto traffic = [](const kvtip::traffic& t) {
        std::string shown;
        for (const auto count : {t.bytes, t.unicast_packets, t.multicast_packets, t.errors, t.discards}) {
            shown += text(count >> 32) + " ";
        }
        return shown;
    };
    const auto shown = [&] {
        const kvtip::adapter_list listed = kvtip::adapters({.details = true});
        const kvtip::adapter& first = listed[0];
        EXPECT_FALSE(listed.size() > 1 && listed[1].counters) << "the system has none for it";
        return text(static_cast<std::uint32_t>(listed.missing)) + " " +
               texts({first.mtu, first.transmit_speed, first.receive_speed}) +
               (first.counters ? traffic(first.counters->received) + traffic(first.counters->sent) : "");
    };
    EXPECT_EQ(shown(), "0 1500|10000000000|0|1 2 3 4 5 6 7 8 9 10 ");
    EXPECT_EQ(system.count("GetIfTable2"), 1);
    system.adapters[0].Length = 184; // as before version 6
    system.adapters[0].FirstGatewayAddress = nullptr;
    EXPECT_EQ(shown(), "0 1500|0|0|1 2 3 4 5 6 7 8 9 10 ");
    system.adapters[0].IfIndex = 0; // IPv6 alone
    EXPECT_EQ(shown(), "0 1500|0|0|1 2 3 4 5 6 7 8 9 10 ");
    system.answers["GetIfTable2"] = {50, 8};
    EXPECT_EQ(shown(), "16 1500|0|0|");
    EXPECT_EQ(all({sizeof(kvtip_adapter_options), 0, 0, 1}), "8");
    system.missing = {"GetIfTable2", "GetAdaptersAddresses"};
    EXPECT_EQ(shown(), "18 0|0|0|");
    system.missing = {"GetAdaptersAddresses"};
    EXPECT_EQ(shown(), "2 0|0|0|1 2 3 4 5 6 7 8 9 10 ");
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
        {{size, 0, 1, 0}, "0 {B} 127.0.0.1/8 ::1/128 ||| {C} |||"},
        {{size, 4, 0, 0}, "0 {A} 192.0.2.10/24 |192.0.2.1|192.0.2.53| {B} 127.0.0.1/8 |||"},
        {{size, 6, 0, 0}, "0 {A} 2001:db8::10/64 |fe80::1%9|2001:db8::53| {B} ::1/128 ||| {C} |||"},
        {{size, 6, 1, 0}, "0 {B} ::1/128 ||| {C} |||"},
        {{8, 4, 1, 1}, "0 {A} 192.0.2.10/24 |192.0.2.1|192.0.2.53| {B} 127.0.0.1/8 |||"}}; // older caller
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
    EXPECT_EQ(all({sizeof(kvtip_adapter_options), 6, 0, 0}), "0 missing 2");
    constexpr std::uint32_t size = sizeof(kvtip_adapter_options);
    for (const kvtip_adapter_options& wrong :
         std::initializer_list<kvtip_adapter_options>{{size, 5, 0, 0}, {size, 0, 2, 0}, {size, 0, 0, 2}}) {
        EXPECT_EQ(all(wrong), "87");
    }
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
    const auto servers = [](std::uint32_t family, std::uint32_t usable = 0) {
        const kvtip_dns_server_options options{sizeof options, family, usable};
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
    EXPECT_EQ(servers(4, 2), "87");
    EXPECT_EQ(servers(5), "87");
    system.answers["GetAdaptersAddresses"] = {8};
    EXPECT_EQ(servers(0), "8");
}

TEST_F(AdapterRows, DnsServersAreUsableOnesOnceInTheOrderOfTheMetrics) {
    const auto add = [&](DWORD index, ULONG ipv4_metric, ULONG ipv6_metric,
                         const std::vector<const char*>& addresses) {
        std::vector<ip::saddr> servers;
        for (const char* each : addresses) {
            servers.push_back(kvtip::library::to_saddr(scripted::address_of(each)));
        }
        IP_ADAPTER_ADDRESSES entry = plain_adapter(system, index, "{C}", IF_TYPE_ETHERNET_CSMACD, {});
        entry.FriendlyName = system.text(std::to_wstring(index).c_str());
        entry.FirstDnsServerAddress = system.list<IP_ADAPTER_DNS_SERVER_ADDRESS>(servers);
        entry.Ipv4Metric = ipv4_metric;
        entry.Ipv6Metric = ipv6_metric;
        system.adapters.push_back(entry);
    };
    system.adapters.clear();
    add(1, 50, 0xFFFFFFFF, {"192.0.2.1", "192.0.2.2", "192.0.2.1"});
    add(2, 5, 5, {"192.0.2.9"}); // of an adapter that is down
    system.adapters[1].OperStatus = IfOperStatusDown;
    add(3, 30, 25, {"fec0:0:0:ffff::1", "fe80::1%3", "192.0.2.2"});
    add(4, 25, 60, {"fe80::1%4", "192.0.2.4"});
    add(5, 0xFFFFFFFF, 0xFFFFFFFF, {"2001:db8::5", "192.0.2.4"});
    const auto servers = [](kvtip::family family) {
        std::string shown;
        for (const kvtip::dns_server& each : kvtip::dns_servers({.family = family, .usable = true})) {
            shown += each.address.to_string() + " " + each.adapter + ", ";
        }
        return shown;
    };
    EXPECT_EQ(servers(kvtip::family::none),
              "fe80::1%3 3, 192.0.2.2 3, fe80::1%4 4, 192.0.2.4 4, 192.0.2.1 1, 2001:db8::5 5, ");
    EXPECT_EQ(servers(kvtip::family::ipv4), "192.0.2.2 3, 192.0.2.4 4, 192.0.2.1 1, ");
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
