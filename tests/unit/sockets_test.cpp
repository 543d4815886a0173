// The socket calls, and the connect with a time-out.

#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

namespace {

using ip::winsock2;
using scripted::bytes;
using scripted::socket_address;
using scripted::text;

constexpr timeval three_seconds{3, 0};

struct Sockets : testing::Test {
    Sockets() {
        WSADATA data;
        EXPECT_EQ(winsock.start(data), 0u);
    }
    ~Sockets() override {
        for (const auto& [handle, state] : std::map(system.sockets)) {
            ip::socket rest{handle};
            winsock2::closesocket(rest);
        }
    }

    ip::socket open() {
        ip::socket s;
        EXPECT_EQ(winsock2::socket(s, SOCK_STREAM, 0), 0u);
        system.calls.clear();
        return s;
    }
    std::string calls() {
        const std::string result = system.called();
        system.calls.clear();
        return result;
    }

    scripted::system system;
    winsock2 winsock;
};

TEST_F(Sockets, HandTheirArgumentsToTheSystemAndItsCodeBack) {
    char buffer[8] = "ping";
    int length = 4;
    unsigned long argument = 7;
    fd_set read{1, {101}}, write{1, {101}}, except{1, {101}};
    pollfd fd{101, POLLIN, 0};
    ip::saddr ipv4 = socket_address("192.0.2.1", 80), ipv6 = socket_address("2001:db8::1", 1), out;
    const ip::saddr none{};
    ipv6.flow_info = 5;
    ipv6.scope_id = 9;
    system.peers = {{"192.0.2.1", 0}};
    const struct {
        const char* call;
        std::function<long long(const ip::socket&)> operation;
        long long result = 0;
    } rows[] = {
        {"bind(101,192.0.2.1@80,16)", [&](auto& s) { return winsock2::bind(s, ipv4); }},
        {"bind(101,2001:db8::1@1/5%9,28)", [&](auto& s) { return winsock2::bind(s, ipv6); }},
        {"bind(101,-,0)", [&](auto& s) { return winsock2::bind(s, none); }},
        {"listen(101,5)", [&](auto& s) { return winsock2::listen(s, 5); }},
        {"connect(101,192.0.2.1@80,16)", [&](auto& s) { return winsock2::connect(s, ipv4); }},
        {"connect(101,-,0)", [&](auto& s) { return winsock2::connect(s, none); }, WSAEFAULT},
        {"shutdown(101,2)", [&](auto& s) { return winsock2::shutdown(s, 2); }},
        {"getsockopt(101,65535,4103,4)",
         [&](auto& s) { return winsock2::getsockopt(s, 65535, 4103, buffer, &length); }},
        {"setsockopt(101,41,27,ping,4)", [&](auto& s) { return winsock2::setsockopt(s, 41, 27, "ping", 4); }},
        {"ioctlsocket(101,2147772030,7)",
         [&](auto& s) { return winsock2::ioctlsocket(s, static_cast<long>(FIONBIO), &argument); }},
        {"getpeername(101,128)", [&](auto& s) { return winsock2::getpeername(s, out); }},
        {"getsockname(101,128)", [&](auto& s) { return winsock2::getsockname(s, out); }},
        {"recv(101,8,1)", [&](auto& s) { return winsock2::recv(s, buffer, 8, 1); }, 4},
        {"send(101,pin,3,1)", [&](auto& s) { return winsock2::send(s, "pin", 3, 1); }, 3},
        {"recvfrom(101,8,1,128)", [&](auto& s) { return winsock2::recvfrom(s, buffer, 8, out, 1); }, 4},
        {"sendto(101,pin,3,1,192.0.2.1@80,16)",
         [&](auto& s) { return winsock2::sendto(s, "pin", 3, ipv4, 1); }, 3},
        {"select(9,101,-,-,3)",
         [&](auto&) { return winsock2::select(&read, nullptr, nullptr, &three_seconds, 9); }, 1},
        {"select(0,-,101,101,-1)",
         [&](auto&) {
             write = except = {1, {101}};
             return winsock2::select(nullptr, &write, &except, nullptr);
         },
         1},
        {"WSAPoll(101,768,1,-5)", [&](auto&) { return winsock2::poll(&fd, 1, -5); }, 1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.call);
        const std::string name = std::string(row.call).substr(0, std::string_view(row.call).find('('));
        const bool is_count = row.result > 0 && row.result < WSABASEERR;
        system.next_socket = 101;
        ip::socket s = open();
        system.sockets[101].connected = true;
        EXPECT_EQ(row.operation(s), row.result);
        EXPECT_EQ(calls(), row.call);
        system.answers[name] = {10055};
        EXPECT_EQ(row.operation(s), is_count ? SOCKET_ERROR : 10055);
        EXPECT_EQ(winsock2::getlasterror(), 10055u);
        EXPECT_EQ(calls(), row.call);
        EXPECT_EQ(winsock2::closesocket(s), 0u);
    }
}

TEST_F(Sockets, OpenWithTheFamilyAskedForAndInBothStacksOnlyFromVersion6On) {
    const struct {
        unsigned short family;
        bool dual_stack;
        DWORD version;
        std::string calls;
    } rows[] = {{.family = 0, .dual_stack = true, .version = 10, .calls = "WSASocketW(2,3,4,1,5,6)"},
                {.family = AF_INET, .dual_stack = true, .version = 10, .calls = "WSASocketW(2,3,4,1,5,6)"},
                {.family = AF_INET6, .dual_stack = false, .version = 10, .calls = "WSASocketW(23,3,4,1,5,6)"},
                {.family = AF_INET6, .dual_stack = true, .version = 5, .calls = "WSASocketW(23,3,4,1,5,6)"},
                {.family = AF_INET6,
                 .dual_stack = true,
                 .version = 6,
                 .calls = "WSASocketW(23,3,4,1,5,6) setsockopt(101,41,27," + std::string(4, 0) + ",4)"}};
    WSAPROTOCOL_INFOW info;
    ip::socket s;
    system.calls.clear();
    for (const auto& row : rows) {
        ip::detail::the_helper().version.dwMajorVersion = row.version;
        system.next_socket = 101;
        s.exchange(99); // dropped, not closed
        EXPECT_EQ(winsock2::socket(s, 3, 4, row.family, &info, 5, 6, row.dual_stack), 0u);
        EXPECT_EQ(s.handle, 101u);
        EXPECT_EQ(calls(), row.calls);
        winsock2::closesocket(s);
        system.calls.clear();
    }
    s.exchange(99);
    EXPECT_EQ(winsock2::socket(s, 1, 0, 17), 10047u);
    EXPECT_EQ(s.handle, ip::socket::none);
    // Another thread puts a handle into the object before the reason is known.
    static ip::socket* const shared = &s;
    ip::detail::the_helper().winsock.WSAGetLastError = [] {
        shared->exchange(98);
        return WSAEAFNOSUPPORT;
    };
    EXPECT_EQ(winsock2::socket(s, 1, 0, 17), 0u);
    EXPECT_EQ(s.handle, 98u);
}

TEST_F(Sockets, CloseAgainWhatFailsToServeBothStacksIfThereIsAReason) {
    system.answers["setsockopt"] = {10042, 10042, scripted::system::no_reason};
    system.answers["closesocket"] = {10038};
    for (const unsigned long code : {10042u, 10042u, 0u}) { // a failing close changes nothing
        ip::socket s;
        EXPECT_EQ(winsock2::socket(s, 1, 0, AF_INET6, nullptr, 0, 0, true), code);
        EXPECT_EQ(s.handle == ip::socket::none, code != 0);
        EXPECT_EQ(system.sockets.size(), code == 0 ? 1u : 0u);
    }
}

TEST_F(Sockets, CloseOnceAndAreEmptyAfterwards) {
    ip::socket s = open();
    system.answers["closesocket"] = {10038};
    for (const unsigned long code : {10038u, 0u}) {
        EXPECT_EQ(winsock2::closesocket(s), code);
        EXPECT_EQ(s.handle, ip::socket::none);
    }
    EXPECT_EQ(calls(), "closesocket(101)");
}

TEST_F(Sockets, CloseOnceWhenTwoThreadsDo) {
    constexpr int rounds = 10'000;
    std::vector<ip::socket> all(rounds);
    system.logs = false;
    for (ip::socket& s : all) {
        ASSERT_EQ(winsock2::socket(s, 1, 0), 0u);
    }
    std::atomic<int> arrived = 0;
    const auto close_all = [&] {
        int round = 0;
        for (ip::socket& s : all) {
            ++arrived;
            ++round;
            // On a busy machine the other thread may need this one's processor to arrive.
            for (int spins = 0; arrived < 2 * round; ++spins) {
                spins < 1000 ? YieldProcessor() : std::this_thread::yield();
            }
            winsock2::closesocket(s);
        }
    };
    std::thread other(close_all);
    close_all();
    other.join();
    EXPECT_TRUE(system.sockets.empty());
}

int decide(WSABUF*, WSABUF*, QOS*, QOS*, WSABUF*, WSABUF*, unsigned int*, std::uint64_t data) {
    return static_cast<int>(data);
}

TEST_F(Sockets, AcceptPeersOfEveryFamily) {
    ip::socket s = open(), accepted{99};
    ip::saddr other = socket_address("192.0.2.9");
    other.family = 17;
    const struct {
        std::string from, peer;
        ip::winsock2::accept_condition condition = nullptr;
    } rows[] = {{.from = bytes(socket_address("192.0.2.9", 2)), .peer = "192.0.2.9"},
                {.from = bytes(socket_address("2001:db8::9")), .peer = "2001:db8::9", .condition = decide},
                {.from = bytes(other), .peer = "-"},
                {.from = "", .peer = "-"}};
    constexpr std::uint64_t accepts = 0x5'0000'0000; // the lower half is 0
    for (const auto& row : rows) {
        system.outputs["WSAAccept"] = {row.from};
        ip::addr peer = scripted::address("::8");
        EXPECT_EQ(winsock2::accept(s, accepted, peer, row.condition, accepts), 0u);
        EXPECT_EQ(text(peer), row.peer);
        EXPECT_EQ(accepted.handle, system.next_socket - 1);
        const std::string condition = row.condition == nullptr ? "-" : "+";
        EXPECT_EQ(calls(), "WSAAccept(101,128," + condition + ",21474836480)");
    }
    const std::pair<std::uint64_t, unsigned long> refusals[] = {{CF_REJECT, 10061}, {CF_DEFER, 11002}};
    for (const auto& [decision, code] : refusals) {
        ip::addr peer = scripted::address("::8");
        accepted.handle = 99;
        EXPECT_EQ(winsock2::accept(s, accepted, peer, decide, decision), code);
        EXPECT_EQ(accepted.handle, ip::socket::none);
        EXPECT_EQ(text(peer), "::8");
    }
}

TEST_F(Sockets, GiveTheAddressesOfBothEnds) {
    const ip::socket s = open();
    ip::saddr peer = socket_address("::8"), local;
    system.answers["getpeername"] = {10057};
    for (const char* expected : {"10057 ::8 192.0.2.10@1", "0 192.0.2.9@2 192.0.2.10@1"}) {
        const std::string code = text(winsock2::getpeername(s, peer) + winsock2::getsockname(s, local));
        EXPECT_EQ(code + " " + text(peer) + " " + text(local), expected);
    }
}

TEST_F(Sockets, NameTheSenderOfADatagram) {
    const struct {
        std::string data, from;
        std::string expected; ///< result and sender
    } rows[] = {
        {.data = "ping", .from = bytes(socket_address("192.0.2.9", 2)), .expected = "4 192.0.2.9@2"},
        {.data = "ping", .from = bytes(socket_address("2001:db8::9", 2)), .expected = "4 2001:db8::9@2"},
        {.data = "too long", .from = bytes(socket_address("::9")), .expected = "-1 -"},
        {.data = "", .from = "", .expected = "0 -"}}; // as on a connected socket
    ip::socket s = open();
    for (const auto& row : rows) {
        char buffer[4];
        ip::saddr sender = socket_address("::8");
        system.outputs["recvfrom"] = {row.data, row.from};
        const int result = winsock2::recvfrom(s, buffer, 4, sender);
        EXPECT_EQ(text(result) + " " + text(sender), row.expected);
    }
}

TEST_F(Sockets, ConnectInTime) {
    const std::string on = "ioctlsocket(101,2147772030,1) connect(101,192.0.2.1@80,16)",
                      off = " ioctlsocket(101,2147772030,0)", wait = " select(64,-,101,101,3)",
                      ask = " getsockopt(101,65535,4103,4)";
    const struct {
        DWORD peer = 0; ///< how the attempt ends
        std::string failing = "";
        DWORD failure = 0;
        unsigned long code = 0;
        std::string calls;
    } rows[] = {
        {.calls = on + wait + off},
        {.peer = WSAECONNREFUSED, .code = 10061, .calls = on + wait + ask + off},
        {.peer = WSAETIMEDOUT, .code = 1460, .calls = on + wait + off},
        {.failing = "connect", .failure = 10051, .code = 10051, .calls = on + off},
        {.failing = "connect", .failure = scripted::system::no_reason, .calls = on + off},
        {.failing = "select", .failure = 10038, .code = 10038, .calls = on + wait + off},
        {.peer = WSAECONNREFUSED,
         .failing = "getsockopt",
         .failure = 10038,
         .code = 10035,
         .calls = on + wait + ask + off},
        {.peer = WSAECONNREFUSED, .failing = "ioctlsocket", .failure = 10050, .code = 10061, .calls = on}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.failing + row.calls);
        system.next_socket = 101;
        ip::socket s = open();
        system.peers["192.0.2.1"] = row.peer;
        system.answers[row.failing] = {row.failure};
        EXPECT_EQ(winsock2::connect(s, socket_address("192.0.2.1", 80), &three_seconds), row.code);
        EXPECT_EQ(calls(), row.calls);
        winsock2::closesocket(s);
    }
}

