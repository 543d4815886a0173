// The socket calls and name services of the built DLL on the real system: on the loopback, and in the lab,
// where hosts are silent and have names.

#include "ip/ip.h"

#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>
#include <string>
#include <vector>

using ip::winsock2;

namespace {

/// Starts the socket library for each test.
class Sockets : public testing::Test {
protected:
    void SetUp() override {
        WSADATA data{};
        ASSERT_EQ(library.start(data), 0u);
    }

    winsock2 library;
};

/// A socket that is closed when the test ends.
struct test_socket : ip::socket {
    test_socket() = default;
    test_socket(int type, std::uint16_t family, unsigned long flags = 0, bool dual_stack = false) {
        EXPECT_EQ(winsock2::socket(*this, type, 0, family, nullptr, 0, flags, dual_stack), 0u);
    }
    ~test_socket() { winsock2::closesocket(*this); }
    test_socket(const test_socket&) = delete;
    test_socket& operator=(const test_socket&) = delete;
};

template <class Char>
std::basic_string<Char> text(const char* ascii) {
    return {ascii, ascii + std::strlen(ascii)};
}

ip::saddr endpoint(const ip::addr& address, std::uint16_t port = 0) {
    ip::saddr result{address.family, std::rotl(port, 8), {}, {}, 0};
    const bool is_ipv4 = address.family == ip::family_ipv4;
    std::memcpy(is_ipv4 ? result.address4 : result.address6, address.address, is_ipv4 ? 4 : 16);
    return result;
}

ip::saddr endpoint(const char* address, std::uint16_t port = 0) {
    ip::addr parsed;
    EXPECT_EQ(winsock2::address_from_string(parsed, address), 0u) << address;
    return endpoint(parsed, port);
}

constexpr int numeric = NI_NUMERICHOST | NI_NUMERICSERV;

/// The address and the port in numbers; the address is empty if there is none.
std::string numbers(const ip::saddr& address) {
    std::string host;
    std::string port;
    winsock2::getnameinfo(address, &host, &port, numeric);
    return host + " " + port;
}

std::string numbers(const ip::addr& address) {
    const std::string with_port = numbers(endpoint(address));
    return with_port.substr(0, with_port.find(' '));
}

unsigned long connect(const ip::socket& s, const ip::saddr& address, timeval timeout = {10, 0}) {
    return winsock2::connect(s, address, &timeout);
}

/// Waits until the socket is ready to be read, or to be written.
bool is_ready(const ip::socket& s, bool write = false) {
    const timeval timeout{10, 0};
    fd_set set{1, {s.handle}};
    return winsock2::select(write ? nullptr : &set, write ? &set : nullptr, nullptr, &timeout) == 1 &&
           set.fd_count == 1 && set.fd_array[0] == s.handle;
}

std::string receive(const ip::socket& s) {
    char buffer[64];
    const int length = is_ready(s) ? winsock2::recv(s, buffer, sizeof buffer) : -1;
    return length < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(length));
}

/// For a connected socket with `WSA_FLAG_OVERLAPPED` that receives nothing: `recv` waits until its time-out.
/// On a non-blocking socket it would return at once, with 10035.
void expect_blocking(const ip::socket& s) {
    const DWORD wait = 200;
    const char* value = reinterpret_cast<const char*>(&wait);
    EXPECT_EQ(winsock2::setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, value, sizeof wait), 0u);
    char buffer[1];
    EXPECT_EQ(winsock2::recv(s, buffer, sizeof buffer), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10060u);
}

/// Binds a socket to a free port; returns its local address.
ip::saddr bind(const ip::socket& s, const char* address) {
    EXPECT_EQ(winsock2::bind(s, endpoint(address)), 0u);
    ip::saddr bound;
    EXPECT_EQ(winsock2::getsockname(s, bound), 0u);
    return bound;
}

ip::saddr listen(const ip::socket& s, const char* address) {
    const ip::saddr bound = bind(s, address);
    EXPECT_EQ(winsock2::listen(s, 5), 0u);
    return bound;
}

class Loopback : public Sockets, public testing::WithParamInterface<std::uint16_t> {
protected:
    const std::uint16_t family = GetParam();
    const bool is_ipv4 = family == ip::family_ipv4;
    const char* const loopback = is_ipv4 ? "127.0.0.1" : "::1";
};
INSTANTIATE_TEST_SUITE_P(, Loopback, testing::Values(ip::family_ipv4, ip::family_ipv6),
                         testing::PrintToStringParamName());

