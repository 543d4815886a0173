// The process-wide binding state, and the starts and stops through the client handles.

#include "ip/detail/helper.h"
#include "kvt/exceptions/error.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <thread>

namespace {

using ip::detail::the_helper;

std::vector<std::string> names(const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t begin = 0, end = 0; end < text.size(); begin = end + 1) {
        end = std::min(text.find(' ', begin), text.size());
        result.push_back(text.substr(begin, end - begin));
    }
    return result;
}

std::vector<std::string> looked_up(const scripted::system& system) {
    std::vector<std::string> result;
    for (const std::string& call : system.calls) {
        if (call.starts_with("GetProcAddress(")) {
            result.push_back(call.substr(15, call.size() - 16));
        }
    }
    return result;
}

TEST(Load, AsksForTheProductTypeFromVersion6On) {
    for (const DWORD major : {5u, 6u, 10u}) {
        scripted::system system(major);
        EXPECT_EQ(ip::lib::is_ipv6_supported(), major >= 6);
        EXPECT_EQ(the_helper().product_type, major >= 6 ? 48u : 0u);
        EXPECT_EQ(the_helper().probe_state, 2u);
        EXPECT_EQ(system.calls.size(), major >= 6 ? 6u : 3u);
    }
}

TEST(Load, NamesWhatTheVersionProbeMisses) {
    // A module's wide name is read as narrow text: one letter of it is left.
    const std::map<std::string, std::string> messages = {
        {"ntdll", "GetModuleHandleW (n)"},
        {"kernel32", "GetModuleHandleW (k)"},
        {"RtlGetVersion", "GetProcAddress (RtlGetVersion)"},
        {"GetProductInfo", "GetProcAddress (GetProductInfo)"}};
    for (const auto& [name, message] : messages) {
        scripted::system system(10, false);
        system.missing = {name};
        try {
            system.load_library();
            ADD_FAILURE() << "loads without " << name;
        } catch (const kvt::exceptions::error& error) {
            EXPECT_EQ(error.what(), message);
            EXPECT_EQ(error.error_code(), message.starts_with("GetProc") ? 127u : 126u);
        }
    }
}

TEST(Lib, FirstInitLoadsLastFreeUnloads) {
    scripted::system system;
    system.calls.clear();
    ip::lib first, second;
    EXPECT_EQ(first.free(), 0u);
    EXPECT_TRUE(system.calls.empty());
    EXPECT_EQ(first.init() + first.init() + second.init(), 0u);
    EXPECT_EQ(the_helper().init_count, 2);
    EXPECT_EQ(first.free() + first.free(), 0u);
    EXPECT_EQ(system.count("LoadLibraryW(Iphlpapi.dll)"), 1);
    EXPECT_EQ(system.count("LoadLibraryW(Ws2_32.dll)"), 1);
    EXPECT_EQ(system.count("WSAStartup(257)"), 1);
    EXPECT_EQ(system.count("WSACleanup"), 0);
    system.calls.clear();
    EXPECT_EQ(second.free(), 0u);
    EXPECT_EQ(system.calls, names("FreeLibrary(Iphlpapi.dll) WSACleanup FreeLibrary(Ws2_32.dll)"));
    EXPECT_EQ(the_helper().winsock.WSACleanup, nullptr);
    EXPECT_NE(the_helper().winsock.WSAStartup, nullptr);
}

TEST(Lib, DroppedHandleFreesItself) {
    scripted::system system;
    {
        ip::lib lib;
        ip::hlpapi hlpapi;
        ip::winsock2 winsock;
        WSADATA data;
        EXPECT_EQ(lib.init() + hlpapi.load() + winsock.start(data), 0u);
    }
    EXPECT_EQ(the_helper().init_count, 0);
    EXPECT_EQ(the_helper().iphlpapi.load_count + the_helper().winsock.start_count, 0u);
}

TEST(Lib, UnloadedModuleStopsWhatAHandleStillHolds) {
    scripted::system system;
    std::optional<ip::lib> outlives;
    outlives.emplace();
    EXPECT_EQ(outlives->init(), 0u);
    system.unload_library();
    EXPECT_EQ(system.count("WSACleanup"), 0); // the handle shares the binding state
    outlives.reset();
    EXPECT_EQ(system.count("WSACleanup"), 1);
}

TEST(Lib, FailedInitPutsEverythingBack) {
    scripted::system system;
    ip::lib lib;
    system.missing = {"Ws2_32.dll", "SendARP"}; // the socket library's code counts
    EXPECT_EQ(lib.init(), 126u);
    EXPECT_EQ(the_helper().init_count, 0);
    EXPECT_EQ(lib.free(), 0u);
}

