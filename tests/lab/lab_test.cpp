// The socket calls and name services of the built DLL in the lab, where hosts keep silent, refuse and have
// names.

#include "../system/real_sockets.h"

#include <algorithm>
#include <set>
#include <type_traits>
#include <vector>

namespace {

using ip::hlpapi;
constexpr std::uint16_t echo = 7;

std::string echoed(const ip::socket& s) {
    EXPECT_EQ(winsock2::send(s, "across the lab", 14), 14);
    return receive(s);
}

class Server : public each_family {
protected:
    const char* const server = is_ipv4 ? "198.51.100.1" : "2001:db8:1::1";
};
FOR_EACH_FAMILY(Server);

TEST_P(Server, EchoesAtOnePortAndRefusesAtAnother) {
    const test_socket s(SOCK_STREAM, family);
    ASSERT_EQ(connect(s, endpoint(server, echo)), 0u);
    ip::saddr own;
    EXPECT_EQ(winsock2::getsockname(s, own), 0u);
    EXPECT_EQ(numbers(own, false), is_ipv4 ? "198.51.100.2" : "2001:db8:1::2");
    EXPECT_EQ(echoed(s), "across the lab");
    EXPECT_EQ(winsock2::shutdown(s, 1), 0u);
    EXPECT_EQ(receive(s), "");
    EXPECT_EQ(connect(test_socket(SOCK_STREAM, family), endpoint(server, 82)), 10061u);
}

TEST_P(Server, ConnectGivesUpWhenTimeRunsOut) {
    const char* silent = is_ipv4 ? "198.51.100.66" : "2001:db8:1::66";
    for (const ip::saddr& target : {endpoint(server, 81), endpoint(silent, echo)}) {
        for (const milliseconds timeout : {0ms, 400ms, 1200ms}) {
            const test_socket s(SOCK_STREAM, family);
            const auto start = steady_clock::now();
            EXPECT_EQ(connect(s, target, timeout), 1460u);
            const auto took = steady_clock::now() - start;
            EXPECT_GE(took, timeout);
            EXPECT_LT(took, timeout + 1s);
            EXPECT_EQ(winsock2::connect(s, target), 10037u);
        }
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

template <class Char>
class Names : public real_sockets {
protected:
    static constexpr bool wide = std::is_same_v<Char, wchar_t>;
    using info = std::conditional_t<wide, addrinfoW, addrinfo>;
};
using widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Names, widths, );

bool is_not_found(unsigned long code) {
    return code == 11001 || code == 11004;
}

using addresses = std::set<std::string>;
const addresses www4{"198.51.100.10"};
const addresses www6{"2001:db8:1::10"};
const addresses www{"198.51.100.10", "2001:db8:1::10"};

TYPED_TEST(Names, LeadToTheAddressesOfTheFamilyAskedFor) {
    constexpr int no_hints = -1;
    const struct {
        const char* name;
        int family;
        addresses found;
    } cases[] = {
        {"www.lab.test", no_hints, this->wide ? www : www4},
        {"alias.lab.test", no_hints, this->wide ? www : www4},
        {"chain.lab.test", no_hints, this->wide ? www : www4},
        {"v4.lab.test", no_hints, {"198.51.100.11"}},
        {"v6.lab.test", no_hints, {"2001:db8:1::12"}},
        {"many.lab.test", no_hints, {"198.51.100.21", "198.51.100.22", "198.51.100.23"}},
        {"www", no_hints, this->wide ? www : www4}, // the domain is that of the client
        {"labclient", no_hints, {"198.51.100.2"}},
        {"text.lab.test", no_hints, {}},
        {"nobody.lab.test", no_hints, {}},
        {"www.lab.test", AF_UNSPEC, www},
        {"chain.lab.test", AF_INET, www4},
        {"chain.lab.test", AF_INET6, www6},
        {"localhost", AF_INET6, {"::1"}},
        {"v4.lab.test", AF_INET6, {}}, // no second look-up where the caller has asked
        {"v6.lab.test", AF_INET, {}},
    };
    for (const auto& [name, family, expected] : cases) {
        SCOPED_TRACE(testing::Message() << name << ", family " << family);
        typename TestFixture::info hints{};
        hints.ai_family = family;
        std::vector<ip::addr> found(1);
        const unsigned long code =
            winsock2::getaddrinfo(text<TypeParam>(name).c_str(), found, text<TypeParam>("7").c_str(),
                                  family == no_hints ? nullptr : &hints);
        EXPECT_TRUE(expected.empty() ? is_not_found(code) : code == 0) << code;
        addresses texts;
        for (const ip::addr& address : found) {
            texts.insert(numbers(address));
        }
        EXPECT_EQ(texts, expected);
        if (family == no_hints) {
            ip::addr read;
            EXPECT_EQ(winsock2::address_from_string(read, text<TypeParam>(name).c_str()), code);
            EXPECT_EQ(numbers(read), found.empty() ? "" : numbers(found.front()));
        }
    }
}

TYPED_TEST(Names, AreFoundForAnAddress) {
    const struct {
        const char* address;
        const char* name;
    } cases[] = {
        {"198.51.100.10", "www.lab.test"},
        {"2001:db8:1::10", "www.lab.test"},
        {"198.51.100.11", "v4.lab.test"},
        {"2001:db8:1::12", "v6.lab.test"},
        {"198.51.100.2", "labclient.lab.test"},
        {"198.51.100.99", nullptr},
        {"2001:db8:1::99", nullptr},
    };
    for (const auto& [address, name] : cases) {
        SCOPED_TRACE(address);
        const auto numeric = text<TypeParam>(address);
        auto host = text<TypeParam>("untouched");
        SetLastError(WSAHOST_NOT_FOUND); // Wine sets no code of its own
        EXPECT_EQ(winsock2::getnameinfo(endpoint(address), &host, nullptr, NI_NAMEREQD),
                  name == nullptr ? 11001u : 0u);
        EXPECT_EQ(host, text<TypeParam>(name == nullptr ? "untouched" : name));

        ip::addr value;
        EXPECT_EQ(winsock2::address_from_string(value, numeric.c_str()), 0u);
        winsock2::address_to_string(host, value);
        EXPECT_EQ(host, text<TypeParam>(name == nullptr ? address : name));
    }
}

TYPED_TEST(Names, AreConnectedTo) {
    const struct {
        const char* name;
        std::uint16_t family;
        const char* local;
        const char* remote;
    } cases[] = {
        {"v4.lab.test", ip::family_ipv4, "198.51.100.2", "198.51.100.11"},
        {"v6.lab.test", ip::family_ipv6, "2001:db8:1::2", "2001:db8:1::12"},
        {"198.51.100.1", ip::family_ipv4, "198.51.100.2", "198.51.100.1"},
    };
    const auto connect = [](const ip::socket& s, const char* name, const char* port, ip::addr* local,
                            ip::addr* remote) {
        const timeval timeout = to_timeval(10s);
        return winsock2::connectbyname(s, text<TypeParam>(name).c_str(), text<TypeParam>(port).c_str(), local,
                                       remote, &timeout);
    };
    for (const auto& [name, family, expected_local, expected_remote] : cases) {
        SCOPED_TRACE(name);
        const test_socket s(SOCK_STREAM, family);
        ip::addr local;
        ip::addr remote;
        EXPECT_EQ(connect(s, name, "7", &local, &remote), 0u);
        EXPECT_EQ(numbers(local), expected_local);
        EXPECT_EQ(numbers(remote), expected_remote);
        EXPECT_EQ(echoed(s), "across the lab");
    }
    const test_socket s(SOCK_STREAM, ip::family_ipv4);
    EXPECT_EQ(connect(s, "v4.lab.test", "82", nullptr, nullptr), 10061u);
    EXPECT_TRUE(is_not_found(connect(s, "text.lab.test", "7", nullptr, nullptr)));
    EXPECT_EQ(connect(s, "v4.lab.test", "no such service", nullptr, nullptr), 10109u);
}

TEST_F(Lab, AnyFamilyIsReadWhenOneIsAskedFor) {
    ip::addr value;
    std::vector<ip::addr> found;
    EXPECT_EQ(winsock2::getaddrinfo(L"www.lab.test", found), 0u);
    for (const std::uint16_t family : {ip::family_ipv4, ip::family_ipv6}) {
        EXPECT_EQ(winsock2::address_from_string(value, "www.lab.test", family), 0u);
        EXPECT_EQ(numbers(value), numbers(found.front()));
    }
}

TEST_F(Lab, NameBeyondAsciiIsNotFound) {
    std::vector<ip::addr> found(1);
    EXPECT_TRUE(is_not_found(winsock2::getaddrinfo(L"\u00FC\u20AC\xD83D\xDE00.lab.test", found)));
    EXPECT_TRUE(found.empty());
}

template <class Char>
class LabDns : public real_sockets {
protected:
    /// The status and what was found, in alphabetical order.
    static std::string shown(unsigned long code, std::vector<std::string> found) {
        std::sort(found.begin(), found.end());
        std::string result = std::to_string(code);
        for (const std::string& one : found) {
            result += " " + one;
        }
        return result;
    }
    static std::string addresses(const char* name, unsigned short family = 0) {
        std::vector<ip::addr> found;
        const auto code = ip::dnsapi::addresses_from_name(text<Char>(name).c_str(), found, family);
        std::vector<std::string> texts;
        std::transform(found.begin(), found.end(), std::back_inserter(texts),
                       [](auto& of) { return numbers(of); });
        return shown(code, texts);
    }
    static std::string names(const char* address) {
        std::vector<std::basic_string<Char>> found;
        ip::addr of;
        EXPECT_EQ(winsock2::address_from_string(of, address), 0u);
        const auto code = ip::dnsapi::names_from_address(of, found);
        std::vector<std::string> texts;
        for (const auto& name : found) {
            texts.emplace_back(name.begin(), name.end());
        }
        return shown(code, texts);
    }
    ip::dnsapi dns;
};
TYPED_TEST_SUITE(LabDns, widths, );

TYPED_TEST(LabDns, LooksNamesAndAddressesUp) {
    EXPECT_EQ(this->names("198.51.100.10"), "120");
    ASSERT_EQ(this->dns.init(), 0u);
    EXPECT_EQ(this->addresses("www.lab.test"), "0 198.51.100.10 2001:db8:1::10");
    EXPECT_EQ(this->addresses("chain.lab.test", 2), "0 198.51.100.10");
    EXPECT_EQ(this->addresses("v6.lab.test", 23), "0 2001:db8:1::12");
    EXPECT_EQ(this->addresses("many.lab.test", 2), "0 198.51.100.21 198.51.100.22 198.51.100.23");
    EXPECT_EQ(this->addresses("nobody.lab.test"), "9003");
    EXPECT_EQ(this->names("198.51.100.10"), "0 www.lab.test");
    EXPECT_EQ(this->names("2001:db8:1::12"), "0 v6.lab.test");
    EXPECT_EQ(this->names("198.51.100.20"), "0 first.lab.test second.lab.test");
    EXPECT_EQ(this->names("198.51.100.99"), "9003");
    EXPECT_EQ(this->dns.free(), 0u);
}

TEST_F(Lab, PingTellsWhoAnswers) {
    const struct {
        const char* to;
        unsigned char ttl;
        std::string expected; ///< code, status and address
    } rows[] = {{"198.51.100.1", 255, "0 0 198.51.100.1"},
                {"203.0.113.2", 255, "0 0 203.0.113.2"},
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
    EXPECT_EQ(hlpapi::ping(endpoint("::ffff:198.51.100.1"), 1, reply), 0u);
    const unsigned long ipv6 = hlpapi::ping(endpoint("2001:db8:1::1"), 1, reply);
    EXPECT_TRUE(ipv6 == 0 || ipv6 == 120) << ipv6; // Wine lacks the calls
}

TEST_F(Lab, NeighboursRoutesAndServersAreKnown) {
    std::vector<hlpapi::_SIpNetRow> rows;
    ASSERT_EQ(hlpapi::getipnettable(rows, ip::family_ipv4), 0u);
    const auto fixed = std::find_if(rows.begin(), rows.end(), [](const auto& row) {
        return numbers(row.address, false) == "198.51.100.50";
    });
    ASSERT_NE(fixed, rows.end());
    const std::uint8_t mac50[] = {2, 0, 0x5e, 0x10, 0, 0x50};
    EXPECT_EQ(fixed->mac.length, 6);
    EXPECT_EQ(std::memcmp(fixed->mac.bytes, mac50, 6), 0);

    const ip::saddr target = endpoint("203.0.113.2");
    std::uint32_t index = 0;
    EXPECT_EQ(ip::getbestinterface(target, index), 0u);
    EXPECT_EQ(index, fixed->interface_index);
    ip::_SCurrentProfile profile;
    ip::saddr gateway;
    ip::adapter_enumerator adapters;
    EXPECT_TRUE(ip::getbestinterface(target, profile.adapter));
    EXPECT_TRUE(adapters.find_best(profile.adapter, target));
    EXPECT_EQ(profile.adapter.index, index);
    EXPECT_EQ(adapters.find_best_gateway(profile.adapter, target, gateway), 0u);
    EXPECT_EQ(numbers(gateway, false), "198.51.100.1");
    EXPECT_TRUE(adapters.find_current_profile(profile, target));
    EXPECT_EQ(numbers(profile.address) + " " + numbers(profile.gateway, false), "198.51.100.2 198.51.100.1");
    std::string servers;
    EXPECT_TRUE(adapters.retrievednsservers(servers));
    EXPECT_NE(("," + servers + ",").find(",198.51.100.1,"), std::string::npos) << servers;

    ip::macaddr mac; // Wine does not ask for neighbours
    EXPECT_NE(hlpapi::sendARP({}, {2, 0, {203, 0, 113, 2}, {}}, mac), 0u);
    EXPECT_NE(mac.from_addr({ip::family_ipv4, {203, 0, 113, 2}}, nullptr), 0u);
}

TEST_F(Lab, OwnConnectionIsListedWithItsOwner) {
    const test_socket s(SOCK_STREAM, ip::family_ipv4);
    const test_socket datagrams(SOCK_DGRAM, ip::family_ipv4);
    ASSERT_EQ(connect(s, endpoint("198.51.100.10", echo)), 0u); // to which no other test connects
    EXPECT_EQ(echoed(s), "across the lab");
    EXPECT_EQ(winsock2::bind(datagrams, endpoint("0.0.0.0", 4000)), 0u);
    EXPECT_EQ(winsock2::sendto(datagrams, "x", 1, endpoint("198.51.100.1", 9)), 1); // Wine asks who uses it
    const unsigned long own = GetCurrentProcessId();
    ip::saddr local;
    ip::saddr remote;
    EXPECT_EQ(winsock2::getsockname(s, local), 0u);
    EXPECT_EQ(winsock2::getpeername(s, remote), 0u);
    std::vector<hlpapi::_SIpConnection> found;
    const auto count = [&](const ip::saddr& at, std::uint32_t protocol, std::uint32_t state) {
        EXPECT_EQ(hlpapi::getConnections(found, protocol, ip::family_ipv4, 0), 0u);
        return std::count_if(found.begin(), found.end(), [&](const auto& one) {
            return numbers(one.local) == numbers(at) && one.pid == own && one.state == state;
        });
    };
    EXPECT_EQ(count(local, IPPROTO_TCP, 5), 1);
    EXPECT_EQ(count(endpoint("0.0.0.0", 4000), IPPROTO_UDP, 0), 1);
    unsigned long pid = 0;
    EXPECT_EQ(hlpapi::findPid(IPPROTO_TCP, local, remote, pid), 0u);
    EXPECT_EQ(pid, own);
    EXPECT_EQ(hlpapi::findPid(IPPROTO_UDP, endpoint("0.0.0.0"), endpoint("0.0.0.0"), pid), 0u);
    EXPECT_EQ(hlpapi::findPid(0, endpoint("198.51.100.9"), remote, pid), 2u);
}

} // namespace