TEST_P(Loopback, ConnectionCarriesDataUntilItIsClosed) {
    test_socket listener(SOCK_STREAM, family);
    const ip::saddr server = listen(listener, loopback);
    test_socket client(SOCK_STREAM, family, WSA_FLAG_OVERLAPPED);
    ASSERT_EQ(connect(client, server), 0u);
    expect_blocking(client);
    test_socket served;
    ip::addr peer;
    ASSERT_EQ(winsock2::accept(listener, served, peer), 0u);
    EXPECT_EQ(numbers(peer), loopback);

    ip::saddr local;
    ip::saddr remote;
    EXPECT_EQ(winsock2::getsockname(client, local), 0u);
    EXPECT_EQ(winsock2::getpeername(served, remote), 0u);
    EXPECT_EQ(numbers(local), numbers(remote));

    EXPECT_EQ(winsock2::send(client, "question", 8), 8);
    unsigned long waiting = 0;
    EXPECT_TRUE(is_ready(served));
    EXPECT_EQ(winsock2::ioctlsocket(served, FIONREAD, &waiting), 0u);
    EXPECT_EQ(waiting, 8u);
    EXPECT_EQ(receive(served), "question");
    EXPECT_EQ(winsock2::shutdown(client, 1), 0u);
    EXPECT_EQ(receive(served), "");

    EXPECT_EQ(winsock2::closesocket(client), 0u);
    EXPECT_EQ(winsock2::send(client, "late", 4), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10038u);
    EXPECT_EQ(winsock2::closesocket(listener), 0u);
    EXPECT_EQ(connect(test_socket(SOCK_STREAM, family), server), 10061u);
    EXPECT_EQ(winsock2::connect(test_socket(SOCK_STREAM, family), server), 10061u);
}

TEST_P(Loopback, DatagramMakesItsReceiverReadyAndHasASender) {
    const test_socket sender(SOCK_DGRAM, family);
    const test_socket receiver(SOCK_DGRAM, family);
    const ip::saddr source = bind(sender, loopback);
    const ip::saddr target = bind(receiver, loopback);
    pollfd polled[] = {{sender.handle, POLLRDNORM, 0}, {receiver.handle, POLLRDNORM, 0}};
    EXPECT_EQ(winsock2::poll(polled, 2, 0), 0);
    EXPECT_TRUE(is_ready(receiver, true));

    EXPECT_EQ(winsock2::sendto(sender, "question", 8, target), 8);
    EXPECT_EQ(winsock2::poll(polled, 2, 10000), 1);
    EXPECT_EQ(polled[0].revents, 0);
    EXPECT_EQ(polled[1].revents, POLLRDNORM);
    EXPECT_TRUE(is_ready(receiver));
    char buffer[8];
    ip::saddr from;
    EXPECT_EQ(winsock2::recvfrom(receiver, buffer, sizeof buffer, from), 8);
    EXPECT_EQ(std::string(buffer, 8), "question");
    EXPECT_EQ(numbers(from), numbers(source));
}

TEST_P(Loopback, DualStackServesBothFamilies) {
    for (const bool dual_stack : {true, false}) {
        const test_socket listener(SOCK_STREAM, ip::family_ipv6, 0, dual_stack);
        char only_ipv6 = 0;
        int length = sizeof only_ipv6;
        EXPECT_EQ(winsock2::getsockopt(listener, IPPROTO_IPV6, IPV6_V6ONLY, &only_ipv6, &length), 0u);
        EXPECT_EQ(only_ipv6 == 0, dual_stack);
        ip::saddr server = endpoint(loopback);
        server.port = listen(listener, "::").port;
        const test_socket client(SOCK_STREAM, family);
        ASSERT_EQ(connect(client, server), is_ipv4 && !dual_stack ? 10061u : 0u);
        if (dual_stack) {
            test_socket served;
            ip::addr peer;
            EXPECT_EQ(winsock2::accept(listener, served, peer), 0u);
            EXPECT_EQ(numbers(peer), is_ipv4 ? "::ffff:127.0.0.1" : "::1");
        }
    }
}

/// Once for each width of text.
template <class Char>
class LoopbackNames : public Sockets {};
template <class Char>
class LabNames : public Sockets {};
using widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(LoopbackNames, widths, );
TYPED_TEST_SUITE(LabNames, widths, );

