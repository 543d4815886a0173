// The socket calls and name services of the built DLL on the real system, by loopback.

#include "real_sockets.h"

#include <utility>

namespace {

class Loopback : public each_family {
protected:
    const char* const loopback = is_ipv4 ? "127.0.0.1" : "::1";

    /// Binds a socket to a free port; returns where.
    ip::saddr bind(const ip::socket& s, const char* address = nullptr) const {
        EXPECT_EQ(winsock2::bind(s, endpoint(address == nullptr ? loopback : address)), 0u);
        ip::saddr bound;
        EXPECT_EQ(winsock2::getsockname(s, bound), 0u);
        return bound;
    }

    ip::saddr listen(const ip::socket& s, const char* address = nullptr) const {
        const ip::saddr bound = bind(s, address);
        EXPECT_EQ(winsock2::listen(s, 5), 0u);
        return bound;
    }
};
FOR_EACH_FAMILY(Loopback);

TEST_P(Loopback, ConnectionCarriesDataBothWays) {
    test_socket listener(SOCK_STREAM, family);
    const ip::saddr server = listen(listener);
    test_socket client(SOCK_STREAM, family);
    ASSERT_EQ(connect(client, server), 0u);
    ASSERT_TRUE(is_ready(listener));
    test_socket served;
    ip::addr peer;
    ASSERT_EQ(winsock2::accept(listener, served, peer), 0u);
    EXPECT_EQ(numbers(peer), loopback);

    ip::saddr own;
    ip::saddr other;
    EXPECT_EQ(winsock2::getsockname(client, own), 0u);
    EXPECT_EQ(winsock2::getpeername(served, other), 0u);
    EXPECT_EQ(numbers(own), numbers(other));
    EXPECT_EQ(winsock2::getpeername(client, other), 0u);
    EXPECT_EQ(numbers(server), numbers(other));

    EXPECT_EQ(winsock2::send(client, "question", 8), 8);
    unsigned long waiting = 0;
    EXPECT_TRUE(is_ready(served));
    EXPECT_EQ(winsock2::ioctlsocket(served, FIONREAD, &waiting), 0u);
    EXPECT_EQ(waiting, 8u);
    EXPECT_EQ(receive(served), "question");
    EXPECT_EQ(winsock2::send(served, "answer", 6), 6);
    ASSERT_TRUE(is_ready(client));
    char buffer[8];
    ip::saddr sender = server;
    EXPECT_EQ(winsock2::recvfrom(client, buffer, sizeof buffer, sender), 6);
    EXPECT_EQ(sender.family, ip::family_none);

    EXPECT_EQ(winsock2::shutdown(client, 1), 0u);
    EXPECT_EQ(receive(served), "");
    EXPECT_EQ(winsock2::closesocket(client), 0u);
    EXPECT_EQ(client.handle, ip::socket::none);
    EXPECT_EQ(winsock2::closesocket(client), 0u);
    EXPECT_EQ(winsock2::send(client, "late", 4), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10038u);
}

/// Answers what `data` points at, and leaves the caller's family there.
int decide(WSABUF* caller, WSABUF*, QOS*, QOS*, WSABUF*, WSABUF*, unsigned int*, std::uint64_t data) {
    return std::exchange(*reinterpret_cast<int*>(data), *reinterpret_cast<short*>(caller->buf));
}

TEST_P(Loopback, ConditionDecidesOnACaller) {
    test_socket listener(SOCK_STREAM, family);
    const ip::saddr server = listen(listener);
    for (const auto& [answer, code] : {std::pair{CF_ACCEPT, 0u}, {CF_REJECT, 10061u}, {CF_DEFER, 11002u}}) {
        test_socket client(SOCK_STREAM, family);
        ASSERT_EQ(connect(client, server), 0u);
        ASSERT_TRUE(is_ready(listener));
        test_socket served;
        ip::addr peer;
        int decision = answer;
        EXPECT_EQ(
            winsock2::accept(listener, served, peer, decide, reinterpret_cast<std::uint64_t>(&decision)),
            code);
        EXPECT_EQ(decision, family);
        EXPECT_EQ(served.handle != ip::socket::none, code == 0);
        EXPECT_EQ(peer.family, code == 0 ? family : ip::family_none);
    }
    test_socket deferred;
    ip::addr peer;
    EXPECT_EQ(winsock2::accept(listener, deferred, peer), 0u);
}

TEST_P(Loopback, DatagramTellsItsSender) {
    test_socket sender(SOCK_DGRAM, family);
    test_socket receiver(SOCK_DGRAM, family);
    const ip::saddr source = bind(sender);
    const ip::saddr target = bind(receiver);
    char buffer[8];
    ip::saddr from;
    EXPECT_EQ(winsock2::sendto(sender, "question", 8, target), 8);
    ASSERT_TRUE(is_ready(receiver));
    EXPECT_EQ(winsock2::recvfrom(receiver, buffer, sizeof buffer, from), 8);
    EXPECT_EQ(std::string(buffer, 8), "question");
    EXPECT_EQ(numbers(from), numbers(source));

    EXPECT_EQ(winsock2::sendto(sender, "too long for it", 15, target), 15);
    ASSERT_TRUE(is_ready(receiver));
    EXPECT_EQ(winsock2::recvfrom(receiver, buffer, sizeof buffer, from), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10040u);
    EXPECT_EQ(from.family, ip::family_none);

    EXPECT_EQ(winsock2::sendto(sender, "nowhere", 7, {}), SOCKET_ERROR);
    EXPECT_NE(winsock2::getlasterror(), 0u);
    EXPECT_NE(winsock2::bind(receiver, {}), 0u);
}

TEST_P(Loopback, ConnectWithATimeOutIsRefusedOrLeavesTheSocketBlocking) {
    test_socket listener(SOCK_STREAM, family);
    const ip::saddr server = listen(listener);
    const test_socket client(SOCK_STREAM, family, WSA_FLAG_OVERLAPPED);
    EXPECT_EQ(connect(client, server), 0u);
    expect_blocking(client);
    EXPECT_EQ(winsock2::closesocket(listener), 0u);
    EXPECT_EQ(connect(test_socket(SOCK_STREAM, family), server), 10061u);
    EXPECT_EQ(winsock2::connect(test_socket(SOCK_STREAM, family), server), 10061u);
}

TEST_P(Loopback, PollAndSelectTellWhatIsReady) {
    test_socket ready(SOCK_DGRAM, family);
    test_socket idle(SOCK_DGRAM, family);
    bind(idle);
    EXPECT_EQ(winsock2::sendto(ready, "x", 1, bind(ready)), 1);
    EXPECT_TRUE(is_ready(ready));
    EXPECT_FALSE(is_ready(idle, false, 0ms));
    EXPECT_TRUE(is_ready(idle, true));

    pollfd polled[] = {{ready.handle, POLLRDNORM, 0}, {idle.handle, POLLRDNORM, 0}};
    EXPECT_EQ(winsock2::poll(polled, 2, 1000), 1);
    EXPECT_EQ(polled[0].revents, POLLRDNORM);
    EXPECT_EQ(polled[1].revents, 0);
    EXPECT_EQ(winsock2::poll(polled + 1, 1, 0), 0);
    EXPECT_EQ(winsock2::select(nullptr, nullptr, nullptr, nullptr), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10022u);
}

TEST_P(Loopback, ConnectByNameReachesAnAddressText) {
    const test_socket listener(SOCK_STREAM, family);
    const test_socket narrow(SOCK_STREAM, family);
    const test_socket wide(SOCK_STREAM, family);
    const std::string port = std::to_string(std::rotl(listen(listener).port, 8));
    ip::addr local;
    ip::addr remote;
    EXPECT_EQ(winsock2::connectbyname(narrow, loopback, port.c_str(), &local, &remote, nullptr), 0u);
    EXPECT_EQ(numbers(local), loopback);
    EXPECT_EQ(numbers(remote), loopback);
    const std::wstring wide_port(port.begin(), port.end());
    EXPECT_EQ(winsock2::connectbyname(wide, is_ipv4 ? L"127.0.0.1" : L"::1", wide_port.c_str(), nullptr,
                                      nullptr, nullptr),
              0u);
}

TEST_P(Loopback, DualStackServesBothFamilies) {
    for (const bool dual_stack : {true, false}) {
        const test_socket listener(SOCK_STREAM, ip::family_ipv6, 0, dual_stack);
        int only_ipv6 = 0; // of which Wine writes one byte
        int length = sizeof only_ipv6;
        char* value = reinterpret_cast<char*>(&only_ipv6);
        EXPECT_EQ(winsock2::getsockopt(listener, IPPROTO_IPV6, IPV6_V6ONLY, value, &length), 0u);
        EXPECT_EQ(only_ipv6 == 0, dual_stack);
        ip::saddr server = endpoint(loopback);
        server.port = listen(listener, "::").port;
        const test_socket client(SOCK_STREAM, family);
        ASSERT_EQ(connect(client, server), is_ipv4 && !dual_stack ? 10061u : 0u);
        if (dual_stack || !is_ipv4) {
            test_socket served;
            ip::addr peer;
            EXPECT_EQ(winsock2::accept(listener, served, peer), 0u);
            EXPECT_EQ(numbers(peer), is_ipv4 ? "::ffff:127.0.0.1" : "::1");
        }
    }
}

using SocketLibrary = real_sockets;

TEST_F(SocketLibrary, SocketOfNoFamilyIsIpv4AndOneOfAnUnknownFamilyFails) {
    EXPECT_EQ(winsock2::bind(test_socket(SOCK_STREAM, ip::family_none), endpoint("127.0.0.1")), 0u);
    test_socket unknown;
    EXPECT_EQ(winsock2::socket(unknown, SOCK_STREAM, 0, 99), 10047u);
    EXPECT_EQ(unknown.handle, ip::socket::none);
}

TEST_F(SocketLibrary, NamesTheHostAlikeInBothWidths) {
    char narrow[256];
    wchar_t wide[256];
    EXPECT_EQ(winsock2::gethostname(narrow, 256), 0u);
    EXPECT_EQ(winsock2::gethostname(wide, 256), 0u);
    EXPECT_NE(*narrow, 0);
    EXPECT_EQ(text<wchar_t>(narrow), wide);

    wide[0] = L'?';
    EXPECT_EQ(winsock2::gethostname(narrow, 1), 10014u);
    EXPECT_EQ(winsock2::gethostname(wide, 1), 10014u);
    EXPECT_NE(winsock2::gethostname(narrow, -1), 0u);
    EXPECT_EQ(winsock2::gethostname(wide, -1), 8u);
    EXPECT_EQ(wide[0], L'?');
}

template <class Char>
class Names : public real_sockets {};
using widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Names, widths, );

