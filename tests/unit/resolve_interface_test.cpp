// Lookups that end in time: by an answer, a deadline or a cancellation, and what comes after them.

#include "kvtip/names.hpp"
#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using scripted::text;

constexpr std::uint32_t never = INFINITE;

struct Lookups : testing::Test {
    Lookups() {
        system.adapters = {full_adapter(system)};
        system.hosts = {{"quick", {{{"192.0.2.1", 80}}}},
                        {"slow", {{{"192.0.2.2", 80}, {"2001:db8::2", 80}}, nullptr, 2, 4, 300}},
                        {"late", {{{"192.0.2.3", 80}}, nullptr, 2, 4, 3000}},
                        {"silent", {{{"192.0.2.4", 80}}, nullptr, 2, 4, never}},
                        {"empty", {{}, nullptr, 2, 4, 200}},
                        {"-", {{{"127.0.0.1", 80}}}}};
    }

    /// The code, the endpoints, and how long it took.
    std::string resolve(std::string_view host, kvtip::resolve_options options) {
        options.cancel = &canceller;
        const std::uint64_t begin = system.clock;
        system.calls.clear();
        std::error_code error;
        const kvtip::resolution found = kvtip::resolve(host, "80", options, error);
        std::string shown = text(error.value());
        for (const kvtip::endpoint& each : found.endpoints) {
            shown += " " + each.to_string();
        }
        return shown + " after " + text(system.clock - begin);
    }

    /// The same for several hosts: the code, and each host with its code and time.
    std::string resolve_all(const std::vector<std::string>& hosts, kvtip::resolve_options options) {
        options.cancel = &canceller;
        const std::uint64_t begin = system.clock;
        system.calls.clear();
        std::error_code error;
        std::string shown;
        for (const kvtip::resolved_host& each : kvtip::resolve_all(hosts, 80, options, error)) {
            shown += ", " + each.host + " " + text(each.error.value()) + " " + text(each.time.count());
            for (const kvtip::endpoint& endpoint : each.endpoints) {
                shown += " " + endpoint.to_string();
            }
        }
        return text(error.value()) + " after " + text(system.clock - begin) + shown;
    }

    /// What else happens, by the clock.
    void later(std::uint64_t milliseconds, std::function<void()> what) {
        system.later.emplace(system.clock + milliseconds, std::move(what));
    }

    void end_all_lookups() {
        while (!system.lookups.empty()) {
            system.end_lookup(system.lookups.begin()->first);
        }
    }

    scripted::system system;
    kvtip::canceller canceller;
};

