// DNS look-ups, ping, neighbours and connections.

#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <icmpapi.h>
#include <random>
#include <regex>
#include <windns.h>

namespace {

using ip::hlpapi;
using ip::detail::the_helper;
using scripted::address;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

TEST(DnsBinding, CountsLoadsEvenThoseThatFail) {
    // a, b: initialise one handle or the other; A, B: free it; ?: look up. Before one of these, -: an entry
    // is missing; /: the library; !: for no reason; *: it cannot be freed. The last number is the count.
    const std::pair<std::string_view, std::string> rows[] = {{"?a?aA?A", "120 0 0 0 0 0 0 1"},
                                                             {"ab?A?B?", "0 0 0 0 0 0 120 0"},
                                                             {"-a?Ab?B?", "127 120 0 0 120 0 120 1"},
                                                             {"!ab?", "127 0 120 2"},
                                                             {"/ab?", "126 0 120 2"},
                                                             {"a*A?a?", "0 5 120 0 0 1"}};
    for (const auto& [steps, expected] : rows) {
        scripted::system system;
        system.dns["1 n"] = system.dns["28 n"] = {{DNS_TYPE_CNAME}};
        ip::dnsapi one, two;
        std::vector<ip::addr> found;
        std::string seen;
        for (const char step : steps) {
            if (step == '-' || step == '/') {
                system.missing = {step == '-' ? "DnsQuery_W" : "Dnsapi.dll"};
            } else if (step == '!' || step == '*') {
                system.answers[step == '!' ? "LoadLibraryW(Dnsapi.dll)" : "FreeLibrary(Dnsapi.dll)"] = {
                    step == '!' ? system.no_reason : 5};
            } else {
                ip::dnsapi& handle = step == 'a' || step == 'A' ? one : two;
                const bool starts = step == 'a' || step == 'b';
                seen += text(step == '?' ? ip::dnsapi::addresses_from_name("n", found)
                             : starts    ? handle.init()
                                         : handle.free()) +
                        " ";
                system.missing = {};
            }
        }
        EXPECT_EQ(seen + text(the_helper().dnsapi.load_count), expected) << steps;
    }
}

template <class Char>
struct Dns : testing::Test {
    Dns() { EXPECT_EQ(dns.init(), 0u); }
    std::basic_string<Char> name(std::string_view of) { return {of.begin(), of.end()}; }
    /// The code, the output and the calls, without "Dns" and their width, when the queries give these codes.
    template <class Output, class Operation>
    std::string ask(const std::deque<DWORD>& codes, Output& output, Operation operation) {
        const std::string width = sizeof(Char) == 1 ? "_A" : "_W";
        system.answers = {{"DnsQuery" + width, codes}};
        system.calls.clear();
        return texts({operation(), output, std::regex_replace(system.called("Dns"), std::regex(width), "")});
    }
    scripted::system system;
    ip::dnsapi dns;
};
using widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Dns, widths, );

TYPED_TEST(Dns, GiveTheAddressesInTheAnswerSection) {
    constexpr WORD a = DNS_TYPE_A, aaaa = DNS_TYPE_AAAA, alias = DNS_TYPE_CNAME, option = DNS_TYPE_OPT;
    this->system.dns = {{"1 n", {{alias, "x"}, {a, "1.2.3.4"}, {a, "9.9.9.9", 0}, {a, "1.2.3.4"}, {option}}},
                        {"28 n", {{aaaa, "9::", 2}, {aaaa, "::5"}, {aaaa, "9::", 3}, {a, "5.6.7.8"}}}};
    const std::string four = "Query(n,1,7) RecordListFree(1)", six = "Query(n,28,7) RecordListFree(1)",
                      all4 = "1.2.3.4,1.2.3.4", all6 = "::5,5.6.7.8", both = "|" + four + " " + six + "|";
    const std::tuple<unsigned short, std::deque<DWORD>, std::string> rows[] = {
        {2, {}, "0|" + all4 + "|" + four + "|"},   {23, {}, "0|" + all6 + "|" + six + "|"},
        {17, {}, "0|" + all4 + "," + all6 + both}, {0, {9003}, "9003|" + all6 + both},
        {0, {0, 9501}, "0|" + all4 + both},        {0, {9501, 9002}, "9002|" + both},
        {0, {9002, 9501}, "9002|" + both},         {0, {9002, 9003}, "9003|" + both}};
    for (const auto& [family, codes, expected] : rows) {
        std::vector<ip::addr> found(3);
        EXPECT_EQ(this->ask(codes, found,
                            [&, of = family] {
                                return ip::dnsapi::addresses_from_name(this->name("n").c_str(), found, of, 7);
                            }),
                  expected);
    }
}

