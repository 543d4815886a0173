#pragma once

// Addresses, endpoints, networks and hardware addresses: plain values, their text, and what can be asked of
// them.
//
// Decision                                                     Reason
// -----------------------------------------------------------  ---------------------------------------------
// A default value is no address. It equals neither 0.0.0.0     Those are addresses.
// nor ::, and its text is empty.
// fe80::1 and fe80::1%4 differ. `without_scope` compares       They name different hosts.
// without; filters and owner lookups take scope 0 as any.
// ::ffff:192.0.2.1 never equals 192.0.2.1, nor is it in an     The system keeps them apart.
// IPv4 network. `unmapped` converts it.
// Questions such as `is_loopback` look through a mapped        ::ffff:127.0.0.1 must pass no filter.
// address.
// `network::parse` refuses bits after the prefix;              A typing error must not widen a rule.
// `network::of` clears them.
// `next` and `previous` are empty past the ends.               No loop wraps around.
//
// Text is strict: the whole text must be the value. There are no octal numbers, no leading zeros in octets,
// ports, prefix lengths and scopes, no missing octets and no blanks. Lenient address text is a known security
// hole: what one program reads as 10.0.0.1 another reads as 8.0.0.1. A scope is a number (`kvtip::scope`
// finds that of an interface's name).

#include <algorithm>
#include <array>
#include <bit>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kvtip/detail/read_text.hpp"
#include "kvtip/detail/read_text_quickly.hpp"
#include "kvtip/detail/write_text.hpp"
#include "kvtip/kvtip.h"

#if __has_include(<format>)
#include <format>
#endif

