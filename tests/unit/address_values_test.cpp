// Addresses, endpoints, networks and hardware addresses of the C++ headers. This file runs on the build host
// too, and uses nothing of a platform.

#include <gtest/gtest.h>

#include <algorithm>
#include <compare>
#include <functional>
#include <iomanip>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

// Macros of the platform's headers, which a program may have included before.
#define far
#define near
#define min(one, other) (one)
#define max(one, other) (one)
#include "kvtip/address.hpp"
#undef far
#undef near
#undef min
#undef max

#include "strict_text_cases.h"

namespace {

using kvtip::address;
using kvtip::endpoint;
using kvtip::mac;
using kvtip::network;

// All of it works at compile time.
static_assert(address::parse("192.0.2.1") == address(192, 0, 2, 1));
static_assert(address::parse(L"::ffff:192.0.2.1")->unmapped() == address(192, 0, 2, 1));
static_assert(address::parse(u"fe80::1%4")->scope() == 4);
static_assert(address::parse(u8"2001:db8::1")->next()->text().view() == "2001:db8::2");
static_assert(address::parse("2001:db8:7:89:AbC:d0e:f:1230")->text().view() ==
              "2001:db8:7:89:abc:d0e:f:1230");
static_assert(endpoint::parse("[::1]:80")->port() == 80);
static_assert(network::of(address(10, 1, 2, 3), 8).last() == address(10, 255, 255, 255));
static_assert(mac::parse("02-00-5E-10-00-01")->size() == 6);
static_assert(address(127, 0, 0, 1).is_loopback() && address() < address(0, 0, 0, 0));
static_assert(std::is_trivially_copyable_v<address> && sizeof(address) == sizeof(kvtip_address));

template <class Value>
Value read(std::string_view text) {
    const auto value = Value::parse(text);
    EXPECT_TRUE(value) << text;
    return value.value_or(Value());
}

template <class Char>
std::basic_string<Char> as(const std::string& text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    return {bytes, bytes + text.size()};
}

/// What is read from the text as every type of character, which must be the same.
template <class Value>
std::optional<Value> read_all(const std::string& text) {
    const auto value = Value::parse(text);
    EXPECT_EQ(Value::parse(as<wchar_t>(text)), value);
    EXPECT_EQ(Value::parse(as<char8_t>(text)), value);
    EXPECT_EQ(Value::parse(as<char16_t>(text)), value);
    return value;
}

template <class Value, class Readings, class Refusals>
void expect_rows(const Readings& readings, const Refusals& refusals) {
    for (const auto& [text, written] : readings) {
        SCOPED_TRACE(text);
        const auto value = read_all<Value>(text);
        ASSERT_TRUE(value);
        EXPECT_EQ(value->text().view(), written);
        EXPECT_EQ(value->to_string(), written);
        EXPECT_EQ(value->text().c_str()[written.size()], '\0');
        EXPECT_EQ(Value::parse(value->text()), value);
        EXPECT_EQ(Value(value->native()), value);
        EXPECT_TRUE(*value);
        for (std::size_t i = 0; i < text.size(); ++i) {
            auto wide = as<char16_t>(text);
            wide[i] = static_cast<char16_t>(wide[i] + 0x100);
            EXPECT_FALSE(Value::parse(wide)) << "a unit loses its high byte at " << i;
            wide[i] = 0;
            EXPECT_FALSE(Value::parse(wide)) << "a zero at " << i;
        }
        for (const char* more : {" ", "x", ".", ":", "%", "]", "/"}) {
            EXPECT_FALSE(Value::parse(text + more)) << more;
            EXPECT_FALSE(Value::parse(more + text)) << more;
        }
    }
    for (const auto& [text, because] : refusals) {
        EXPECT_FALSE(read_all<Value>(text)) << text << ": must be refused, because " << because;
    }
    EXPECT_FALSE(Value());
    EXPECT_EQ(Value().text().view(), "");
}

TEST(AddressValues, ReadAndWriteTheirText) {
    expect_rows<address>(strict_text::addresses, strict_text::no_addresses);
    expect_rows<endpoint>(strict_text::endpoints, strict_text::no_endpoints);
    expect_rows<network>(strict_text::networks, strict_text::no_networks);
    expect_rows<mac>(strict_text::macs, strict_text::no_macs);
}

TEST(AddressValues, AreReadAlikeAtCompileTimeAndOnOtherProcessors) {
    for (const auto& [text, written] : strict_text::addresses) {
        const auto plain = kvtip::detail::read_address(text);
        ASSERT_TRUE(plain) << text;
        EXPECT_EQ(address(*plain), address::parse(text)) << text;
    }
    for (const auto& [text, because] : strict_text::no_addresses) {
        EXPECT_FALSE(kvtip::detail::read_address(text)) << text << ": " << because;
    }
}

TEST(AddressValues, KnowTheBordersOfEveryRange) {
    const struct {
        bool (address::*question)() const noexcept;
        std::vector<const char*> networks;
    } rows[] = {
        {&address::is_unspecified, {"0.0.0.0/32", "::/128"}},
        {&address::is_loopback, {"127.0.0.0/8", "::1/128"}},
        {&address::is_private, {"10.0.0.0/8", "172.16.0.0/12", "192.168.0.0/16", "fc00::/7"}},
        {&address::is_link_local, {"169.254.0.0/16", "fe80::/10"}},
        {&address::is_site_local, {"fec0::/10"}},
        {&address::is_multicast, {"224.0.0.0/4", "ff00::/8"}},
        {&address::is_broadcast, {"255.255.255.255/32"}},
        {&address::is_documentation,
         {"192.0.2.0/24", "198.51.100.0/24", "203.0.113.0/24", "2001:db8::/32", "3fff::/20"}},
        {&address::is_shared, {"100.64.0.0/10"}},
        {&address::is_benchmarking, {"198.18.0.0/15", "2001:2::/48"}},
        {&address::is_mapped, {"::ffff:0:0/96"}},
    };
    for (const auto& [question, networks] : rows) {
        EXPECT_FALSE((address().*question)());
        for (const char* text : networks) {
            const auto range = read<network>(text);
            const auto is_in = [&, asked = question](const std::optional<address>& value) {
                EXPECT_TRUE(value);
                if (value->is_ipv4()) { // and in the mapped form
                    EXPECT_EQ((read<address>("::ffff:" + value->to_string()).*asked)(), (*value.*asked)());
                }
                return (*value.*asked)();
            };
            EXPECT_TRUE(is_in(range.first())) << text;
            EXPECT_TRUE(is_in(range.last())) << text;
            EXPECT_TRUE(!range.first().previous() || !is_in(range.first().previous())) << text;
            EXPECT_TRUE(!range.last().next() || !is_in(range.last().next())) << text;
        }
    }
}

TEST(AddressValues, HaveAScopeOnlyWhereThereCanBeOne) {
    for (const char* text : {"fe80::", "feff::", "ff01::1", "ff12::1"}) {
        const auto value = read<address>(text), scoped = read<address>(std::string(text) + "%9");
        EXPECT_EQ(value.with_scope(9), scoped);
        EXPECT_EQ(scoped.scope(), 9U);
        EXPECT_NE(scoped, value);
        EXPECT_EQ(scoped.without_scope(), value);
    }
    for (const char* text : {"fe7f:ffff::", "ff00::", "ff03::", "::1", "::ffff:a9fe:1", "169.254.0.1"}) {
        EXPECT_EQ(read<address>(text).with_scope(9), read<address>(text));
        EXPECT_FALSE(address::parse(std::string(text) + "%9")) << text;
    }
    EXPECT_EQ(address(std::array<std::uint8_t, 16>{0xFE, 0x80}, 3).text().view(), "fe80::%3");
    EXPECT_EQ(address(std::array<std::uint8_t, 16>{0x20}, 3).text().view(), "2000::");
}

TEST(AddressValues, StepToTheirNeighboursAndNotPastTheEnds) {
    const struct {
        const char* text;
        const char* next;
    } rows[] = {{"0.0.0.0", "0.0.0.1"},
                {"1.255.255.255", "2.0.0.0"},
                {"255.255.255.255", nullptr},
                {"::", "::1"},
                {"::ffff:ffff:ffff", "::1:0:0:0"},
                {"fe80::ff%4", "fe80::100%4"},
                {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", nullptr}};
    for (const auto& [text, next] : rows) {
        const auto value = read<address>(text);
        const auto found = value.next();
        EXPECT_EQ(found ? found->to_string() : "", next == nullptr ? "" : next);
        EXPECT_TRUE(!found || found->previous() == value) << text;
    }
    EXPECT_EQ(address(0, 0, 0, 0).previous(), std::nullopt);
    EXPECT_EQ(read<address>("::").previous(), std::nullopt);
    EXPECT_EQ(address().next(), std::nullopt);
    EXPECT_EQ(address().previous(), std::nullopt);
    // The scope is left where there can be none.
    EXPECT_EQ(read<address>("ff02:ffff:ffff:ffff:ffff:ffff:ffff:ffff%1").next(), read<address>("ff03::"));
    EXPECT_EQ(read<address>("fe80::%1").previous()->scope(), 0U);
}

TEST(AddressValues, AreOrderedByFamilyBytesAndScope) {
    const auto expect_ascending = [](const auto& values) {
        for (std::size_t i = 0; i < values.size(); ++i) {
            for (std::size_t j = 0; j < values.size(); ++j) {
                EXPECT_EQ(values[i] <=> values[j], i <=> j) << i << " " << j;
                EXPECT_EQ(values[i] == values[j], i == j) << i << " " << j;
            }
        }
    };
    const auto at = [](const char* text) { return text == nullptr ? address() : read<address>(text); };
    expect_ascending(std::vector<address>{at(nullptr), at("0.0.0.0"), at("1.2.3.4"), at("1.2.4.3"),
                                          at("255.0.0.0"), at("::"), at("::1.2.3.4"), at("::ffff:1.2.3.4"),
                                          at("102:304::"), at("fe80::1"), at("fe80::1%1"), at("fe80::1%256"),
                                          at("fe80::2")});
    expect_ascending(std::vector<endpoint>{endpoint(), endpoint(at("1.2.3.4"), 2),
                                           endpoint(at("1.2.3.4"), 256), endpoint(at("1.2.3.5"), 1)});
    expect_ascending(std::vector<network>{network(), network::of(at("10.0.0.0"), 8),
                                          network::of(at("10.0.0.0"), 9), network::of(at("11.0.0.0"), 8)});
    expect_ascending(
        std::vector<mac>{mac(), read<mac>("00"), read<mac>("00-00"), read<mac>("00-01"), read<mac>("01")});
}

/// Expects that values which differ in one byte spread over a table of 256 entries, as random numbers do.
void expect_spread(const char* what, auto value_of) {
    std::set<std::size_t> entries;
    for (unsigned i = 0; i < 256; ++i) {
        const auto value = value_of(static_cast<std::uint8_t>(i));
        entries.insert(std::hash<std::remove_const_t<decltype(value)>>()(value) % 256);
    }
    EXPECT_GT(entries.size(), 130U) << what;
}

TEST(AddressValues, DifferInTheLowBitsOfTheirHashes) {
    for (std::size_t place = 0; place < 16; ++place) {
        expect_spread("byte", [=](std::uint8_t i) {
            std::array<std::uint8_t, 16> bytes{0xFE, 0x80};
            bytes[place] = i;
            return address(bytes);
        });
    }
    expect_spread("scope", [](std::uint8_t i) { return read<address>("fe80::1").with_scope(i); });
    expect_spread("port", [](std::uint8_t i) { return endpoint(address(1, 2, 3, 4), i); });
    expect_spread("high port", [](std::uint8_t i) { return endpoint(address(1, 2, 3, 4), i << 8 & 0xFF00); });
    expect_spread("mac", [](std::uint8_t i) { return mac(kvtip_mac{{2, 0, 0, 0, 0, i}, 6, {}}); });
    EXPECT_NE(std::hash<address>()(address(1, 2, 3, 4)), std::hash<address>()(read<address>("102:304::")));
    EXPECT_NE(std::hash<network>()(read<network>("10.0.0.0/8")),
              std::hash<network>()(read<network>("10.0.0.0/9")));
}

TEST(AddressValues, ObeyTheWidthOfAStream) {
    std::ostringstream out;
    out << std::left << std::setw(10) << std::setfill('.') << address(1, 2, 3, 4) << std::right
        << std::setw(12) << read<endpoint>("[::1]:80") << std::setw(3) << read<network>("::/0")
        << read<mac>("02-5E") << address();
    EXPECT_EQ(out.str(), "1.2.3.4.......[::1]:80::/002-5E");
}

TEST(Network, ContainsAddressesOfItsFamilyAndPrefix) {
    const struct {
        const char* network;
        std::vector<const char*> inside, outside;
    } rows[] = {
        {"0.0.0.0/0", {"0.0.0.0", "255.255.255.255"}, {"::", "::ffff:1.2.3.4"}},
        {"10.0.0.0/8", {"10.0.0.0", "10.255.255.255"}, {"9.255.255.255", "11.0.0.0", "a00::"}},
        {"192.0.2.128/25", {"192.0.2.128", "192.0.2.255"}, {"192.0.2.127", "192.0.3.0"}},
        {"192.0.2.1/32", {"192.0.2.1"}, {"192.0.2.0", "192.0.2.2"}},
        {"::/0", {"::", "::ffff:1.2.3.4", "ffff::"}, {"1.2.3.4"}},
        {"fe80::/10", {"fe80::1%4", "febf::"}, {"fe7f::", "fec0::"}},
        {"::ffff:0:0/96", {"::ffff:1.2.3.4"}, {"1.2.3.4", "::fffe:0:0"}},
        {"2001:db8::/127", {"2001:db8::", "2001:db8::1"}, {"2001:db8::2"}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.network);
        const auto range = read<network>(row.network);
        EXPECT_EQ(network::of(range.last(), range.prefix_length()), range);
        for (const char* text : row.inside) {
            EXPECT_TRUE(range.contains(read<address>(text))) << text;
        }
        for (const char* text : row.outside) {
            EXPECT_FALSE(range.contains(read<address>(text))) << text;
        }
        EXPECT_FALSE(range.contains(address()));
    }
    EXPECT_FALSE(network().contains(address(0, 0, 0, 0)) || network().contains(address()));
}

TEST(Network, ContainsAndOverlapsOthers) {
    const struct {
        const char *one, *other;
        bool contains, overlaps;
    } rows[] = {{"10.0.0.0/8", "10.1.0.0/16", true, true}, {"10.1.0.0/16", "10.0.0.0/8", false, true},
                {"10.0.0.0/8", "10.0.0.0/8", true, true},  {"10.0.0.0/9", "10.128.0.0/9", false, false},
                {"0.0.0.0/0", "::/0", false, false},       {"::/0", "::ffff:0:0/96", true, true}};
    for (const auto& row : rows) {
        const auto one = read<network>(row.one), other = read<network>(row.other);
        EXPECT_EQ(one.contains(other), row.contains) << row.one << " " << row.other;
        EXPECT_EQ(one.overlaps(other), row.overlaps) << row.one << " " << row.other;
        EXPECT_EQ(other.overlaps(one), row.overlaps);
        EXPECT_FALSE(one.overlaps(network()) || network().overlaps(one) || network().overlaps(network()));
    }
}

TEST(Network, OfAnAddressClearsTheBitsAfterThePrefixAndTheScope) {
    EXPECT_EQ(network::of(address(192, 0, 2, 255), 25), read<network>("192.0.2.128/25"));
    EXPECT_EQ(network::of(read<address>("fe80::1%4"), 128), read<network>("fe80::1/128"));
    EXPECT_EQ(network::of(address(1, 2, 3, 4), 33), network());
    EXPECT_EQ(network::of(address(1, 2, 3, 4), -1), network());
    EXPECT_EQ(network::of(read<address>("::1"), 129), network());
    EXPECT_EQ(network::of(address(), 0), network());
}

} // namespace
