// Address text, the texts of codes and those of ping statuses in the C interface.

#include "kvtip/address.hpp"
#include "kvtip/kvtip.h"
#include "scripted_system.h"
#include "strict_text_cases.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr std::uint32_t misuse = ERROR_INVALID_PARAMETER;

template <class Value, class Readings, class Refusals>
void expect_rows(std::uint32_t (*parse)(const char*, Value*),
                 std::uint32_t (*format)(const Value*, char*, std::size_t), std::size_t text_size,
                 const Readings& readings, const Refusals& refusals) {
    const Value none{};
    for (const auto& [text, written] : readings) {
        SCOPED_TRACE(text);
        Value value;
        std::memset(&value, 0xEE, sizeof value);
        ASSERT_EQ(parse(text.c_str(), &value), 0U);
        const std::size_t size = written.size() + 1;
        EXPECT_LE(size, text_size);
        const guarded_buffer memory(size); // exactly the room that the text needs
        char* const exact = static_cast<char*>(std::memset(memory.data(), 'x', size));
        EXPECT_EQ(format(&value, exact, size - 1), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(std::string(exact, size), '\0' + std::string(size - 1, 'x'));
        EXPECT_EQ(format(&value, exact, size), 0U);
        EXPECT_EQ(std::string(exact), written);
    }
    for (const auto& [text, because] : refusals) {
        Value value;
        std::memset(&value, 0xEE, sizeof value);
        EXPECT_EQ(parse(text.c_str(), &value), DWORD{WSAEINVAL}) << text << ": " << because;
        EXPECT_EQ(std::memcmp(&value, &none, sizeof value), 0) << text;
    }
    char out[] = "x";
    EXPECT_EQ(format(&none, out, 0), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(format(nullptr, out, 0), misuse);
    EXPECT_EQ(out[0], 'x');
    EXPECT_EQ(format(&none, out, 1), 0U);
    EXPECT_EQ(out[0], 0);
}

TEST(TextInterface, ReadsAndWritesAsTheHeadersDo) {
    expect_rows(kvtip_parse_address, kvtip_format_address, KVTIP_ADDRESS_TEXT_SIZE, strict_text::addresses,
                strict_text::no_addresses);
    expect_rows(kvtip_parse_endpoint, kvtip_format_endpoint, KVTIP_ENDPOINT_TEXT_SIZE, strict_text::endpoints,
                strict_text::no_endpoints);
    expect_rows(kvtip_parse_network, kvtip_format_network, KVTIP_NETWORK_TEXT_SIZE, strict_text::networks,
                strict_text::no_networks);
    expect_rows(kvtip_parse_mac, kvtip_format_mac, KVTIP_MAC_TEXT_SIZE, strict_text::macs,
                strict_text::no_macs);
}

TEST(TextInterface, WritesScopesAndPrefixLengthsOnlyWhereTheyMayBe) {
    char out[KVTIP_NETWORK_TEXT_SIZE];
    kvtip_address global{};
    EXPECT_EQ(kvtip_parse_address("2001:db8::1", &global), 0U);
    global.scope = 1;
    EXPECT_EQ(kvtip_format_address(&global, out, sizeof out), misuse);
    const std::tuple<const char*, std::uint8_t, std::uint32_t> rows[] = {
        {"10.0.0.0/8", 33, 0}, {"10.0.0.0/8", 6, 0}, {"fe80::/64", 129, 0}, {"fe80::/64", 64, 1}};
    for (const auto& [text, length, scope] : rows) {
        kvtip_network value{};
        EXPECT_EQ(kvtip_parse_network(text, &value), 0U);
        value.prefix_length = length;
        value.address.scope = scope;
        EXPECT_EQ(kvtip_format_network(&value, out, sizeof out), misuse) << text << ", " << length;
    }
}

/// A message in room of its size, checked in all smaller rooms.
std::string message_of(std::uint32_t code) {
    const std::size_t size = kvtip_message(code, nullptr, 0);
    std::string whole(size, 'x');
    EXPECT_EQ(kvtip_message(code, whole.data(), size), size);
    EXPECT_EQ(whole.find('\0'), size - 1);
    whole.pop_back();
    for (std::size_t room = 1; room < size; ++room) {
        const guarded_buffer memory(room);
        char* const out = static_cast<char*>(std::memset(memory.data(), 'x', room));
        EXPECT_EQ(kvtip_message(code, out, room), size);
        const std::size_t length = std::strlen(out);
        EXPECT_EQ(whole.compare(0, length, out), 0);
        // It ends before a character, and as late as possible.
        EXPECT_NE(whole[length] & 0xC0, 0x80) << room;
        EXPECT_LT(room - 1 - length, 4U);
        EXPECT_TRUE(length == room - 1 || (whole[room - 1] & 0xC0) == 0x80) << room;
    }
    char untouched = 'x';
    EXPECT_EQ(kvtip_message(code, &untouched, 0), size);
    EXPECT_EQ(untouched, 'x');
    EXPECT_EQ(kvtip_message(code, nullptr, 9), size);
    return whole;
}

TEST(Messages, AreWholeCharactersInEveryRoom) {
    scripted::system system;
    system.messages = {{2345, L"Gr\u00F6\u00DFe \u20AC \xD83D\xDE00.  "}, {4321, std::wstring(600, L'x')}};
    const struct {
        std::uint32_t code;
        const char* name;
        const char* message;
    } rows[] = {{0, "ERROR_SUCCESS", "No error occurred."},
                {87, "ERROR_INVALID_PARAMETER", "An argument is not valid."},
                {10061, "WSAECONNREFUSED", "The connection was refused: nobody listens at this port."},
                {11004, "WSANO_DATA", "The name has no address of this family."},
                {11010, "IP_REQ_TIMED_OUT", "Nobody answered in time."}, // as a ping may return it
                {9552, "DNS_ERROR_INVALID_IP_ADDRESS", "The IP address is not valid."},
                {2345, "",
                 "Gr\xC3\xB6\xC3\x9F"
                 "e \xE2\x82\xAC \xF0\x9F\x98\x80."},
                {4321, "", "Error 4321"}, // longer than any room for it
                {7, "", "Error 7"},
                {0xFFFFFFFF, "", "Error 4294967295"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.code);
        SetLastError(99);
        EXPECT_EQ(message_of(row.code), row.message);
        EXPECT_STREQ(kvtip_error_name(row.code), row.name);
        EXPECT_EQ(GetLastError(), 99U);
    }
}

TEST(Messages, NeedNoSystemForCodesThatTheLibraryKnows) {
    scripted::system system;
    system.missing = {"FormatMessageW"};
    EXPECT_EQ(message_of(2345), "Error 2345");
    system.calls.clear();
    EXPECT_EQ(message_of(10060), "The operation did not end within its time-out.");
    EXPECT_TRUE(system.calls.empty());
}

TEST(Messages, HaveAPlainSentenceAndAUniqueNameForEveryKnownCode) {
    const scripted::system system;
    std::set<std::string> names;
    const auto expect_text = [&](std::uint32_t code, const std::string& name, const std::string& message) {
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_TRUE(message.size() > 1 && std::isupper(message.front()) && message.back() == '.') << code;
    };
    for (std::uint32_t code = 0; code < 12000; ++code) {
        const std::string name = kvtip_error_name(code);
        const std::string status = kvtip_ping_status_name(code);
        if (!name.empty() && name != status) {
            expect_text(code, name, message_of(code));
        }
        if (!status.empty()) {
            expect_text(code, status, kvtip_ping_status_message(code));
        }
    }
    EXPECT_GT(names.size(), 200U);
    for (const std::uint32_t unknown : {11000U, 11019U, 11051U, 0xFFFFFFFFU}) {
        EXPECT_STREQ(kvtip_ping_status_name(unknown), "");
        EXPECT_STREQ(kvtip_ping_status_message(unknown), "");
    }
    EXPECT_STREQ(kvtip_ping_status_name(11010), "IP_REQ_TIMED_OUT");
    EXPECT_STREQ(kvtip_ping_status_name(11013), "IP_TTL_EXPIRED_TRANSIT");
}

} // namespace
