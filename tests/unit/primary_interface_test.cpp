// How this host reaches the network, by the C interface.

#include "kvtip/primary.hpp"
#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

namespace {

using scripted::address_of;
using scripted::route_row;
using scripted::text;
using scripted::texts;

struct Primary : testing::Test {
    Primary() {
        system.adapters = {full_adapter(system), loopback_adapter(system),
                           plain_adapter(system, 3, "{C}", IF_TYPE_PROP_VIRTUAL, {{"198.51.100.3", 24, 9}})};
        system.adapters[2].Ipv4Metric = 10;
        system.interfaces.resize(1);
        system.interfaces[0].InterfaceIndex = 7;
        system.interfaces[0].InterfaceAndOperStatusFlags.HardwareInterface = 1;
        system.routes = {route_row("::", 0, "fe80::1"), route_row("0.0.0.0", 0, "192.0.2.1", 5),
                         route_row("198.51.100.0", 24, "0.0.0.0", 0)};
    }

    /// A default route of IPv4.
    static MIB_IPFORWARD_ROW2 by(const char* next_hop, DWORD index, ULONG metric) {
        MIB_IPFORWARD_ROW2 row = route_row("0.0.0.0", 0, next_hop, metric);
        row.InterfaceIndex = index;
        return row;
    }

    /// The code, or all that is found, and the calls for routes.
    std::string to(const char* destination = nullptr) {
        const kvtip_address address = address_of(destination == nullptr ? "::" : destination);
        const auto show = [](const kvtip_primary_adapter& row) {
            return texts({row.interface_index, row.adapter, row.guid, row.type, row.kind, row.physical,
                          row.metric, row.address, row.prefix_length, row.next_hop,
                          std::vector(row.dns_servers, row.dns_servers + row.dns_server_count)});
        };
        system.calls.clear();
        const std::string result =
            scripted::result_of(show, kvtip_primary, destination == nullptr ? nullptr : &address);
        return result + system.called("GetIpForwardTable") + system.called("GetBest");
    }

    /// The adapters that are primary.
    static std::string primaries(const kvtip::adapter_options& options) {
        std::string found;
        for (const kvtip::adapter& each : kvtip::adapters(options)) {
            found += each.primary ? each.guid : "";
        }
        return found;
    }

    scripted::system system;
};

TEST_F(Primary, IsTheAdapterOfTheBestDefaultRoute) {
    const std::string device = "7|a friendly name|{A}|6|1|1|", servers = "2001:db8::53,192.0.2.53|",
                      ipv4 = "0 " + device + "30|192.0.2.10|24|192.0.2.1|" + servers + "2(2)",
                      other = "0 3|a friendly name|{C}|53|8|2|11|198.51.100.3|24|198.51.100.1||2(2)",
                      ipv6 = "0 " + device + "35|2001:db8::10|64|fe80::1%7|" + servers + "2(2) 2(23)";
    EXPECT_EQ(to(), ipv4);
    EXPECT_EQ(primaries({.details = true}) + primaries({.family = kvtip::family::ipv6, .details = true}) +
                  primaries({.up = true}),
              "{A}{A}");
    system.routes.push_back(by("198.51.100.1", 99, 0)); // of no adapter
    system.routes.push_back(by("198.51.100.1", 3, 1));
    EXPECT_EQ(to(), other);
    // The better one counts, whichever are listed.
    EXPECT_EQ(primaries({.details = true}) + primaries({.family = kvtip::family::ipv6, .details = true}),
              "{C}{C}");
    system.adapters[2].OperStatus = IfOperStatusDown;
    EXPECT_EQ(to(), ipv4);
    system.routes.erase(system.routes.begin() + 1);
    EXPECT_EQ(to(), ipv6);
    system.routes.erase(system.routes.begin());
    EXPECT_EQ(to(), "100512(2) 2(23)");
    EXPECT_EQ(primaries({.details = true}), "");
}

TEST_F(Primary, NeedsTheRoutes) {
    MIB_IPFORWARDROW older{};
    older.dwForwardNextHop = 0x010200C0;
    older.dwForwardIfIndex = 7;
    older.dwForwardType = MIB_IPROUTE_TYPE_INDIRECT;
    older.dwForwardMetric1 = 31;
    system.older_routes = {older};
    const std::string found =
        "0 7|a friendly name|{A}|6|1|1|31|192.0.2.10|24|192.0.2.1|2001:db8::53,192.0.2.53|";
    const struct {
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        const std::string expected;
        kvtip::missing lacking;
    } rows[] = {{{"GetIpForwardTable2"}, {}, found + "(1024,0)", kvtip::missing::nothing},
                {{"GetIpForwardTable2", "GetIpForwardTable"}, {}, "120", kvtip::missing::routes},
                {{}, {{"GetIpForwardTable2", {5, 5}}}, "52(2)", kvtip::missing::routes},
                {{},
                 {{"GetIpForwardTable2(2)", {1168, 1168}}, {"GetIpForwardTable2(23)", {5, 5}}},
                 "52(2) 2(23)",
                 kvtip::missing::routes},
                {{}, {{"GetIfTable2", {8, 0}}}, "8", kvtip::missing::nothing},
                {{}, {{"GetIpForwardTable2", {8, 0}}}, "82(2)", kvtip::missing::nothing},
                {{}, {{"GetAdaptersAddresses", {8, 0}}}, "8", kvtip::missing::nothing}};
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(to(), row.expected);
        EXPECT_EQ(kvtip::adapters({.details = true}).missing, row.lacking) << row.expected;
    }
}

