// The process-wide binding state, and the starts and stops through the client handles.

#include "binding/entry_table.h"
#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>

namespace {

using ip::detail::the_helper;
using scripted::bytes;

std::string counts() {
    return std::to_string(the_helper().init_count) + " " + std::to_string(the_helper().iphlpapi.load_count) +
           " " + std::to_string(the_helper().winsock.start_count);
}

struct Binding : testing::Test {
    scripted::system system;
    WSADATA data{};
    ip::lib lib, other;
    ip::hlpapi hlpapi, other_hlpapi;
    ip::winsock2 winsock;
    ip::dnsapi dns;
};

TEST(Load, AsksForTheProductTypeFromVersion6On) {
    for (const DWORD major : {5u, 6u, 10u}) {
        const scripted::system system(major);
        EXPECT_EQ(ip::lib::is_ipv6_supported(), major >= 6);
        EXPECT_EQ(the_helper().product_type, major >= 6 ? 48u : 0u);
        EXPECT_EQ(system.calls.size(), major >= 6 ? 6u : 3u);
    }
}

TEST_F(Binding, FailsWithTheReasonWhyAnEntryIsNotFound) {
    const auto load = [&]() -> unsigned long {
        system.unload_library();
        try {
            system.load_library();
        } catch (const kvt::exceptions::error& error) {
            return error.error_code();
        }
        return 0;
    };
    const std::pair<const char*, std::function<unsigned long()>> rows[] = {
        {"select", [&] { return lib.init(); }},
        {"DnsQuery_W", [&] { return dns.init(); }},
        {"RtlGetVersion", load}};
    for (const auto& [entry, start] : rows) {
        system.answers["GetProcAddress(" + std::string(entry) + ")"] = {8};
        EXPECT_EQ(start(), 8u) << entry;
    }
}

TEST_F(Binding, FirstInitLoadsLastFreeUnloads) {
    system.calls.clear();
    EXPECT_EQ(lib.free(), 0u);
    EXPECT_EQ(system.called(), "");
    EXPECT_EQ(lib.init() + lib.init() + other.init(), 0u);
    EXPECT_EQ(counts(), "2 1 1");
    EXPECT_EQ(system.called("LoadLibraryW"), "(Iphlpapi.dll) (Ws2_32.dll)");
    EXPECT_EQ(system.called("WSAStartup"), "(257)");
    system.calls.clear();
    EXPECT_EQ(lib.free() + lib.free(), 0u);
    EXPECT_EQ(system.called(), "");
    EXPECT_EQ(other.free(), 0u);
    EXPECT_EQ(system.called(), "FreeLibrary(Iphlpapi.dll) WSACleanup FreeLibrary(Ws2_32.dll)");
    EXPECT_EQ(the_helper().winsock.WSACleanup, nullptr);
    EXPECT_NE(the_helper().winsock.WSAStartup, nullptr);
}

TEST_F(Binding, DroppedHandlesFreeThemselves) {
    {
        ip::lib dropped;
        ip::hlpapi dropped_hlpapi;
        ip::winsock2 dropped_winsock;
        EXPECT_EQ(dropped.init() + dropped_hlpapi.load() + dropped_winsock.start(data), 0u);
        EXPECT_EQ(counts(), "3 2 2");
    }
    EXPECT_EQ(counts(), "0 0 0");
}

TEST_F(Binding, HandleKeepsItsShareWhenTheModuleUnloads) {
    std::optional<ip::lib> outlives(std::in_place);
    EXPECT_EQ(outlives->init(), 0u);
    system.unload_library();
    EXPECT_EQ(system.count("WSACleanup"), 0);
    outlives.reset();
    EXPECT_EQ(system.count("WSACleanup"), 1);
}

TEST_F(Binding, UnloadStopsWhatIsLeftStarted) {
    EXPECT_EQ(the_helper().winsock.start(data, 0x0202) + the_helper().winsock.start(data, 0x0202), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load() + the_helper().iphlpapi.load(), 0u);
    system.calls.clear();
    system.unload_library(); // one stop, one more clean-up, and then the library that is still loaded
    EXPECT_EQ(system.called(), "WSACleanup WSACleanup FreeLibrary(Ws2_32.dll) FreeLibrary(Iphlpapi.dll)");
}

TEST_F(Binding, FailedInitPutsEverythingBackButCountsIpHelperBelowZero) {
    system.missing = {"Ws2_32.dll", "SendARP"};
    EXPECT_EQ(lib.init(), 126u); // the socket library's code counts
    EXPECT_EQ(counts(), "0 4294967295 0");
    EXPECT_EQ(lib.free(), 0u);
    system.missing.clear();
    EXPECT_EQ(lib.init(), 0u);
    EXPECT_EQ(counts(), "1 0 1");
    EXPECT_EQ(system.count("LoadLibraryW(Iphlpapi.dll)"), 1); // goes without that library
}

TEST_F(Binding, ReportsTheFirstErrorOfAStopAndTheSocketLibrarysBeforeThat) {
    const auto start_lib = [&] { return lib.init(); };
    const auto stop_lib = [&] { return lib.free(); };
    const struct {
        const char* failing; ///< one more, whose code counts rather than those before
        std::deque<DWORD> codes;
        std::function<unsigned long()> start, stop;
    } rows[] = {{"FreeLibrary(Iphlpapi.dll)", {5}, start_lib, stop_lib},
                {"FreeLibrary(Ws2_32.dll)", {6}, start_lib, stop_lib},
                {"WSACleanup", {10050}, start_lib, stop_lib},
                {"WSACleanup",
                 {10051, 10050},
                 [&] { return winsock.start(data); },
                 [&] { return winsock.cleanup(); }},
                {"FreeLibrary(Dnsapi.dll)", {8}, [&] { return dns.init(); }, [&] { return dns.free(); }}};
    std::map<std::string, std::deque<DWORD>> answers;
    for (const auto& row : rows) {
        EXPECT_EQ(row.start(), 0u);
        answers[row.failing] = row.codes;
        system.answers = answers;
        EXPECT_EQ(row.stop(), row.codes.front()) << row.failing;
        system.answers.clear();
    }
}

TEST(OldestSystem, HasAllThatTheLibraryNeeds) {
    scripted::system system(4);
    std::size_t required = 0;
    for (const auto& tables : {ip::detail::iphlpapi_tables(), ip::detail::winsock_tables()}) {
        for (const ip::detail::entry_table& table : tables) {
            required += table.is_required ? table.rows.size() : 0;
            for (const ip::detail::entry& row :
                 table.rows.subspan(table.is_required ? table.rows.size() : 0)) {
                system.missing.insert(row.name);
            }
        }
    }
    EXPECT_EQ(required, 35u);
    EXPECT_EQ(ip::lib().init(), 0u);
}

/// The calls that load, bind, start and stop, each once and with the locks that the thread holds then.
std::string locks(const scripted::system& system) {
    const std::map<const void*, std::string> names = {{&the_helper().lock, "library"},
                                                      {&the_helper().iphlpapi.lock, "iphlpapi"},
                                                      {&the_helper().winsock.lock, "winsock"},
                                                      {&the_helper().dnsapi.lock, "dnsapi"}};
    std::string result;
    for (std::size_t i = 0; i < system.calls.size(); ++i) {
        std::string call = system.calls[i].substr(0, system.calls[i].find('('));
        for (const void* lock : system.moments[i].locks) {
            call += " " + (names.contains(lock) ? names.at(lock) : "?");
        }
        result += result.ends_with(call + "\n") ? "" : call + "\n";
    }
    return result;
}

TEST_F(Binding, HoldsTheLocksOfWhatItChangesButNoneOfABindingWhileItStartsSockets) {
    const auto seen_in = [&](const std::function<unsigned long()>& operation) {
        system.calls.clear();
        system.moments.clear();
        EXPECT_EQ(operation(), 0u);
        return locks(system);
    };
    EXPECT_EQ(seen_in([&] { return lib.init(); }),
              "LoadLibraryW library iphlpapi\nGetProcAddress library iphlpapi\nLoadLibraryW library winsock\n"
              "GetProcAddress library winsock\nWSAStartup library\n");
    EXPECT_EQ(seen_in([&] { return dns.init(); }), "LoadLibraryW dnsapi\nGetProcAddress dnsapi\n");
    EXPECT_EQ(seen_in([&] { return dns.free(); }), "FreeLibrary dnsapi\n");
    EXPECT_EQ(seen_in([&] { return winsock.start(data) + winsock.cleanup(); }), "WSAStartup\nWSACleanup\n");
    EXPECT_EQ(seen_in([&] { return lib.free(); }),
              "FreeLibrary library iphlpapi\nWSACleanup library\nFreeLibrary library winsock\n");
}

TEST_F(Binding, EveryWinsockStartCallsWsaStartup) {
    ip::winsock2 older(0x0101), refused(0x0000);
    EXPECT_EQ(winsock.start(data), 0u);
    EXPECT_EQ(winsock.start(data), 0u);
    EXPECT_EQ(data.wVersion, 0x0202);
    EXPECT_EQ(older.start(data), 0u);
    EXPECT_EQ(refused.start(data), 10092u);
    EXPECT_EQ(system.called("WSAStartup"), "(257) (514) (257) (0)"); // the first by the library itself
    EXPECT_EQ(system.count("LoadLibraryW(Ws2_32.dll)"), 1);
    EXPECT_EQ(counts(), "2 1 3");
}

TEST_F(Binding, OneCleanupTooManyTakesAwaySomebodyElsesStart) {
    EXPECT_EQ(lib.init() + winsock.start(data), 0u);
    EXPECT_EQ(winsock.cleanup() + winsock.cleanup(), 0u);
    EXPECT_EQ(counts(), "1 1 0");
}

TEST_F(Binding, IpHelperHandlesCountTheirLoads) {
    EXPECT_EQ(hlpapi.free(), 0u);
    EXPECT_EQ(hlpapi.load() + hlpapi.load() + other_hlpapi.load(), 0u);
    EXPECT_EQ(counts(), "2 3 1");
    EXPECT_EQ(hlpapi.free() + hlpapi.free(), 0u);
    EXPECT_EQ(counts(), "1 2 1");
}

TEST_F(Binding, FailedLoadOfIpHelperLeavesTheHandleUninitialised) {
    EXPECT_EQ(lib.init() + the_helper().iphlpapi.unload(), 0u);
    system.answers = {{"GetProcAddress(SendARP)", {5}}, {"GetProcAddress(GetIpNetTable)", {6}}};
    EXPECT_EQ(hlpapi.load(), 6u); // both are looked up: the second's code counts
    EXPECT_EQ(counts(), "1 0 1");
    EXPECT_EQ(hlpapi.free(), 0u);
}

/// With one of the entries for reading and for writing, which know the address as `record`.
template <class Char, class Raw>
void check_system_text(scripted::system& system, ip::lib& lib, const char* record) {
    const std::string width = sizeof(Char) == 1 ? "A" : "W", size = sizeof(Raw) == 4 ? "16" : "28";
    const std::string reads = "WSAStringToAddress" + width, writes = "WSAAddressToString" + width;
    Raw raw{{9, 9}};
    Char buffer[16] = {};
    system.calls.clear();
    EXPECT_FALSE(ip::detail::from_string(buffer, raw) || ip::detail::to_string(raw, buffer, 16));
    EXPECT_EQ(system.called() + std::to_string(buffer[0]), "0") << "nothing is done before the start";
    EXPECT_EQ(lib.init(), 0u);
    system.calls.clear();
    system.answers[reads] = {10022};
    system.outputs = {{reads, {bytes(scripted::socket_address(record))}}, {writes, {bytes<Char>("written")}}};
    EXPECT_FALSE(ip::detail::from_string(buffer, raw));
    EXPECT_EQ(raw.bytes[0] + raw.bytes[1], 18);
    EXPECT_TRUE(ip::detail::from_string(buffer, raw));
    EXPECT_TRUE(ip::detail::to_string(raw, buffer, 0x1'0000'0010)); // the low 32 bits count
    EXPECT_EQ(scripted::text(buffer), "written");
    EXPECT_FALSE(ip::detail::to_string(raw, buffer, 4));
    const std::string read = reads + "(" + (size == "16" ? "2" : "23") + ",-," + size + ") ",
                      written = writes + "(" + record + "," + size + ",-,";
    EXPECT_EQ(system.called(), read + read + written + "16) " + written + "4)");
    EXPECT_EQ(lib.free(), 0u);
}

TEST_F(Binding, SystemTextGoesToTheEntryOfItsWidth) {
    check_system_text<char, ip::_raw_addr4_no>(system, lib, "192.0.2.1");
    check_system_text<wchar_t, ip::_raw_addr4_no>(system, lib, "192.0.2.1");
    check_system_text<char, ip::_raw_addr6_no>(system, lib, "2001:db8::1");
    check_system_text<wchar_t, ip::_raw_addr6_no>(system, lib, "2001:db8::1");
}

} // namespace
