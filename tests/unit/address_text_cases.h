#pragma once

// Address texts and what they read as, addresses and the text they are written as. The unit test's
// tables and the fuzzers' seeds; nothing here needs a platform header.

#include "ip/address.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace address_text {

using address_bytes = std::array<std::uint8_t, 16>;

/// The bytes given, then zeros.
constexpr address_bytes octets(std::initializer_list<std::uint8_t> values) {
    address_bytes bytes{};
    std::copy(values.begin(), values.end(), bytes.begin());
    return bytes;
}

/// The 16-bit groups given, then zeros.
constexpr address_bytes groups(std::initializer_list<unsigned> values) {
    address_bytes bytes{};
    auto at = bytes.begin();
    for (const unsigned value : values) {
        *at++ = static_cast<std::uint8_t>(value >> 8);
        *at++ = static_cast<std::uint8_t>(value);
    }
    return bytes;
}

struct parse_case {
    const char* text;
    std::uint16_t family; ///< `ip::family_none` when the text is refused
    int prefix;
    address_bytes address;
    const char* why;
};

constexpr parse_case ipv4(const char* text, int prefix, std::initializer_list<std::uint8_t> address,
                          const char* why) {
    return {text, ip::family_ipv4, prefix, octets(address), why};
}

constexpr parse_case ipv6(const char* text, int prefix, std::initializer_list<unsigned> address,
                          const char* why) {
    return {text, ip::family_ipv6, prefix, groups(address), why};
}

constexpr parse_case refused(const char* text, const char* why) {
    return {text, ip::family_none, -1, {}, why};
}

