// The socket calls and name services of the built DLL on the real system, by loopback.

#include "real_sockets.h"

namespace {

/// Binds a socket to a free port; returns where.
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

class Loopback : public each_family {
protected:
    const char* const loopback = is_ipv4 ? "127.0.0.1" : "::1";
};
FOR_EACH_FAMILY(Loopback);

TEST_P(Loopback, ConnectionCarriesDataUntilItIsClosed) {
    test_socket listener(SOCK_STREAM, family);
    const ip::saddr server = listen(listener, loopback);
    test_socket client(SOCK_STREAM, family, WSA_FLAG_OVERLAPPED);
    ASSERT_EQ(connect(client, server), 0u);
    expect_blocking(client);
    test_socket served;
    ip::addr peer;
    const auto later = [](auto...) { return CF_DEFER; };
    EXPECT_EQ(winsock2::accept(listener, served, peer, later), 11002u);
    ASSERT_EQ(winsock2::accept(listener, served, peer), 0u);
    EXPECT_EQ(numbers(peer), loopback);

    ip::saddr own;
    ip::saddr other;
    EXPECT_EQ(winsock2::getsockname(client, own), 0u);
    EXPECT_EQ(winsock2::getpeername(served, other), 0u);
    EXPECT_EQ(numbers(own), numbers(other));

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

TEST_P(Loopback, DatagramMakesItsReceiverReadyAndTellsItsSender) {
    const test_socket sender(SOCK_DGRAM, family);
    const test_socket receiver(SOCK_DGRAM, family);
    const ip::saddr source = bind(sender, loopback);
    const ip::saddr target = bind(receiver, loopback);
    pollfd polled[] = {{sender.handle, POLLRDNORM, 0}, {receiver.handle, POLLRDNORM, 0}};
    EXPECT_EQ(winsock2::poll(polled, 2, 0), 0);
    EXPECT_FALSE(is_ready(receiver, false, 0ms));
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

TYPED_TEST_SUITE(each_width, widths, );

TYPED_TEST(each_width, NamesAndTextsLeadToTheLoopback) {
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
    TypeParam own[256] = {};
    EXPECT_EQ(winsock2::gethostname(own, 256), 0u);
    EXPECT_NE(*own, 0);
}

} // namespace
