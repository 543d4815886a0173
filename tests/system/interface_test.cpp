// The C++ interface of the built DLL on the real system, over the loopback. The other side is made with the
// classes.

#include "ip/ip.h"
#include "kvtip/kvtip.hpp"

#include <gtest/gtest.h>

#include <winsock2.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <system_error>

using namespace std::chrono_literals;
using ip::winsock2;

namespace {

constexpr kvtip::address loopback(127, 0, 0, 1);

std::error_code windows_error(int code) {
    return {code, kvtip::category()};
}

/// A socket of the classes, closed at the end.
struct class_socket : ip::socket {
    class_socket() = default;
    ~class_socket() { winsock2::closesocket(*this); }
    class_socket(const class_socket&) = delete;
    class_socket& operator=(const class_socket&) = delete;
};

/// A socket at a free port of the loopback.
class bound_socket : public class_socket {
public:
    explicit bound_socket(int type = SOCK_STREAM) {
        EXPECT_EQ(winsock2::socket(*this, type, 0, AF_INET, nullptr, 0, 0), 0u);
        ip::saddr local;
        local.family = ip::family_ipv4;
        local.address4[0] = 127;
        local.address4[3] = 1;
        EXPECT_EQ(winsock2::bind(*this, local), 0u);
        EXPECT_EQ(winsock2::getsockname(*this, local), 0u);
        endpoint = {loopback, static_cast<std::uint16_t>(local.port << 8 | local.port >> 8)};
    }

    kvtip::endpoint endpoint;
};

class listening_socket : public bound_socket {
public:
    listening_socket() { EXPECT_EQ(winsock2::listen(*this, 5), 0u); }

    void accept(ip::socket& peer) {
        ip::addr from;
        EXPECT_EQ(winsock2::accept(*this, peer, from), 0u);
    }
};

std::string receive(kvtip::socket& socket) {
    std::array<std::byte, 100> room;
    const std::size_t size = socket.receive(room, 5s);
    return {reinterpret_cast<const char*>(room.data()), size};
}

class Interface : public testing::Test {
protected:
    void SetUp() override {
        WSADATA data{};
        ASSERT_EQ(classes.start(data), 0u);
    }