namespace kvtip {
inline namespace v1 {

/// The family of an address. The values are those of the C interface.
enum class family : std::uint32_t { none = 0, ipv4 = 4, ipv6 = 6 };

class address;

namespace detail {

/// Those bits of a byte that lie in a prefix of `length` bits, the byte being number `index`.
constexpr std::uint8_t prefix_mask(std::size_t length, std::size_t index) noexcept {
    const std::size_t rest = length > 8 * index ? length - 8 * index : 0;
    return static_cast<std::uint8_t>(0xFF00U >> (rest < 8 ? rest : 8));
}

constexpr bool have_same_prefix(const std::uint8_t* one, const std::uint8_t* other,
                                std::size_t length) noexcept {
    for (std::size_t i = 0; 8 * i < length; ++i) {
        if (((one[i] ^ other[i]) & prefix_mask(length, i)) != 0) {
            return false;
        }
    }
    return true;
}

/// A range of addresses, for the questions.
struct range {
    std::uint8_t family;
    std::uint8_t prefix_length;
    std::array<std::uint8_t, 16> bytes;

    constexpr bool contains(const kvtip_address& address) const noexcept {
        return address.family == family && have_same_prefix(address.bytes, bytes.data(), prefix_length);
    }
};

constexpr bool is_in_any(std::span<const range> ranges, const kvtip_address& address) noexcept {
    return std::any_of(ranges.begin(), ranges.end(),
                       [&](const range& each) { return each.contains(address); });
}

inline constexpr range unspecified_ranges[] = {{4, 32, {}}, {6, 128, {}}};
inline constexpr range loopback_ranges[] = {{4, 8, {127}},
                                            {6, 128, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}}};
inline constexpr range private_ranges[] = {
    {4, 8, {10}}, {4, 12, {172, 16}}, {4, 16, {192, 168}}, {6, 7, {0xFC}}};
inline constexpr range link_local_ranges[] = {{4, 16, {169, 254}}, {6, 10, {0xFE, 0x80}}};
inline constexpr range site_local_ranges[] = {{6, 10, {0xFE, 0xC0}}};
inline constexpr range multicast_ranges[] = {{4, 4, {224}}, {6, 8, {0xFF}}};
inline constexpr range broadcast_ranges[] = {{4, 32, {255, 255, 255, 255}}};
inline constexpr range documentation_ranges[] = {{4, 24, {192, 0, 2}},
                                                 {4, 24, {198, 51, 100}},
                                                 {4, 24, {203, 0, 113}},
                                                 {6, 32, {0x20, 0x01, 0x0D, 0xB8}},
                                                 {6, 20, {0x3F, 0xFF}}};
inline constexpr range shared_ranges[] = {{4, 10, {100, 64}}};
/// fec0:0:0:ffff::1, and a range of fec0:0:0:ffff::2 and ::3.
inline constexpr range placeholder_ranges[] = {
    {6, 128, {0xFE, 0xC0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 1}},
    {6, 127, {0xFE, 0xC0, 0, 0, 0, 0, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 2}}};
inline constexpr range benchmarking_ranges[] = {{4, 15, {198, 18}}, {6, 48, {0x20, 0x01, 0, 2}}};

/// Whether an IPv6 address is complete only with a scope: link-local, site-local, or multicast of scope 1
/// or 2.
constexpr bool may_have_scope(const kvtip_address& address) noexcept {
    const int multicast_scope = address.bytes[1] & 0x0F;
    return address.family == 6 &&
           (is_in_any(link_local_ranges, address) || is_in_any(site_local_ranges, address) ||
            (is_in_any(multicast_ranges, address) && (multicast_scope == 1 || multicast_scope == 2)));
}

// The readers and writers compose bytes in words, the first one in the low byte.
static_assert(std::endian::native == std::endian::little);

/// All bytes of an address.
constexpr std::array<std::uint64_t, 3> words_of(const kvtip_address& address) noexcept {
    return std::bit_cast<std::array<std::uint64_t, 3>>(address);
}

constexpr kvtip_address address_of(const std::array<std::uint64_t, 3>& words) noexcept {
    return std::bit_cast<kvtip_address>(words);
}

/// Whether a text is an address that can be read quickly. If so, the words are all its bytes.
template <class Char>
bool read_address_quickly(std::basic_string_view<Char> text, std::array<std::uint64_t, 3>& words) noexcept {
    if (text.size() < 8 || text.size() > 39) {
        return false;
    }
    // An IPv4 address has a dot among its first four characters.
    const auto is_dot = [&](std::size_t place) { return unsigned{text[place] == Char('.')}; };
    if ((is_dot(1) | is_dot(2) | is_dot(3)) == 0) {
        words[0] = 6;
        return read_ipv6_quickly(text, words[1], words[2]);
    }
    std::uint32_t octets = 0;
    const bool is_address = read_ipv4_quickly(text, octets);
    words = {4, octets, 0};
    return is_address;
}

/// The address that a text is, with its scope.
constexpr std::optional<kvtip_address> read_address(std::string_view text) noexcept {
    std::string_view rest = text;
    if (const auto octets = take_ipv4(rest); octets && rest.empty()) {
        return address_of({4, *octets, 0});
    }
    const auto bytes = take_ipv6(text);
    if (!bytes) {
        return std::nullopt;
    }
    kvtip_address address{6, {}, 0, {}};
    std::copy(bytes->begin(), bytes->end(), address.bytes);
    if (take("%", text)) {
        address.scope = may_have_scope(address) ? take_number(text, 0xFFFFFFFF).value_or(0) : 0;
        if (address.scope == 0) {
            return std::nullopt;
        }
    }
    return text.empty() ? std::optional(address) : std::nullopt;
}

/// Writes the address with its scope.
constexpr char* write_address(char* at, const kvtip_address& address) noexcept {
    if (address.family == 4) {
        return write_ipv4(at, address.bytes);
    }
    if (address.family != 6) {
        return at;
    }
    at = write_ipv6(at, address.bytes);
    if (address.scope != 0) [[unlikely]] {
        *at++ = '%';
        at = write_number(at, address.scope);
    }
    return at;
}

} // namespace detail

using address_text = text_buffer<KVTIP_ADDRESS_TEXT_SIZE>;
using endpoint_text = text_buffer<KVTIP_ENDPOINT_TEXT_SIZE>;
using network_text = text_buffer<KVTIP_NETWORK_TEXT_SIZE>;
using mac_text = text_buffer<KVTIP_MAC_TEXT_SIZE>;

/// What every value here has: reading from text of any character type, and writing.
template <class Value>
struct parsed_from_text {
    /// @{
    /// Reads a value from the whole text; empty if the text is not one.
    static constexpr std::optional<Value> parse(std::string_view text) noexcept { return Value::read(text); }
    static constexpr std::optional<Value> parse(std::wstring_view text) noexcept { return Value::read(text); }
    static constexpr std::optional<Value> parse(std::u8string_view text) noexcept {
        return Value::read(text);
    }
    static constexpr std::optional<Value> parse(std::u16string_view text) noexcept {
        return Value::read(text);
    }
    /// @}

protected:
    constexpr parsed_from_text() noexcept = default;
};

/// An IP address. Two of them are equal if and only if their 24 bytes are.
class address : public parsed_from_text<address> {
public:
    /// No address.
    constexpr address() noexcept = default;
    /// A value of the C interface, which is kept as it is: it must be a valid one.
    constexpr explicit address(const kvtip_address& native) noexcept : native_(native) {}
    /// An IPv4 address from its octets.
    constexpr address(std::uint8_t a, std::uint8_t b, std::uint8_t c, std::uint8_t d) noexcept
        : native_{4, {}, 0, {a, b, c, d}} {}
    /// An IPv6 address from its bytes. A scope where there can be none is dropped.
    constexpr explicit address(const std::array<std::uint8_t, 16>& bytes, std::uint32_t scope = 0) noexcept {
        native_.family = 6;
        std::copy(bytes.begin(), bytes.end(), native_.bytes);
        native_.scope = detail::may_have_scope(native_) ? scope : 0;
    }

