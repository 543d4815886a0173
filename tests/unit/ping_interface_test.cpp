// Ping of the C interface.

#include "kvtip/ping.hpp"
#include "results.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

using scripted::address_of;
using scripted::text;
using scripted::texts;

const kvtip_address target = address_of("192.0.2.9"), target6 = address_of("fe80::9%5");

struct request {
    std::uint32_t timeout = 0, time_to_live = 0, data_size = 0, type_of_service = 0, flags = 0;
    kvtip_address source{};
    const kvtip_canceller* cancel = nullptr;

    kvtip_ping_options options() const {
        return {sizeof(kvtip_ping_options),
                timeout,
                time_to_live,
                data_size,
                type_of_service,
                flags,
                source,
                cancel};
    }
};

struct Ping : testing::Test {
    Ping() { system.give({}); }

    /// The code, and all of the result.
    std::string ping(const kvtip_address& to, const request& of = {}) {
        const kvtip_ping_options options = of.options();
        kvtip_ping_result result;
        system.calls.clear();
        std::memset(&result, 0xCC, sizeof result);
        const std::string code = text(kvtip_ping(&to, &options, &result));
        EXPECT_EQ(result.reserved[0] + result.reserved[1], 0u);
        return code + " " +
               texts(
                   {result.from, result.outcome, result.status, result.round_trip_time, result.time_to_live});
    }

    scripted::system system;
};

const std::string answered = "0 192.0.2.9|1|0|7|64|", answered6 = "0 fe80::5%6|1|0|7|0|",
                  nothing = " -|0|0|0|0|";

TEST_F(Ping, AsksWithTheOptions) {
    const struct {
        const char* what;
        request options;
        const char* call;
    } rows[] = {
        {"defaults", {}, "(192.0.2.9,32E/128/0/0,96,4000)"},
        {"all options",
         {.timeout = 9, .time_to_live = 255, .data_size = 1, .type_of_service = 255, .flags = 1},
         "(192.0.2.9,1E/255/255/2,65,9)"},
        {"without end", {.timeout = KVTIP_FOREVER}, "(192.0.2.9,32E/128/0/0,96,4294967295)"},
        {"a source", {.source = address_of("192.0.2.1")}, "2Ex(192.0.2.1,192.0.2.9,32E/128/0/0,96,4000)"},
        {"no data", {.flags = KVTIP_PING_NO_DATA}, "(192.0.2.9,0E/128/0/0,64,4000)"},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(ping(target, row.options).starts_with("0 192.0.2.9|")) << row.what;
        EXPECT_EQ(system.called("IcmpSendEcho"), row.call) << row.what;
    }
    system.give6(0, std::string(32, 'E'));
    EXPECT_EQ(ping(target6), answered6);
    EXPECT_EQ(system.called("Icmp6SendEcho2"), "(::,fe80::9%5,32E/128/0/0,96,4000)");
    EXPECT_EQ(ping(target6, {.source = address_of("fe80::1%5")}), answered6);
    EXPECT_EQ(system.called("Icmp6SendEcho2"), "(fe80::1%5,fe80::9%5,32E/128/0/0,96,4000)");
}

TEST_F(Ping, RefusesOptionsThatMeanNothing) {
    const std::pair<const char*, request> rows[] = {
        {"too many hops", {.time_to_live = 256}},
        {"no service", {.type_of_service = 256}},
        {"too much data", {.data_size = 65501}},
        {"data and none", {.data_size = 1, .flags = KVTIP_PING_NO_DATA}},
        {"an unknown flag", {.flags = 4}},
        {"a source of another family", {.source = address_of("::1")}},
        {"a source of an unknown family", {.source = {5, {}, 0, {}}}},
    };
    for (const auto& [what, options] : rows) {
        EXPECT_EQ(ping(target, options), "87" + nothing) << what;
        EXPECT_EQ(system.called("Icmp"), "") << what;
    }
}

