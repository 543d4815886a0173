// Routes of the C interface.

#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

namespace {

using scripted::address_of;
using scripted::result_of;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

struct Routes : testing::Test {
    Routes() {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.peers = {{"203.0.113.9", 0}, {"192.0.2.10", 0}};
    }

    /// The code, or all that the route holds, and the calls that looked for it.
    std::string to(const char* text, std::uint32_t index = 0) {
        const kvtip_address destination = address_of(text);
        system.calls.clear();
        const std::string result = result_of(
            [](const kvtip_route& route) {
                return texts({route.interface_index, route.adapter, route.network.address,
                              route.network.prefix_length, route.source, route.next_hop, route.on_link,
                              route.metric});
            },
            kvtip_route_to, &destination, index);
        return result + " " + system.called("GetBest");
    }

    scripted::system system;
};

TEST_F(Routes, AreTheOnesOfTheSystem) {
    const char *ipv4 = "203.0.113.9", *ipv6 = "2001:db8:9::9";
    EXPECT_EQ(to(ipv4),
              "0 7|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|30| Route2(0,203.0.113.9,0)");
    EXPECT_EQ(to(ipv4, 1),
              "0 1|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|5| Route2(1,203.0.113.9,0)");
    EXPECT_EQ(to(ipv4, 99), "0 99||192.0.2.0|24|192.0.2.10|192.0.2.1|0|4294967295| Route2(99,203.0.113.9,0)");
    const ip::saddr source = kvtip::library::to_saddr(address_of("fe80::10%7"));
    system.route = {socket_address("2001:db8:ffff:ffff::"), 33, 0xFFFFFFFF, 4, source};
    system.next_hop = kvtip::library::to_saddr(address_of("fe80::1%7"));
    EXPECT_EQ(to(ipv6), "0 7|a friendly name|2001:db8:8000::|33|fe80::10%7|fe80::1%7|0|4294967295| "
                        "Route2(0,2001:db8:9::9,0)");
    EXPECT_TRUE(to("fe80::9%7").ends_with("Route2(7,fe80::9%7,0)"));
    EXPECT_TRUE(to("fe80::9%7", 3).ends_with("Route2(3,fe80::9%7,0)"));
    system.next_hop = socket_address("::");
    system.route.prefix_length = 129;
    EXPECT_EQ(to(ipv6), "0 7|a friendly name|-|0|fe80::10%7|-|1|4294967295| Route2(0,2001:db8:9::9,0)");
}

TEST_F(Routes, ComeFromTheOlderCallWithoutTheNewer) {
    const std::string newer = " Route2(0,203.0.113.9,0)", older = " Route(203.0.113.9,0.0.0.0)",
                      found = "0 7|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|5|",
                      direct = "0 7|a friendly name|192.0.2.0|32|192.0.2.10|-|1|5|";
    const struct {
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {{{"GetBestRoute2"}, {}, found + older},
                {{}, {{"GetBestRoute2", {50}}}, found + newer + older},
                {{}, {{"GetBestRoute2", {1231}}}, "10051" + newer},
                {{}, {{"GetBestRoute2", {87}}}, "87" + newer},
                {{"GetBestRoute2"}, {{"GetBestRoute", {1231}}}, "10051" + older},
                {{}, {{"GetAdaptersAddresses", {8}}}, "8" + newer}};
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(to("203.0.113.9"), row.expected);
    }
    system.answers["GetBestRoute2"] = {50};
    EXPECT_EQ(to("2001:db8::9"), "120 Route2(0,2001:db8::9,0)");
    system.missing = {"GetBestRoute2"};
    EXPECT_EQ(to("2001:db8::9"), "120 ");
    EXPECT_EQ(to("203.0.113.9", 7), "120 ");
    EXPECT_EQ(to("192.0.2.10"),
              "0 7|a friendly name|192.0.2.10|32|192.0.2.10|-|1|5| Route(192.0.2.10,0.0.0.0)")
        << "the older call may name any route for the host itself";
    system.route.type = MIB_IPROUTE_TYPE_DIRECT; // the next hop is then the host itself
    system.route.prefix_length = 32;
    EXPECT_EQ(to("203.0.113.9"), direct + older);
    system.route.type = MIB_IPROUTE_TYPE_INDIRECT;
    system.next_hop = socket_address("192.0.2.10");
    EXPECT_EQ(to("203.0.113.9"), direct + older);
}

struct RouteTable : testing::Test {
    RouteTable() {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.routes = {scripted::route_row("::", 0, "fe80::1"),
                         scripted::route_row("0.0.0.0", 0, "192.0.2.1", 5),
                         scripted::route_row("192.0.2.0", 24, "0.0.0.0", 256, 2),
                         scripted::route_row("2001:db8::", 129, "::", 0xFFFFFFF0, 77)};
        system.routes[2].InterfaceIndex = 99;
        MIB_IPFORWARDROW row{0, 0, 0, 0x010200C0, 7, 4, 3, 0, 0, 31, 0, 0, 0, 0};
        system.older_routes = {row};
        row = {0x000200C0, 0x00FFFFFF, 0, 0x0A0200C0, 99, 3, 2, 0, 0, 9, 0, 0, 0, 0};
        system.older_routes.push_back(row);
    }