    constexpr const kvtip_address& native() const noexcept { return native_; }
    constexpr kvtip::family family() const noexcept { return static_cast<kvtip::family>(native_.family); }
    constexpr bool is_ipv4() const noexcept { return native_.family == 4; }
    constexpr bool is_ipv6() const noexcept { return native_.family == 6; }
    /// Whether this is an address at all.
    constexpr explicit operator bool() const noexcept { return native_.family != 0; }

    /// The number of bits: 32, 128, or 0 for no address.
    constexpr int bits() const noexcept { return is_ipv4() ? 32 : is_ipv6() ? 128 : 0; }
    /// The bytes in network order, 4 or 16 of them.
    constexpr const std::uint8_t* data() const noexcept { return native_.bytes; }
    constexpr std::size_t size() const noexcept { return static_cast<std::size_t>(bits()) / 8; }

    /// The interface index that completes a link-local address; 0 without one.
    constexpr std::uint32_t scope() const noexcept { return native_.scope; }
    /// The address with another scope, which is dropped where there can be none.
    constexpr address with_scope(std::uint32_t scope) const noexcept {
        address result = *this;
        result.native_.scope = detail::may_have_scope(native_) ? scope : 0;
        return result;
    }
    constexpr address without_scope() const noexcept { return with_scope(0); }

    /// Whether this is an IPv4-mapped IPv6 address, ::ffff:0:0/96 (RFC 4291).
    constexpr bool is_mapped() const noexcept { return is_ipv6() && detail::is_mapped(native_.bytes); }
    /// The IPv4 address of a mapped one; any other as it is.
    constexpr address unmapped() const noexcept {
        return is_mapped()
                   ? address(native_.bytes[12], native_.bytes[13], native_.bytes[14], native_.bytes[15])
                   : *this;
    }

    // Questions. They look through a mapped address, and are false for no address.

