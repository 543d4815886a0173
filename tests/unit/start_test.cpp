// Starts and stops of the C interface, beside those of the classes, and the list of entries.

#include "ip/detail/helper.h"
#include "kvtip/kvtip.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace {

using ip::detail::the_helper;

void expect_nothing_held() {
    EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED});
    EXPECT_EQ(the_helper().init_count, 0);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 0u);
    EXPECT_EQ(the_helper().winsock.start_count, 0u);
}

TEST(Start, KeepsTheLibrariesUntilTheLastStop) {
    const scripted::system system;
    EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED});
    EXPECT_EQ(kvtip_start(), 0u);
    EXPECT_EQ(kvtip_start(), 0u);
    EXPECT_EQ(kvtip_stop(), 0u);
    EXPECT_EQ(system.count("FreeLibrary(Ws2_32.dll)"), 0);
    SetLastError(7);
    EXPECT_EQ(kvtip_stop(), 0u);
    EXPECT_EQ(GetLastError(), 7u);
    EXPECT_NE(system.count("FreeLibrary(Ws2_32.dll)"), 0);
    EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED});
}

TEST(Start, BindsTheEntriesAfterAFailedStartOfAClass) {
    scripted::system system;
    system.missing = {"SendARP"};
    ip::lib lib;
    EXPECT_NE(lib.init(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, ~0u);
    system.missing.clear();
    EXPECT_EQ(kvtip_start(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 1u);
    EXPECT_EQ(kvtip_stop(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, ~0u);
}

TEST(Start, KeepsTheEntriesBesideAClassThatStops) {
    const scripted::system system;
    EXPECT_EQ(kvtip_start(), 0u);
    ip::lib lib;
    EXPECT_EQ(lib.init(), 0u);
    EXPECT_EQ(lib.free(), 0u);
    EXPECT_EQ(system.count("FreeLibrary(Iphlpapi.dll)"), 0);
    EXPECT_EQ(lib.init(), 0u);
    EXPECT_EQ(kvtip_stop(), 0u);
    EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED}) << "one too many takes nothing from the class";
    EXPECT_EQ(the_helper().init_count, 1);
    EXPECT_EQ(lib.free(), 0u);
    expect_nothing_held();
}

TEST(Start, KeepsTheEntriesWhileOthersFail) {
    const struct {
        const char* what;
        void (*act)(); ///< while a call runs, which must go on
    } rows[] = {
        {"a class's second start",
         [] {
             ip::winsock2 winsock;
             WSADATA data;
             EXPECT_EQ(winsock.start(data), DWORD{WSASYSNOTREADY});
         }},
        {"a class's start of another library",
         [] { EXPECT_EQ(ip::dnsapi().init(), DWORD{ERROR_MOD_NOT_FOUND}); }},
        {"a class's start and stop",
         [] {
             ip::hlpapi iphlp;
             EXPECT_EQ(iphlp.load() + iphlp.free(), 0u);
         }},
        {"a stop too many", [] { EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED}); }},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        scripted::system system;
        system.hosts = {{"fe80::1%7", {{"192.0.2.9"}}}};
        system.adapters = {full_adapter(system)};
        bool acted = false;
        system.during["GetAdaptersAddresses"] = [&] {
            system.missing = {"Dnsapi.dll"};
            system.answers["WSAStartup"] = {WSASYSNOTREADY};
            row.act();
            acted = true;
            EXPECT_EQ(system.called("FreeLibrary(Iphlpapi") + system.called("FreeLibrary(Ws2"), "");
        };
        const kvtip_resolution* found = nullptr;
        EXPECT_EQ(kvtip_resolve("fe80::1%a friendly name", nullptr, nullptr, &found), 0u);
        kvtip_free(found);
        EXPECT_TRUE(acted);
        expect_nothing_held();
    }
}

TEST(Start, LeavesNoCountBehindWhenItFails) {
    for (const char* missing : {"Iphlpapi.dll", "SendARP", "Ws2_32.dll", "WSAStartup"}) {
        SCOPED_TRACE(missing);
        scripted::system system;
        system.missing = {missing};
        EXPECT_NE(kvtip_start(), 0u);
        expect_nothing_held();
    }
}

TEST(Start, HoldsInSeveralThreads) {
    scripted::system system;
    system.logs = false;
    system.yields = true;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 200; ++round) {
                const bool starts = (round + i) % 2 == 0;
                EXPECT_EQ(starts ? kvtip_start() : 0, 0u);
                const char* name = nullptr;
                EXPECT_EQ(kvtip_host_name(&name), 0u);
                kvtip_free(name);
                EXPECT_EQ(starts ? kvtip_stop() : 0, 0u);
            }
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
    expect_nothing_held();
}

TEST(Entries, SayWhatTheSystemHas) {
    scripted::system system;
    system.missing = {"getaddrinfo", "GetBestRoute2", "WSAStartup", "Dnsapi.dll"};
    const kvtip_entry_list* entries = nullptr;
    ASSERT_EQ(kvtip_entries(&entries), 0u);
    const auto state_of = [&](const std::string& name) {
        const auto* end = entries->rows + entries->count;
        const auto* found =
            std::find_if(entries->rows, end, [&](const auto* row) { return row->name == name; });
        return found == end ? 0 : (*found)->state + 10 * (*found)->required;
    };
    EXPECT_EQ(state_of("getaddrinfo"), KVTIP_ENTRY_SUBSTITUTED);
    EXPECT_EQ(state_of("GetBestRoute2"), KVTIP_ENTRY_MISSING);
    EXPECT_EQ(state_of("WSAStartup"), 10u + KVTIP_ENTRY_MISSING);
    EXPECT_EQ(state_of("SendARP"), 10u + KVTIP_ENTRY_BOUND);
    EXPECT_EQ(state_of("DnsQuery_W"), KVTIP_ENTRY_MISSING);
    EXPECT_EQ(state_of("RasEnumConnectionsW"), KVTIP_ENTRY_BOUND);
    kvtip_free(entries);
}

} // namespace