TYPED_TEST(Names, AreFoundWithoutAnyServer) {
    const auto localhost = text<TypeParam>("localhost");
    std::vector<ip::addr> found(1);
    ASSERT_EQ(winsock2::getaddrinfo(localhost.c_str(), found), 0u);
    ASSERT_FALSE(found.empty());
    if constexpr (std::is_same_v<TypeParam, char>) {
        EXPECT_EQ(numbers(found.front()), "127.0.0.1");
    }
    for (const char* address : {"127.0.0.1", "::1"}) {
        std::basic_string<TypeParam> host;
        std::basic_string<TypeParam> service;
        EXPECT_EQ(
            winsock2::getnameinfo(endpoint(address, 81), &host, &service, NI_NUMERICHOST | NI_NUMERICSERV),
            0u);
        EXPECT_EQ(host, text<TypeParam>(address));
        EXPECT_EQ(service, text<TypeParam>("81"));
    }
    std::basic_string<TypeParam> name;
    EXPECT_EQ(winsock2::getnameinfo(endpoint("127.0.0.1"), &name, nullptr, NI_NAMEREQD), 0u);
    EXPECT_FALSE(name.empty());
    SetLastError(WSAEFAULT); // Wine sets no code of its own
    winsock2::address_to_string(name, {});
    EXPECT_TRUE(name.empty());
}

} // namespace