TEST_F(Ping, SaysWhatBecameOfIt) {
    const struct {
        const char* what;
        scripted::echo_answer answer;
        std::string expected;
    } rows[] = {
        {"data in another place", {.data_at = 64}, answered},
        {"other data", {.last = '?'}, "0 192.0.2.9|6|0|7|64|"},
        {"less data", {.size = 31}, "0 192.0.2.9|6|0|7|64|"},
        {"data outside of the buffer", {.data_at = 0}, "0 192.0.2.9|6|0|7|64|"},
        {"data beyond the end", {.data_at = 65}, "0 192.0.2.9|6|0|7|64|"},
        {"a router", {.status = 11013, .size = 0}, "0 192.0.2.9|4|11013|7|64|"},
        {"no way", {.status = 11003, .size = 0}, "0 192.0.2.9|3|11003|7|64|"},
        {"too big", {.status = 11009, .size = 0}, "0 192.0.2.9|5|11009|7|64|"},
        {"an unknown status", {.status = 11049, .size = 0}, "0 192.0.2.9|7|11049|7|64|"},
    };
    for (const auto& row : rows) {
        system.give(row.answer);
        EXPECT_EQ(ping(target), row.expected) << row.what;
    }
    system.give({.size = 0, .data_at = 0});
    EXPECT_EQ(ping(target, {.flags = KVTIP_PING_NO_DATA}), answered);
    system.give6(0, std::string(31, 'E') + '?');
    EXPECT_EQ(ping(target6), "0 fe80::5%6|6|0|7|0|");
    system.give6(11003, "");
    EXPECT_EQ(ping(target6), "0 fe80::5%6|3|11003|7|0|");
}

TEST_F(Ping, SaysWhyThereIsNoAnswer) {
    const std::pair<DWORD, std::string> rows[] = {
        {11010, "0 -|2|11010|0|0|"},
        {11003, "0 -|3|11003|0|0|"},
        {11050, "0 -|7|11050|0|0|"},
        {ERROR_NETWORK_UNREACHABLE, "10051" + nothing},
        {ERROR_HOST_UNREACHABLE, "10065" + nothing},
        {scripted::system::no_reason, "31" + nothing},
    };
    for (const auto& [code, expected] : rows) {
        system.answers["IcmpSendEcho"] = {code};
        EXPECT_EQ(ping(target), expected) << code;
    }
}

TEST_F(Ping, TakesIpv4ForAMappedAddressWithoutIpv6) {
    const kvtip_address mapped = address_of("::ffff:192.0.2.9");
    for (const DWORD code : {2UL, 50UL, 120UL}) {
        system.answers["Icmp6CreateFile"] = {code};
        EXPECT_EQ(ping(mapped), answered) << code;
    }
    system.answers["Icmp6CreateFile"] = {5};
    EXPECT_EQ(ping(mapped), "5" + nothing);
    system.missing = {"Icmp6SendEcho2"};
    EXPECT_EQ(ping(mapped), answered);
    EXPECT_EQ(ping(mapped, {.source = address_of("::1")}), "120" + nothing);
    system.missing = {"IcmpSendEcho2Ex"};
    EXPECT_EQ(ping(target), answered);
}

/// A target that never answers.
const char* const silent = "192.0.2.66";

struct PingAll : Ping {
    PingAll() {
        EXPECT_EQ(kvtip_canceller_create(&canceller), 0u);
        system.silent = {silent};
        system.echo_time = 10;
    }
    ~PingAll() override { kvtip_canceller_close(canceller); }

    /// The code, and of each row the target or the code, and what became of the ping.
    std::string ping_all(const std::vector<std::string>& targets, const request& of = {}) {
        std::vector<kvtip_address> all;
        std::transform(targets.begin(), targets.end(), std::back_inserter(all),
                       [](const std::string& each) { return address_of(each.c_str()); });
        const kvtip_ping_options options = of.options();
        system.calls.clear();
        return scripted::result_of(
            [&](const kvtip_ping_reply& row) {
                const kvtip::address from(row.result.from), to(row.target);
                EXPECT_TRUE(system.most_echoes == 0 || !from.is_ipv4() || from == to.unmapped());
                return kvtip::address(row.target).to_string() + "=" +
                       (row.code != 0 ? text(row.code) : text(row.result.status));
            },
            kvtip_ping_all, all.data(), all.size(), &options);
    }
    void cancel_after(std::uint64_t milliseconds) {
        system.later.emplace(system.clock + milliseconds, [&] { kvtip_canceller_cancel(canceller); });
    }