TYPED_TEST(Dns, AppendTheNamesOfAnAddress) {
    std::string zeros = "0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.", end = "ip6.arpa";
    const std::string local = "1.0.0.127.IN-ADDR.ARPA", one = "1.0.0.0.0.0.0.0." + zeros + end;
    constexpr WORD ptr = DNS_TYPE_PTR;
    this->system.dns = {{"12 " + local, {{ptr, "a"}, {DNS_TYPE_CNAME, "x"}, {ptr}, {ptr, "b", 3}}},
                        {"12 " + one, {{ptr, "c"}}}};
    const std::tuple<ip::addr, std::deque<DWORD>, std::string> rows[] = {
        {address("127.0.0.1"), {}, "0|kept,a,b|Query(" + local + ",12,7) RecordListFree(1)|"},
        {address("127.0.0.1"), {9002}, "9002|kept,a,b|Query(" + local + ",12,7) RecordListFree(1)|"},
        {address("::1"), {}, "0|kept,a,b,c|Query(" + one + ",12,7) RecordListFree(1)|"},
        {{17, {1}}, {}, "9501|kept,a,b,c|Query(0.0.0.0.0.0.0.0." + zeros + end + ",12,7)|"},
        {address("ba98::7654:3210"),
         {}, // each half of a byte has its place
         "9501|kept,a,b,c|Query(0.1.2.3.4.5.6.7." + zeros.substr(8) + "8.9.a.b." + end + ",12,7)|"}};
    std::vector<std::basic_string<TypeParam>> names{this->name("kept")};
    for (const auto& [of, codes, expected] : rows) {
        const auto look_up = [&, asked = of] { return ip::dnsapi::names_from_address(asked, names, 7); };
        EXPECT_EQ(this->ask(codes, names, look_up), expected);
    }
}

struct IpHelper : testing::Test {
    IpHelper() { EXPECT_EQ(lib.init(), 0u); }

    /// The answer from 192.0.2.9, with data at a guard page, of which one byte is wrong.
    void answer4(WORD said, std::size_t wrong = 99, bool has_data = true, ULONG status = 0) {
        const std::string data =
            std::string(wrong, 'E') + std::string(wrong < 32, '?') + std::string(32, 'E');
        const ICMP_ECHO_REPLY reply{0x090200C0,
                                    status,
                                    7,
                                    said,
                                    0,
                                    has_data ? system.keep(data[0], 32) : nullptr,
                                    {64, 0, 0, 0, nullptr}};
        system.echo_reply.assign(reinterpret_cast<const char*>(&reply), sizeof reply);
    }
    /// The answer from ::5.
    void answer6(char status, const std::string& data) {
        system.echo_reply = std::string(21, 9) + '\5' + std::string(14, '\0') + data;
        std::fill_n(system.echo_reply.begin() + 6, 15, '\0');
        system.echo_reply[28] = status;
        system.echo_reply[32] = 7;
    }
    std::string ping(const char* to, unsigned short size = 32) {
        system.calls.clear();
        hlpapi::_SPingReply reply{address("::8"), 1, 2, 3};
        const ip::saddr target = *to == '-' ? ip::saddr{} : socket_address(to, 99);
        return texts({hlpapi::ping(target, reply, 128, 900, size, 5, 1), reply.address, reply.round_trip_time,
                      reply.status, reply.ttl});
    }
    std::string calls() { return system.called(); }

    scripted::system system;
    ip::lib lib;
};

const std::string good4 = "0|192.0.2.9|7|0|64|", good6 = "0|::5|7|0|0|", untouched = "|::8|1|2|3|";

TEST_F(IpHelper, PingTakesAnAnswerWithTheDataSent) {
    answer4(32);
    EXPECT_EQ(ping("1.2.3.4"), good4);
    EXPECT_EQ(calls(), "IcmpCreateFile IcmpSendEcho(1.2.3.4,32E/128/5/2,72,900) IcmpCloseHandle(1)");
    EXPECT_EQ(ping("-", 3), good4);
    EXPECT_EQ(system.called("IcmpSendEcho"), "(255.255.255.255,3E/128/5/2,48,900)");
    const std::tuple<WORD, std::size_t, bool, ULONG, std::string> rows[] = {
        {65535, 99, true, 0, good4},
        {32, 31, true, 0, "59" + untouched},
        {31, 31, true, 0, good4},
        {1, 99, false, 0, "59" + untouched},
        {0, 99, false, 11013, "0|192.0.2.9|7|11013|64|"}};
    for (const auto& [said, wrong, has_data, status, expected] : rows) {
        answer4(said, wrong, has_data, status);
        EXPECT_EQ(ping("1.2.3.4"), expected);
    }
    answer6(0, std::string(32, 'E'));
    EXPECT_EQ(ping("::ffff:1.2.3.4"), good6);
    EXPECT_EQ(calls(), "Icmp6CreateFile Icmp6SendEcho2(::,::ffff:1.2.3.4@99,32E/128/5/2,84,900) "
                       "IcmpCloseHandle(1)");
    answer6(13, std::string(31, 'E'));
    EXPECT_EQ(ping("::1") + ping("::1", 31), "59" + untouched + "0|::5|7|13|0|");
}

