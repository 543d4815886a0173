// Ping of the C interface.

#include "kvtip/ping.hpp"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

namespace {

using scripted::socket_address;
using scripted::text;
using scripted::texts;

kvtip_address address(const char* of, std::uint32_t scope = 0) {
    ip::saddr result = socket_address(of);
    result.scope_id = scope;
    return kvtip::library::to_address(result);
}

const kvtip_address target = address("192.0.2.9"), target6 = address("fe80::9", 5);

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
    const std::string E32 = std::string(32, 'E');
    const struct {
        const char* what;
        kvtip_address to;
        request options;
        std::string result, call;
    } rows[] = {
        {"defaults", target, {}, answered, "SendEcho(192.0.2.9,32E/128/0/0,96,4000)"},
        {"all options",
         target,
         {.timeout = 9, .time_to_live = 255, .data_size = 1, .type_of_service = 255, .flags = 1},
         "0 192.0.2.9|6|0|7|64|",
         "SendEcho(192.0.2.9,1E/255/255/2,65,9)"},
        {"without end",
         target,
         {.timeout = KVTIP_FOREVER},
         answered,
         "SendEcho(192.0.2.9,32E/128/0/0,96,4294967295)"},
        {"a source",
         target,
         {.source = address("192.0.2.1")},
         answered,
         "SendEcho2Ex(192.0.2.1,192.0.2.9,32E/128/0/0,96,4000)"},
        {"too many hops", target, {.time_to_live = 256}, "87" + nothing, ""},
        {"no service", target, {.type_of_service = 256}, "87" + nothing, ""},
        {"too much data", target, {.data_size = 65501}, "87" + nothing, ""},
        {"data and none", target, {.data_size = 1, .flags = KVTIP_PING_NO_DATA}, "87" + nothing, ""},
        {"an unknown flag", target, {.flags = 4}, "87" + nothing, ""},
        {"a source of another family", target, {.source = address("::1")}, "87" + nothing, ""},
        {"a source that is none", target, {.source = {5, {}, 0, {}}}, "87" + nothing, ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ping(row.to, row.options), row.result) << row.what;
        EXPECT_EQ(system.called("IcmpSendEcho").empty() ? "" : "SendEcho" + system.called("IcmpSendEcho"),
                  row.call)
            << row.what;
    }
    system.give({.size = 0, .data_at = 0});
    EXPECT_EQ(ping(target, {.flags = KVTIP_PING_NO_DATA}), answered);
    EXPECT_EQ(system.called("IcmpSendEcho"), "(192.0.2.9,0E/128/0/0,64,4000)");
    system.give6(0, E32);
    EXPECT_EQ(ping(target6), answered6);
    EXPECT_EQ(system.called("Icmp6SendEcho2"), "(::,fe80::9%5,32E/128/0/0,96,4000)");
    EXPECT_EQ(ping(target6, {.source = address("fe80::1", 5)}), answered6);
    EXPECT_EQ(system.called("Icmp6SendEcho2"), "(fe80::1%5,fe80::9%5,32E/128/0/0,96,4000)");
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
    system.give6(0, std::string(31, 'E') + '?');
    EXPECT_EQ(ping(target6), "0 fe80::5%6|6|0|7|0|");
    system.give6(11003, "");
    EXPECT_EQ(ping(target6), "0 fe80::5%6|3|11003|7|0|");
}

TEST_F(Ping, SaysWhyThereIsNoAnswer) {
    const struct {
        const char* failing;
        DWORD code;
        std::string expected;
    } rows[] = {
        {"IcmpSendEcho", 11010, "0 -|2|11010|0|0|"},
        {"IcmpSendEcho", 11003, "0 -|3|11003|0|0|"},
        {"IcmpSendEcho", 11050, "0 -|7|11050|0|0|"},
        {"IcmpSendEcho", ERROR_NETWORK_UNREACHABLE, "10051" + nothing},
        {"IcmpSendEcho", ERROR_HOST_UNREACHABLE, "10065" + nothing},
        {"IcmpSendEcho", ERROR_ACCESS_DENIED, "5" + nothing},
        {"IcmpSendEcho", scripted::system::no_reason, "31" + nothing},
        {"IcmpCreateFile", 2, "2" + nothing},
    };
    for (const auto& row : rows) {
        system.answers[row.failing] = {row.code};
        EXPECT_EQ(ping(target), row.expected) << row.failing << " " << row.code;
    }
}

TEST_F(Ping, NeedsEntries) {
    const kvtip_address mapped = address("::ffff:192.0.2.9");
    const request from_ipv4{.source = address("192.0.2.1")}, from_ipv6{.source = address("::1")};
    const struct {
        const char* missing;
        kvtip_address to;
        request options;
        std::string expected;
    } rows[] = {
        {"IcmpSendEcho", target, {}, "120" + nothing},
        {"IcmpSendEcho2Ex", target, {}, answered},
        {"IcmpSendEcho2Ex", target, from_ipv4, "120" + nothing},
        {"Icmp6SendEcho2", target6, {}, "120" + nothing},
        {"Icmp6SendEcho2", mapped, {}, answered},
        {"Icmp6SendEcho2", mapped, from_ipv6, "120" + nothing},
    };
    for (const auto& row : rows) {
        system.missing = {row.missing};
        EXPECT_EQ(ping(row.to, row.options), row.expected) << row.missing;
    }
    system.missing.clear();
    for (const DWORD code : {2UL, 50UL, 120UL}) { // no IPv6
        system.answers["Icmp6CreateFile"] = {code};
        EXPECT_EQ(ping(mapped), answered) << code;
    }
    system.answers["Icmp6CreateFile"] = {5};
    EXPECT_EQ(ping(mapped), "5" + nothing);
}

TEST_F(Ping, HasASentenceWhereNoStatusSaysWhatIsWrong) {
    system.give({.last = 'F'});
    EXPECT_STREQ(kvtip::ping(kvtip::address(target)).message(), "The answer has other data than was sent.");
    EXPECT_STREQ(kvtip::ping_result().message(), "The ping was not sent.");
}

} // namespace