TEST_F(Sockets, ConnectWithoutLimitWaitsAndOneThatRanOutOfTimeGoesOnInTheBackground) {
    const ip::socket s = open();
    const timeval limit{};
    system.peers = {{"192.0.2.1", WSAETIMEDOUT}, {"192.0.2.2", 0}};
    EXPECT_EQ(winsock2::connect(s, socket_address("192.0.2.1"), nullptr), 10060u);
    EXPECT_EQ(system.count("select(64,-,101,101,-1)"), 1);
    EXPECT_EQ(winsock2::connect(s, socket_address("192.0.2.1"), &limit), 1460u);
    EXPECT_FALSE(system.sockets[s.handle].non_blocking);
    EXPECT_EQ(winsock2::connect(s, socket_address("192.0.2.2"), &limit), 10037u);
}

TEST_F(Sockets, ConnectHasSucceededIfTheSocketIsInBothSetsAndGoesOnIfItIsInNeither) {
    static u_int left;
    ip::detail::the_helper().winsock.select = [](int, fd_set*, fd_set* write, fd_set* except, auto*) {
        *write = *except = {left, {left == 1 ? write->fd_array[0] : 0}};
        return 1;
    };
    system.peers["192.0.2.1"] = WSAECONNREFUSED;
    for (const auto& [count, code] : {std::pair(1u, 0u), {0u, 10035u}, {0xFFFFFFFF, 10035u}}) {
        const ip::socket s = open();
        system.sockets[s.handle].error = WSAECONNREFUSED;
        left = count;
        EXPECT_EQ(winsock2::connect(s, socket_address("192.0.2.1"), &three_seconds), code);
    }
}

} // namespace