    /// 0.0.0.0 (RFC 1122), :: (RFC 4291).
    constexpr bool is_unspecified() const noexcept { return is_in(detail::unspecified_ranges); }
    /// 127.0.0.0/8 (RFC 1122), ::1 (RFC 4291).
    constexpr bool is_loopback() const noexcept { return is_in(detail::loopback_ranges); }
    /// 10.0.0.0/8, 172.16.0.0/12, 192.168.0.0/16 (RFC 1918), fc00::/7 (RFC 4193).
    constexpr bool is_private() const noexcept { return is_in(detail::private_ranges); }
    /// 169.254.0.0/16 (RFC 3927), fe80::/10 (RFC 4291).
    constexpr bool is_link_local() const noexcept { return is_in(detail::link_local_ranges); }
    /// fec0::/10, deprecated (RFC 3879).
    constexpr bool is_site_local() const noexcept { return is_in(detail::site_local_ranges); }
    /// 224.0.0.0/4 (RFC 5771), ff00::/8 (RFC 4291).
    constexpr bool is_multicast() const noexcept { return is_in(detail::multicast_ranges); }
    /// 255.255.255.255 (RFC 919).
    constexpr bool is_broadcast() const noexcept { return is_in(detail::broadcast_ranges); }
    /// 192.0.2.0/24, 198.51.100.0/24, 203.0.113.0/24 (RFC 5737), 2001:db8::/32 (RFC 3849), 3fff::/20 (RFC
    /// 9637).
    constexpr bool is_documentation() const noexcept { return is_in(detail::documentation_ranges); }
    /// 100.64.0.0/10, shared by the customers of a provider (RFC 6598).
    constexpr bool is_shared() const noexcept { return is_in(detail::shared_ranges); }
    /// 198.18.0.0/15 (RFC 2544), 2001:2::/48 (RFC 5180).
    constexpr bool is_benchmarking() const noexcept { return is_in(detail::benchmarking_ranges); }
    /// fec0:0:0:ffff::1 to ::3, with any scope, which Windows lists as DNS servers where no IPv6 server is
    /// set (draft-ietf-ipv6-dns-discovery). They lead nowhere.
    constexpr bool is_dns_placeholder() const noexcept { return is_in(detail::placeholder_ranges); }

    /// The address after this one, with the same scope where there can be one; empty after the last one of
    /// the family, and for no address.
    constexpr std::optional<address> next() const noexcept { return step(0xFF, 1); }
    /// The address before this one, in the same way.
    constexpr std::optional<address> previous() const noexcept { return step(0, 0xFF); }

    constexpr address_text text() const noexcept {
        return address_text([this](char* at) {
            // An IPv4 address is written in less time than a call takes.
            return is_ipv4() ? detail::write_ipv4(at, data()) : detail::write_address(at, native_);
        });
    }
    std::string to_string() const { return std::string(text().view()); }

    /// By family, then bytes, then scope.
    friend constexpr std::strong_ordering operator<=>(const address& one, const address& other) noexcept {
        if (const auto order = one.native_.family <=> other.native_.family; std::is_neq(order)) {
            return order;
        }
        const auto [mine, theirs] = std::ranges::mismatch(one.native_.bytes, other.native_.bytes);
        return mine != std::end(one.native_.bytes) ? *mine <=> *theirs
                                                   : one.native_.scope <=> other.native_.scope;
    }
    friend constexpr bool operator==(const address& one, const address& other) noexcept {
        return detail::words_of(one.native_) == detail::words_of(other.native_);
    }

private:
    friend parsed_from_text<address>;

    template <class Char>
    static constexpr std::optional<address> read(std::basic_string_view<Char> text) noexcept {
        if (!std::is_constant_evaluated()) {
            std::array<std::uint64_t, 3> words;
            if (detail::read_address_quickly(text, words)) {
                return address(detail::address_of(words));
            }
        }
        const auto native = detail::read_address(detail::ascii_text(text).view());
        return native ? std::optional(address(*native)) : std::nullopt;
    }

    constexpr bool is_in(std::span<const detail::range> ranges) const noexcept {
        return detail::is_in_any(ranges, unmapped().native_);
    }