TEST_F(Lookups, EndInTime) {
    const std::string asks = "GetAddrInfoExW";
    const struct {
        const char *what, *host;
        std::chrono::milliseconds timeout;
        std::string expected;
        bool gives_up;
    } rows[] = {
        {"an answer at once", "quick", 1s, "0 192.0.2.1:80 after 0", false},
        {"an answer in time", "slow", 1s, "0 192.0.2.2:80 [2001:db8::2]:80 after 300", false},
        {"no deadline", "late", kvtip::forever, "0 192.0.2.3:80 after 3000", false},
        {"a late answer", "late", 1s, "10060 after 1000", true},
        {"no answer", "silent", 70s, "10060 after 70000", true},
        {"a time-out of 0", "slow", 0s, "10060 after 1", true},
        {"an unknown name", "nobody", 1s, "11001 after 0", false},
        {"a name without addresses", "empty", 1s, "11004 after 200", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(resolve(row.host, {.timeout = row.timeout}), row.expected) << row.what;
        EXPECT_EQ(system.called(asks), "(" + std::string(row.host) + ",80,0,0,1,0)") << row.what;
        EXPECT_EQ(system.count("GetAddrInfoExCancel"), row.gives_up) << row.what;
        EXPECT_TRUE(system.lookups.empty()) << row.what;
        system.later.clear();
    }
    EXPECT_EQ(resolve("slow", {.family = kvtip::family::ipv6, .canonical_name = true, .timeout = 1s}),
              "0 [2001:db8::2]:80 after 300");
    EXPECT_EQ(system.called(asks), "(slow,80,2,23,1,0)");
    resolve("fe80::9%a friendly name", {.timeout = 1s});
    EXPECT_EQ(system.called(asks), "(fe80::9%7,80,0,0,1,0)");
    EXPECT_EQ(resolve("fe80::9%nowhere", {.timeout = 1s}), "1168 after 0");
    EXPECT_EQ(resolve("", {.timeout = 1s}), "0 127.0.0.1:80 after 0");
    EXPECT_EQ(system.called("GetAddrInfo"), "W(-,80,0,0,1,0)") << "nobody else is asked";
    std::error_code error;
    EXPECT_EQ(kvtip::resolve("quick", 80, {}, error).endpoints.size(), 1u);
    EXPECT_EQ(system.count("GetAddrInfoW(quick,80,0,0,1,0)"), 1) << "nothing ends it early";
    for (const auto& [code, expected] : {std::pair{10035, "10035 after 0"}, {-9, "11004 after 0"}}) {
        system.answers["GetAddrInfoExW"] = {static_cast<DWORD>(code)};
        EXPECT_EQ(resolve("quick", {.timeout = 1s}), expected);
        system.answers["GetAddrInfoExOverlappedResult"] = {static_cast<DWORD>(code)};
        EXPECT_EQ(resolve("quick", {.timeout = 1s}), expected);
    }
}

TEST_F(Lookups, AreCancelled) {
    later(100, [&] {
        end_all_lookups();
        canceller.cancel();
    });
    EXPECT_EQ(resolve("silent", {}), "0 192.0.2.4:80 after 100") << "an answer that has come counts";
    canceller = kvtip::canceller();
    later(100, [&] { canceller.cancel(); });
    EXPECT_EQ(resolve("silent", {}), "995 after 100");
    EXPECT_EQ(resolve("quick", {}), "995 after 0");
    EXPECT_EQ(system.called("GetAddrInfo"), "") << "none is begun any more";
    EXPECT_EQ(resolve_all({"quick", "silent"}, {}), "995 after 0, quick 995 0, silent 995 0");
}

/// Where the system does not cancel lookups, their answers come at some time.
TEST_F(Lookups, LeaveNothingBehindWhenAnAnswerComesLate) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"while it is given up", [&] { system.during["GetAddrInfoExCancel"] = [&] { end_all_lookups(); }; }},
        {"afterwards", [] {}},
    };
    for (const auto& [what, prepare] : rows) {
        prepare();
        system.answers["GetAddrInfoExCancel"] = {ERROR_INVALID_HANDLE};
        EXPECT_EQ(resolve("silent", {.timeout = 1s}), "10060 after 1000") << what;
        EXPECT_EQ(system.count("FreeLibrary(Ws2_32.dll)"), system.lookups.empty() ? 1 : 0) << what;
        end_all_lookups();
        EXPECT_EQ(resolve("quick", {.timeout = 1s}), "0 192.0.2.1:80 after 0") << what;
    }
    // A cancellation that succeeds may still take a moment, but is not waited for without end.
    for (const auto& [delay, expected] : {std::pair{40u, "10060 after 1040"}, {5000u, "10060 after 1100"}}) {
        system.cancel_delay = delay;
        EXPECT_EQ(resolve("silent", {.timeout = 1s}), expected);
        end_all_lookups();
    }
    EXPECT_EQ(resolve("quick", {.timeout = 1s}), "0 192.0.2.1:80 after 0");
}

TEST(BlockingLookups, AreMadeWhereTheSystemCanDoNoBetter) {
    scripted::system system;
    system.durations["GetAddrInfoW"] = 400;
    const auto codes = [&] {
        std::string shown;
        for (const auto& each : kvtip::resolve_all({"::1", "::2", "::3", "::4"}, 80, {.timeout = 1s})) {
            shown += text(each.error.value()) + " " + text(each.time.count()) + ", ";
        }
        return shown;
    };
    const std::string in_turn = "0 400, 0 400, 0 400, 10060 0, ";
    for (const char* missing : {"GetAddrInfoExW", "FreeAddrInfoExW", "GetAddrInfoExCancel",
                                "GetAddrInfoExOverlappedResult", "GetModuleHandleExW", "CreateEventW"}) {
        system.missing = {missing};
        EXPECT_EQ(codes(), in_turn) << missing;
    }
    system.missing.clear();
    system.answers["GetAddrInfoExW"] = {WSATRY_AGAIN, WSATRY_AGAIN, WSATRY_AGAIN};
    EXPECT_EQ(codes(), in_turn) << "in a thread that impersonates a user";
}

