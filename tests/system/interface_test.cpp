// The C++ interface of the built DLL on the real system, over the loopback. The other side is made with the
// classes.

#include "ip/ip.h"
#include "kvtip/kvtip.hpp"
#include "kvtip/winsock.hpp"

#include <gtest/gtest.h>

#include <winsock2.h>

#include <algorithm>
#include <array>
#include <string>
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

/// A socket at a free port of the loopback; if it is one of TCP, it listens.
class server_socket : public class_socket {
public:
    explicit server_socket(int type = SOCK_STREAM) {
        EXPECT_EQ(winsock2::socket(*this, type, 0, AF_INET, nullptr, 0, 0), 0u);
        ip::saddr local = kvtip::to_saddr(kvtip::endpoint(loopback, 0));
        EXPECT_EQ(winsock2::bind(*this, local), 0u);
        EXPECT_EQ(type == SOCK_STREAM ? winsock2::listen(*this, 5) : 0, 0u);
        EXPECT_EQ(winsock2::getsockname(*this, local), 0u);
        endpoint = kvtip::to_endpoint(local);
    }

    void accept(ip::socket& peer) {
        ip::addr from;
        EXPECT_EQ(winsock2::accept(*this, peer, from), 0u);
    }

    kvtip::endpoint endpoint;
};

std::string receive(kvtip::socket& socket) {
    std::array<std::byte, 100> room;
    const std::size_t size = socket.receive(room, 60s);
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
    server_socket listener;
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
    std::size_t size = 9;
    EXPECT_EQ(kvtip_close(handle), 0u);
    EXPECT_EQ(kvtip_close(handle), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(kvtip_send(handle, "x", 1, 1, &size), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(kvtip_receive(handle, room.data(), room.size(), 1, &size), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(size, 0u);
}

TEST_F(Interface, FindsOwners) {
    server_socket listener;
    const server_socket datagrams(SOCK_DGRAM);
    kvtip::connect_result made = kvtip::connect(listener.endpoint);
    class_socket peer;
    listener.accept(peer);
    // Wine does not know who owns a socket before such a call.
    EXPECT_EQ(made.socket.send("1", 1s), 1u);
    unsigned long waiting = 0;
    for (const ip::socket* each : std::initializer_list<const ip::socket*>{&listener, &peer, &datagrams}) {
        winsock2::ioctlsocket(*each, static_cast<long>(FIONREAD), &waiting);
    }
    for (const kvtip::process& owner : {kvtip::listener(kvtip::protocol::tcp, listener.endpoint),
                                        kvtip::listener(kvtip::protocol::udp, datagrams.endpoint),
                                        kvtip::owner(made.local, listener.endpoint)}) {
        EXPECT_EQ(owner.id, GetCurrentProcessId());
        EXPECT_TRUE(owner.name.starts_with("interface_test")) << owner.name;
        EXPECT_TRUE(owner.path.ends_with("\\" + owner.name) && !owner.path_error) << owner.path;
    }
    std::error_code error;
    EXPECT_EQ(kvtip::owner(datagrams.endpoint, made.local, error).id, 0u);
    EXPECT_EQ(error, windows_error(ERROR_NOT_FOUND));
    EXPECT_EQ(kvtip::listener(kvtip::protocol::tcp, datagrams.endpoint, error).id, 0u);
    EXPECT_EQ(error, windows_error(ERROR_NOT_FOUND));

    const auto at_listener = kvtip::connections({.protocol = kvtip::protocol::tcp,
                                                 .family = kvtip::family::ipv4,
                                                 .local_port = listener.endpoint.port(),
                                                 .paths = true});
    EXPECT_EQ(at_listener.size(), 2u) << "the listener and its socket";
    for (const kvtip::connection& each : at_listener) {
        EXPECT_EQ(each.local, listener.endpoint);
        EXPECT_TRUE(each.process_path.ends_with(each.process_name)) << each.process_path;
        EXPECT_EQ(static_cast<bool>(each.remote), each.state == kvtip::connection_state::established);
    }
}

TEST_F(Interface, ListsRoutes) {
    for (const kvtip::route_entry& each : kvtip::routes()) {
        EXPECT_EQ(each.on_link, !each.next_hop) << each.network;
        const kvtip::route_list same = kvtip::routes(
            {.family = each.network.address().family(), .interface_index = each.interface_index});
        EXPECT_TRUE(std::any_of(same.begin(), same.end(), [&](const kvtip::route_entry& other) {
            return other.network == each.network && other.adapter == each.adapter;
        })) << each.network;
    }
}

TEST_F(Interface, ResolvesTheHostAndTheWildcard) {
    const kvtip::resolution wildcard =
        kvtip::resolve("", 80, {.family = kvtip::family::ipv4, .passive = true});
    ASSERT_EQ(wildcard.endpoints.size(), 1u);
    EXPECT_EQ(wildcard.endpoints[0].to_string(), "0.0.0.0:80");
    EXPECT_FALSE(kvtip::resolve(kvtip::host_name(), "", {.canonical_name = true}).canonical_name.empty());
    EXPECT_THROW(kvtip::connect("no.such.host.invalid", 80), std::system_error);
}

TEST_F(Interface, PingsFromASource) {
    std::error_code error;
    const kvtip::ping_result result = kvtip::ping(loopback, {.source = loopback}, error);
    if (error == windows_error(ERROR_ACCESS_DENIED)) {
        GTEST_SKIP() << "this host lets only root ping";
    }
    EXPECT_FALSE(error) << error.message();
    EXPECT_EQ(result.outcome, kvtip::ping_outcome::answered) << result.message();
    EXPECT_EQ(result.from, loopback);
    EXPECT_NE(result.time_to_live, 0u);
}

using Lab = Interface;

TEST_F(Lab, LinkLocalAddressesKeepTheirScopeFromTheAdapterToTheConnect) {
    const auto adapters = kvtip::adapters({.family = kvtip::family::ipv6, .up = true});
    const auto lab0 =
        std::find_if(adapters.begin(), adapters.end(), [](const auto& each) { return each.name == "lab0"; });
    ASSERT_NE(lab0, adapters.end());
    const auto local = std::find_if(lab0->addresses.begin(), lab0->addresses.end(),
                                    [](const auto& each) { return each.address.is_link_local(); });
    ASSERT_NE(local, lab0->addresses.end());
    const std::uint32_t scope = kvtip::scope("lab0");
    EXPECT_EQ(local->address.scope(), scope);
    const kvtip::address server = kvtip::address::parse("fe80::5eff:fe10:1")->with_scope(scope);
    for (const std::string& host : {server.to_string(), server.without_scope().to_string() + "%lab0"}) {
        kvtip::connect_result made = kvtip::connect(host, 7);
        EXPECT_EQ(made.remote, kvtip::endpoint(server, 7)) << host;
        EXPECT_EQ(made.local.address(), local->address) << host;
        made.socket.send("across the link", 60s);
        EXPECT_EQ(receive(made.socket), "across the link");
    }
    std::error_code error;
    const kvtip::endpoint elsewhere(server.with_scope(kvtip::scope("lab6")), 7);
    EXPECT_FALSE(kvtip::connect(elsewhere, {.timeout = 1s}, error).socket);
}

} // namespace
