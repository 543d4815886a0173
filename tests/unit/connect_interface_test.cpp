// Connects of the C interface, and what is done with their sockets.

#include "results.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

namespace {

using scripted::endpoint_of;
using scripted::result_of;
using scripted::text;
using scripted::texts;

const kvtip_endpoint peer = endpoint_of("192.0.2.9:80");

struct Connect : testing::Test {
    Connect() {
        system.hosts = {{"peer", {{{"192.0.2.7", 80}, {"192.0.2.8", 80}, {"192.0.2.9", 80}}}}};
        system.peers = {{"192.0.2.7", WSAECONNREFUSED}, {"192.0.2.8", WSAETIMEDOUT}, {"192.0.2.9", 0}};
    }
    ~Connect() override { kvtip_close(socket); }

    /// The code, whether there is a socket, its ends, the times, and the attempts with theirs.
    template <class... Arguments, class... Given>
    std::string made_by(std::uint32_t (*function)(Arguments...), const Given&... given) {
        system.calls.clear();
        const auto show = [this](const kvtip_connect_result& result) {
            kvtip_close(std::exchange(socket, result.socket));
            std::string shown = texts(
                {socket != KVTIP_NO_SOCKET, result.local, result.remote, result.lookup_time, result.time});
            for (const kvtip_attempt* each : std::span(result.attempts.rows, result.attempts.count)) {
                shown += " " + texts({each->remote, each->code, each->time});
            }
            return shown;
        };
        return result_of(show, function, given...);
    }
    std::string connect(const char* host, std::uint32_t timeout = 0, std::uint32_t family = 0) {
        const kvtip_connect_options options{sizeof options, timeout, family};
        return made_by(kvtip_connect, host, "80", &options);
    }
    std::string connect(const kvtip_endpoint& to) { return made_by(kvtip_connect_endpoint, &to, nullptr); }

    scripted::system system;
    kvtip_socket socket = KVTIP_NO_SOCKET;
};

const std::string connected = "0 1|192.0.2.10@1|192.0.2.9@2|0|0| 192.0.2.9@80|0|0|";

TEST_F(Connect, TriesOneAddressAfterTheOther) {
    EXPECT_EQ(connect(peer), connected);
    EXPECT_EQ(system.called("WSASocketW"), "(2,1,6,0,0,129)"); // not inherited
    EXPECT_FALSE(system.sockets.at(socket).non_blocking);

    system.durations = {{"GetAddrInfoW", 1000}, {"connect", 500}};
    EXPECT_EQ(connect("peer", 5000),
              "10060 0|-|-|1000|5500| 192.0.2.7@80|10061|500| 192.0.2.8@80|10060|4000|");
    EXPECT_EQ(system.called("select"), "(64,-,102,102,4) (64,-,103,103,3)"); // what is left in whole seconds
    system.peers["192.0.2.8"] = WSAEHOSTUNREACH;
    EXPECT_EQ(connect("peer", 5000), "0 1|192.0.2.10@1|192.0.2.9@2|1000|2500| 192.0.2.7@80|10061|500|"
                                     " 192.0.2.8@80|10065|500| 192.0.2.9@80|0|500|");
    system.peers["192.0.2.9"] = WSAECONNREFUSED;
    EXPECT_EQ(connect("peer", KVTIP_FOREVER), "10061 0|-|-|1000|2500| 192.0.2.7@80|10061|500|"
                                              " 192.0.2.8@80|10065|500| 192.0.2.9@80|10061|500|");
    EXPECT_EQ(connect("peer", 2400).substr(0, 5), "10061") << "the time ends with the last attempt";
    EXPECT_EQ(connect("peer", 1000), "10060 0|-|-|1000|1000|") << "no attempt after a slow lookup";
    EXPECT_EQ(connect("nobody"), "11001 0|-|-|1000|1000|");
    EXPECT_EQ(connect("peer", 0, 6), "11004 0|-|-|1000|1000|");
}

TEST_F(Connect, KeepsSocketsFromChildProcessesOnOlderSystems) {
    system.answers["WSASocketW"] = {WSAEINVAL};
    EXPECT_EQ(connect(peer), connected);
    EXPECT_EQ(system.called("WSASocketW"), "(2,1,6,0,0,129) (2,1,6,0,0,1)");
    EXPECT_EQ(system.called("SetHandleInformation"), "(101,1,0)");
    system.answers["WSASocketW"] = {WSAEINVAL};
    system.missing = {"SetHandleInformation"};
    EXPECT_EQ(connect(peer), connected);
    system.missing = {"QueryPerformanceCounter"}; // another clock
    EXPECT_EQ(connect(peer).substr(0, 4), "0 1|");
}

TEST_F(Connect, MakesSocketsThatAreClosed) {
    EXPECT_EQ(connect(peer), connected);
    SetLastError(7);
    EXPECT_EQ(kvtip_close(std::exchange(socket, KVTIP_NO_SOCKET)), 0u);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_EQ(connect(peer), connected);
    system.close_elsewhere(socket);
    EXPECT_EQ(kvtip_close(socket), std::uint32_t{WSAENOTSOCK});
    system.missing = {"Ws2_32.dll"};
    EXPECT_EQ(kvtip_close(5), std::uint32_t{WSAENOTSOCK});
}

TEST_F(Connect, CarriesData) {
    EXPECT_EQ(connect(peer), connected);
    const std::string data(20000, 'x');
    std::size_t size = 9;
    const auto send = [&](std::uint32_t timeout) {
        system.calls.clear();
        const std::uint32_t code = kvtip_send(socket, data.data(), data.size(), timeout, &size);
        return text(code) + " " + text(size) + " " + text(system.called("send(").size());
    };
    EXPECT_EQ(send(10).substr(0, 7), "0 20000");
    system.answers["send"] = {0, WSAECONNRESET};
    EXPECT_EQ(send(10).substr(0, 10), "10054 8192");
    system.durations = {{"send", 6}};
    EXPECT_EQ(send(10).substr(0, 7), "0 20000") << "there is room, so the time does not matter";
    system.sockets.at(socket).full = true;
    for (const std::uint32_t timeout : {0u, 1500u}) {
        const std::uint64_t begin = system.clock;
        EXPECT_EQ(send(timeout), "10060 0 0");
        EXPECT_EQ(system.clock - begin, timeout);
    }

    char buffer[10] = {};
    const auto receive = [&](std::uint32_t timeout) {
        const std::uint32_t code = kvtip_receive(socket, buffer, sizeof buffer, timeout, &size);
        return text(code) + " " + std::string(buffer, size);
    };
    EXPECT_EQ(receive(KVTIP_FOREVER), "0 data");
    system.outputs["recv"] = {""};
    EXPECT_EQ(receive(1), "0 ");
    system.answers["recv"] = {WSAECONNRESET};
    EXPECT_EQ(receive(1), "10054 ");
    system.answers["select"] = {WSAENOTSOCK};
    EXPECT_EQ(receive(1), "10038 ");
    system.sockets.at(socket).silent = true;
    EXPECT_EQ(receive(0), "10060 ");
    EXPECT_EQ(receive(1500), "10060 ");
}

} // namespace
