// Connections and their owners of the C interface.

#include "results.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

namespace {

using scripted::endpoint_of;
using scripted::result_of;
using scripted::text;
using scripted::texts;

constexpr DWORD listening = KVTIP_STATE_LISTEN, established = KVTIP_STATE_ESTABLISHED;

/// A port as the system's tables hold it: only the low 16 bits count.
DWORD port(std::uint16_t number) {
    return 0xBAD0000 | kvtip::library::to_network_order(number);
}

MIB_TCPROW_OWNER_PID tcp4(DWORD state, const kvtip_endpoint& local, const kvtip_endpoint& remote,
                          DWORD process) {
    using ip::detail::ipv4_number;
    const DWORD local_address = ipv4_number(local.address.bytes),
                remote_address = ipv4_number(remote.address.bytes);
    return {state, local_address, port(local.port), remote_address, port(remote.port), process};
}

MIB_TCP6ROW_OWNER_PID tcp6(DWORD state, const kvtip_endpoint& local, const kvtip_endpoint& remote,
                           DWORD process) {
    MIB_TCP6ROW_OWNER_PID row{};
    std::memcpy(row.ucLocalAddr, local.address.bytes, 16);
    std::memcpy(row.ucRemoteAddr, remote.address.bytes, 16);
    row.dwLocalScopeId = local.address.scope;
    row.dwRemoteScopeId = remote.address.scope;
    row.dwLocalPort = port(local.port);
    row.dwRemotePort = port(remote.port);
    row.dwState = state;
    row.dwOwningPid = process;
    return row;
}

const kvtip_endpoint here = endpoint_of("192.0.2.1:1001"), other = endpoint_of("192.0.2.1:1002"),
                     web = endpoint_of("203.0.113.9:443"), here6 = endpoint_of("[fe80::1%7]:1001"),
                     web6 = endpoint_of("[fe80::2%7]:443"), nonsense = endpoint_of("9.9.9.9:443");

struct filter {
    std::uint32_t flags = 0, protocol = 0, family = 0, state = 0, process = 0;
    std::uint16_t local_port = 0, remote_port = 0;
};

struct ConnectionRows : testing::Test {
    ConnectionRows() {
        system.tcp4 = {tcp4(established, here, web, 1),
                       tcp4(listening, endpoint_of("0.0.0.0:80"), nonsense, 2),
                       tcp4(established, other, web, 3), tcp4(11, endpoint_of("192.0.2.1:1003"), web, 0)};
        system.tcp6 = {tcp6(established, here6, web6, 4), tcp6(listening, endpoint_of("[::]:80"), web6, 5),
                       tcp6(listening, endpoint_of("[fe80::1%7]:80"), web6, 8)};
        system.udp4 = {{0, port(53), 6}};
        MIB_UDP6ROW_OWNER_PID udp6{};
        std::memcpy(udp6.ucLocalAddr, here6.address.bytes, 16);
        udp6.dwLocalScopeId = 7;
        udp6.dwLocalPort = port(53);
        udp6.dwOwningPid = 7;
        system.udp6 = {udp6};
        system.processes = {{0, L"[System Process]"}, {3, L"three.exe"}, {1, L"one.exe"}, {6, L"six.exe"}};
    }

    /// The code, what is missing, and the rows as `show` writes them.
    template <class Show>
    std::string list(const kvtip_connection_options* options, Show show) {
        system.calls.clear();
        return result_of(show, kvtip_connections, options);
    }
    std::string whole() {
        return list(nullptr, [](const kvtip_connection& row) {
            return texts({row.local, row.remote, row.protocol, row.state, row.direction, row.process,
                          row.process_name});
        });
    }
    std::string processes(const filter& of) {
        const kvtip_connection_options options{sizeof options, of.flags,   of.protocol,   of.family,
                                               of.state,       of.process, of.local_port, of.remote_port};
        return list(&options, [](const kvtip_connection& row) -> std::string { return text(row.process); });
    }

    std::string owner(std::uint32_t protocol, const char* local, const char* remote) {
        const kvtip_endpoint from = endpoint_of(local), to = endpoint_of(remote == nullptr ? "" : remote);
        return result_of([](const kvtip_process& process) { return text(process.id) + " " + process.name; },
                         kvtip_owner, protocol, &from, remote == nullptr ? nullptr : &to);
    }

