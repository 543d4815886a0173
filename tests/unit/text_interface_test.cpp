// Address text, the texts of codes and those of ping statuses in the C interface.

#include "kvtip/address.hpp"
#include "kvtip/kvtip.h"
#include "scripted_system.h"
#include "strict_text_cases.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::uint32_t misuse = ERROR_INVALID_PARAMETER;

/// The functions for one type of value, and the size that holds its texts.
template <class Value>
struct functions {
    std::uint32_t (*parse)(const char*, Value*) noexcept;
    std::uint32_t (*format)(const Value*, char*, std::size_t) noexcept;
    std::size_t text_size;
};
constexpr functions<kvtip_address> of_addresses{kvtip_parse_address, kvtip_format_address,
                                                KVTIP_ADDRESS_TEXT_SIZE};
constexpr functions<kvtip_endpoint> of_endpoints{kvtip_parse_endpoint, kvtip_format_endpoint,
                                                 KVTIP_ENDPOINT_TEXT_SIZE};
constexpr functions<kvtip_network> of_networks{kvtip_parse_network, kvtip_format_network,
                                               KVTIP_NETWORK_TEXT_SIZE};
constexpr functions<kvtip_mac> of_macs{kvtip_parse_mac, kvtip_format_mac, KVTIP_MAC_TEXT_SIZE};

template <class Value>
bool is_zero(const Value& value) {
    const Value zero{};
    return std::memcmp(&value, &zero, sizeof value) == 0;
}