    /// Adds `addend` to the last byte, and to the one before it while the bytes are `wrapping`.
    constexpr std::optional<address> step(std::uint8_t wrapping, std::uint8_t addend) const noexcept {
        address result = *this;
        for (std::size_t i = size(); i-- > 0;) {
            result.native_.bytes[i] = static_cast<std::uint8_t>(native_.bytes[i] + addend);
            if (native_.bytes[i] != wrapping) {
                return result.with_scope(scope());
            }
        }
        return std::nullopt;
    }

    kvtip_address native_{};
};

/// An address and a port. The port is in the host's byte order.
class endpoint : public parsed_from_text<endpoint> {
public:
    constexpr endpoint() noexcept = default;
    constexpr explicit endpoint(const kvtip_endpoint& native) noexcept : native_(native) {}
    constexpr endpoint(const kvtip::address& address, std::uint16_t port) noexcept
        : native_{address.native(), port, 0} {}

    constexpr const kvtip_endpoint& native() const noexcept { return native_; }
    constexpr kvtip::address address() const noexcept { return kvtip::address(native_.address); }
    constexpr std::uint16_t port() const noexcept { return native_.port; }
    /// Whether there is an address.
    constexpr explicit operator bool() const noexcept { return native_.address.family != 0; }

    /// "192.0.2.1:80", "[2001:db8::1]:80"; empty without an address.
    constexpr endpoint_text text() const noexcept {
        return endpoint_text([this](char* at) { return write(at); });
    }
    std::string to_string() const { return std::string(text().view()); }

    friend constexpr std::strong_ordering operator<=>(const endpoint& one, const endpoint& other) noexcept {
        const auto order = one.address() <=> other.address();
        return std::is_neq(order) ? order : one.port() <=> other.port();
    }
    friend constexpr bool operator==(const endpoint& one, const endpoint& other) noexcept {
        return std::is_eq(one <=> other);
    }

private:
    friend parsed_from_text<endpoint>;

    template <class Char>
    static constexpr std::optional<endpoint> read(std::basic_string_view<Char> text) noexcept {
        const detail::ascii_text ascii(text);
        std::string_view rest = ascii.view();
        std::string_view host = rest.substr(0, rest.rfind(':'));
        rest.remove_prefix(host.size());
        const bool is_bracketed = host.starts_with('[') && host.ends_with(']');
        if (is_bracketed) {
            host = host.substr(1, host.size() - 2);
        }
        const auto address = kvtip::address::parse(host);
        const auto port = detail::take(":", rest) ? detail::take_number(rest, 0xFFFF) : std::nullopt;
        if (!address || !port || !rest.empty() || is_bracketed != address->is_ipv6()) {
            return std::nullopt;
        }
        return endpoint(*address, static_cast<std::uint16_t>(*port));
    }

    constexpr char* write(char* at) const noexcept {
        const bool is_bracketed = native_.address.family == 6;
        if (is_bracketed) {
            *at++ = '[';
        }
        at = detail::write_address(at, native_.address);
        if (is_bracketed) {
            *at++ = ']';
        }
        if (native_.address.family != 0) {
            *at++ = ':';
            at = detail::write_number(at, native_.port);
        }
        return at;
    }

    kvtip_endpoint native_{};
};

/// A network: all addresses that begin with the same bits. It has no scope.
class network : public parsed_from_text<network> {
public:
    /// No network.
    constexpr network() noexcept = default;
    constexpr explicit network(const kvtip_network& native) noexcept : native_(native) {}

    /// The network of that length in which the address lies. No network if the address is none, or the length
    /// greater than its bits.
    static constexpr network of(const kvtip::address& address, int length) noexcept {
        network result;
        if (address && length >= 0 && length <= address.bits()) {
            result.native_.address = address.without_scope().native();
            result.native_.prefix_length = static_cast<std::uint8_t>(length);
            for (std::size_t i = 0; i < address.size(); ++i) {
                result.native_.address.bytes[i] &= detail::prefix_mask(static_cast<std::size_t>(length), i);
            }
        }
        return result;
    }