TEST_F(IpHelper, PingGivesTheSystemsCodeAndGoesTheOlderWayOnlyOn120) {
    for (const char* name : {"IcmpCreateFile", "IcmpSendEcho", "Icmp6CreateFile", "Icmp6SendEcho2"}) {
        system.answers[name] = {11010};
        EXPECT_EQ(ping(name[4] == '6' ? "::ffff:1.2.3.4" : "1.2.3.4"), "11010" + untouched);
    }
    answer4(32);
    the_helper().iphlpapi.Icmp6SendEcho2 = nullptr;
    EXPECT_EQ(ping("::feff:1.2.3.4"), "120" + untouched);
    EXPECT_EQ(ping("::ffff:1.2.3.4"), good4);
    EXPECT_EQ(system.called("IcmpSendEcho"), "(1.2.3.4,32E/128/5/2,72,900)");
    hlpapi::_SPingReply reply;
    const std::tuple<unsigned long, std::deque<DWORD>, unsigned long, int> rows[] = {
        {0, {}, 87, 0}, {3, {11010, 11003}, 0, 3}, {2, {11010, 11003}, 11003, 2}};
    for (const auto& [attempts, codes, code, calls] : rows) {
        system.calls.clear();
        system.answers["IcmpSendEcho"] = codes;
        EXPECT_EQ(hlpapi::ping(socket_address("1.2.3.4"), attempts, reply), code);
        EXPECT_EQ(system.count("IcmpSendEcho(1.2.3.4,32E/255/0/0,72,5000)"), calls);
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
        system.older_neighbours.push_back({7, length, {9, 9, 9, 9, 9, 9, 9, 9}, 0x010200C0, 3});
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
        system.active = {{5, 1}, {8, 0}};
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
                {17, 23, 0, "0 65"},
                {0, 0, 5, "0 42 61"},
                {17, 0, 5, "0"},
                {1, 0, 0, "0"},
                {0, 17, 0, "0"},
                {6, 0, 0, "0 41 42 43 61"},
                {0, 0, 0, "5", {"TCP", {5}}},
                {0, 0, 0, "5 41 42 43", {"TCP", {0, 5}}},
                {0, 0, 0, "5 41 42 43 61", {"UDP", {5}}},
                {0, 0, 0, "5 41 42 43 61 45", {"UDP", {0, 5}}}};
    for (const auto& row : rows) {
        system.answers = {row.answers};
        EXPECT_EQ(list(row.protocol, row.family, row.state), row.expected);
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
        EXPECT_EQ(code + " " + text(pid), expected) << local;
    }
}

TEST(Services, SurviveRandomAnswers) {
    std::mt19937 random(2024);
    const auto below = [&](unsigned limit) { return random() % limit; };
    const auto fill = [&](auto& rows) {
        rows.resize(below(4));
        std::generate_n(reinterpret_cast<std::uint8_t*>(rows.data()), rows.size() * sizeof rows[0],
                        [&] { return below(256); });
    };
    const scripted::dns_record kinds[] = {
        {DNS_TYPE_A, "1.2.3.4"}, {DNS_TYPE_AAAA, "::1"}, {DNS_TYPE_PTR, "n"}, {DNS_TYPE_OPT}};
    std::vector<ip::addr> addresses;
    std::vector<std::wstring> names;
    std::vector<hlpapi::_SIpNetRow> neighbours;
    std::vector<hlpapi::_SIpConnection> connections;
    hlpapi::_SPingReply reply;
    for (int round = 0; round < 20'000; ++round) { // of ten answers and more
        scripted::system system;
        system.logs = false;
        ip::dnsapi dns;
        EXPECT_EQ(dns.init(), 0u);
        for (const char* question : {"1 n", "28 n", "12 1.0.0.127.IN-ADDR.ARPA"}) {
            for (unsigned left = below(4); left != 0; --left) {
                system.dns[question].push_back(kinds[below(4)]);
                system.dns[question].back().section = below(4);
            }
        }
        fill(system.older_neighbours), fill(system.neighbours);
        fill(system.tcp4), fill(system.tcp6), fill(system.udp4), fill(system.udp6);
        system.more_rows = below(2) * random();
        system.wanted.assign(below(4), below(5000));
        system.echo_reply = std::string(16, static_cast<char>(below(256))) + std::string(8 + below(50), '\0');
        ip::dnsapi::addresses_from_name("n", addresses);
        ip::dnsapi::names_from_address(address("127.0.0.1"), names);
        hlpapi::ping(socket_address(below(2) == 0 ? "::1" : "1.2.3.4"), 1, reply);
        hlpapi::getipnettable(neighbours, below(2) == 0 ? 0 : 2);
        hlpapi::getConnections(connections, 0, 0, below(3));
    }
}

} // namespace