    scripted::system system;
};

TEST_F(ConnectionRows, AreListedInFull) {
    system.active = {{established, 1}};
    EXPECT_EQ(whole(), "0 192.0.2.1@1001|203.0.113.9@443|6|5|2|1|one.exe| 0.0.0.0@80|-|6|2|0|2||"
                       " 192.0.2.1@1002|203.0.113.9@443|6|5|2|3|three.exe|"
                       " 192.0.2.1@1003|203.0.113.9@443|6|11|0|0|Idle| fe80::1@1001%7|fe80::2@443%7|6|5|2|4||"
                       " ::@80|-|6|2|0|5|| fe80::1@80%7|-|6|2|0|8|| 0.0.0.0@53|-|17|0|0|6|six.exe|"
                       " fe80::1@53%7|-|17|0|0|7||");
    EXPECT_EQ(system.called("EStats").find("20480"), std::string::npos) << "a listener has no direction";
    MIB_TCP6ROW identity{};
    identity.State = MIB_TCP_STATE_ESTAB;
    std::memcpy(&identity.LocalAddr, here6.address.bytes, 16);
    std::memcpy(&identity.RemoteAddr, web6.address.bytes, 16);
    identity.dwLocalScopeId = identity.dwRemoteScopeId = 7;
    identity.dwLocalPort = port(1001);
    identity.dwRemotePort = port(443);
    EXPECT_EQ(system.opener_of, std::string(reinterpret_cast<const char*>(&identity), sizeof identity));
    system.active = {{established, 0}};
    EXPECT_TRUE(whole().starts_with("0 192.0.2.1@1001|203.0.113.9@443|6|5|1|"));
    system.tcp4.clear();
    system.tcp6.clear();
    system.udp4.clear();
    system.udp6.clear();
    EXPECT_EQ(whole(), "0");
}

TEST_F(ConnectionRows, AreFiltered) {
    constexpr std::uint32_t of_process = KVTIP_CONNECTIONS_OF_PROCESS;
    const struct {
        const char* what;
        filter options;
        const char* expected;
    } rows[] = {
        {"all", {}, "0 1 2 3 0 4 5 8 6 7"},
        {"TCP", {.protocol = KVTIP_TCP}, "0 1 2 3 0 4 5 8"},
        {"UDP", {.protocol = KVTIP_UDP}, "0 6 7"},
        {"IPv4", {.family = 4}, "0 1 2 3 0 6"},
        {"IPv6", {.family = 6}, "0 4 5 8 7"},
        {"a state", {.state = established}, "0 1 3 4"},
        {"a process", {.flags = of_process, .process = 3}, "0 3"},
        {"no process", {.flags = of_process}, "0 0"},
        {"a local port", {.local_port = 80}, "0 2 5 8"},
        {"a remote port, which listeners have none of", {.remote_port = 443}, "0 1 3 0 4"},
        {"all together", {.protocol = KVTIP_TCP, .family = 4, .local_port = 1002, .remote_port = 443}, "0 3"},
        {"an unknown flag", {.flags = 16}, "87"},
        {"an unknown protocol", {.protocol = 1}, "87"},
        {"an unknown family", {.family = 23}, "87"},
        {"an unknown state", {.state = 13}, "87"},
        {"a state of UDP", {.protocol = KVTIP_UDP, .state = established}, "87"},
        {"a process without the flag", {.process = 3}, "87"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(processes(row.options), row.expected) << row.what;
    }
    processes({.flags = KVTIP_CONNECTIONS_NO_NAMES | KVTIP_CONNECTIONS_NO_DIRECTION});
    EXPECT_EQ(system.called("CreateToolhelp32Snapshot") + system.called("EStats"), "");
    processes({.protocol = KVTIP_UDP});
    EXPECT_EQ(system.called("TCP"), "");
}

TEST_F(ConnectionRows, SayWhatTheSystemCannotList) {
    const struct {
        const char* what;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        filter options;
        const char* expected;
    } rows[] = {
        {"no IPv6", {}, {{"TCP(23,1024,1,5,0)", {50}}}, {.protocol = KVTIP_TCP}, "0 missing 2 1 2 3 0"},
        {"no IPv6 of UDP", {}, {{"UDP(23,1024,1,1,0)", {87}}}, {.protocol = KVTIP_UDP}, "0 missing 2 6"},
        {"no IPv4", {}, {{"TCP(2,1024,1,5,0)", {50}}}, {.protocol = KVTIP_TCP}, "0 missing 1 4 5 8"},
        {"another failure", {}, {{"TCP(2,1024,1,5,0)", {87}}}, {}, "87"},
        {"no TCP, but UDP is wanted", {"GetExtendedTcpTable"}, {}, {.protocol = KVTIP_UDP}, "0 6 7"},
        {"no processes", {"Process32NextW"}, {}, {.local_port = 53}, "0 missing 4 6 7"},
        {"no snapshot", {}, {{"CreateToolhelp32Snapshot", {5}}}, {.local_port = 53}, "0 missing 4 6 7"},
        {"a list that breaks off", {}, {{"Process32NextW", {0, 5}}}, {.local_port = 53}, "0 missing 4 6 7"},
        {"no directions", {"GetPerTcpConnectionEStats"}, {}, {.family = 4}, "0 missing 8 1 2 3 0 6"},
        {"no directions of IPv6", {"GetPerTcp6ConnectionEStats"}, {}, {.family = 4}, "0 1 2 3 0 6"},
        {"none of listeners", {"GetPerTcp6ConnectionEStats"}, {}, {.local_port = 80}, "0 missing 8 2 5 8"},
    };
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(processes(row.options), row.expected) << row.what;
    }
}

TEST_F(ConnectionRows, HaveThePathsOfPrograms) {
    const std::wstring long_path(600, L'p');
    system.paths = {{1, L"C:\\one.exe"}, {2, L"C:\\two.exe"}, {3, long_path}, {4, L"no program"}, {5, L"?"}};
    system.tcp4.push_back(system.tcp4.front());
    const std::string opened = "1 2 3 5 6 7 8";
    const struct {
        const char* what;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::uint32_t flags;
        std::string expected, opened;
    } rows[] = {
        {"not asked for", {}, {}, 0, "0 1::0 2::0 3::0 0::0 1::0 4::0 5::0 8::0 6::0 7::0", ""},
        {"one may not be opened, and one reports nothing",
         {},
         {{"OpenProcess(2)", {5}}, {"QueryFullProcessImageNameW", {0, 0, 0, 31}}},
         KVTIP_CONNECTIONS_PATHS,
         "0 1:C:\\one.exe:0 2::5 3:" + text(long_path) +
             ":0 0::0 1:C:\\one.exe:0 4::0 5::31 8::87 6::87 7::87",
         opened},
        {"without the call",
         {"OpenProcess"},
         {},
         KVTIP_CONNECTIONS_PATHS,
         "0 missing 64 1::120 2::120 3::120 0::0 1::120 4::0 5::120 8::120 6::120 7::120",
         ""},
    };
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        const kvtip_connection_options options{sizeof options, row.flags, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(list(&options,
                       [](const kvtip_connection& each) {
                           return text(each.process) + ":" + each.process_path + ":" +
                                  text(each.process_path_code);
                       }),
                  row.expected)
            << row.what;
        std::string ids;
        for (const std::string& call : system.calls) {
            const std::string name = "OpenProcess(";
            ids += call.starts_with(name) ? (ids.empty() ? "" : " ") + call.substr(name.size(), 1) : "";
        }
        EXPECT_EQ(ids, row.opened) << row.what;
    }
    system.missing = {};
    system.answers["OpenProcess"] = {0, 5};
    for (const char* expected : {"C:\\one.exe 0", " 5"}) {
        EXPECT_EQ(
            result_of([](const kvtip_process& each) { return each.path + (" " + text(each.path_code)); },
                      kvtip_owner, std::uint32_t{KVTIP_TCP}, &here, &web),
            std::string("0 ") + expected);
    }
}

TEST_F(ConnectionRows, HaveOwners) {
    const char* const peer = "203.0.113.9:443";
    const struct {
        const char* what;
        std::uint32_t protocol;
        const char *local, *remote, *expected;
    } rows[] = {
        {"one connection", KVTIP_TCP, "192.0.2.1:1001", peer, "0 1 one.exe"},
        {"another between the same hosts", KVTIP_TCP, "192.0.2.1:1002", peer, "0 3 three.exe"},
        {"no such pair", KVTIP_TCP, "192.0.2.1:1001", "9.9.9.9:443", "1168"},
        {"one whose owner is gone", KVTIP_TCP, "192.0.2.1:1003", peer, "1168"},
        {"a connection is no listener", KVTIP_TCP, "192.0.2.1:1001", nullptr, "1168"},
        {"the listener at the wildcard", KVTIP_TCP, "192.0.2.1:80", nullptr, "0 2 "},
        {"the one at the address comes first", KVTIP_TCP, "[fe80::1%7]:80", nullptr, "0 8 "},
        {"the wildcard for another address", KVTIP_TCP, "[2001:db8::1]:80", nullptr, "0 5 "},
        {"a UDP endpoint", KVTIP_UDP, "192.0.2.1:53", nullptr, "0 6 six.exe"},
        {"its protocol counts", KVTIP_TCP, "192.0.2.1:53", nullptr, "1168"},
        {"with scopes", KVTIP_TCP, "[fe80::1%7]:1001", "[fe80::2%7]:443", "0 4 "},
        {"any scope", KVTIP_TCP, "[fe80::1]:1001", "[fe80::2]:443", "0 4 "},
        {"another scope", KVTIP_TCP, "[fe80::1%8]:1001", "[fe80::2%7]:443", "1168"},
        {"another family", KVTIP_TCP, "192.0.2.1:1001", "[fe80::2%7]:443", "87"},
        {"a remote endpoint for UDP", KVTIP_UDP, "192.0.2.1:1001", peer, "87"},
        {"no protocol", 0, "192.0.2.1:1001", peer, "87"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(owner(row.protocol, row.local, row.remote), row.expected) << row.what;
    }
    system.missing = {"CreateToolhelp32Snapshot"};
    EXPECT_EQ(owner(KVTIP_TCP, "192.0.2.1:1001", peer), "0 1 ");
}

} // namespace