    /// The code and rows, and the calls.
    std::string list(std::uint32_t family, std::uint32_t interface_index = 0) {
        const kvtip_route_options options{sizeof options, family, interface_index};
        system.calls.clear();
        const std::string result = result_of(
            [](const kvtip_route_entry& row) {
                return texts({row.network.address, row.network.prefix_length, row.next_hop, row.on_link,
                              row.interface_index, row.adapter, row.metric, row.protocol});
            },
            kvtip_routes, &options);
        return result + " " + system.called("GetIpForwardTable");
    }

    scripted::system system;
};

TEST_F(RouteTable, IsTheOneThatThereIs) {
    const std::string router = " 0.0.0.0|0|192.0.2.1|0|7|a friendly name|30|3|",
                      link = " 192.0.2.0|24|-|1|99||4294967295|2|",
                      ipv6 = " ::|0|fe80::1%7|0|7|a friendly name|35|3|"
                             " -|0|-|1|7|a friendly name|4294967295|77|",
                      older = " 0.0.0.0|0|192.0.2.1|0|7|a friendly name|31|3| 192.0.2.0|24|-|1|99||9|2|";
    const struct {
        std::uint32_t family, index;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {
        {0, 0, {}, {}, "0" + router + link + ipv6 + " 2(2) 2(23)"},
        {4, 99, {}, {}, "0" + link + " 2(2)"},
        {6, 99, {}, {}, "0 2(23)"},
        {6, 0, {}, {{"GetIpForwardTable2", {1168}}}, "0 2(23)"},
        {0, 0, {}, {{"GetIpForwardTable2(23)", {50}}}, "0 missing 2" + router + link + " 2(2) 2(23)"},
        {0, 0, {}, {{"GetIpForwardTable2", {50}}}, "0" + older + ipv6 + " 2(2) (1024,0) 2(23)"},
        {4, 0, {}, {{"GetIpForwardTable2", {50}}, {"GetIpForwardTable", {50}}}, "0 missing 1 2(2) (1024,0)"},
        {4, 0, {}, {{"GetIpForwardTable2", {50}}, {"GetIpForwardTable", {232}}}, "0 2(2) (1024,0)"},
        {0, 0, {}, {{"GetIpForwardTable2", {5}}}, "5 2(2)"},
        {6, 0, {}, {{"GetIpForwardTable2", {5}}}, "5 2(23)"},
        {0, 0, {}, {{"GetAdaptersAddresses", {8}}}, "8 2(2) 2(23)"},
        {0, 0, {"GetIpForwardTable2"}, {}, "0 missing 2" + older + " (1024,0)"},
        {4, 7, {"FreeMibTable"}, {}, "0" + older.substr(0, older.rfind(' ')) + " (1024,0)"},
        {0, 0, {"GetIpForwardTable2", "GetIpForwardTable"}, {}, "120 "},
        {6, 0, {"GetIpForwardTable2", "GetIpForwardTable"}, {}, "0 missing 2 "},
        {5, 0, {}, {}, "87 "},
    };
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(list(row.family, row.index), row.expected);
    }
    system.answers = {{"GetIpForwardTable2", {50}}};
    system.wanted = {2048};
    system.more_rows = 100;
    EXPECT_TRUE(list(4).ends_with(" 2(2) (1024,0) (2048,0)")) << "the table has grown, and counts too many";
}

} // namespace