    winsock2 classes;
};

TEST_F(Interface, ConnectsAndExchangesData) {
    listening_socket listener;
    kvtip::connect_result made =
        kvtip::connect("localhost", listener.endpoint.port(), {.family = kvtip::family::ipv4});
    class_socket peer;
    listener.accept(peer);
    ASSERT_TRUE(made.socket);
    EXPECT_EQ(made.remote, listener.endpoint);
    EXPECT_EQ(made.local.address(), loopback);
    EXPECT_NE(made.local.port(), 0);
    ASSERT_EQ(made.attempts.size(), 1u);
    EXPECT_FALSE(made.attempts[0].error);

    EXPECT_EQ(made.socket.send("question", 5s), 8u);
    char question[8];
    EXPECT_EQ(winsock2::recv(peer, question, 8), 8);
    EXPECT_EQ(std::string(question, 8), "question");

    std::array<std::byte, 10> room;
    std::error_code error;
    EXPECT_EQ(made.socket.receive(room, 1ms, error), 0u);
    EXPECT_EQ(error, windows_error(WSAETIMEDOUT));
    EXPECT_EQ(winsock2::send(peer, "answer", 6), 6);
    EXPECT_EQ(receive(made.socket), "answer");
    winsock2::shutdown(peer, SD_SEND);
    EXPECT_EQ(receive(made.socket), "");

    // More than the system buffers goes no further while nobody reads.
    const std::string flood(64 << 20, 'x');
    const std::size_t sent = made.socket.send(flood, 100ms, error);
    EXPECT_EQ(error, windows_error(WSAETIMEDOUT));
    EXPECT_GT(sent, 0u);
    EXPECT_LT(sent, flood.size());

    const kvtip_socket handle = made.socket.release();
    EXPECT_EQ(kvtip_close(handle), 0u);
    EXPECT_EQ(kvtip_close(handle), std::uint32_t{WSAENOTSOCK});
}

TEST_F(Interface, SaysWhyAConnectFails) {
    const bound_socket refusing; // nobody listens
    std::error_code error;
    for (const auto& made : {kvtip::connect(refusing.endpoint, {}, error),
                             kvtip::connect("127.0.0.1", refusing.endpoint.port(), {}, error)}) {
        EXPECT_EQ(error, windows_error(WSAECONNREFUSED));
        EXPECT_FALSE(made.socket);
        ASSERT_EQ(made.attempts.size(), 1u);
        EXPECT_EQ(made.attempts[0].remote, refusing.endpoint);
        EXPECT_EQ(made.attempts[0].error, error);
    }
    EXPECT_THROW(kvtip::connect("no.such.host.invalid", 80), std::system_error);
}

TEST_F(Interface, FindsOwners) {
    const std::uint32_t self = GetCurrentProcessId();
    const auto expect_self = [self](const char* what, const kvtip::process& owner) {
        EXPECT_EQ(owner.id, self) << what;
        EXPECT_TRUE(owner.name.starts_with("interface_test")) << owner.name;
    };
    listening_socket listener;
    const bound_socket datagrams(SOCK_DGRAM);
    kvtip::connect_result first = kvtip::connect(listener.endpoint);
    class_socket first_peer;
    listener.accept(first_peer);
    kvtip::connect_result second = kvtip::connect(listener.endpoint);
    class_socket second_peer;
    listener.accept(second_peer);
    // Wine does not know who owns a socket before such a call.
    second.socket.send("2", 1s);
    unsigned long waiting = 0;
    winsock2::ioctlsocket(listener, static_cast<long>(FIONREAD), &waiting);
    winsock2::ioctlsocket(datagrams, static_cast<long>(FIONREAD), &waiting);

    expect_self("listener", kvtip::listener(kvtip::protocol::tcp, listener.endpoint));
    expect_self("UDP endpoint", kvtip::listener(kvtip::protocol::udp, datagrams.endpoint));
    expect_self("connecting socket", kvtip::owner(second.local, second.remote));
    std::error_code error;
    EXPECT_EQ(kvtip::owner(second.local, first.local, error).id, 0u);
    EXPECT_EQ(error, windows_error(ERROR_NOT_FOUND));
    EXPECT_EQ(kvtip::listener(kvtip::protocol::tcp, datagrams.endpoint, error).id, 0u);
    EXPECT_EQ(error, windows_error(ERROR_NOT_FOUND));

    const auto at_listener = kvtip::connections({.protocol = kvtip::protocol::tcp,
                                                 .family = kvtip::family::ipv4,
                                                 .local_port = listener.endpoint.port()});
    EXPECT_EQ(at_listener.size(), 3u) << "the listener and its two sockets";
    for (const kvtip::connection& each : at_listener) {
        EXPECT_EQ(each.local, listener.endpoint);
        EXPECT_EQ(each.process_name.empty(), each.process == 0);
        EXPECT_EQ(static_cast<bool>(each.remote), each.state == kvtip::connection_state::established);
    }
    const auto ours = kvtip::connections({.state = kvtip::connection_state::established,
                                          .process = self,
                                          .names = false,
                                          .directions = false});
    const auto found =
        std::find_if(ours.begin(), ours.end(), [&](const auto& each) { return each.local == second.local; });
    ASSERT_NE(found, ours.end());
    EXPECT_EQ(found->remote, second.remote);
    EXPECT_EQ(found->process_name, "");
}

TEST_F(Interface, LooksNamesUp) {
    const kvtip::resolution found = kvtip::resolve("localhost", 80, {.family = kvtip::family::ipv4});
    ASSERT_FALSE(found.endpoints.empty());
    EXPECT_EQ(found.endpoints[0], kvtip::endpoint(loopback, 80));
    const kvtip::resolution wildcard =
        kvtip::resolve("", 80, {.family = kvtip::family::ipv4, .passive = true});
    ASSERT_EQ(wildcard.endpoints.size(), 1u);
    EXPECT_EQ(wildcard.endpoints[0].to_string(), "0.0.0.0:80");
    EXPECT_FALSE(kvtip::resolve(kvtip::host_name(), "", {.canonical_name = true}).canonical_name.empty());
    const std::vector<std::string> names = kvtip::reverse(loopback);
    ASSERT_EQ(names.size(), 1u);
    EXPECT_FALSE(names[0].empty());
    std::error_code error;
    kvtip::resolve("no.such.host.invalid", "", {}, error);
    EXPECT_EQ(error, windows_error(WSAHOST_NOT_FOUND));
    EXPECT_TRUE(kvtip::dns_query("no.such.host.invalid", kvtip::dns_type::a, {}, error).empty());
    EXPECT_TRUE(error);
}

TEST_F(Interface, PingsTheLoopback) {
    for (const kvtip::address& source : {kvtip::address(), loopback}) {
        for (const std::uint32_t size : {0u, 32u, 65500u}) {
            std::error_code error;
            const kvtip::ping_result result =
                kvtip::ping(loopback, {.time_to_live = 64, .data_size = size, .source = source}, error);
            if (error == windows_error(ERROR_ACCESS_DENIED)) {
                GTEST_SKIP() << "this host lets only root ping";
            }
            EXPECT_FALSE(error) << error.message();
            EXPECT_EQ(result.outcome, kvtip::ping_outcome::answered) << result.message();
            EXPECT_EQ(result.from, loopback);
            EXPECT_NE(result.time_to_live, 0u);
        }
    }
}

TEST_F(Interface, ListsItsEntries) {
    const auto entries = kvtip::entries();
    EXPECT_TRUE(std::all_of(entries.begin(), entries.end(), [](const auto& each) {
        return !each.required || each.state == kvtip::entry_state::bound;
    }));
}

} // namespace
