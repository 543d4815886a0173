// Name services: those of the system, and the substitutes for what an old system lacks.

#include "guard_page.h"
#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <regex>

namespace {

using ip::winsock2;
using scripted::address;
using scripted::bytes;
using scripted::socket_address;
using scripted::text;
using scripted::texts;

struct Names : testing::Test {
    explicit Names(std::set<std::string> missing = {}) {
        system.missing = std::move(missing);
        ip::saddr datagram = socket_address("192.0.2.2");
        datagram.family = 17;
        system.hosts = {
            {"both", {{"192.0.2.1", "2001:db8::1", "192.0.2.1"}}},
            {"six", {{"2001:db8::6"}}},
            {"odd", {{{ip::saddr{}, 0}, {socket_address("192.0.2.2"), 15}, {datagram, 16}, "192.0.2.3"}}},
            {"none", {}}};
        system.services = {{"both/tcp", 25}, {"both/udp", 53}, {"stream/tcp", 80}, {"datagram/udp", 123}};
        system.peers = {{"192.0.2.1", 0}, {"2001:db8::6", 0}};
        WSADATA data;
        EXPECT_EQ(winsock.start(data), 0u);
        system.calls.clear();
    }

    struct question {
        std::function<unsigned long()> operation;
        std::string expected; ///< code and output
        std::string calls;
    };
    /// Runs each row on the same output.
    template <class Output>
    void check(Output& output, const std::vector<question>& rows) {
        for (const question& row : rows) {
            system.calls.clear();
            const std::string code = text(row.operation());
            EXPECT_EQ(code + " " + text(output), row.expected) << row.calls;
            EXPECT_EQ(system.called(), row.calls);
        }
    }