    constexpr const kvtip_network& native() const noexcept { return native_; }
    constexpr kvtip::address address() const noexcept { return kvtip::address(native_.address); }
    constexpr int prefix_length() const noexcept { return native_.prefix_length; }
    constexpr explicit operator bool() const noexcept { return native_.address.family != 0; }

    /// Whether the address lies in this network. Its scope does not count; a mapped address is an IPv6 one.
    constexpr bool contains(const kvtip::address& address) const noexcept {
        return *this && address.family() == this->address().family() &&
               detail::have_same_prefix(address.data(), native_.address.bytes, native_.prefix_length);
    }
    /// Whether all of the other network lies in this one.
    constexpr bool contains(const network& other) const noexcept {
        return other.prefix_length() >= prefix_length() && contains(other.address());
    }
    constexpr bool overlaps(const network& other) const noexcept {
        return contains(other) || other.contains(*this);
    }

    /// The first and the last address, those that IPv4 reserves included.
    constexpr kvtip::address first() const noexcept { return address(); }
    constexpr kvtip::address last() const noexcept {
        kvtip_address result = native_.address;
        for (std::size_t i = 0; i < address().size(); ++i) {
            const unsigned mask = detail::prefix_mask(native_.prefix_length, i);
            result.bytes[i] = static_cast<std::uint8_t>(result.bytes[i] | (~mask & 0xFF));
        }
        return kvtip::address(result);
    }

    /// "192.0.2.0/24"; empty for no network.
    constexpr network_text text() const noexcept {
        return network_text([this](char* at) {
            at = detail::write_address(at, native_.address);
            if (native_.address.family != 0) {
                *at++ = '/';
                at = detail::write_number(at, native_.prefix_length);
            }
            return at;
        });
    }
    std::string to_string() const { return std::string(text().view()); }

    friend constexpr std::strong_ordering operator<=>(const network& one, const network& other) noexcept {
        const auto order = one.address() <=> other.address();
        return std::is_neq(order) ? order : one.prefix_length() <=> other.prefix_length();
    }
    friend constexpr bool operator==(const network& one, const network& other) noexcept {
        return std::is_eq(one <=> other);
    }

private:
    friend parsed_from_text<network>;

    template <class Char>
    static constexpr std::optional<network> read(std::basic_string_view<Char> text) noexcept {
        const detail::ascii_text ascii(text);
        std::string_view rest = ascii.view();
        const std::string_view prefix = rest.substr(0, rest.rfind('/'));
        rest.remove_prefix(prefix.size());
        const auto address = kvtip::address::parse(prefix);
        const auto length = detail::take("/", rest) ? detail::take_number(rest, 128) : std::nullopt;
        if (!address || !length || !rest.empty()) {
            return std::nullopt;
        }
        const network result = of(*address, static_cast<int>(*length));
        return result.address() == *address ? std::optional(result) : std::nullopt;
    }

    kvtip_network native_{};
};

/// A hardware (link-layer) address of 0 to 32 bytes.
class mac : public parsed_from_text<mac> {
public:
    /// No hardware address.
    constexpr mac() noexcept = default;
    constexpr explicit mac(const kvtip_mac& native) noexcept : native_(native) {}

    constexpr const kvtip_mac& native() const noexcept { return native_; }
    constexpr const std::uint8_t* data() const noexcept { return native_.bytes; }
    constexpr std::size_t size() const noexcept { return native_.length; }
    constexpr explicit operator bool() const noexcept { return native_.length != 0; }

    /// "02-00-5E-10-00-01"; empty without one.
    constexpr mac_text text() const noexcept {
        return mac_text([this](char* at) {
            constexpr char digits[] = "0123456789ABCDEF";
            for (std::size_t i = 0; i < size(); ++i) {
                if (i != 0) {
                    *at++ = '-';
                }
                *at++ = digits[native_.bytes[i] >> 4];
                *at++ = digits[native_.bytes[i] & 15];
            }
            return at;
        });
    }
    std::string to_string() const { return std::string(text().view()); }

