// Routes of the C interface.

#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

namespace {

using scripted::result_of;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

/// An address of the C interface; none for "-".
kvtip_address address(const char* of, std::uint32_t scope = 0) {
    ip::saddr parsed = *of == '-' ? ip::saddr{} : socket_address(of);
    parsed.scope_id = scope;
    return kvtip::library::to_address(parsed);
}

struct Routes : testing::Test {
    Routes() {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.peers = {{"203.0.113.9", 0}, {"192.0.2.10", 0}};
    }

    /// The code, or all that the route holds, and the calls that looked for it.
    std::string to(const kvtip_address& destination, std::uint32_t index = 0) {
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
    const kvtip_address ipv4 = address("203.0.113.9"), ipv6 = address("2001:db8:9::9");
    EXPECT_EQ(to(ipv4),
              "0 7|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|30| Route2(0,203.0.113.9,0)");
    EXPECT_EQ(to(ipv4, 1),
              "0 1|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|5| Route2(1,203.0.113.9,0)");
    EXPECT_EQ(to(ipv4, 99), "0 99||192.0.2.0|24|192.0.2.10|192.0.2.1|0|4294967295| Route2(99,203.0.113.9,0)");
    ip::saddr router = socket_address("fe80::1"), source = socket_address("fe80::10");
    router.scope_id = source.scope_id = 7;
    system.route = {socket_address("2001:db8:ffff:ffff::"), 33, 0xFFFFFFFF, 4, source};
    system.next_hop = router;
    EXPECT_EQ(to(ipv6), "0 7|a friendly name|2001:db8:8000::|33|fe80::10%7|fe80::1%7|0|4294967295| "
                        "Route2(0,2001:db8:9::9,0)");
    EXPECT_TRUE(to(address("fe80::9", 7)).ends_with("Route2(7,fe80::9%7,0)"));
    EXPECT_TRUE(to(address("fe80::9", 7), 3).ends_with("Route2(3,fe80::9%7,0)"));
    system.next_hop = socket_address("::");
    system.route.prefix_length = 129;
    EXPECT_EQ(to(ipv6), "0 7|a friendly name|-|0|fe80::10%7|-|1|4294967295| Route2(0,2001:db8:9::9,0)");
}

TEST_F(Routes, ComeFromTheOlderCallWithoutTheNewer) {
    const std::string newer = " Route2(0,203.0.113.9,0)", older = " Route(203.0.113.9,0.0.0.0)";
    const std::string found = "0 7|a friendly name|192.0.2.0|24|192.0.2.10|192.0.2.1|0|5|";
    const struct {
        const char* to;
        std::uint32_t index;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {{"203.0.113.9", 0, {"GetBestRoute2"}, {}, found + older},
                {"203.0.113.9", 0, {}, {{"GetBestRoute2", {50}}}, found + newer + older},
                {"203.0.113.9", 0, {}, {{"GetBestRoute2", {1231}}}, "10051" + newer},
                {"203.0.113.9", 0, {}, {{"GetBestRoute2", {87}}}, "87" + newer},
                {"203.0.113.9", 0, {"GetBestRoute2"}, {{"GetBestRoute", {1231}}}, "10051" + older},
                {"203.0.113.9", 7, {"GetBestRoute2"}, {}, "120 "},
                {"2001:db8::9", 0, {"GetBestRoute2"}, {}, "120 "},
                {"2001:db8::9", 0, {}, {{"GetBestRoute2", {50}}}, "120 Route2(0,2001:db8::9,0)"},
                // The host itself: the older call may name any route.
                {"192.0.2.10",
                 0,
                 {"GetBestRoute2"},
                 {},
                 "0 7|a friendly name|192.0.2.10|32|192.0.2.10|-|1|5|"
                 " Route(192.0.2.10,0.0.0.0)"},
                {"203.0.113.9", 0, {}, {{"GetAdaptersAddresses", {8}}}, "8" + newer},
                {"203.0.113.9",
                 0,
                 {"GetBestRoute2"},
                 {{"connect", {10065}}},
                 "0 7|a friendly name|192.0.2.0|24|-|192.0.2.1|0|5|" + older},
                {"203.0.113.9",
                 0,
                 {"GetBestRoute2"},
                 {{"getsockname", {10022}}},
                 "0 7|a friendly name|192.0.2.0|24|-|192.0.2.1|0|5|" + older},
                {"203.0.113.9",
                 0,
                 {"GetBestRoute2"},
                 {{"WSASocketW", {10050}}},
                 "0 7|a friendly name|192.0.2.0|24|-|192.0.2.1|0|5|" + older},
                {"-", 0, {}, {}, "87 "}};
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(to(address(row.to), row.index), row.expected);
    }
    system.missing = {"GetBestRoute2"};
    system.route.type = MIB_IPROUTE_TYPE_DIRECT; // the next hop is then the host itself
    system.route.prefix_length = 32;
    EXPECT_EQ(to(address("203.0.113.9")), "0 7|a friendly name|192.0.2.0|32|192.0.2.10|-|1|5|" + older);
    system.route.type = MIB_IPROUTE_TYPE_INDIRECT;
    system.next_hop = socket_address("192.0.2.10");
    EXPECT_EQ(to(address("203.0.113.9")), "0 7|a friendly name|192.0.2.0|32|192.0.2.10|-|1|5|" + older);
}

} // namespace