TEST_F(Lookups, OfManyHostsGoOnAtOnce) {
    EXPECT_EQ(
        resolve_all({"slow", "nobody", "late", "quick", "", "empty", "fe80::9%nowhere", "silent"},
                    {.family = kvtip::family::ipv4, .timeout = 1s}),
        "0 after 1000, slow 0 300 192.0.2.2:80, nobody 11001 0, late 10060 1000, quick 0 0 192.0.2.1:80,"
        "  0 0 127.0.0.1:80, empty 11004 200, fe80::9%nowhere 1168 0, silent 10060 1000");
    EXPECT_EQ(resolve_all({}, {}), "0 after 0");
    later(250, [&] { canceller.cancel(); });
    EXPECT_EQ(resolve_all({"slow", "quick", "empty"}, {.timeout = 1s}),
              "995 after 250, slow 995 250, quick 0 0 192.0.2.1:80, empty 11004 200");
    canceller = kvtip::canceller();
    std::error_code error;
    EXPECT_EQ(kvtip::resolve_all({"quick"}, "65536", {}, error).at(0).error.value(), WSATYPE_NOT_FOUND);
    const char* const hosts[] = {"quick", nullptr};
    const kvtip_resolved_host_list* list = nullptr;
    EXPECT_EQ(kvtip_resolve_all(hosts, 2, nullptr, nullptr, &list), 87u);
    const kvtip_resolve_options wrong[] = {{sizeof wrong[0], 0, 0, 0, 0, 1, nullptr},
                                           {sizeof wrong[0], 0, 0, 16, 0, 0, nullptr}};
    for (const kvtip_resolve_options& each : wrong) {
        EXPECT_EQ(kvtip_resolve_all(hosts, 1, nullptr, &each, &list), 87u);
    }
    EXPECT_EQ(kvtip_resolve_all(nullptr, 0, nullptr, nullptr, &list), 0u);
    kvtip_free(list);
}

TEST_F(Lookups, AreBegunNoMoreThan256AtATime) {
    std::vector<std::string> slow(300, "slow");
    std::size_t at_once = 0;
    later(50, [&] { at_once = system.lookups.size(); });
    const auto found = kvtip::resolve_all(slow, 80, {.timeout = 1s});
    EXPECT_EQ(at_once, 256u);
    EXPECT_EQ(system.clock, 1000u + 600u) << "the last 44 wait for the first ones";
    EXPECT_TRUE(std::all_of(found.begin(), found.end(), [](const auto& each) {
        return each.time == 300ms && each.endpoints.size() == 2;
    }));
    // One wait sees 63 of them, which are all silent here.
    std::vector<std::string> hosts(255, "silent");
    hosts.insert(hosts.end(), {"slow", "quick", "nobody"});
    const auto last = kvtip::resolve_all(hosts, 80, {.timeout = 1s});
    EXPECT_EQ(last[255].endpoints.size(), 2u);
    EXPECT_LE(last[255].time, 350ms);
    EXPECT_EQ(last[256].endpoints.size(), 1u) << "begun when there is room for it";
    EXPECT_EQ(last[257].error.value(), WSAHOST_NOT_FOUND);
}

TEST_F(Lookups, EndAndAreCancelledOnAnyThread) {
    system.logs = false;
    std::atomic<bool> ends = false;
    std::thread answers([&] {
        for (ULONG_PTR i = 1; !ends; i = i % 2000 + 1) {
            system.end_lookup(std::bit_cast<HANDLE>(i));
        }
    });
    for (int round = 0; round < 200; ++round) {
        kvtip::canceller mine;
        std::thread waiter([&] {
            std::error_code error;
            const auto found = kvtip::resolve_all({"silent", "silent", "quick"}, 80,
                                                  {.timeout = 5ms, .cancel = &mine}, error);
            EXPECT_TRUE(!error || error == std::errc::operation_canceled) << error;
            for (const kvtip::resolved_host& each : found) {
                EXPECT_TRUE(!each.error || each.error == std::errc::timed_out ||
                            each.error == std::errc::operation_canceled)
                    << each.error;
                EXPECT_EQ(each.endpoints.size(), each.error ? 0u : 1u);
            }
        });
        round % 2 == 0 ? mine.cancel() : void();
        waiter.join();
    }
    ends = true;
    answers.join();
}

} // namespace
