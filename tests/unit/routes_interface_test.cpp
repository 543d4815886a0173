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

} // namespace