TYPED_TEST(LoopbackNames, NamesAndTextsLeadToTheLoopback) {
    std::vector<ip::addr> found;
    EXPECT_EQ(winsock2::getaddrinfo(text<TypeParam>("localhost").c_str(), found), 0u);
    EXPECT_FALSE(found.empty());
    for (const char* const address : {"127.0.0.1", "::1"}) {
        ip::addr loopback;
        EXPECT_EQ(winsock2::address_from_string(loopback, text<TypeParam>(address).c_str()), 0u);
        const test_socket listener(SOCK_STREAM, loopback.family);
        const test_socket client(SOCK_STREAM, loopback.family);
        std::basic_string<TypeParam> host;
        std::basic_string<TypeParam> port;
        EXPECT_EQ(winsock2::getnameinfo(listen(listener, address), &host, &port, numeric), 0u);
        EXPECT_EQ(host, text<TypeParam>(address));
        ip::addr local;
        EXPECT_EQ(winsock2::connectbyname(client, host.c_str(), port.c_str(), &local, nullptr, nullptr), 0u);
        EXPECT_EQ(numbers(local), address);
        winsock2::address_to_string(host, loopback);
        EXPECT_FALSE(host.empty());
    }
    TypeParam name[256] = {};
    EXPECT_EQ(winsock2::gethostname(name, 256), 0u);
    EXPECT_NE(*name, 0);
}

using Lab = Sockets;

std::string echoed(const ip::socket& s) {
    EXPECT_EQ(winsock2::send(s, "across the lab", 14), 14);
    return receive(s);
}

using texts = std::set<std::string>;

texts all_numbers(const std::vector<ip::addr>& addresses) {
    texts result;
    for (const ip::addr& address : addresses) {
        result.insert(numbers(address));
    }
    return result;
}

TYPED_TEST(LabNames, LeadToTheAddressesOfTheFamilyAskedFor) {
    constexpr bool wide = std::is_same_v<TypeParam, wchar_t>;
    constexpr int no_hints = -1;
    const texts www4{"198.51.100.10"}, www{"198.51.100.10", "2001:db8:1::10"};
    const std::tuple<const char*, int, texts> cases[] = {
        {"chain.lab.test", no_hints, wide ? www : www4},
        {"v6.lab.test", no_hints, {"2001:db8:1::12"}},
        {"nobody.lab.test", no_hints, {}},
        {"www.lab.test", AF_UNSPEC, www},
        {"v4.lab.test", AF_INET6, {}}, // no second lookup for a family that the caller chose
    };
    for (const auto& [name, family, expected] : cases) {
        SCOPED_TRACE(testing::Message() << name << ", family " << family);
        std::conditional_t<wide, addrinfoW, addrinfo> hints{};
        hints.ai_family = family;
        std::vector<ip::addr> found(1);
        const unsigned long code =
            winsock2::getaddrinfo(text<TypeParam>(name).c_str(), found, text<TypeParam>("7").c_str(),
                                  family == no_hints ? nullptr : &hints);
        EXPECT_TRUE(expected.empty() ? code == 11001 || code == 11004 : code == 0) << code;
        EXPECT_EQ(all_numbers(found), expected);
    }
}

TYPED_TEST(LabNames, LeadToHostsAndBack) {
    const auto name = text<TypeParam>("v6.lab.test");
    const ip::addr v6{ip::family_ipv6, {0x20, 1, 0xD, 0xB8, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x12}};
    const test_socket s(SOCK_STREAM, ip::family_ipv6);
    ip::addr remote;
    EXPECT_EQ(
        winsock2::connectbyname(s, name.c_str(), text<TypeParam>("7").c_str(), nullptr, &remote, nullptr),
        0u);
    EXPECT_EQ(numbers(remote), "2001:db8:1::12");
    EXPECT_EQ(echoed(s), "across the lab");

    std::basic_string<TypeParam> host;
    winsock2::address_to_string(host, v6);
    EXPECT_EQ(host, name);

    std::vector<ip::addr> found;
    EXPECT_EQ(winsock2::getaddrinfo(text<TypeParam>("chain.lab.test").c_str(), found), 0u);
    const bool wide = sizeof(TypeParam) == 2; // which finds addresses of both families
    EXPECT_EQ(all_numbers(found), wide ? texts({"198.51.100.10", "2001:db8:1::10"}) : texts{"198.51.100.10"});

    ip::dnsapi dns;
    ASSERT_EQ(dns.init(), 0u);
    EXPECT_EQ(dns.addresses_from_name(name.c_str(), found, ip::family_ipv6), 0u);
    EXPECT_EQ(all_numbers(found), texts{"2001:db8:1::12"});
    EXPECT_EQ(dns.addresses_from_name(text<TypeParam>("nobody.lab.test").c_str(), found), 9003u);
    std::vector<std::basic_string<TypeParam>> names;
    EXPECT_EQ(dns.names_from_address(v6, names), 0u);
    EXPECT_EQ(names, std::vector{name});
    EXPECT_EQ(dns.free(), 0u);
}

} // namespace
