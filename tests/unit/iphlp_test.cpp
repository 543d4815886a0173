// Ping, neighbours, hardware addresses and connections.

#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

namespace {

using ip::hlpapi;
using ip::detail::the_helper;
using scripted::address;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

struct IpHelper : testing::Test {
    IpHelper() { EXPECT_EQ(lib.init(), 0u); }

    std::string ping(const char* to, unsigned short size = 32) {
        system.calls.clear();
        hlpapi::_SPingReply reply{address("::8"), 1, 2, 3};
        ip::saddr target = *to == '-' ? ip::saddr{} : socket_address(to, 99);
        target.scope_id = 5;
        return texts({hlpapi::ping(target, reply, 128, 900, size, 5, 1), reply.address, reply.round_trip_time,
                      reply.status, reply.ttl});
    }
    std::string calls() { return system.called(); }

    scripted::system system;
    ip::lib lib;
};

const std::string good4 = "0|192.0.2.9|7|0|64|", good6 = "0|fe80::5|7|0|0|", unchanged = "|::8|1|2|3|";

TEST_F(IpHelper, PingTakesAnAnswerWithTheDataSent) {
    system.give({});
    EXPECT_EQ(ping("1.2.3.4"), good4);
    EXPECT_EQ(calls(), "IcmpCreateFile IcmpSendEcho(1.2.3.4,32E/128/5/2,72,900) IcmpCloseHandle(1)");
    EXPECT_EQ(ping("-", 3), good4);
    EXPECT_EQ(system.called("IcmpSendEcho"), "(255.255.255.255,3E/128/5/2,48,900)");
    const std::pair<scripted::echo_answer, std::string> rows[] = {
        {{.size = 65535, .data_at = 0}, good4},
        {{.data_at = 68}, good4}, // past the end of the buffer
        {{.last = '?'}, "59" + unchanged},
        {{.size = 31, .last = '?'}, good4},
        {{.size = 1, .data_at = -1}, "59" + unchanged},
        {{.status = 11013, .size = 0, .data_at = -1}, "0|192.0.2.9|7|11013|64|"}};
    for (const auto& [answer, expected] : rows) {
        system.give(answer);
        EXPECT_EQ(ping("1.2.3.4"), expected) << answer.size << " bytes at " << answer.data_at;
    }
    EXPECT_EQ(ping("1.2.3.4", 0), "0|192.0.2.9|7|11013|64|");
    system.give6(0, std::string(32, 'E'));
    EXPECT_EQ(ping("::ffff:1.2.3.4"), good6);
    EXPECT_EQ(calls(), "Icmp6CreateFile Icmp6SendEcho2(::,::ffff:1.2.3.4@99%5,32E/128/5/2,84,900) "
                       "IcmpCloseHandle(1)");
    system.give6(13, std::string(31, 'E'));
    EXPECT_EQ(ping("::1") + ping("::1", 31) + ping("::1", 0),
              "59" + unchanged + "0|fe80::5|7|13|0|0|fe80::5|7|13|0|");
}

TEST_F(IpHelper, PingGoesTheOlderWayOnlyOn120AndTriesAgain) {
    system.give({});
    the_helper().iphlpapi.Icmp6SendEcho2 = nullptr;
    EXPECT_EQ(ping("::feff:1.2.3.4"), "120" + unchanged);
    EXPECT_EQ(ping("::ffff:1.2.3.4"), good4);
    EXPECT_EQ(system.called("IcmpSendEcho"), "(1.2.3.4,32E/128/5/2,72,900)");
    hlpapi::_SPingReply reply;
    const struct {
        unsigned long attempts, code;
        int made;
    } rows[] = {{.attempts = 0, .code = 87, .made = 0},
                {.attempts = 3, .code = 0, .made = 3},
                {.attempts = 2, .code = 11003, .made = 2}};
    for (const auto& row : rows) {
        system.calls.clear();
        system.answers["IcmpSendEcho"] = {11010, 11003};
        EXPECT_EQ(hlpapi::ping(socket_address("1.2.3.4"), row.attempts, reply), row.code);
        EXPECT_EQ(system.count("IcmpSendEcho(1.2.3.4,32E/255/0/0,72,5000)"), row.made) << row.attempts;
    }
}

TEST_F(IpHelper, ListsNeighboursFromTheTableOfTheFamily) {
    const auto list = [this](unsigned short family, std::map<std::string, std::deque<DWORD>> codes = {}) {
        std::vector<hlpapi::_SIpNetRow> rows(3);
        system.calls.clear();
        system.answers = std::move(codes);
        std::string result = text(hlpapi::getipnettable(rows, family));
        for (const auto& row : rows) {
            result += " " + texts({row.interface_index, row.state, row.interface_type, row.address,
                                   row.mac.length, row.mac.bytes[7], row.mac.bytes[8]});
        }
        return result + system.called("GetIpNetTable");
    };
    ip::saddr link = socket_address("fe80::1");
    link.scope_id = 8;
    for (const DWORD length : {9u, 32u, 33u, 257u}) {
        system.older_neighbours.push_back(
            {7, length, {9, 9, 9, 9, 9, 9, 9, 9}, 0x010200C0, MIB_IPNET_TYPE_INVALID});
        MIB_IPNET_ROW2& row = system.neighbours.emplace_back();
        row.InterfaceIndex = 8;
        row.InterfaceLuid.Value = 6ULL << 48 | 99;
        row.State = NlnsReachable;
        row.PhysicalAddressLength = length;
        std::memset(row.PhysicalAddress, 9, sizeof row.PhysicalAddress);
        std::memcpy(&row.Address, &link, sizeof link);
    }
    const std::string each4 = " 7|7|1|192.0.2.1|", each6 = " 8|5|6|fe80::1%8|";
    const std::string four = "0" + each4 + "9|9|0|" + each4 + "32|9|0|" + each4 + "0|0|0|" + each4 + "1|0|0|";
    EXPECT_EQ(list(2), four + "(4096,0)");
    EXPECT_EQ(list(0), "0" + each6 + "9|9|9|" + each6 + "32|9|9|" + each6 + "0|0|0|" + each6 + "1|0|0|2(0)");
    EXPECT_EQ(list(99, {{"GetIpNetTable2", {87}}}), "872(99)");
    EXPECT_EQ(list(2, {{"GetIpNetTable", {122}}}), four + "(4096,0) (100,0)");
    EXPECT_EQ(list(2, {{"GetIpNetTable", {122, 122}}}), "122(4096,0) (100,0)");
    system.more_rows = 1000;
    const std::string many = list(2);
    EXPECT_EQ(std::count(many.begin(), many.end(), ' '), (4096 - 4) / 24);
    system.more_rows = 0;
    the_helper().iphlpapi.FreeMibTable = nullptr;
    EXPECT_EQ(list(99), four + "(4096,0)");
    EXPECT_EQ(list(23), "0");
}

TEST_F(IpHelper, AsksNeighboursForTheirHardwareAddress) {
    std::memset(system.resolved.PhysicalAddress, 1, 32);
    const ip::addr v4 = address("1.2.3.4"), v6 = address("::5.6.7.8"), none, to4 = address("9.8.7.6"),
                   to6 = address("9::");
    const std::string arp = "SendARP(9.8.7.6,", resolve = "ResolveIpNetEntry2(9::,";
    const struct {
        const ip::addr &target, *source;
        ULONG length;
        std::string expected; ///< code, length, two bytes, and the call
        DWORD code = 0;
    } rows[] = {{to4, nullptr, 32, "0|32|1|1|" + arp + "0.0.0.0,32)|"},
                {to4, &v4, 257, "0|1|1|0|" + arp + "1.2.3.4,32)|"},
                {to4, &v6, 33, "0|0|5|0|" + arp + "5.6.7.8,32)|"},
                {to4, &none, 6, "0|6|1|0|" + arp + "255.255.255.255,32)|"},
                {to4, &v4, 6, "67|9|5|0|" + arp + "1.2.3.4,32)|", 67},
                {to6, nullptr, 32, "0|32|1|1|" + resolve + "none,0)|"},
                {to6, &v4, 257, "0|1|1|0|" + resolve + "1.2.3.4,0)|"},
                {to6, &v6, 33, "0|0|5|0|" + resolve + "::506:708,0)|"},
                {to6, &none, 6, "67|9|5|0|" + resolve + "-,0)|", 67},
                {none, &v4, 6, "87|0|5|0||"}};
    for (const auto& row : rows) {
        ip::macaddr mac{{5}, 9};
        system.calls.clear();
        system.resolved.PhysicalAddressLength = row.length;
        system.answers = {{"SendARP", {row.code}}, {"ResolveIpNetEntry2", {row.code}}};
        EXPECT_EQ(
            texts({mac.from_addr(row.target, row.source), mac.length, mac.bytes[0], mac.bytes[31], calls()}),
            row.expected);
    }
    ip::macaddr mac{{5}, 9};
    the_helper().iphlpapi.ResolveIpNetEntry2 = nullptr;
    EXPECT_EQ(texts({mac.from_addr(to6, nullptr), mac.length}), "87|0|");
    system.answers["SendARP"] = {67};
    for (const char* expected : {"67|0|0|SendARP(9.8.7.6,1.2.3.4,6)|", "0|6|1|SendARP(9.8.7.6,1.2.3.4,6)|"}) {
        system.calls.clear();
        EXPECT_EQ(texts({hlpapi::sendARP({2, 7, {1, 2, 3, 4}}, {2, 7, {9, 8, 7, 6}}, mac), mac.length,
                         mac.bytes[5], calls()}),
                  expected);
    }
}

struct Connections : IpHelper {
    Connections() {
        constexpr DWORD own = 0x0A0200C0, peer = 0x090200C0;
        system.tcp4 = {{2, 0, 0x5000, 7, 0x800, 41},
                       {5, own, 0xABCD5000, peer, 0xABCD0100, 42},
                       {8, own, 0x5100, peer, 0x200, 43}};
        system.tcp6 = {{{32, 1, 13, 184}, 9, 0xABCD0300, {254, 128}, 9, 0x400, 5, 61}};
        system.udp4 = {{own, 0xABCD3500, 45}};
        system.udp6 = {{{254, 128}, 9, 0xABCD3600, 65}};
        system.active = {{5, 0x80}, {8, 0}}; // any value but 0 is true
    }
    /// Code and owners, or with `all` everything.
    std::string list(unsigned long protocol, unsigned short family, unsigned long state, bool all = false) {
        std::vector<hlpapi::_SIpConnection> found(3);
        system.calls.clear();
        std::string result = text(hlpapi::getConnections(found, protocol, family, state));
        for (const auto& one : found) {
            result += " " +
                      (all ? texts({one.state, one.protocol, one.direction, one.local, one.remote}) : "") +
                      text(one.pid);
        }
        return result;
    }
};

TEST_F(Connections, AreListedWithDirectionAndOwner) {
    const std::string found = "0 2|6|0|0.0.0.0@80|7.0.0.0@8|41 5|6|2|192.0.2.10@80|192.0.2.9@1|42 "
                              "8|6|1|192.0.2.10@81|192.0.2.9@2|43 5|6|0|2001:db8::@3|fe80::@4|61 "
                              "0|17|0|192.0.2.10@53|0.0.0.0|45 0|17|0|fe80::@54|::|65";
    EXPECT_EQ(list(0, 0, 0, true), found);
    EXPECT_EQ(calls(), "TCP(2,1024,1,5,0) EStats(20480,2048,0,0,12) EStats(2882359296,2882339072,0,0,12) "
                       "EStats(20736,512,0,0,12) TCP(23,1024,1,5,0) EStats6(33022,5,0,0,12) "
                       "UDP(2,1024,1,1,0) UDP(23,1024,1,1,0)");
    EXPECT_EQ(list(6, 2, 8), "0 43");
    EXPECT_EQ(system.called("EStats"), "(20736,512,0,0,12)"); // for no row that is left out
    system.active[0xB80D0120] = 1; // what a system would have to take the IPv6 row for
    EXPECT_EQ(list(6, 23, 0, true), "0 5|6|2|2001:db8::@3|fe80::@4|61");
    the_helper().iphlpapi.GetPerTcpConnectionEStats = nullptr; // asked for IPv6 too
    EXPECT_EQ(list(6, 0, 5, true), "0 5|6|0|192.0.2.10@80|192.0.2.9@1|42 5|6|0|2001:db8::@3|fe80::@4|61");
}

TEST_F(Connections, AreThoseAskedForUpToTheFirstFailure) {
    const struct {
        unsigned long protocol;
        unsigned short family;
        unsigned long state;
        std::string expected;
        std::pair<std::string, std::deque<DWORD>> answers = {};
    } rows[] = {{0, 2, 0, "0 41 42 43 45"},
                {0, 23, 0, "0 61 65"},
                {17, 0, 0, "0 45 65"},
                {0, 0, 5, "0 42 61"},
                {17, 0, 5, "0"},
                {0, 17, 0, "0"},
                {0, 0, 0, "5", {"TCP", {5}}},
                {0, 0, 0, "5 41 42 43", {"TCP", {0, 5}}},
                {0, 0, 0, "5 41 42 43 61", {"UDP", {5}}},
                {0, 0, 0, "5 41 42 43 61 45", {"UDP", {0, 5}}}};
    for (const auto& row : rows) {
        system.answers = {row.answers};
        EXPECT_EQ(list(row.protocol, row.family, row.state), row.expected)
            << "protocol " << row.protocol << ", family " << row.family << ", state " << row.state;
    }
    system.wanted = {5000, 5001, 100, 5002};
    EXPECT_EQ(list(17, 2, 0), "0 45");
    EXPECT_EQ(calls(), "UDP(2,1024,1,1,0) UDP(2,5000,1,1,0) UDP(2,5001,1,1,0) UDP(2,5001,1,1,0) "
                       "UDP(2,5002,1,1,0)");
    system.more_rows = 1000;
    for (const auto& [protocol, size] : {std::pair{6, 24}, {17, 12}}) {
        const std::string many = list(static_cast<unsigned long>(protocol), 2, 0);
        EXPECT_EQ(std::count(many.begin(), many.end(), ' '), (1024 - 4) / size);
    }
    the_helper().iphlpapi.GetExtendedTcpTable = nullptr;
    the_helper().iphlpapi.GetExtendedUdpTable = nullptr;
    EXPECT_EQ(list(0, 0, 0) + " " + list(17, 23, 0), "1627 1627");
}

TEST_F(Connections, OwnerIsFoundByTheTwoAddresses) {
    const struct {
        unsigned long protocol;
        const char *local, *remote;
        std::string expected;
    } rows[] = {{6, "192.0.2.10", "192.0.2.9", "0 42"},
                {0, "192.0.2.9", "192.0.2.10", "2 7"},
                {0, "192.0.2.10", "0.0.0.0", "0 45"},
                {0, "2001:db8::", "fe80::", "0 61"},
                {17, "fe80::", "::", "0 65"},
                {17, "fe80::", "0.0.0.0", "2 7"},
                {0, "-", "-", "2 7"},
                {1, "fe80::", "::", "2 7"}};
    for (const auto& [protocol, local, remote, expected] : rows) {
        const auto of = [](const char* name) {
            return *name == '-' ? ip::saddr{} : socket_address(name, 99);
        };
        unsigned long pid = 7;
        const std::string code = text(hlpapi::findPid(protocol, of(local), of(remote), pid));
        EXPECT_EQ(code + " " + text(pid), expected) << local << ", " << remote;
    }
    EXPECT_EQ(system.called("EStats"), ""); // the direction does not matter here
}

} // namespace