inline constexpr parse_case parse_cases[] = {
    ipv4("192.0.2.1", 32, {192, 0, 2, 1}, "four octets"),
    ipv4("255.255.255.255", 32, {255, 255, 255, 255}, "greatest octets"),
    ipv4("\t\v\f\r 1.2.3.4", 32, {1, 2, 3, 4}, "every blank is skipped"),
    ipv4("001.002.003.010", 32, {1, 2, 3, 10}, "leading zeros are decimal"),
    ipv4("00000000000255.0.0.1", 32, {255, 0, 0, 1}, "any number of leading zeros"),
    ipv4("1.2.3.4xyz", 32, {1, 2, 3, 4}, "text after the fourth octet"),
    ipv4("1.2.3.4:80", 32, {1, 2, 3, 4}, "a port after the fourth octet"),
    ipv4("1.2.3.4\n", 32, {1, 2, 3, 4}, "a line feed after the fourth octet"),
    ipv4("1.2.3.4.", 32, {1, 2, 3, 4}, "a last dot is ignored"),
    ipv4("1.2.3.4.x", 32, {1, 2, 3, 4}, "a dot before no digit ends the address"),
    ipv4("1.2.3.4./8", 32, {1, 2, 3, 4}, "an ignored dot ends the address before the prefix"),
    ipv4("1.2.3.4/", 32, {1, 2, 3, 4}, "slash without prefix"),
    ipv4("1.2.3.4/x", 32, {1, 2, 3, 4}, "slash before no digit"),
    ipv4("1.2.3.4/0", 0, {1, 2, 3, 4}, "least prefix"),
    ipv4("1.2.3.4/32", 32, {1, 2, 3, 4}, "greatest prefix"),
    ipv4("1.2.3.4/0024", 24, {1, 2, 3, 4}, "leading zeros of a prefix"),
    ipv4("10/8", 8, {10}, "octets left out"),
    ipv4("10/15", 15, {10}, "the prefix ends inside the first octet left out"),
    ipv4("10.1/23", 23, {10, 1}, "two octets"),
    ipv4("10.1.2/31", 31, {10, 1, 2}, "three octets"),
    refused("", "empty"),
    refused(" ", "blanks only"),
    refused("\n1.2.3.4", "a line feed is not skipped"),
    refused(" \n1.2.3.4", "a line feed among blanks"),
    refused(".1.2.3", "no first octet"),
    refused("-1.2.3.4", "a sign"),
    refused("\xb2.1.2.3", "not a digit in any code page"),
    refused("1.2.3", "three octets"),
    refused("1.2.3.", "three octets and a dot"),
    refused("1..2.3.4", "an empty octet"),
    refused("1.2.3x.4", "text after the third octet"),
    refused("1.2.3.256", "an octet too great"),
    refused("4294967297.2.3.4", "an octet that would wrap around"),
    refused("1.2.3.4.5", "five octets"),
    refused("10/16", "the prefix covers an octet left out"),
    refused("10.1.2/32", "the prefix covers the last octet left out"),
    refused("1.2.3.4/33", "prefix too great"),
    refused("1.2.3.4/4294967304", "a prefix that would wrap around"),
    refused("1.2.3.4/8x", "text after the prefix"),
    refused("10/", "octets left out without a prefix"),
    refused("10./8", "an ignored dot ends the address too early"),
    refused("/8", "a prefix alone"),

    ipv6("1:2:3:4:5:6:7:8", 128, {1, 2, 3, 4, 5, 6, 7, 8}, "eight groups"),
    ipv6("0123:4567:89ab:cdef:ABCD:EF:00f:0", 128, {0x123, 0x4567, 0x89ab, 0xcdef, 0xabcd, 0xef, 0xf, 0},
         "digits of either case"),
    ipv6("::", 128, {}, "zeros only"),
    ipv6("::8", 128, {0, 0, 0, 0, 0, 0, 0, 8}, "zeros in front"),
    ipv6("1::", 128, {1}, "zeros behind"),
    ipv6("2001:db8::7:8", 128, {0x2001, 0xdb8, 0, 0, 0, 0, 7, 8}, "zeros between"),
    ipv6("::2:3:4:5:6:7:8", 128, {0, 2, 3, 4, 5, 6, 7, 8}, "one zero group in front"),
    ipv6("1:2:3:4:5:6:7::", 128, {1, 2, 3, 4, 5, 6, 7, 0}, "one zero group behind"),
    ipv6("\t\v\f\r ::1", 128, {0, 0, 0, 0, 0, 0, 0, 1}, "every blank is skipped"),
    ipv6("fe80::1%eth0", 128, {0xfe80, 0, 0, 0, 0, 0, 0, 1}, "a scope ends the address"),
    ipv6("::\xff", 128, {}, "a character past ASCII ends the address"),
    ipv6("1::.5.6", 128, {1}, "a dot without a group ends the address"),
    ipv6("1:2:3:4:5:6:7:8x", 128, {1, 2, 3, 4, 5, 6, 7, 8}, "text after the eighth group"),
    ipv6("1:2:3:4:5:6:7:8:x", 128, {1, 2, 3, 4, 5, 6, 7, 8}, "text after the eighth colon"),
    ipv6("1:2:3:4:5:6:7:8:/64", 64, {1, 2, 3, 4, 5, 6, 7, 8}, "a prefix after the eighth colon"),
    refused(":", "a colon"),
    refused(":1::", "one leading colon"),
    refused(":::", "three colons"),
    refused("1:::2", "three colons between groups"),
    refused("1::2::3", "two zero runs"),
    refused("1:2:3:4:5:6:7", "seven groups"),
    refused("1:2:3:4:5:6:7:", "a last colon"),
    refused("::1:", "a last colon after zeros"),
    refused("1:2:3:4:5:6:7:8:", "a last colon after eight groups"),
    refused("1:2:3:4:5:6:7:8:9", "nine groups"),
    refused("1:2:3:4:5:6:7:8:9:", "nine groups and a last colon"),
    refused("1:2:3:4:5:6:7:8::", "zeros after eight groups"),
    refused("1:2:3:4:5:6:7::8", "zeros among eight groups"),
    refused("12345::", "five digits"),
    refused("::00001", "five digits, leading zeros too"),
    refused("::12345.1", "five digits before a dot"),
    refused("g::", "not a digit"),
    refused("\xe1::", "a character past ASCII"),
    refused("\n::1", "a line feed is not skipped"),

    ipv6("1:2:3:4:5:6:7:8/64", 64, {1, 2, 3, 4, 5, 6, 7, 8}, "prefix after a group"),
    ipv6("1::/32", 32, {1}, "prefix after zeros"),
    ipv6("1::/0", 0, {1}, "least prefix"),
    ipv6("1::/128", 128, {1}, "greatest prefix"),
    ipv6("1::/129", 128, {1}, "prefix too great: ignored"),
    ipv6("1::/4294967304", 128, {1}, "a prefix that would wrap around: ignored"),
    ipv6("1::/064", 128, {1}, "leading zero of a prefix: ignored"),
    ipv6("1::/00", 128, {1}, "two zeros: ignored"),
    ipv6("1::/64x", 128, {1}, "text after the prefix: ignored"),
    ipv6("1::/", 128, {1}, "slash without prefix: ignored"),
    refused("1:2/64", "a prefix does not stand for groups"),

    ipv6("::ffff:1.2.3.4", 128, {0, 0, 0, 0, 0, 0xffff, 0x102, 0x304}, "dotted tail"),
    ipv6("1:2:3:4:5:6:7.8.9.255", 128, {1, 2, 3, 4, 5, 6, 0x708, 0x9ff}, "dotted tail after six groups"),
    ipv6("1:2:3:4:5:6:7:8.9", 128, {1, 2, 3, 4, 5, 6, 7, 8}, "no room for a tail: a dot ends the address"),
    ipv6("1::5.6", 128, {1, 0, 0, 0, 0, 0, 0x506, 0}, "tail of two octets"),
    ipv6("1::5..6", 128, {1, 0, 0, 0, 0, 0, 0x500, 0x600}, "empty octet of a tail"),
    ipv6("1::0.0.0.1", 128, {1, 0, 0, 0, 0, 0, 0, 1}, "zeros as octets of a tail"),
    ipv6("1::5.6.7.8/96", 96, {1, 0, 0, 0, 0, 0, 0x506, 0x708}, "prefix after a tail"),
    ipv6("1::5.6/24", 24, {1, 0, 0, 0, 0, 0, 0x506, 0}, "prefix after two octets"),
    ipv6("1::5.../24", 24, {1, 0, 0, 0, 0, 0, 0x500, 0}, "prefix after an empty fourth octet"),
    ipv6("1::5.6.7.8/", 128, {1, 0, 0, 0, 0, 0, 0x506, 0x708}, "ignored slash: the tail stands"),
    ipv6("1::5.6.7.8/129", 128, {1, 0, 0, 0, 0, 0, 0x506, 0x708}, "ignored prefix: the tail stands"),
    ipv6("1::5.6.7.8x", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "text after a tail: its first digits are a group"),
    ipv6("1::5.6.7.8 ", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "blank after a tail: its first digits are a group"),
    ipv6("1::5.", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "tail that ends without a digit"),
    ipv6("1::5.6.7.8.", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "tail with a fourth dot"),
    ipv6("1::5.6.7.8.9", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "tail of five octets"),
    ipv6("1::5.6.7.8./8", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "prefix after a fourth dot"),
    ipv6("1::256.1", 128, {1, 0, 0, 0, 0, 0, 0, 0x256}, "octet too great: its digits are a group"),
    ipv6("1::5.256", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "second octet too great"),
    ipv6("1::05.6", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "leading zero of the first octet"),
    ipv6("1::5.00", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "leading zero of a later octet"),
    ipv6("1::5.a", 128, {1, 0, 0, 0, 0, 0, 0, 5}, "hexadecimal octet"),
    ipv6("1::a.5", 128, {1, 0, 0, 0, 0, 0, 0, 0xa}, "tail that begins with a hexadecimal digit"),
    ipv6("1:2:3:4:5:6::7.x", 128, {1, 2, 3, 4, 5, 6, 0, 7}, "a failed tail takes the room of one group"),
    refused("1.2.3::", "a dotted head"),
    refused("1:2:3:4:5:6::7.8", "zeros where a tail takes the last room"),
    refused("1:2:3:4:5:6:7::8.9", "zeros where the group before a dot takes the last room"),
    refused("1:2:3:4:5:6.7.8.9x", "seven groups after a failed tail"),
    refused("1:2:3:4:5:6:7.8.9.10.11", "seven groups after a tail of five octets"),
};

