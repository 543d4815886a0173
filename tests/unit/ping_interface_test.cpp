// Ping of the C interface.

#include "kvtip/ping.hpp"
#include "results.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

namespace {

using scripted::address_of;
using scripted::text;
using scripted::texts;

const kvtip_address target = address_of("192.0.2.9"), target6 = address_of("fe80::9%5");

struct request {
    std::uint32_t timeout = 0, time_to_live = 0, data_size = 0, type_of_service = 0, flags = 0;
    kvtip_address source{};
};

struct Ping : testing::Test {
    Ping() { system.give({}); }

    /// The code, and all of the result.
    std::string ping(const kvtip_address& to, const request& of = {}) {
        const kvtip_ping_options options{sizeof options,     of.timeout, of.time_to_live, of.data_size,
                                         of.type_of_service, of.flags,   of.source};
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

TEST_F(Ping, HasASentenceWhereNoStatusSaysWhatIsWrong) {
    system.give({.last = 'F'});
    EXPECT_STREQ(kvtip::ping(kvtip::address(target)).message(), "The answer has other data than was sent.");
    EXPECT_STREQ(kvtip::ping_result().message(), "The ping was not sent.");
}

} // namespace