template <class Value, class Readings, class Refusals>
void expect_rows(const functions<Value>& use, const Readings& readings, const Refusals& refusals) {
    for (const auto& [text, written] : readings) {
        SCOPED_TRACE(text);
        Value value;
        std::memset(&value, 0xEE, sizeof value);
        ASSERT_EQ(use.parse(text.c_str(), &value), 0U);
        // Exactly the room that the text needs, at the end of a page, and one byte less.
        const std::size_t size = written.size() + 1;
        EXPECT_LE(size, use.text_size);
        const guarded_buffer memory(size), less(size - 1);
        char* const out = static_cast<char*>(std::memset(memory.data(), 'x', size));
        EXPECT_EQ(use.format(&value, out, size), 0U);
        EXPECT_EQ(std::string(out), written);
        char* const short_out = static_cast<char*>(std::memset(less.data(), 'x', size - 1));
        EXPECT_EQ(use.format(&value, short_out, size - 1), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(short_out[0], 0);
    }
    for (const auto& [text, because] : refusals) {
        if (text.find('\0') == std::string::npos) {
            Value value;
            std::memset(&value, 0xEE, sizeof value);
            EXPECT_EQ(use.parse(text.c_str(), &value), DWORD{WSAEINVAL}) << text << ": " << because;
            EXPECT_TRUE(is_zero(value)) << text;
        }
    }
    Value value;
    std::memset(&value, 0xEE, sizeof value);
    EXPECT_EQ(use.parse(nullptr, &value), misuse);
    EXPECT_TRUE(is_zero(value));
    EXPECT_EQ(use.parse("", nullptr), misuse);
    char out[] = "xx";
    EXPECT_EQ(use.format(nullptr, out, 0), misuse);
    EXPECT_EQ(out[0], 'x');
    EXPECT_EQ(use.format(nullptr, out, 2), misuse);
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(use.format(&value, nullptr, 0), misuse);
    EXPECT_EQ(use.format(&value, out, 0), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(use.format(&value, out, 1), 0U);
    EXPECT_EQ(out[0], 0);
}

TEST(TextInterface, ReadsAndWritesAsTheHeadersDo) {
    expect_rows(of_addresses, strict_text::addresses, strict_text::no_addresses);
    expect_rows(of_endpoints, strict_text::endpoints, strict_text::no_endpoints);
    expect_rows(of_networks, strict_text::networks, strict_text::no_networks);
    expect_rows(of_macs, strict_text::macs, strict_text::no_macs);
}

/// Expects 87 for the value that `text` gives after each of these changes.
template <class Value>
void expect_misuse(const functions<Value>& use, const char* text,
                   std::initializer_list<std::pair<const char*, void (*)(Value&)>> changes) {
    for (const auto& [name, change] : changes) {
        Value value{};
        EXPECT_EQ(use.parse(text, &value), 0U);
        change(value);
        char out[KVTIP_MAC_TEXT_SIZE] = "x";
        EXPECT_EQ(use.format(&value, out, sizeof out), misuse) << text << ": " << name;
        EXPECT_EQ(out[0], 0) << text << ": " << name;
    }
}

TEST(TextInterface, WritesOnlyValidValues) {
    expect_misuse<kvtip_address>(of_addresses, "1.2.3.4",
                                 {{"family 5", [](auto& value) { value.family = 5; }},
                                  {"family 255", [](auto& value) { value.family = 255; }},
                                  {"reserved", [](auto& value) { value.reserved[0] = 1; }},
                                  {"last reserved", [](auto& value) { value.reserved[2] = 1; }},
                                  {"a fifth byte", [](auto& value) { value.bytes[4] = 1; }},
                                  {"a last byte", [](auto& value) { value.bytes[15] = 1; }},
                                  {"bytes of no address", [](auto& value) { value.family = 0; }},
                                  {"scope", [](auto& value) { value.scope = 1; }}});
    expect_misuse<kvtip_address>(of_addresses, "2001:db8::1",
                                 {{"scope", [](auto& value) { value.scope = 1; }}});
    expect_misuse<kvtip_endpoint>(of_endpoints, "1.2.3.4:5",
                                  {{"family", [](auto& value) { value.address.family = 3; }},
                                   {"reserved", [](auto& value) { value.reserved = 1; }}});
    expect_misuse<kvtip_network>(of_networks, "10.0.0.0/8",
                                 {{"length", [](auto& value) { value.prefix_length = 33; }},
                                  {"bits after the prefix", [](auto& value) { value.prefix_length = 6; }},
                                  {"reserved", [](auto& value) { value.reserved[2] = 1; }}});
    expect_misuse<kvtip_network>(of_networks, "fe80::/64",
                                 {{"length", [](auto& value) { value.prefix_length = 129; }},
                                  {"scope", [](auto& value) { value.address.scope = 1; }}});
    expect_misuse<kvtip_mac>(of_macs, "02-00-5E",
                             {{"length", [](auto& value) { value.length = 33; }},
                              {"bytes after the length", [](auto& value) { value.length = 2; }},
                              {"reserved", [](auto& value) { value.reserved[0] = 1; }}});
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
    system.messages = {{1234, L"Gr\u00F6\u00DFe \u20AC \xD83D\xDE00.  "}, {4321, std::wstring(600, L'x')}};
    const struct {
        std::uint32_t code;
        const char* name;
        const char* message;
    } rows[] = {{0, "ERROR_SUCCESS", "No error occurred."},
                {87, "ERROR_INVALID_PARAMETER", "An argument is not valid."},
                {10061, "WSAECONNREFUSED", "The connection was refused: nobody listens at this port."},
                {11004, "WSANO_DATA", "The name has no address of this family."},
                {1234, "",
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
    EXPECT_EQ(message_of(1234), "Error 1234");
    system.calls.clear();
    EXPECT_EQ(message_of(10060), "The time is over: nobody answered.");
    EXPECT_TRUE(system.calls.empty());
}

TEST(Messages, HaveAPlainSentenceAndAUniqueNameForEveryKnownCode) {
    const scripted::system system;
    std::set<std::string> names;
    const auto expect_text = [&](std::uint32_t code, const std::string& name, const std::string& message) {
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](char each) {
            return each == '_' || std::isupper(each) || std::isdigit(each);
        })) << name;
        EXPECT_TRUE(message.size() > 1 && std::isupper(message.front()) && message.back() == '.') << code;
        EXPECT_TRUE(std::all_of(message.begin(), message.end(), [](char each) { return each >= ' '; }))
            << code;
    };
    for (std::uint32_t code = 0; code < 12000; ++code) {
        if (const std::string name = kvtip_error_name(code); !name.empty()) {
            expect_text(code, name, message_of(code));
        }
        if (const std::string name = kvtip_ping_status_name(code); !name.empty()) {
            expect_text(code, name, kvtip_ping_status_message(code));
        }
    }
    EXPECT_GT(names.size(), 100U);
    for (const std::uint32_t unknown : {11000U, 11019U, 11051U, 0xFFFFFFFFU}) {
        EXPECT_STREQ(kvtip_ping_status_name(unknown), "");
        EXPECT_STREQ(kvtip_ping_status_message(unknown), "");
    }
    EXPECT_STREQ(kvtip_ping_status_name(11010), "IP_REQ_TIMED_OUT");
    EXPECT_STREQ(kvtip_ping_status_name(11013), "IP_TTL_EXPIRED_TRANSIT");
}

} // namespace