    friend constexpr std::strong_ordering operator<=>(const mac& one, const mac& other) noexcept {
        const auto [mine, theirs] = std::ranges::mismatch(one.native_.bytes, other.native_.bytes);
        if (mine != std::end(one.native_.bytes)) {
            return *mine <=> *theirs;
        }
        return one.native_.length <=> other.native_.length;
    }
    friend constexpr bool operator==(const mac& one, const mac& other) noexcept {
        return std::is_eq(one <=> other);
    }

private:
    friend parsed_from_text<mac>;

    template <class Char>
    static constexpr std::optional<mac> read(std::basic_string_view<Char> text) noexcept {
        constexpr std::size_t digits_of_byte = 3; // with the separator
        if (text.size() % digits_of_byte != 2 || text.size() >= KVTIP_MAC_TEXT_SIZE) {
            return std::nullopt;
        }
        mac result;
        const Char separator = text.size() > 2 ? text[2] : Char('-');
        if (separator != Char('-') && separator != Char(':')) {
            return std::nullopt;
        }
        for (std::size_t i = 0; i < text.size(); i += digits_of_byte) {
            const std::uint32_t high = detail::digit_value(text[i]), low = detail::digit_value(text[i + 1]);
            if (high > 15 || low > 15 || (i + 2 < text.size() && text[i + 2] != separator)) {
                return std::nullopt;
            }
            result.native_.bytes[result.native_.length++] = static_cast<std::uint8_t>(high << 4 | low);
        }
        return result;
    }

    kvtip_mac native_{};
};

namespace detail {

template <class Value>
concept value_with_text = std::same_as<Value, address> || std::same_as<Value, endpoint> ||
    std::same_as<Value, network> || std::same_as<Value, mac>;

/// A hash of which every bit depends on every bit of the words.
template <class Word, std::size_t Count>
constexpr std::size_t hash_of(const std::array<Word, Count>& words) noexcept {
    std::uint64_t hash = 0;
    for (const Word word : words) {
        hash ^= word;
        for (int round = 0; round < 2; ++round) {
            hash = (hash ^ hash >> 32) * 0xD6E8'FEB8'6659'FD93;
        }
        hash ^= hash >> 32;
    }
    return hash;
}

constexpr std::size_t hash_of(const kvtip_address& address, std::uint64_t more = 0) noexcept {
    auto words = words_of(address);
    words[0] ^= more << 8; // the reserved bytes
    return hash_of(words);
}

} // namespace detail

/// @{
/// Writes the text; a width set on the stream is obeyed.
template <detail::value_with_text Value>
std::ostream& operator<<(std::ostream& out, const Value& value) {
    return out << value.text().view();
}
template <std::size_t Size>
std::ostream& operator<<(std::ostream& out, const text_buffer<Size>& text) {
    return out << text.view();
}
/// @}

} // namespace v1
} // namespace kvtip

template <>
struct std::hash<kvtip::address> {
    std::size_t operator()(const kvtip::address& value) const noexcept {
        return kvtip::detail::hash_of(value.native());
    }
};

template <>
struct std::hash<kvtip::endpoint> {
    std::size_t operator()(const kvtip::endpoint& value) const noexcept {
        return kvtip::detail::hash_of(value.native().address, value.port());
    }
};

template <>
struct std::hash<kvtip::network> {
    std::size_t operator()(const kvtip::network& value) const noexcept {
        return kvtip::detail::hash_of(value.native().address, value.native().prefix_length);
    }
};

template <>
struct std::hash<kvtip::mac> {
    std::size_t operator()(const kvtip::mac& value) const noexcept {
        return kvtip::detail::hash_of(std::bit_cast<std::array<std::uint32_t, 9>>(value.native()));
    }
};

#if defined(__cpp_lib_format)
template <kvtip::detail::value_with_text Value>
struct std::formatter<Value, char> : std::formatter<std::string_view, char> {
    auto format(const Value& value, auto& context) const {
        return std::formatter<std::string_view, char>::format(value.text().view(), context);
    }
};
#endif