    kvtip_canceller* canceller = nullptr;
};

TEST_F(PingAll, KeepsAFewHundredRequestsInFlight) {
    std::vector<std::string> targets;
    std::string expected = "0";
    for (int i = 0; i < 600; ++i) {
        targets.push_back(i % 3 == 0 ? silent : "198.51." + text(i / 256) + "." + text(i % 256));
        expected += " " + targets.back() + (i % 3 == 0 ? "=11010" : "=0");
    }
    const std::uint64_t begin = system.clock;
    EXPECT_EQ(ping_all(targets, {.timeout = 500}), expected);
    EXPECT_EQ(system.clock - begin, 1500u);
    EXPECT_EQ(system.most_echoes, 256u);
    EXPECT_EQ(system.count("IcmpCreateFile"), 1);
    EXPECT_EQ(system.count("CreateEventW(0,0)"), 256);
    EXPECT_EQ(ping_all({}), "0");
}

TEST_F(PingAll, SaysOfEachTargetWhatPingSays) {
    system.answers["IcmpSendEcho2(192.0.2.1,32E/128/0/0,96,4000)"] = {ERROR_NETWORK_UNREACHABLE};
    EXPECT_EQ(ping_all({"192.0.2.1", silent, "192.0.2.3"}), "0 192.0.2.1=10051 192.0.2.66=11010 192.0.2.3=0");
    EXPECT_EQ(ping_all({"192.0.2.1"}, {.source = address_of("192.0.2.7")}), "0 192.0.2.1=0");
    EXPECT_EQ(system.called("IcmpSendEcho2Ex"), "(192.0.2.7,192.0.2.1,32E/128/0/0,96,4000)");
    EXPECT_EQ(ping_all({"192.0.2.1", "fe80::9%5"}, {.source = address_of("192.0.2.7")}), "87");
    system.answers["Icmp6CreateFile"] = {120}; // what answers is an IPv4 host
    EXPECT_EQ(ping_all({"192.0.2.1", "::ffff:192.0.2.2"}, {.flags = KVTIP_PING_NO_DATA}),
              "0 192.0.2.1=0 ::ffff:192.0.2.2=0");
    system.answers["Icmp6CreateFile"] = {120, 5, 120};
    EXPECT_EQ(ping_all({"::ffff:192.0.2.1", "::1", "fe80::9%5"}), "0 ::ffff:192.0.2.1=0 ::1=5 fe80::9%5=120");
    system.give6(11003, "");
    EXPECT_EQ(ping_all({"fe80::9%5"}), "0 fe80::9%5=11003");
    EXPECT_EQ(system.called("Icmp6SendEcho2"), "(::,fe80::9%5,32E/128/0/0,96,4000)");
}

TEST_F(PingAll, EndsWhenItIsCancelled) {
    const request options{.cancel = canceller};
    cancel_after(50);
    const std::uint64_t begin = system.clock;
    EXPECT_EQ(ping_all({"192.0.2.1", silent, "192.0.2.3", silent}, options),
              "995 192.0.2.1=0 192.0.2.66=995 192.0.2.3=0 192.0.2.66=995");
    EXPECT_EQ(system.clock - begin, 50u);
    EXPECT_EQ(system.count("FreeLibrary(Iphlpapi.dll)"), 0) << "the system works on two requests";
    EXPECT_EQ(ping_all({"192.0.2.1"}, options), "995 192.0.2.1=995") << "it stays cancelled";
    EXPECT_EQ(ping(address_of(silent), options), "995" + nothing) << "it stays cancelled";
    EXPECT_EQ(system.called("Icmp"), "");
    for (DWORD time = 5000; system.pass(time);) { // lets what goes on end
    }
    EXPECT_EQ(ping(target), answered); // which gives back what the system had
}

