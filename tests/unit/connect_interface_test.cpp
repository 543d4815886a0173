// Connects of the C interface, and what is done with their sockets.

#include "kvtip/canceller.hpp"
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
                shown += " " + texts({each->remote, each->code, each->start, each->time});
            }
            return shown;
        };
        return result_of(show, function, given...);
    }
    std::string connect(const char* host, std::uint32_t timeout = 0, std::uint32_t family = 0,
                        const kvtip::canceller* cancel = nullptr) {
        const kvtip_connect_options options{sizeof options, timeout, family, 0,
                                            kvtip::detail::native_handle(cancel)};
        return made_by(kvtip_connect, host, "80", &options);
    }
    std::string connect(const kvtip_endpoint& to) { return made_by(kvtip_connect_endpoint, &to, nullptr); }

    scripted::system system;
    kvtip_socket socket = KVTIP_NO_SOCKET;
};

const std::string connected = "0 1|192.0.2.10@1|192.0.2.9@2|0|0| 192.0.2.9@80|0|0|0|";

TEST_F(Connect, MakesABlockingSocket) {
    EXPECT_EQ(connect(peer), connected);
    EXPECT_EQ(system.called("WSASocketW"), "(2,1,6,0,0,129)"); // not inherited
    EXPECT_EQ(system.called("WSAEventSelect"), "(101,1,16) (101,0,0)");
    EXPECT_FALSE(system.sockets.at(socket).non_blocking);
    // Without that, it would be none that a caller expects.
    for (const char* call : {"ioctlsocket", "WSAEventSelect(102,0,0)", "getpeername"}) {
        system.next_socket = 102;
        system.answers[call] = {5};
        EXPECT_EQ(connect(peer), "5 0|-|-|0|0| 192.0.2.9@80|5|0|0|") << call;
    }
}

TEST_F(Connect, TriesBothFamiliesInTurn) {
    system.hosts = {{"both", {{{"::6", 80}, {"::7", 80}, {"::8", 80}, {"192.0.2.7", 80}, {"192.0.2.8", 80}}}},
                    {"four", {{{"192.0.2.7", 80}, {"::6", 80}, {"192.0.2.8", 80}}}}};
    const auto tried = [&](const char* host) {
        connect(host); // which fails at once with every address
        return system.called("connect");
    };
    system.peers.clear();
    EXPECT_EQ(tried("both"), "(101,::6@80,28) (102,192.0.2.7@80,16) (103,::7@80,28) (104,192.0.2.8@80,16)"
                             " (105,::8@80,28)");
    EXPECT_EQ(tried("four"), "(106,192.0.2.7@80,16) (107,::6@80,28) (108,192.0.2.8@80,16)");
}

/// What each address answers, and after how long; and what comes of it: the code, the time, and of each attempt
/// its beginning, time and code.
struct contest_case {
    const char* name;
    std::vector<std::pair<DWORD, std::uint64_t>> answers;
    std::uint32_t timeout;
    const char* expected;
};

const contest_case contests[] = {
    {"silent address", {{WSAETIMEDOUT, 0}, {0, 1}}, 0, "0 in 251: 0+251=995 250+1=0"},
    {"refusal that the system repeats", {{WSAECONNREFUSED, 1}, {0, 1}}, 0, "0 in 251: 0+251=995 250+1=0"},
    {"failure", {{WSAEHOSTUNREACH, 10}, {0, 5}}, 0, "0 in 15: 0+10=10065 10+5=0"},
    {"late failure",
     {{WSAEHOSTUNREACH, 260}, {WSAETIMEDOUT, 0}, {0, 1}},
     0,
     "0 in 261: 0+260=10065 250+11=995 260+1=0"},
    {"slower first", {{0, 300}, {0, 100}}, 0, "0 in 300: 0+300=0 250+50=995"},
    {"faster second", {{0, 300}, {0, 20}}, 0, "0 in 270: 0+270=995 250+20=0"},
    {"last one fails last",
     {{WSAEHOSTUNREACH, 5}, {WSAENETUNREACH, 300}, {WSAECONNREFUSED, 0}},
     0,
     "10061 in 2255: 0+5=10065 5+300=10051 255+2000=10061"},
    {"first one fails last",
     {{WSAECONNREFUSED, 0}, {WSAENETUNREACH, 0}},
     0,
     "10061 in 2000: 0+2000=10061 250+0=10051"},
    {"time over", {{WSAETIMEDOUT, 0}, {WSAETIMEDOUT, 0}}, 400, "10060 in 400: 0+400=10060 250+150=10060"},
    {"time over before the next", {{WSAETIMEDOUT, 0}, {0, 0}}, 250, "10060 in 250: 0+250=10060"},
    {"failure at the end of the time", {{WSAEHOSTUNREACH, 400}}, 400, "10065 in 400: 0+400=10065"},
    {"no end", {{WSAETIMEDOUT, 0}}, KVTIP_FOREVER, "10060 in 21000: 0+21000=10060"},
};