/// Texts with a ninth group in the middle: accepted as IPv6 with prefix length 0, their address unread.
inline constexpr const char* nine_group_texts[] = {"a:2:3:4:5:6:7:8:9:x", "a:2:3:4:5:6:7:8:9:a:b",
                                                   "a:2:3:4:5:6:7:8:9::", "a:2:3:4:5:6:7:8::9:a"};

struct format_case {
    address_bytes address;
    const char* text;
};

inline constexpr format_case ipv4_format_cases[] = {
    {octets({}), "0.0.0.0"},
    {octets({192, 168, 0, 1}), "192.168.0.1"},
    {octets({9, 10, 99, 100}), "9.10.99.100"},
    {octets({255, 255, 255, 255}), "255.255.255.255"},
};

inline constexpr format_case ipv6_format_cases[] = {
    {groups({}), "::"},
    {groups({1}), "1::"},
    {groups({0, 0, 0, 0, 0, 0, 0, 1}), "::1"},
    {groups({0x2001, 0xdb8, 0, 1, 0, 0, 0, 1}), "2001:db8:0:1::1"},
    {groups({1, 0, 2, 3, 4, 5, 6, 7}), "1::2:3:4:5:6:7"}, // a single zero group is a run
    {groups({0, 2, 3, 4, 5, 6, 7, 8}), "::2:3:4:5:6:7:8"},
    {groups({1, 2, 3, 4, 5, 6, 7, 0}), "1:2:3:4:5:6:7::"},
    {groups({1, 0, 0, 2, 0, 0, 3, 4}), "1::2:0:0:3:4"}, // the first of equal runs
    {groups({1, 0, 2, 0, 0, 3, 4, 5}), "1:0:2::3:4:5"}, // a longer run behind
    {groups({0, 0, 1, 2, 3, 0, 0, 0}), "0:0:1:2:3::"},
    {groups({1, 0x12, 0x123, 0x1234, 0xabcd, 0xf0, 0xf00, 0xf}), "1:12:123:1234:abcd:f0:f00:f"},
    {groups({0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff, 0xffff}),
     "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
    {groups({0, 0, 0, 0, 0, 0xffff, 0x102, 0x3ff}), "::ffff:1.2.3.255"}, // IPv4-mapped
    {groups({0, 0, 0, 0, 0, 0xffff, 0, 0}), "::ffff:0.0.0.0"},
    {groups({0, 0, 0, 0, 0, 0, 0x102, 0x304}), "::102:304"}, // these only look mapped
    {groups({0, 0, 0, 0, 0, 0xfffe, 0x102, 0x304}), "::fffe:102:304"},
    {groups({0, 0, 0, 0, 1, 0xffff, 0x102, 0x304}), "::1:ffff:102:304"},
    {groups({0, 0, 0, 1, 0, 0xffff, 0x102, 0x304}), "::1:0:ffff:102:304"},
};

} // namespace address_text