TEST_F(PingAll, EndsASinglePingToo) {
    EXPECT_EQ(ping(target, {.cancel = canceller}), answered);
    EXPECT_EQ(system.called("IcmpSendEcho"), "2(192.0.2.9,32E/128/0/0,96,4000)");
    cancel_after(50);
    const std::uint64_t begin = system.clock;
    EXPECT_EQ(ping(address_of(silent), {.cancel = canceller}), "995" + nothing);
    EXPECT_EQ(system.clock - begin, 50u);
    for (DWORD time = 5000; system.pass(time);) {
    }
    kvtip_canceller_close(std::exchange(canceller, nullptr));
    ASSERT_EQ(kvtip_canceller_create(&canceller), 0u);
    system.echo_time = 60;
    system.later.emplace(system.clock + 50, [&] {
        kvtip_canceller_cancel(canceller);
        std::exchange(system.echoes, {}).begin()->second(true);
    });
    EXPECT_EQ(ping(target, {.cancel = canceller}), answered) << "an answer that has come counts";
    kvtip_canceller_close(std::exchange(canceller, nullptr));
    ASSERT_EQ(kvtip_canceller_create(&canceller), 0u);
    system.later.emplace(system.clock + 50, [&] {
        kvtip_canceller_cancel(canceller);
        for (auto& [number, end] : std::exchange(system.echoes, {})) {
            end(true);
        }
    });
    EXPECT_EQ(ping_all({"192.0.2.1", "192.0.2.2"}, {.cancel = canceller}), "0 192.0.2.1=0 192.0.2.2=0");
}

TEST_F(PingAll, GoesOneAfterTheOtherWithoutTheCalls) {
    kvtip_canceller_close(std::exchange(canceller, nullptr)); // it keeps the calls
    for (const char* entry : {"IcmpSendEcho2", "IcmpParseReplies", "CreateEventW"}) {
        system.missing = {entry};
        EXPECT_EQ(ping_all({"192.0.2.1", "192.0.2.2"}), "0 192.0.2.1=0 192.0.2.2=0") << entry;
        EXPECT_EQ(system.most_echoes, 0u) << entry;
    }
    system.missing = {"IcmpSendEcho2", "Icmp6ParseReplies"};
    ASSERT_EQ(kvtip_canceller_create(&canceller), 0u);
    system.during["IcmpSendEcho"] = [&] { kvtip_canceller_cancel(canceller); };
    EXPECT_EQ(ping_all({"192.0.2.1", "192.0.2.2"}, {.cancel = canceller}), "995 192.0.2.1=0 192.0.2.2=995");
    system.give6(0, std::string(32, 'E'));
    EXPECT_EQ(ping_all({"fe80::9%5"}), "0 fe80::9%5=0");
    EXPECT_EQ(system.most_echoes, 0u);
}

TEST_F(PingAll, CountsWhatBecameOfASeries) {
    kvtip::ping_statistics series;
    const auto times = [&] {
        return std::vector<double>{static_cast<double>(series.minimum().count()), series.average().count(),
                                   static_cast<double>(series.maximum().count()), series.jitter().count()};
    };
    EXPECT_EQ(times(), std::vector<double>(4));
    EXPECT_EQ(series.loss(), 0);
    for (const int time : {20, 5, -1, 8, 8}) {
        kvtip::ping_result result;
        result.outcome = time < 0 ? kvtip::ping_outcome::timed_out : kvtip::ping_outcome::answered;
        result.round_trip_time = std::chrono::milliseconds(time);
        series.add(result);
    }
    EXPECT_EQ(text(series.sent()) + text(series.answered()) + text(series.lost()), "541");
    EXPECT_EQ(series.loss(), 20);
    EXPECT_EQ(times(), (std::vector<double>{5, 10.25, 20, 6})); // 15, 3 and 0 from one to the next
}

TEST_F(Ping, HasASentenceWhereNoStatusSaysWhatIsWrong) {
    system.give({.last = 'F'});
    EXPECT_STREQ(kvtip::ping(kvtip::address(target)).message(), "The answer has other data than was sent.");
    EXPECT_STREQ(kvtip::ping_result().message(), "The ping was not sent.");
    const kvtip::address both[] = {kvtip::address(target), kvtip::address(target6)};
    system.missing = {"Icmp6SendEcho2"};
    const std::vector<kvtip::ping_reply> replies = kvtip::ping_all(both);
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(replies[0].result.outcome, kvtip::ping_outcome::data_differs);
    EXPECT_TRUE(!replies[0].error && replies[1].error == std::errc::function_not_supported);
}

} // namespace
