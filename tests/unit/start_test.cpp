// Starts and stops of the C interface, beside those of the classes, and the list of entries.

#include "ip/detail/helper.h"
#include "kvtip/kvtip.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace {

using ip::detail::the_helper;

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
    EXPECT_EQ(kvtip_stop(), 0u);
    EXPECT_EQ(the_helper().init_count, 0);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 0u);
}

TEST(Start, LeavesNoCountBehindWhenItFails) {
    for (const char* missing : {"Iphlpapi.dll", "SendARP", "Ws2_32.dll", "WSAStartup"}) {
        SCOPED_TRACE(missing);
        scripted::system system;
        system.missing = {missing};
        EXPECT_NE(kvtip_start(), 0u);
        EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED});
        EXPECT_EQ(the_helper().init_count, 0);
        EXPECT_EQ(the_helper().iphlpapi.load_count, 0u);
        EXPECT_EQ(the_helper().winsock.start_count, 0u);
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
    EXPECT_EQ(kvtip_stop(), DWORD{WSANOTINITIALISED});
    EXPECT_EQ(the_helper().iphlpapi.load_count, 0u);
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
    EXPECT_EQ(kvtip_entries(nullptr), DWORD{ERROR_INVALID_PARAMETER});
}

} // namespace
