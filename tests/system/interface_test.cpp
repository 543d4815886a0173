// The C++ interface of the built DLL on the real system, over the loopback. The other side is made with the
// classes.

#include "ip/ip.h"
#include "kvtip/kvtip.hpp"
#include "kvtip/winsock.hpp"

#include <gtest/gtest.h>

#include <winsock2.h>

#include <algorithm>
#include <array>
#include <cstdlib>
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
        endpoint = kvtip::to_endpoint(local);
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
    const std::size_t size = socket.receive(room, 60s);
    return {reinterpret_cast<const char*>(room.data()), size};
}

constexpr const char* port_variable = "KVTIP_TEST_PORT";

/// A second program: this one with another test, which connects to a port and waits.
class other_program {
public:
    explicit other_program(std::uint16_t port) {
        SetEnvironmentVariableA(port_variable, std::to_string(port).c_str());
        char path[MAX_PATH];
        GetModuleFileNameA(nullptr, path, MAX_PATH);
        std::string command = std::string(path) + " --gtest_also_run_disabled_tests --gtest_filter=*Other*";
        STARTUPINFOA silent{};
        silent.cb = sizeof silent;
        silent.dwFlags = STARTF_USESTDHANDLES; // none
        EXPECT_TRUE(CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                   &silent, &process_));
    }
    ~other_program() {
        EXPECT_EQ(WaitForSingleObject(process_.hProcess, 60000), WAIT_OBJECT_0);
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
    }
    other_program(const other_program&) = delete;
    other_program& operator=(const other_program&) = delete;

    std::uint32_t id() const { return process_.dwProcessId; }

private:
    PROCESS_INFORMATION process_{};
};

TEST(DISABLED_OtherProgram, ConnectsAndWaits) {
    const auto port = static_cast<std::uint16_t>(std::stoi(std::getenv(port_variable)));
    kvtip::connect_result made = kvtip::connect(kvtip::endpoint(loopback, port));
    made.socket.send("2", 60s);
    EXPECT_EQ(receive(made.socket), "");
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
    std::size_t size = 9;
    EXPECT_EQ(kvtip_close(handle), 0u);
    EXPECT_EQ(kvtip_close(handle), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(kvtip_send(handle, "x", 1, 1, &size), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(kvtip_receive(handle, room.data(), room.size(), 1, &size), std::uint32_t{WSAENOTSOCK});
    EXPECT_EQ(size, 0u);
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
    const auto expect_owner = [](const char* what, const kvtip::process& owner, std::uint32_t id) {
        EXPECT_EQ(owner.id, id) << what;
        EXPECT_TRUE(owner.name.starts_with("interface_test")) << owner.name;
    };
    listening_socket listener;
    const bound_socket datagrams(SOCK_DGRAM);
    kvtip::connect_result first = kvtip::connect(listener.endpoint);
    class_socket first_peer;
    listener.accept(first_peer);
    const other_program other(listener.endpoint.port());
    class_socket second_peer; // its end makes the other program end
    listener.accept(second_peer);
    ip::saddr second_end;
    EXPECT_EQ(winsock2::getpeername(second_peer, second_end), 0u);
    const kvtip::endpoint second = kvtip::to_endpoint(second_end);
    // Wine does not know who owns a socket before such a call.
    char data;
    EXPECT_EQ(winsock2::recv(second_peer, &data, 1), 1);
    EXPECT_EQ(first.socket.send("1", 1s), 1u);
    unsigned long waiting = 0;
    winsock2::ioctlsocket(listener, static_cast<long>(FIONREAD), &waiting);
    winsock2::ioctlsocket(datagrams, static_cast<long>(FIONREAD), &waiting);

    expect_owner("listener", kvtip::listener(kvtip::protocol::tcp, listener.endpoint), self);
    expect_owner("UDP endpoint", kvtip::listener(kvtip::protocol::udp, datagrams.endpoint), self);
    expect_owner("first connection", kvtip::owner(first.local, listener.endpoint), self);
    expect_owner("second connection", kvtip::owner(second, listener.endpoint), other.id());
    std::error_code error;
    EXPECT_EQ(kvtip::owner(second, first.local, error).id, 0u);
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
        std::find_if(ours.begin(), ours.end(), [&](const auto& each) { return each.local == first.local; });
    ASSERT_NE(found, ours.end());
    EXPECT_EQ(found->remote, listener.endpoint);
    EXPECT_EQ(found->process_name, "");
    EXPECT_TRUE(
        std::none_of(ours.begin(), ours.end(), [&](const auto& each) { return each.local == second; }));
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

TEST_F(Interface, ListsItsEntries) {
    const auto entries = kvtip::entries();
    EXPECT_TRUE(std::all_of(entries.begin(), entries.end(), [](const auto& each) {
        return !each.required || each.state == kvtip::entry_state::bound;
    }));
}

} // namespace
