// The socket calls, name services and tables of the built DLL in the lab, where hosts keep silent, refuse and
// have names.

#include "../system/real_sockets.h"

#include <algorithm>
#include <set>
#include <span>
#include <tuple>
#include <type_traits>

namespace {

using ip::hlpapi;
constexpr std::uint16_t echo = 7;

std::string echoed(const ip::socket& s) {
    EXPECT_EQ(winsock2::send(s, "across the lab", 14), 14);
    return receive(s);
}

FOR_EACH_FAMILY(each_family);

TEST_P(each_family, ConnectIsRefusedOrGivesUpWhenTimeRunsOut) {
    const char* const server = is_ipv4 ? "198.51.100.1" : "2001:db8:1::1";
    EXPECT_EQ(connect(test_socket(SOCK_STREAM, family), endpoint(server, 82)), 10061u);
    for (const milliseconds timeout : {0ms, 1200ms}) {
        const test_socket s(SOCK_STREAM, family);
        const auto start = steady_clock::now();
        EXPECT_EQ(connect(s, endpoint(server, 81), timeout), 1460u);
        const auto took = steady_clock::now() - start;
        EXPECT_GE(took, timeout);
        EXPECT_LT(took, timeout + 1s);
    }
}

using Lab = real_sockets;

TEST_F(Lab, SocketBlocksAfterTheTimeOutAndGoesOnConnecting) {
    const test_socket s(SOCK_STREAM, ip::family_ipv4, WSA_FLAG_OVERLAPPED);
    ASSERT_EQ(connect(s, endpoint("198.51.100.1", 84), 200ms), 1460u);
    ASSERT_TRUE(is_ready(s, true)); // the system has called again
    expect_blocking(s);
    EXPECT_EQ(echoed(s), "across the lab");
}

using texts = std::set<std::string>;

texts all_numbers(const std::vector<ip::addr>& addresses) {
    texts result;
    for (const ip::addr& address : addresses) {
        result.insert(numbers(address));
    }
    return result;
}

TYPED_TEST_SUITE(each_width, widths, );

TYPED_TEST(each_width, NamesLeadToTheAddressesOfTheFamilyAskedFor) {
    constexpr bool wide = std::is_same_v<TypeParam, wchar_t>;
    constexpr int no_hints = -1;
    const texts www4{"198.51.100.10"};
    const texts www6{"2001:db8:1::10"};
    const texts www{"198.51.100.10", "2001:db8:1::10"};
    const std::tuple<const char*, int, texts> cases[] = {
        {"chain.lab.test", no_hints, wide ? www : www4},
        {"v4.lab.test", no_hints, {"198.51.100.11"}},
        {"v6.lab.test", no_hints, {"2001:db8:1::12"}},
        {"text.lab.test", no_hints, {}},
        {"nobody.lab.test", no_hints, {}},
        {"www.lab.test", AF_UNSPEC, www},
        {"www.lab.test", AF_INET, www4},
        {"www.lab.test", AF_INET6, www6},
        {"v4.lab.test", AF_INET6, {}}, // no second look-up where the caller has asked
    };
    for (const auto& [ascii, family, expected] : cases) {
        SCOPED_TRACE(testing::Message() << ascii << ", family " << family);
        const auto name = text<TypeParam>(ascii);
        std::conditional_t<wide, addrinfoW, addrinfo> hints{};
        hints.ai_family = family;
        std::vector<ip::addr> found(1);
        const unsigned long code = winsock2::getaddrinfo(name.c_str(), found, text<TypeParam>("7").c_str(),
                                                         family == no_hints ? nullptr : &hints);
        EXPECT_TRUE(expected.empty() ? code == 11001 || code == 11004 : code == 0) << code;
        EXPECT_EQ(all_numbers(found), expected);
        if (family == no_hints) {
            ip::addr read;
            EXPECT_EQ(winsock2::address_from_string(read, name.c_str()), code);
            EXPECT_EQ(numbers(read), found.empty() ? "" : numbers(found.front()));
        }
    }
}

TYPED_TEST(each_width, AddressesHaveNames) {
    const std::tuple<const char*, const char*> cases[] = {{"198.51.100.10", "www.lab.test"},
                                                          {"2001:db8:1::12", "v6.lab.test"},
                                                          {"198.51.100.99", nullptr},
                                                          {"2001:db8:1::99", nullptr}};
    for (const auto& [address, name] : cases) {
        SCOPED_TRACE(address);
        auto host = text<TypeParam>("untouched");
        SetLastError(WSAHOST_NOT_FOUND); // Wine sets no code of its own
        EXPECT_EQ(winsock2::getnameinfo(endpoint(address), &host, nullptr, NI_NAMEREQD),
                  name == nullptr ? 11001u : 0u);
        EXPECT_EQ(host, text<TypeParam>(name == nullptr ? "untouched" : name));

        ip::addr value;
        EXPECT_EQ(winsock2::address_from_string(value, address), 0u);
        winsock2::address_to_string(host, value);
        EXPECT_EQ(host, text<TypeParam>(name == nullptr ? address : name));
    }
}

TYPED_TEST(each_width, NamesAreConnectedTo) {
    const auto connect = [](const ip::socket& s, const char* name, const char* port, ip::addr& remote) {
        const timeval timeout = to_timeval(10s);
        return winsock2::connectbyname(s, text<TypeParam>(name).c_str(), text<TypeParam>(port).c_str(),
                                       nullptr, &remote, &timeout);
    };
    const test_socket ipv4(SOCK_STREAM, ip::family_ipv4);
    const test_socket ipv6(SOCK_STREAM, ip::family_ipv6);
    ip::addr remote;
    EXPECT_EQ(connect(ipv4, "v4.lab.test", "7", remote), 0u);
    EXPECT_EQ(numbers(remote), "198.51.100.11");
    EXPECT_EQ(echoed(ipv4), "across the lab");
    EXPECT_EQ(connect(ipv6, "v6.lab.test", "7", remote), 0u);
    EXPECT_EQ(numbers(remote), "2001:db8:1::12");
    EXPECT_EQ(echoed(ipv6), "across the lab");
    EXPECT_EQ(connect(test_socket(SOCK_STREAM, ip::family_ipv4), "v4.lab.test", "82", remote), 10061u);
}

TYPED_TEST(each_width, DnsIsAskedForAddressesAndNames) {
    ip::dnsapi dns;
    ASSERT_EQ(dns.init(), 0u);
    const std::tuple<const char*, std::uint16_t, unsigned long, texts> rows[] = {
        {"www.lab.test", ip::family_none, 0, {"198.51.100.10", "2001:db8:1::10"}},
        {"chain.lab.test", ip::family_ipv4, 0, {"198.51.100.10"}},
        {"v6.lab.test", ip::family_ipv6, 0, {"2001:db8:1::12"}},
        {"nobody.lab.test", ip::family_none, 9003, {}}};
    for (const auto& [name, family, code, expected] : rows) {
        SCOPED_TRACE(name);
        std::vector<ip::addr> found;
        EXPECT_EQ(dns.addresses_from_name(text<TypeParam>(name).c_str(), found, family), code);
        EXPECT_EQ(all_numbers(found), expected);
    }
    std::vector<std::basic_string<TypeParam>> names;
    EXPECT_EQ(dns.names_from_address({ip::family_ipv4, {198, 51, 100, 10}}, names), 0u);
    EXPECT_EQ(dns.names_from_address({ip::family_ipv4, {198, 51, 100, 99}}, names), 9003u);
    EXPECT_EQ(names, std::vector{text<TypeParam>("www.lab.test")});
    EXPECT_EQ(dns.free(), 0u);
}

TEST_F(Lab, PingTellsWhoAnswers) {
    const struct {
        const char* to;
        unsigned char ttl;
        std::string expected; ///< code, status and address
    } rows[] = {{"203.0.113.2", 255, "0 0 203.0.113.2"},
                {"203.0.113.2", 1, "0 11013 198.51.100.1"},
                {"198.51.100.66", 255, "11010 0 "}};
    for (const auto& row : rows) {
        hlpapi::_SPingReply reply;
        const unsigned long code = hlpapi::ping(endpoint(row.to), reply, row.ttl, 1000, 32, 0, 0);
        EXPECT_EQ(std::to_string(code) + " " + std::to_string(reply.status) + " " + numbers(reply.address),
                  row.expected);
    }
    hlpapi::_SPingReply reply;
    EXPECT_EQ(hlpapi::ping(endpoint("198.51.100.1"), 2, reply), 0u);
}

TEST_F(Lab, NeighboursRoutesAndServersAreKnown) {
    ASSERT_EQ(connect(test_socket(SOCK_STREAM, ip::family_ipv4), endpoint("198.51.100.1", echo)), 0u);
    std::vector<hlpapi::_SIpNetRow> rows;
    ASSERT_EQ(hlpapi::getipnettable(rows, ip::family_ipv4), 0u);
    const auto server =
        std::ranges::find(rows, "198.51.100.1 0", [](const auto& row) { return numbers(row.address); });
    ASSERT_NE(server, rows.end());
    const std::uint8_t server_mac[] = {2, 0, 0x5e, 0x10, 0, 1};
    EXPECT_TRUE(std::ranges::equal(std::span(server->mac.bytes, server->mac.length), server_mac));
    ip::macaddr mac;
    EXPECT_NE(hlpapi::sendARP({}, {2, 0, {203, 0, 113, 2}, {}}, mac), 0u); // Wine asks nobody

    const ip::saddr target = endpoint("203.0.113.2");
    std::uint32_t index = 0;
    EXPECT_EQ(ip::getbestinterface(target, index), 0u);
    EXPECT_EQ(index, server->interface_index);
    ip::_SCurrentProfile profile;
    ip::adapter_enumerator adapters;
    EXPECT_TRUE(ip::getbestinterface(target, profile.adapter));
    EXPECT_EQ(profile.adapter.index, index);
    EXPECT_TRUE(adapters.find_current_profile(profile, target));
    EXPECT_EQ(numbers(profile.address) + " " + numbers(profile.gateway), "198.51.100.2 198.51.100.1 0");
    std::string servers;
    EXPECT_TRUE(adapters.retrievednsservers(servers));
    EXPECT_NE(("," + servers + ",").find(",198.51.100.1,"), std::string::npos) << servers;
}

TEST_F(Lab, OwnConnectionIsListedWithItsOwner) {
    const test_socket s(SOCK_STREAM, ip::family_ipv4);
    const test_socket datagrams(SOCK_DGRAM, ip::family_ipv4);
    ASSERT_EQ(connect(s, endpoint("198.51.100.10", echo)), 0u); // to which no other test connects
    EXPECT_EQ(echoed(s), "across the lab");                     // Wine asks who uses a socket
    EXPECT_EQ(winsock2::bind(datagrams, endpoint("0.0.0.0", 4000)), 0u);
    EXPECT_EQ(winsock2::sendto(datagrams, "x", 1, endpoint("198.51.100.1", 9)), 1);
    const unsigned long own = GetCurrentProcessId();
    ip::saddr local;
    EXPECT_EQ(winsock2::getsockname(s, local), 0u);
    std::vector<hlpapi::_SIpConnection> found;
    EXPECT_EQ(hlpapi::getConnections(found, 0, ip::family_ipv4, 0), 0u);
    const auto count = [&](const std::string& at, std::uint32_t protocol, std::uint32_t state) {
        return std::ranges::count_if(found, [&](const auto& one) {
            return numbers(one.local) == at && one.protocol == protocol && one.state == state &&
                   one.pid == own;
        });
    };
    EXPECT_EQ(count(numbers(local), IPPROTO_TCP, 5), 1);
    EXPECT_EQ(count("0.0.0.0 4000", IPPROTO_UDP, 0), 1);
    unsigned long pid = 0;
    EXPECT_EQ(hlpapi::findPid(IPPROTO_TCP, local, endpoint("198.51.100.10", echo), pid), 0u);
    EXPECT_EQ(pid, own);
}

} // namespace