    scripted::system system;
    winsock2 winsock;
    std::vector<ip::addr> found{9};
    ip::addr out, local = address("::8"), remote = address("::9");
};

struct OlderNames : Names {
    OlderNames() : Names({"GetNameInfoW", "WSAConnectByNameA", "WSAConnectByNameW"}) {}
};

TEST_F(Names, NarrowLookUpPrefersIpv4) {
    addrinfo any{}, six{};
    any.ai_flags = 1;
    any.ai_socktype = 3;
    any.ai_protocol = 4;
    six.ai_family = AF_INET6;
    const auto look_up = [&](const char* node, addrinfo* hints = nullptr, const char* service = nullptr) {
        return [=, this] { return winsock2::getaddrinfo(node, found, service, hints); };
    };
    check(found,
          {{look_up("both"), "0 192.0.2.1,192.0.2.1", "getaddrinfo(both,-,0,2,0,0) freeaddrinfo"},
           {look_up("six"), "0 2001:db8::6",
            "getaddrinfo(six,-,0,2,0,0) getaddrinfo(six,-,0,23,0,0) freeaddrinfo"},
           {look_up("?"), "11001 ", "getaddrinfo(?,-,0,2,0,0) getaddrinfo(?,-,0,23,0,0)"},
           {look_up("both", &six, "25"), "0 2001:db8::1", "getaddrinfo(both,25,0,23,0,0) freeaddrinfo"},
           {look_up("six", &any), "0 2001:db8::6", "getaddrinfo(six,-,1,0,3,4) freeaddrinfo"},
           {look_up("?", &any), "11001 ", "getaddrinfo(?,-,1,0,3,4)"},
           {look_up("odd", &any), "0 -,192.0.2.3", "getaddrinfo(odd,-,1,0,3,4) freeaddrinfo"},
           {look_up("none", &any), "0 ", "getaddrinfo(none,-,1,0,3,4) freeaddrinfo"}});
    EXPECT_EQ(system.hints, &any);
    for (const DWORD code : {11004u, 10047u, 11001u, 11002u, 11003u, 10109u}) {
        const bool again = code == 11004 || code == 10047 || code == 11001;
        system.answers["getaddrinfo"] = {code};
        EXPECT_EQ(winsock2::getaddrinfo("both", found), again ? 0 : code);
        EXPECT_EQ(text(found), again ? "2001:db8::1" : "");
    }
}

TEST_F(Names, WideLookUpIsTheSystemsOwn) {
    addrinfoW six{};
    six.ai_family = AF_INET6;
    const auto look_up = [&](const wchar_t* node, addrinfoW* hints = nullptr) {
        return [=, this] { return winsock2::getaddrinfo(node, found, L"25", hints); };
    };
    check(found, {{look_up(L"both"), "0 192.0.2.1,2001:db8::1,192.0.2.1",
                   "GetAddrInfoW(both,25,0,0,0,0) FreeAddrInfoW"},
                  {look_up(L"both", &six), "0 2001:db8::1", "GetAddrInfoW(both,25,0,23,0,0) FreeAddrInfoW"},
                  {look_up(L"odd"), "0 -,192.0.2.3", "GetAddrInfoW(odd,25,0,0,0,0) FreeAddrInfoW"},
                  {look_up(L"none"), "0 ", "GetAddrInfoW(none,25,0,0,0,0) FreeAddrInfoW"},
                  {look_up(L"?"), "11001 ", "GetAddrInfoW(?,25,0,0,0,0)"}});
    look_up(L"both", &six)();
    EXPECT_EQ(system.hints, &six);
}

TEST_F(Names, WideLookUpIsNarrowWhereEitherEntryIsMissing) {
    auto& bound = ip::detail::the_helper().winsock;
    addrinfoW hints{1, AF_UNSPEC, 3, 4, 5, system.text(L"x"), nullptr, nullptr};
    const auto entry = std::exchange(bound.FreeAddrInfoW, nullptr);
    for (const auto look_up : {bound.GetAddrInfoW, decltype(bound.GetAddrInfoW){nullptr}}) {
        bound.GetAddrInfoW = look_up;
        system.calls.clear();
        EXPECT_EQ(winsock2::getaddrinfo(L"both", found), 0u);
        EXPECT_EQ(winsock2::getaddrinfo(L"both", found, L"25", &hints), 0u);
        EXPECT_EQ(system.called("getaddrinfo"), "(both,,0,2,0,0) (both,25,1,0,3,4)");
        EXPECT_EQ(text(found), "192.0.2.1,2001:db8::1,192.0.2.1");
        bound.FreeAddrInfoW = entry;
    }
}

template <class Char>
void check_names(scripted::system& system, const std::string& call) {
    const struct {
        ip::saddr from;
        bool host, service; ///< whether they are wanted
        int flags;
        std::string expected, arguments;
        DWORD failure = 0;
    } rows[] = {
        {socket_address("192.0.2.1", 80), true, true, 4, "0 first second", "192.0.2.1@80,16,1025,32,4"},
        {socket_address("2001:db8::6", 80), true, false, 2, "0 first ?", "2001:db8::6@80,28,1025,-,32,2"},
        {socket_address("192.0.2.9", 80), false, true, 0, "0 ? first", "192.0.2.9@80,16,-,1025,32,0"},
        {ip::saddr{}, true, true, 0, "11001 ? ?", "-,0,1025,32,0", 11001}};
    system.outputs[call] = {bytes<Char>("first"), bytes<Char>("second")};
    for (const auto& row : rows) {
        std::basic_string<Char> host(1, '?'), service = host;
        system.calls.clear();
        system.answers[call] = {row.failure};
        const unsigned long code = winsock2::getnameinfo(row.from, row.host ? &host : nullptr,
                                                         row.service ? &service : nullptr, row.flags);
        EXPECT_EQ(text(code) + " " + text(host) + " " + text(service), row.expected) << row.arguments;
        EXPECT_EQ(system.calls.front(), call + "(" + row.arguments + ")");
    }
}

TEST_F(Names, AddressesAndPortsHaveNames) {
    check_names<char>(system, "getnameinfo");
    check_names<wchar_t>(system, "GetNameInfoW");
}

TEST_F(Names, UnterminatedNamesEndWithTheirBuffers) {
    ip::detail::the_helper().winsock.getnameinfo = [](auto*, auto, char* host, DWORD host_room, char* service,
                                                      DWORD service_room, int) -> INT {
        std::memset(host, 'x', host_room);
        std::memset(service, 'x', service_room);
        return 0;
    };
    std::string host, service;
    EXPECT_EQ(winsock2::getnameinfo(socket_address("192.0.2.1"), &host, &service, 0), 0u);
    EXPECT_EQ(host + " " + service, std::string(1024, 'x') + " " + std::string(31, 'x'));
}

TEST_F(OlderNames, WideNamesAreNarrowOnesConverted) {
    system.outputs["getnameinfo"] = {bytes<char>("first"), bytes<char>("second")};
    std::wstring host, service;
    EXPECT_EQ(winsock2::getnameinfo(socket_address("::6"), &host, &service, 4), 0u);
    EXPECT_EQ(system.calls.front() + text(host) + text(service), "getnameinfo(::6,28,1025,32,4)firstsecond");
    host = L"kept";
    EXPECT_EQ(winsock2::getnameinfo(socket_address("::6"), nullptr, &service, 0), 0u);
    system.answers["getnameinfo"] = {11001};
    EXPECT_EQ(winsock2::getnameinfo(socket_address("::6"), &host, &service, 0), 11001u);
    EXPECT_EQ(text(host) + text(service), "keptfirst");
}

TEST_F(Names, HostNameIsCopiedUnitByUnitAndNeverTooFar) {
    guarded_buffer memory(4 * sizeof(wchar_t));
    auto* const wide = reinterpret_cast<wchar_t*>(memory.data());
    char narrow[4];
    for (const auto& [length, code, name] : {std::tuple(4, 0u, "own"), {3, 10014u, ""}, {0, 10014u, ""}}) {
        wide[0] = 0;
        EXPECT_EQ(winsock2::gethostname(narrow, length), code);
        EXPECT_EQ(winsock2::gethostname(wide, length), code);
        EXPECT_EQ(text(narrow) + text(wide), std::string(name) + name);
    }
    EXPECT_EQ(winsock2::gethostname(wide, -1), 8u);
    EXPECT_EQ(winsock2::gethostname(wide, 0x7FFFFFFF), 0u);
    system.answers["gethostname"] = {10050};
    EXPECT_EQ(winsock2::gethostname(wide, 4), 10050u);
    EXPECT_STREQ(wide, L"own");
    system.outputs["gethostname"] = {"\xE9\xE9\xE9\xE9"}; // to its end, as no Windows
    EXPECT_EQ(winsock2::gethostname(wide, 4), 0u);
    EXPECT_EQ(std::count(wide, wide + 4, wchar_t{0xFFE9}), 4);
}

TEST_F(Names, AddressTextIsANameOrElseNumbers) {
    const std::pair<ip::addr, std::string> rows[] = {
        {address("192.0.2.1"), "192.0.2.1"}, {address("::6"), "::6"}, {{17, {}}, ""}};
    for (const auto& [from, number] : rows) {
        system.outputs = {{"getnameinfo", {bytes<char>("a")}}, {"GetNameInfoW", {bytes<wchar_t>("b")}}};
        system.answers = {{"getnameinfo", {0, 11002}}, {"GetNameInfoW", {0, 11002}}};
        const std::string numbers = texts({number, number});
        for (const std::string& expected : {std::string("a|b|"), numbers, numbers}) {
            std::string narrow = "?";
            std::wstring wide = L"?";
            winsock2::address_to_string(narrow, from);
            winsock2::address_to_string(wide, from);
            EXPECT_EQ(texts({narrow, wide}), expected);
            if (expected == numbers) {
                system.outputs.clear(); // at last without a name and without a reason
            }
        }
    }
    EXPECT_EQ(system.count("getnameinfo(192.0.2.1,16,1025,-,32,0)"), 3);
    EXPECT_EQ(system.count("GetNameInfoW(::6,28,1025,-,32,0)"), 3);
}

TEST_F(Names, AddressesAreReadAsNumbersOrElseLookedUp) {
    const auto read = [&](const char* from, unsigned short family) {
        return [=, this] { return winsock2::address_from_string(out, from, family); };
    };
    const auto read_wide = [&](const wchar_t* from) {
        return [=, this] { return winsock2::address_from_string(out, from); };
    };
    system.hosts["both"].addresses = {"2001:db8::1", "192.0.2.1"};
    check(out, {{read("192.0.2.7", 23), "0 192.0.2.7", ""},
                {read("?", 0), "11001 -", "getaddrinfo(?,-,0,2,0,0) getaddrinfo(?,-,0,23,0,0)"},
                {read("2001:db8::7", 0), "0 2001:db8::7", ""},
                {read("none", 2), "9501 -", "getaddrinfo(none,-,0,0,0,0) freeaddrinfo"},
                {read("both", 0), "0 192.0.2.1", "getaddrinfo(both,-,0,2,0,0) freeaddrinfo"},
                {read("both", 2), "0 2001:db8::1", "getaddrinfo(both,-,0,0,0,0) freeaddrinfo"},
                {read_wide(L"?"), "11001 -", "GetAddrInfoW(?,-,0,0,0,0)"},
                {read_wide(L"192.0.2.7"), "0 192.0.2.7", ""},
                {read_wide(L"none"), "9501 -", "GetAddrInfoW(none,-,0,0,0,0) FreeAddrInfoW"},
                {read_wide(L"both"), "0 2001:db8::1", "GetAddrInfoW(both,-,0,0,0,0) FreeAddrInfoW"}});
}

// Connects by name.

template <class Char>
void connect_by_system(Names& names, const Char* node, const Char* service, const std::string& call) {
    const struct {
        bool wants_local, wants_remote;
        DWORD failure;
        std::string expected; ///< the code and both ends, which are untouched at ::8 and ::9
    } rows[] = {
        {true, true, 0, "0|192.0.2.10|2001:db8::1|"}, {true, false, 0, "0|192.0.2.10|::9|"},
        {false, true, 0, "0|::8|2001:db8::1|"},       {false, false, 0, "0|::8|::9|"},
        {true, true, 10109, "10109|::8|::9|"},        {true, true, scripted::system::no_reason, "0|-|-|"}};
    ip::socket s;
    EXPECT_EQ(winsock2::socket(s, SOCK_STREAM, 0), 0u);
    names.system.outputs[call] = {bytes(socket_address("192.0.2.10")), bytes(socket_address("2001:db8::1"))};
    for (const timeval limit{3, 0}; const auto& row : rows) {
        ip::addr local = address("::8"), remote = address("::9");
        names.system.calls.clear();
        names.system.answers[call] = {row.failure};
        const unsigned long code =
            winsock2::connectbyname(s, node, service, row.wants_local ? &local : nullptr,
                                    row.wants_remote ? &remote : nullptr, row.wants_local ? &limit : nullptr);
        EXPECT_EQ(texts({code, local, remote}), row.expected);
        EXPECT_EQ(names.system.called(),
                  call + "(101,both,80,128,128," + (row.wants_local ? "3" : "-") + ",-)");
    }
    winsock2::closesocket(s);
}

TEST_F(Names, ConnectGoesToTheSystemWhereItCan) {
    connect_by_system<char>(*this, "both", "80", "WSAConnectByNameA");
    system.next_socket = 101;
    connect_by_system<wchar_t>(*this, L"both", L"80", "WSAConnectByNameW");
}

TEST_F(OlderNames, ConnectTriesTheAddressesInTurn) {
    constexpr DWORD silent = WSAETIMEDOUT, refused = WSAECONNREFUSED;
    system.peers = {{"192.0.2.1", 0}, {"192.0.2.2", refused}, {"192.0.2.3", silent}, {"2001:db8::1", 0}};
    system.hosts = {{"some", {{"192.0.2.2", "192.0.2.9", "192.0.2.1", "192.0.2.3"}}},
                    {"slow", {{"192.0.2.3", "192.0.2.1"}}},
                    {"refused", {{"192.0.2.9", "192.0.2.2"}}},
                    {"mixed", {{"2001:db8::1", "192.0.2.1"}}},
                    {"none", {}}};
    const struct {
        const char *node, *service;
        unsigned long code;
        std::string tried, tried_wide = tried;
    } rows[] = {
        {"192.0.2.1", "80", 0, "192.0.2.1@80"},
        {"192.0.2.1", "http", 0, "192.0.2.1"},
        {"192.0.2.1", " 65617x", 0, "192.0.2.1@81"},
        {"192.0.2.1", "0x50", 0, "192.0.2.1"},
        {"192.0.2.1", "010", 0, "192.0.2.1@10"},
        {"some", "80", 0, "192.0.2.2@80 192.0.2.9@80 192.0.2.1@80"},
        {"slow", "0", 10037, "192.0.2.3 192.0.2.1"},
        {"refused", "0", 10061, "192.0.2.9 192.0.2.2"},
        {"mixed", "0", 0, "192.0.2.1", "2001:db8::1 192.0.2.1"},
        {"none", "0", 10049, ""},
        {"?", "0", 11001, ""},
    };
    const auto wide = [](std::string_view from) { return std::wstring(from.begin(), from.end()); };
    const timeval limit{};
    for (const auto& row : rows) {
        for (const bool is_wide : {false, true}) {
            ip::socket s;
            system.next_socket = 101;
            EXPECT_EQ(winsock2::socket(s, SOCK_STREAM, 0), 0u);
            system.calls.clear();
            remote = address("::9");
            EXPECT_EQ(is_wide ? winsock2::connectbyname(s, wide(row.node).c_str(), wide(row.service).c_str(),
                                                        &local, &remote, &limit)
                              : winsock2::connectbyname(s, row.node, row.service, &local, &remote, &limit),
                      row.code);
            const std::regex rest(",(16|28)\\)"); // of the arguments
            const std::string tried = std::regex_replace(system.called("connect(101,"), rest, "");
            EXPECT_EQ(tried, is_wide ? row.tried_wide : row.tried) << row.node << " " << row.service;
            const std::string last = tried.substr(tried.rfind(' ') + 1);
            EXPECT_EQ(text(remote), row.code != 0 ? "::9" : last.substr(0, last.find('@')));
            winsock2::closesocket(s);
        }
    }
    EXPECT_EQ(text(local), "::8");
}

TEST_F(OlderNames, ConnectNeedsTheWideLookUpForWideNamesOnly) {
    ip::detail::the_helper().winsock.FreeAddrInfoW = nullptr;
    ip::socket s;
    EXPECT_EQ(winsock2::socket(s, SOCK_STREAM, 0), 0u);
    EXPECT_EQ(winsock2::connectbyname(s, L"both", L"80", nullptr, &remote, nullptr), 120u);
    EXPECT_EQ(winsock2::connectbyname(s, L"192.0.2.1", L"80", nullptr, &remote, nullptr), 0u);
    winsock2::closesocket(s);
}

// The substitutes.

struct Substitutes : Names, testing::WithParamInterface<const char*> {
    Substitutes() : Names({GetParam()}) {
        static const std::string long_name(1025, 'x');
        system.hosts["both"].official = "own.lab.test";
        system.hosts["255.255.255.255"] = {{"192.0.2.255"}};
        system.hosts["wide"] = {{"192.0.2.9"}, "both", AF_INET, 16};
        system.hosts["loop"] = {{}, "loop", AF_INET6};
        system.hosts["long"] = {{}, long_name.c_str(), AF_INET6};
        system.hosts["own.lab.test"] = {{"192.0.2.1"}};
    }
};

/// The list as text: "socket type/protocol/flags address(canonical name)" for each, or the code.
std::string list(const char* node, const char* service, const addrinfo* hints = nullptr) {
    const auto& winsock = ip::detail::the_helper().winsock;
    auto* first = std::bit_cast<addrinfo*>(~std::uintptr_t{0});
    std::string result;
    if (const int code = winsock.getaddrinfo(node, service, hints, &first)) {
        EXPECT_EQ(GetLastError(), static_cast<DWORD>(code));
        result = text(code);
    }
    for (const addrinfo* each = first; each != nullptr; each = each->ai_next) {
        EXPECT_EQ(each->ai_family, AF_INET);
        EXPECT_EQ(each->ai_addrlen, 16u);
        result += (result.empty() ? "" : " ") + text(each->ai_socktype) + "/" + text(each->ai_protocol) +
                  "/" + text(each->ai_flags) + " " + text(scripted::record_at(each->ai_addr, 16)) +
                  (each->ai_canonname == nullptr ? "" : "(" + text(each->ai_canonname) + ")");
    }
    winsock.freeaddrinfo(first);
    return result;
}

/// The fields of the hints that may be set.
struct fields { // in their order
    int flags = 0, family = 0, socket_type = 0, protocol = 0;
};

TEST_P(Substitutes, ListAddresses) {
    const std::string loopback = "1/0/0 127.0.0.1@80 2/0/0 127.0.0.1@80";
    const struct {
        const char *node, *service;
        std::string expected;
        fields hints = {};
    } rows[] = {
        {nullptr, "80", loopback},
        {nullptr, "65616", loopback}, // the low 16 bits
        {nullptr, "80", "1/6/0 0.0.0.0@80", {AI_PASSIVE, AF_INET, 1, 6}},
        {nullptr, "80", "3/0/0 127.0.0.1@80", {0, 0, 3}},
        {nullptr, "both", "1/0/0 127.0.0.1@25 2/0/0 127.0.0.1@53"},
        {nullptr, "both", "2/0/0 127.0.0.1@53", {0, 0, 2}},
        {nullptr, "both", "10109", {0, 0, 3}},
        {nullptr, "stream", "10109", {0, 0, 2}},
        {nullptr, "datagram", "2/9/0 127.0.0.1@123", {0, 0, 0, 9}},
        {nullptr, "0x50", "11001"},
        {nullptr, "010", "1/0/0 127.0.0.1@10 2/0/0 127.0.0.1@10"},
        {"192.0.2.1", nullptr, "0/0/4 192.0.2.1"},
        {"192.0.2.1", nullptr, "0/0/4 192.0.2.1(192.0.2.1)", {AI_CANONNAME | AI_NUMERICHOST}},
        {"1.2.3/24", nullptr, "11001"},
        {"1.2.3.4 a.b", nullptr, "11001"},
        {"255.255.255.255", nullptr, "0/0/0 192.0.2.255"},
        {"both", nullptr, "11001", {AI_NUMERICHOST}},
        {"both", nullptr, "0/0/0 192.0.2.1(own.lab.test) 0/0/0 192.0.2.1", {AI_CANONNAME}},
        {"both",
         "both",
         "1/8/0 192.0.2.1@25 2/8/0 192.0.2.1@53 1/8/0 192.0.2.1@25 2/8/0 192.0.2.1@53",
         {0, 0, 0, 8}},
        {"none", nullptr, "", {AI_CANONNAME}},
        {"wide", nullptr, "0/0/0 192.0.2.1 0/0/0 192.0.2.1"},
        {"loop", nullptr, "11003"},
        {"long", nullptr, "11003"},
        {nullptr, nullptr, "11001"},
        {nullptr, "80", "10022", {AI_CANONNAME}},
        {"192.0.2.1", "80", "10047", {0, AF_INET6}},
        {"192.0.2.1", "80", "10044", {0, 0, 4}},
    };
    for (const auto& row : rows) {
        addrinfo hints{};
        std::memcpy(&hints, &row.hints, sizeof row.hints);
        EXPECT_EQ(list(row.node, row.service, &hints), row.expected);
    }
    EXPECT_EQ(list(nullptr, "80"), loopback);
    EXPECT_EQ(system.count("gethostbyname(loop)"), 16);
    EXPECT_EQ(system.count("getaddrinfo"), 0);
    addrinfo filled[4] = {};
    filled[0].ai_addrlen = 16;
    filled[1].ai_canonname = system.text("x");
    filled[2].ai_addr = system.keep(SOCKADDR{});
    filled[3].ai_next = filled;
    for (const addrinfo& hints : filled) {
        EXPECT_EQ(list("192.0.2.1", "80", &hints), "11003");
    }
    system.answers["gethostbyname"] = {11001, 11002, 11003, 11004, 10050};
    for (const char* expected : {"11001", "11002", "11003", "11001", "11001"}) {
        EXPECT_EQ(list("both", nullptr), expected);
    }
}

INSTANTIATE_TEST_SUITE_P(Missing, Substitutes, testing::Values("getaddrinfo", "freeaddrinfo"));

TEST(SubstituteForGetNameInfo, NamesIpv4AddressesAndPorts) {
    scripted::system system(4);
    ip::lib lib;
    EXPECT_EQ(lib.init(), 0u);
    system.hosts = {{"www.lab.test", {{"192.0.2.1"}}}};
    system.services = {{"both/udp", 53}, {"stream/tcp", 80}};
    const ip::saddr www = socket_address("192.0.2.1", 80), other = socket_address("192.0.2.9", 53);
    const struct {
        const ip::saddr* address;
        int length;
        DWORD host_room, service_room;
        int flags;
        std::string expected;
        DWORD failure = 0; ///< of the lookup of the address
    } rows[] = {{&www, 16, 64, 32, 0, "0 www.lab.test stream"},
                {&www, 16, 13, 7, 0, "0 www.lab.test stream"},
                {&www, 16, 12, 32, 0, "11003  stream"},
                {&www, 16, 64, 6, 0, "11003  "},
                {&www, 16, 4, 3, NI_NOFQDN | NI_DGRAM, "0 www 80"},
                {&www, 16, 10, 3, NI_NUMERICHOST | NI_NUMERICSERV, "0 192.0.2.1 80"},
                {&www, 16, 0, 2, NI_NUMERICSERV, "11003  "},
                {&www, 16, 10, 0, 0, "0 192.0.2.1 ", 11004},
                {&other, 16, 64, 32, 0, "0 192.0.2.9 both"},
                {&other, 16, 0, 5, NI_DGRAM, "0  both"},
                {&other, 16, 64, 0, NI_NAMEREQD, "11002  ", 11002},
                {&www, 16, 64, 32, NI_NAMEREQD | NI_NUMERICHOST, "10022  "},
                {&www, 16, 0, 0, 0, "11001  "},
                {&www, 15, 64, 32, 0, "11003  "},
                {nullptr, 16, 64, 32, 0, "11003  "}};
    for (const auto& row : rows) {
        guarded_buffer host(row.host_room), service(row.service_room);
        system.answers["gethostbyaddr"] = {row.failure};
        const auto out = [](guarded_buffer& buffer) { return reinterpret_cast<char*>(buffer.data()); };
        const int code = ip::detail::the_helper().winsock.getnameinfo(
            system.record(row.address == nullptr ? ip::saddr{} : *row.address).lpSockaddr, row.length,
            out(host), row.host_room, out(service), row.service_room, row.flags);
        EXPECT_TRUE(code == 0 || GetLastError() == static_cast<DWORD>(code));
        EXPECT_EQ(text(code) + " " + (row.host_room == 0 ? "" : out(host)) + " " +
                      (row.service_room == 0 ? "" : out(service)),
                  row.expected);
    }
    std::string host;
    EXPECT_EQ(winsock2::getnameinfo(socket_address("::1"), &host, nullptr, 0), 10047u);
}

} // namespace