TEST_F(Connect, IsWonByTheFirstThatAnswers) {
    for (const contest_case& row : contests) {
        std::vector<scripted::endpoint> addresses;
        for (const auto& [code, distance] : row.answers) {
            const std::string address = "192.0.2." + std::to_string(addresses.size() + 1);
            addresses.emplace_back(address.c_str(), 80);
            system.peers[address] = code;
            system.distances[address] = distance;
        }
        system.hosts["peer"] = {addresses};
        const auto show = [&](const kvtip_connect_result& result) {
            kvtip_close(std::exchange(socket, result.socket));
            EXPECT_EQ(result.code == 0, socket != KVTIP_NO_SOCKET);
            std::string shown = "in " + text(result.time) + ":";
            for (const kvtip_attempt* each : std::span(result.attempts.rows, result.attempts.count)) {
                shown += " " + text(each->start) + "+" + text(each->time) + "=" + text(each->code);
            }
            return shown;
        };
        const kvtip_connect_options options{sizeof options, row.timeout, 0, 0, nullptr};
        EXPECT_EQ(result_of(show, kvtip_connect, "peer", "80", &options), row.expected) << row.name;
        EXPECT_EQ(system.sockets.size(), socket == KVTIP_NO_SOCKET ? 0u : 1u) << row.name;
    }
}

TEST_F(Connect, HasOneTimeForTheLookupAndAllAttempts) {
    system.hosts["peer"].delay = 1000;
    EXPECT_EQ(connect("peer", 1600),
              "0 1|192.0.2.10@1|192.0.2.9@2|1000|1500| 192.0.2.7@80|995|0|500| 192.0.2.8@80|995|250|250|"
              " 192.0.2.9@80|0|500|0|");
    EXPECT_EQ(connect("peer", 1300),
              "10060 0|-|-|1000|1300| 192.0.2.7@80|10060|0|300| 192.0.2.8@80|10060|250|50|");
    EXPECT_EQ(connect("peer", 999), "10060 0|-|-|999|999|");
    EXPECT_EQ(connect("peer", 0, 6), "11004 0|-|-|1000|1000|");
    EXPECT_EQ(connect("nobody"), "11001 0|-|-|0|0|");
    // A system that cannot end the lookup makes no attempt after it.
    system.durations = {{"GetAddrInfoW", 1000}};
    system.missing = {"GetAddrInfoExW"};
    EXPECT_EQ(connect("peer", 1000), "10060 0|-|-|1000|1000|");
}

TEST_F(Connect, IsRefusedAtOnceByThisHost) {
    system.peers = {{"127.0.0.1", WSAECONNREFUSED}, {"::1", WSAECONNREFUSED}, {"192.0.2.9", 0}};
    system.hosts = {{"localhost", {{{"::1", 80}, {"127.0.0.1", 80}}}}};
    EXPECT_EQ(connect("localhost"), "10061 0|-|-|0|0| ::1@80|10061|0|0| 127.0.0.1@80|10061|0|0|");
    EXPECT_EQ(system.called("WSAIoctl"), "(101,65535,254) (102,65535,254)");
    const auto refused = [&](const char* time) {
        const std::string expected =
            std::string("10061 0|-|-|0|") + time + "| 127.0.0.1@80|10061|0|" + time + "|";
        EXPECT_EQ(connect(scripted::endpoint_of("127.0.0.1:80")), expected);
    };
    system.build = 16298; // an older system repeats it once at least
    system.unload_library();
    system.load_library();
    refused("500");
    system.answers["WSAIoctl"] = {WSAEOPNOTSUPP};
    refused("2000");
    system.missing = {"WSAIoctl"};
    refused("2000");
    EXPECT_EQ(connect(peer), connected);
    EXPECT_EQ(system.called("WSAIoctl"), "") << "no other host";
}

TEST_F(Connect, EndsWhenItIsCancelled) {
    system.hosts = {{"peer", {{{"192.0.2.8", 80}, {"192.0.2.9", 80}}}}};
    system.distances = {{"192.0.2.9", 100}};
    kvtip::canceller cancel;
    DWORD no_time = 0;
    const auto cancelled_after = [&](std::uint64_t time) {
        cancel = kvtip::canceller();
        system.later.emplace(system.clock + time, [&] {
            cancel.cancel();
            system.pass(no_time); // what else happens at that moment
        });
        return connect("peer", 0, 0, &cancel);
    };
    system.hosts["peer"].delay = 10;
    EXPECT_EQ(cancelled_after(5), "995 0|-|-|5|5|") << "during the lookup";
    system.hosts["peer"].delay = 0;
    EXPECT_EQ(cancelled_after(300), "995 0|-|-|0|300| 192.0.2.8@80|995|0|300| 192.0.2.9@80|995|250|50|");
    EXPECT_EQ(connect("peer", 0, 0, &cancel), "995 0|-|-|0|0|") << "so does every later one";
    EXPECT_EQ(system.called("connect"), "");
    system.hosts = {{"peer", {{{"192.0.2.9", 80}}}}};
    EXPECT_EQ(cancelled_after(100), "995 0|-|-|0|100| 192.0.2.9@80|995|0|100|") << "with the answer";
    EXPECT_EQ(cancelled_after(101).substr(0, 4), "0 1|") << "after it";
    DWORD rest = 30000;
    while (system.pass(rest)) { // what the system still does with closed sockets
    }
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
