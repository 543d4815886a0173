#include "address/format.h"
#include "address/parse.h"
#include "address_text_cases.h"
#include "guard_page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

using namespace address_text;

constexpr std::uint16_t untouched_family = 77;
constexpr std::uint8_t untouched_byte = 0xee;

/// A text whose terminating zero is the last byte before an inaccessible page. Of wide text each
/// unit but the terminator gets a high byte, which must not matter.
template <class Char>
class guarded_text {
public:
    explicit guarded_text(std::string_view text)
        : buffer_((text.size() + 1) * sizeof(Char)), text_(reinterpret_cast<Char*>(buffer_.data())) {
        constexpr unsigned high = sizeof(Char) > 1 ? 0x3000 : 0;
        Char* at = text_;
        for (const char character : text)
            *at++ = static_cast<Char>(static_cast<unsigned char>(character) | high);
        *at = 0;
    }
    operator const Char*() const { return text_; }

private:
    guarded_buffer buffer_;
    Char* text_;
};

bool parse(bool wide, std::string_view text, ip::addr& out) {
    return wide ? ip::detail::parse_address(guarded_text<wchar_t>(text), out)
                : ip::detail::parse_address(guarded_text<char>(text), out);
}

address_bytes untouched_bytes() {
    address_bytes bytes;
    bytes.fill(untouched_byte);
    return bytes;
}

ip::addr untouched_address() {
    ip::addr address{untouched_family, {}};
    std::memset(address.address, untouched_byte, sizeof address.address);
    return address;
}

address_bytes bytes_of(const ip::addr& address) {
    return std::to_array(address.address);
}

/// What 16 untouched bytes become when the first `count` are written.
address_bytes first_bytes(const address_bytes& written, std::size_t count) {
    address_bytes bytes = untouched_bytes();
    std::copy_n(written.begin(), count, bytes.begin());
    return bytes;
}

address_bytes expected_bytes(const parse_case& row) {
    return first_bytes(row.address, row.family == ip::family_ipv4 ? 4 : 16);
}

TEST(AddressText, EachFamilyReadsItsOwnText) {
    for (const parse_case& row : parse_cases) {
        SCOPED_TRACE(std::string(row.text) + ": " + row.why);
        const guarded_text<char> text(row.text);
        address_bytes out = untouched_bytes();
        EXPECT_EQ(ip::detail::parse_ipv6(text, out.data()), row.family == ip::family_ipv6 ? row.prefix : -1);
        EXPECT_EQ(out, row.family == ip::family_ipv6 ? row.address : untouched_bytes());

        out = untouched_bytes();
        EXPECT_EQ(ip::detail::parse_ipv4(text, out.data()), row.family == ip::family_ipv4 ? row.prefix : -1);
        if (row.family == ip::family_ipv4) {
            EXPECT_EQ(out, expected_bytes(row));
        }
    }
}

TEST(AddressText, RefusedTextKeepsTheFamilyWhenNarrowAndClearsItWhenWide) {
    for (const parse_case& row : parse_cases)
        for (const bool wide : {false, true}) {
            SCOPED_TRACE(std::string(row.text) + ": " + row.why);
            ip::addr out = untouched_address();
            const bool accepted = row.family != ip::family_none;
            EXPECT_EQ(parse(wide, row.text, out), accepted);
            EXPECT_EQ(out.family, accepted || wide ? row.family : untouched_family);
            if (accepted) {
                EXPECT_EQ(bytes_of(out), expected_bytes(row));
            }
        }
}

TEST(AddressText, WideTextEndsAtAUnitWithoutLowByte) {
    ip::addr out;
    EXPECT_TRUE(ip::detail::parse_address(L"10/8\x0100x", out));
    EXPECT_EQ(out.family, ip::family_ipv4);
}

TEST(AddressText, NullTextZeroesTheBytes) {
    ip::addr out = untouched_address();
    EXPECT_FALSE(ip::detail::parse_address(static_cast<const char*>(nullptr), out));
    EXPECT_EQ(out.family, untouched_family);
    EXPECT_EQ(bytes_of(out), address_bytes{});

    out = untouched_address();
    EXPECT_FALSE(ip::detail::parse_address(static_cast<const wchar_t*>(nullptr), out));
    EXPECT_EQ(out.family, ip::family_none);
    EXPECT_EQ(bytes_of(out), address_bytes{});
}

TEST(AddressText, NinthGroupIsAcceptedWithoutAnAddress) {
    for (const char* text : nine_group_texts) {
        SCOPED_TRACE(text);
        address_bytes bytes = untouched_bytes();
        EXPECT_EQ(ip::detail::parse_ipv6(guarded_text<char>(text), bytes.data()), 0);
        EXPECT_EQ(bytes, untouched_bytes());

        for (const bool wide : {false, true}) {
            ip::addr out = untouched_address();
            EXPECT_TRUE(parse(wide, text, out));
            EXPECT_EQ(out.family, ip::family_ipv6);
            EXPECT_EQ(bytes_of(out), untouched_bytes());
        }
    }
}

TEST(AddressText, OctetsOfAFailedIpv4AttemptStay) {
    const struct {
        const char* text;
        std::size_t octets;
        bool accepted;
    } rows[] = {
        {"7", 1, false},
        {"7.8.9", 3, false},
        {"7.8.300", 2, false},
        {"7.8.9.10.11", 4, false},
        {"7.8/24", 2, false}, // nothing is zeroed for a prefix that is refused
        {"7:2:3:4:5:6:7:8:9:a", 1, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        for (const bool wide : {false, true}) {
            ip::addr out = untouched_address();
            EXPECT_EQ(parse(wide, row.text, out), row.accepted);
            EXPECT_EQ(bytes_of(out), first_bytes(octets({7, 8, 9, 10}), row.octets));
        }
    }
}

/// Formats into a buffer that ends at an inaccessible page.
template <std::size_t size>
std::string formatted(std::size_t (*format)(const std::uint8_t*, char (&)[size]) noexcept,
                      const address_bytes& address) {
    const guarded_buffer buffer(size);
    auto& out = *reinterpret_cast<char(*)[size]>(buffer.data());
    const std::size_t length = format(address.data(), out);
    EXPECT_EQ(out[length], '\0');
    return {out, length};
}

TEST(AddressText, AddressesAreWrittenInTheirShortestForm) {
    for (const format_case& row : ipv4_format_cases)
        EXPECT_EQ(formatted(ip::detail::format_ipv4, row.address), row.text);
    for (const format_case& row : ipv6_format_cases)
        EXPECT_EQ(formatted(ip::detail::format_ipv6, row.address), row.text);
}

TEST(AddressText, EveryByteIsWrittenInDecimalAndHexadecimal) {
    for (unsigned value = 0; value < 256; ++value) {
        const auto byte = static_cast<std::uint8_t>(value);
        const std::string decimal = std::to_string(value);
        EXPECT_EQ(formatted(ip::detail::format_ipv4, octets({byte, 1, 2, byte})),
                  decimal + ".1.2." + decimal);
        char expected[16];
        std::snprintf(expected, sizeof expected, "%x::%x", 0x100 + value, value << 8 | 1);
        EXPECT_EQ(
            formatted(ip::detail::format_ipv6, groups({0x100 + value, 0, 0, 0, 0, 0, 0, value << 8 | 1})),
            expected);
    }
}

} // namespace