TEST(Lib, InitAfterAFailureOfIpHelperAloneGoesWithoutThatLibrary) {
    scripted::system system;
    ip::lib lib;
    system.missing = {"Iphlpapi.dll"};
    EXPECT_EQ(lib.init(), 126u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 0xFFFFFFFFu); // below zero
    EXPECT_EQ(the_helper().winsock.start_count, 0u);
    system.missing.clear();
    EXPECT_EQ(lib.init(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.SendARP, nullptr);
    EXPECT_EQ(lib.free(), 0u);
}

TEST(Lib, ReportsTheSocketLibrarysErrorOfAStopFirst) {
    const std::vector<std::pair<const char*, DWORD>> codes = {
        {"WSACleanup", 10050}, {"FreeLibrary(Ws2_32.dll)", 6}, {"FreeLibrary(Iphlpapi.dll)", 5}};
    for (std::size_t first = 0; first < codes.size(); ++first) {
        scripted::system system;
        ip::lib lib;
        EXPECT_EQ(lib.init(), 0u);
        for (std::size_t i = first; i < codes.size(); ++i) {
            system.answers[codes[i].first] = {codes[i].second};
        }
        EXPECT_EQ(lib.free(), codes[first].second);
        EXPECT_EQ(lib.free(), 0u);
    }
}

TEST(Winsock, LooksEntriesUpInItsOrder) {
    scripted::system system;
    system.calls.clear();
    WSADATA data;
    EXPECT_EQ(the_helper().winsock.start(data, 0x0202), 0u);
    EXPECT_EQ(
        looked_up(system),
        names("WSAStartup WSACleanup WSAGetLastError WSAEnumProtocolsW WSASocketW getsockopt setsockopt "
              "shutdown closesocket bind listen select WSAAccept send sendto recv recvfrom connect htons "
              "ntohs htonl gethostbyname gethostbyaddr getservbyname getservbyport getpeername "
              "getsockname gethostname ioctlsocket WSAAddressToStringA WSAAddressToStringW "
              "WSAStringToAddressA WSAStringToAddressW getaddrinfo freeaddrinfo getnameinfo GetNameInfoW "
              "GetAddrInfoW FreeAddrInfoW WSAConnectByNameA WSAConnectByNameW WSAPoll"));
    EXPECT_EQ(system.calls.back(), "WSAStartup(514)");
    EXPECT_EQ(the_helper().winsock.cleanup(), 0u);
}

TEST(Winsock, StopsAtTheFirstMissingEntry) {
    scripted::system system;
    system.missing = {"listen"};
    WSADATA data;
    EXPECT_EQ(the_helper().winsock.start(data, 0x0202), 127u);
    EXPECT_EQ(looked_up(system).back(), "listen");
    EXPECT_EQ(system.calls.back(), "FreeLibrary(Ws2_32.dll)");
    EXPECT_EQ(the_helper().winsock.start_count, 0u);
    EXPECT_NE(the_helper().winsock.bind, nullptr);
}

TEST(Winsock, EveryStartCallsWsaStartup) {
    scripted::system system;
    ip::winsock2 first(0x0101), second, refused(0x0000);
    WSADATA data{};
    EXPECT_EQ(first.start(data), 0u);
    EXPECT_EQ(system.count("WSAStartup(257)"), 2); // the library's own start comes first
    EXPECT_EQ(first.start(data), 0u);
    EXPECT_EQ(second.start(data), 0u);
    EXPECT_EQ(data.wVersion, 0x0202);
    EXPECT_EQ(system.count("LoadLibraryW(Ws2_32.dll)"), 1);
    EXPECT_EQ(the_helper().winsock.start_count, 3u);
    EXPECT_EQ(refused.start(data), 10092u);
    EXPECT_EQ(the_helper().winsock.start_count, 3u);
    EXPECT_EQ(the_helper().init_count, 2);
    SetLastError(10054);
    EXPECT_EQ(ip::winsock2::getlasterror(), 10054u);
}

TEST(Winsock, OneCleanupTooManyTakesAwaySomebodyElsesStart) {
    scripted::system system;
    ip::lib other;
    ip::winsock2 winsock;
    WSADATA data;
    EXPECT_EQ(other.init() + winsock.start(data), 0u);
    EXPECT_EQ(winsock.cleanup() + winsock.cleanup(), 0u);
    EXPECT_EQ(system.count("WSACleanup"), 2);
    EXPECT_EQ(the_helper().winsock.start_count, 0u);
}

TEST(IpHelper, LooksEntriesUpInItsOrder) {
    scripted::system system;
    system.calls.clear();
    EXPECT_EQ(the_helper().iphlpapi.load(), 0u);
    EXPECT_EQ(looked_up(system),
              names("IcmpCreateFile IcmpCloseHandle IcmpSendEcho SendARP GetIpNetTable GetAdaptersAddresses "
                    "GetBestInterfaceEx Icmp6CreateFile Icmp6SendEcho2 ResolveIpNetEntry2 GetIpNetTable2 "
                    "FreeMibTable GetExtendedTcpTable GetExtendedUdpTable GetPerTcpConnectionEStats "
                    "GetPerTcp6ConnectionEStats"));
    EXPECT_EQ(the_helper().iphlpapi.unload(), 0u);
}

TEST(IpHelper, HandlesCountTheirLoads) {
    scripted::system system;
    ip::hlpapi first, second;
    EXPECT_EQ(first.free(), 0u);
    EXPECT_EQ(first.load() + first.load() + second.load(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 3u);
    EXPECT_EQ(first.free() + first.free(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 2u);
    EXPECT_EQ(system.count("FreeLibrary(Iphlpapi.dll)"), 0);
    system.answers["FreeLibrary(Iphlpapi.dll)"] = {6};
    EXPECT_EQ(second.free(), 6u);
}

TEST(IpHelper, FailedLoadLeavesTheHandleUninitialised) {
    scripted::system system;
    ip::lib other;
    ip::hlpapi hlpapi;
    EXPECT_EQ(other.init(), 0u);
    EXPECT_EQ(the_helper().iphlpapi.unload(), 0u);
    system.missing = {"GetIpNetTable"};
    EXPECT_EQ(hlpapi.load(), 127u);
    EXPECT_EQ(the_helper().init_count, 1);
    EXPECT_EQ(the_helper().iphlpapi.load_count, 0u);
    EXPECT_EQ(hlpapi.free(), 0u);
}

TEST(Bindings, GoOnWithoutTheModuleWhenTheSystemGivesNoReason) {
    constexpr DWORD none = scripted::system::no_reason;
    WSADATA data;
    scripted::system system;
    system.answers["LoadLibraryW"] = {none, none};
    EXPECT_EQ(the_helper().iphlpapi.load(), 127u); // the look-ups decide
    EXPECT_EQ(the_helper().winsock.start(data, 0x0202), 127u);
    system.answers["GetProcAddress(SendARP)"] = {none};
    EXPECT_EQ(the_helper().iphlpapi.load(), 0u); // counts as a load, and stays counted
    EXPECT_EQ(the_helper().iphlpapi.load_count, 1u);
    system.answers["GetProcAddress(send)"] = {none};
    EXPECT_EQ(the_helper().winsock.start(data, 0x0202), 0u); // is none, and is not counted
    EXPECT_EQ(the_helper().winsock.start_count, 0u);
}

TEST(Bindings, HandlesOnManyThreadsKeepTheCountsAndTheLockOrder) {
    scripted::system system;
    system.logs = false;
    system.yields = true;
    std::vector<std::thread> threads;
    for (int kind = 0; kind < 8; ++kind) {
        threads.emplace_back([kind] {
            unsigned long codes = 0;
            for (int round = 0; round < 10000; ++round) {
                if (kind % 3 == 0) {
                    ip::lib handle;
                    codes += handle.init();
                    codes += handle.free();
                } else if (kind % 3 == 1) {
                    ip::hlpapi handle;
                    codes += handle.load();
                    codes += handle.free();
                } else {
                    ip::winsock2 handle;
                    WSADATA data;
                    codes += handle.start(data);
                    codes += handle.cleanup();
                }
            }
            EXPECT_EQ(codes, 0u);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(the_helper().init_count, 0);
    EXPECT_EQ(the_helper().iphlpapi.load_count + the_helper().winsock.start_count, 0u);
}

TEST(SystemText, DoesNothingBeforeTheSocketLibraryIsStarted) {
    scripted::system system;
    ip::_raw_addr4_no raw{{9, 9, 9, 9}};
    wchar_t text[16] = L"untouched";
    system.calls.clear();
    EXPECT_FALSE(ip::detail::from_string("1.2.3.4", raw));
    EXPECT_FALSE(ip::detail::to_string(raw, text, 16));
    EXPECT_TRUE(system.calls.empty());
    EXPECT_EQ(raw.bytes[0], 9);
    EXPECT_STREQ(text, L"untouched");
}

template <class Char, class Raw>
void check_system_text(const Char* text, const char* facts) {
    scripted::system system;
    ip::lib lib;
    EXPECT_EQ(lib.init(), 0u);
    Raw raw{{9, 9}};
    system.answers["WSAStringToAddress"] = {10022};
    EXPECT_FALSE(ip::detail::from_string(text, raw));
    EXPECT_EQ(raw.bytes[0] + raw.bytes[1], 18);
    EXPECT_TRUE(ip::detail::from_string(text, raw));
    EXPECT_EQ(std::memcmp(raw.bytes, "\1\2\3\4", 4), 0);
    Char out[16] = {};
    EXPECT_TRUE(ip::detail::to_string(raw, out, 0x1'0000'0010)); // the low 32 bits count
    EXPECT_EQ(std::string(out, out + std::char_traits<Char>::length(out)), facts);
    EXPECT_FALSE(ip::detail::to_string(raw, out, 4));
    EXPECT_EQ(system.count(sizeof *text == 1 ? "WSAAddressToString(A)" : "WSAAddressToString(W)"), 2);
}

TEST(SystemText, AsksTheSystemInTheTextsOwnWidth) {
    check_system_text<char, ip::_raw_addr4_no>("", "16/16");
    check_system_text<wchar_t, ip::_raw_addr4_no>(L"", "16/16");
    check_system_text<char, ip::_raw_addr6_no>("", "28/16");
    check_system_text<wchar_t, ip::_raw_addr6_no>(L"", "28/16");
}

} // namespace
