#include "address/format.h"
#include "address/parse.h"
#include "address_text_cases.h"
#include "guard_page.h"
#include "heap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace {

using namespace ip::detail;

constexpr ip::addr untouched{
    77, {0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee}};

/// What was read, written into a buffer that ends at an inaccessible page; empty for a refused text.
template <std::size_t size>
std::string written(std::size_t (*format)(const std::uint8_t*, char (&)[size]) noexcept, const ip::addr& read,
                    int prefix, int whole) {
    const guarded_buffer memory(size);
    auto& out = *static_cast<char(*)[size]>(std::memset(memory.data(), 'x', size));
    const std::size_t length = format(read.address, out);
    EXPECT_EQ(std::strlen(out), length);
    return prefix == not_an_address ? "" : out + (prefix == whole ? "" : '/' + std::to_string(prefix));
}

/// Reads a text that ends at an inaccessible page. The high bytes of wide units must not matter.
void expect_reading(const std::string& text, const std::string& address) {
    SCOPED_TRACE(text);
    const guarded_buffer memory(text.size() + 1), wide_memory((text.size() + 1) * sizeof(wchar_t));
    auto* const narrow = reinterpret_cast<char*>(memory.data());
    auto* const wide = reinterpret_cast<wchar_t*>(wide_memory.data());
    std::ranges::copy(text, narrow);
    std::ranges::transform(text, wide, [](unsigned char unit) { return unit | 0x3000; });

    const bool accepted = !address.empty(), v6 = address.find(':') != std::string::npos;
    ip::addr four = untouched, six = untouched;
    EXPECT_EQ(written(format_ipv4, four, parse_ipv4(narrow, four.address), 32), v6 ? "" : address);
    EXPECT_EQ(written(format_ipv6, six, parse_ipv6(narrow, six.address), 128), v6 ? address : "");

    const std::uint16_t family = v6 ? ip::family_ipv6 : accepted ? ip::family_ipv4 : ip::family_none;
    for (const bool is_wide : {false, true}) {
        ip::addr out = untouched;
        EXPECT_EQ(is_wide ? parse_address(wide, out) : parse_address(narrow, out), accepted);
        EXPECT_EQ(out.family, accepted || is_wide ? family : untouched.family);
        EXPECT_EQ(std::memcmp(out.address, v6 ? six.address : four.address, 16), 0);
    }
}

TEST(AddressText, IsReadAndWritten) {
    for (const auto& [text, address] : address_text::readings)
        expect_reading(text, address);
    for (const char* text : address_text::refused)
        expect_reading(text, "");
}

TEST(AddressText, NullIsNoAddress) {
    ip::addr narrow = untouched, wide = untouched;
    EXPECT_FALSE(parse_address(static_cast<const char*>(nullptr), narrow));
    EXPECT_FALSE(parse_address(static_cast<const wchar_t*>(nullptr), wide));
    EXPECT_EQ(narrow.family, untouched.family);
    EXPECT_EQ(wide.family, ip::family_none);
    EXPECT_EQ(std::ranges::count(narrow.address, 0) + std::ranges::count(wide.address, 0), 32);
}

TEST(AddressText, WideReadingLosesOneAttemptToADeniedAllocation) {
    const std::pair<const wchar_t*, bool> rows[] = {{L"48/8", false}, {L"48::", true}};
    for (const auto& [text, accepted] : rows) {
        ip::addr out = untouched;
        const heap::watch first_denied(0);
        EXPECT_EQ(parse_address(text, out), accepted);
        EXPECT_EQ(first_denied.live(), 0U);
    }
}

} // namespace
