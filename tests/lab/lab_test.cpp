// The socket calls and name services of the built DLL in the lab, where hosts keep silent, refuse and have
// names.

#include "../system/real_sockets.h"

#include <set>
#include <type_traits>
#include <vector>

namespace {

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

} // namespace