TEST_F(Primary, HasTheBestAddressOfTheAdapter) {
    using address = std::pair<const char*, int>; ///< and its state
    const struct {
        std::vector<address> addresses;
        const char* expected;
    } rows[] = {{{}, "-/255"},
                {{{"2001:db8::1", 4}}, "-/255"},
                {{{"203.0.113.1", 4}, {"203.0.113.2", 4}}, "203.0.113.1/24"},
                {{{"203.0.113.1", 4}, {"192.0.2.2", 4}}, "192.0.2.2/24"},
                {{{"192.0.2.1", 3}, {"203.0.113.2", 4}}, "203.0.113.2/24"},
                {{{"192.0.2.1", 2}, {"169.254.1.1", 4}, {"203.0.113.2", 1}}, "169.254.1.1/24"},
                {{{"169.254.1.1", 4}, {"203.0.113.2", 5}}, "203.0.113.2/24"}};
    for (const auto& row : rows) {
        std::vector<scripted::unicast> addresses;
        for (const address& each : row.addresses) {
            addresses.emplace_back(each.first, UINT8{24}, 9);
        }
        system.adapters[0].FirstUnicastAddress =
            plain_adapter(system, 7, "{A}", 6, addresses).FirstUnicastAddress;
        auto* node = system.adapters[0].FirstUnicastAddress;
        for (const address& each : row.addresses) {
            std::memcpy(&node->DadState, &each.second, sizeof each.second);
            node = node->Next;
        }
        const kvtip::primary_adapter found = kvtip::primary();
        EXPECT_EQ(text(found.address.native()) + "/" + text(found.prefix_length), row.expected);
    }
}

TEST_F(Primary, IsTheAdapterOfTheRouteToADestination) {
    EXPECT_EQ(to("203.0.113.9"), "0 7|a friendly name|{A}|6|1|1|30|192.0.2.10|24|192.0.2.1|"
                                 "2001:db8::53,192.0.2.53|2(2)Route2(0,203.0.113.9,0)");
    system.best_index = 99;
    system.route.source = scripted::socket_address("192.0.2.77");
    EXPECT_EQ(to("203.0.113.9"),
              "0 99|||0|0|2|4294967295|192.0.2.77|255|192.0.2.1||2(2)Route2(0,203.0.113.9,0)");
    system.answers["GetBestRoute2"] = {1231};
    EXPECT_EQ(to("203.0.113.9"), "10051Route2(0,203.0.113.9,0)");
    std::error_code error;
    EXPECT_EQ(kvtip::primary(*kvtip::address::parse("203.0.113.9"), error).interface_index, 99u);
    system.routes.clear();
    EXPECT_FALSE(kvtip::primary({}, error).physical);
    EXPECT_EQ(error.value(), WSAENETUNREACH);
}

} // namespace
