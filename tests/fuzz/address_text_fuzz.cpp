// The readers and writers of address text, against the system's.

#include "address/format.h"
#include "address/parse.h"
#include "kvtip/address.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace ip::detail;

namespace {

/// Ends the fuzzer's run, which reports the input, unless the condition holds.
void check(bool condition) {
    if (!condition)
        std::abort();
}

// Those of the classes. Text that the system takes for an address reads the same; both forms of the parser
// agree; nothing is read past the end of the text. What is written for an address reads back as the same
// bytes, here and by the system.

struct ipv4 {
    static constexpr auto& parse = parse_ipv4;
    static constexpr auto& format = format_ipv4;
    static constexpr int family = AF_INET, whole = 32, text_size = 16;
};

struct ipv6 {
    static constexpr auto& parse = parse_ipv6;
    static constexpr auto& format = format_ipv6;
    static constexpr int family = AF_INET6, whole = 128, text_size = 50;
};

template <class Family>
void read_by_both(const char* text) {
    std::uint8_t ours[16], systems[16];
    const int prefix = Family::parse(text, ours);
    check(prefix >= not_an_address && prefix <= Family::whole);
    if (inet_pton(Family::family, text, systems) == 1)
        check(prefix == Family::whole && std::memcmp(ours, systems, Family::whole / 8) == 0);
}

template <class Family>
void write_and_read_back(const std::uint8_t (&address)[16]) {
    char text[Family::text_size];
    check(Family::format(address, text) == std::strlen(text));
    std::uint8_t systems[16];
    check(inet_pton(Family::family, text, systems) == 1);
    check(std::memcmp(systems, address, Family::whole / 8) == 0);
    read_by_both<Family>(text);
}

void read_wide_and_narrow(const char* text, const wchar_t* wide_text) {
    ip::addr narrow{77, {}}, wide = narrow;
    const bool accepted = parse_address(text, narrow);
    check(parse_address(wide_text, wide) == accepted && accepted == (narrow.family != 77));
    check(wide.family == (accepted ? narrow.family : ip::family_none));
    check(std::memcmp(narrow.address, wide.address, sizeof narrow.address) == 0);
}

void try_classes(const std::uint8_t* data, std::size_t size) {
    // Blocks of exactly the text's size: it ends at its first zero. Wide units get a high byte.
    const std::uint8_t* const end = std::find(data, data + size, 0);
    std::vector<char> text(static_cast<std::size_t>(end - data) + 1);
    std::vector<wchar_t> wide_text(text.size());
    std::copy(data, end, text.begin());
    std::transform(data, end, wide_text.begin(), [](std::uint8_t unit) { return unit | 0x3000; });
    read_by_both<ipv4>(text.data());
    read_by_both<ipv6>(text.data());
    read_wide_and_narrow(text.data(), wide_text.data());

    std::uint8_t address[16] = {};
    std::copy_n(data, std::min(size, sizeof address), address);
    write_and_read_back<ipv4>(address);
    write_and_read_back<ipv6>(address);
}

// Those of the headers, which are strict. They take just what the system takes for an address, and networks
// and endpoints made of these; each reads as the value whose text the system writes. Text of every type of
// character reads the same; nothing is read past the end. What is written reads back as the same value.

template <class Value, class Char>
std::optional<Value> read_block(const std::uint8_t* data, std::size_t size) {
    const std::vector<Char> block(data, data + size); // of exactly the text's size
    return Value::parse(std::basic_string_view<Char>(block.data(), size));
}

/// Whether that is a decimal number from `least` to `most`, without a sign and leading zeros.
bool is_number(const std::string& text, unsigned long least, unsigned long most) {
    const unsigned long value = std::strtoul(text.c_str(), nullptr, 10);
    return std::to_string(value) == text && value >= least && value <= most;
}

/// What the system reads and writes for an address without a scope.
struct system_address {
    explicit system_address(const std::string& from) {
        family = from.find(':') == from.npos ? AF_INET : AF_INET6;
        if (from.find('\0') == from.npos && inet_pton(family, from.c_str(), bytes) == 1) {
            text = inet_ntop(family, bytes, buffer, sizeof buffer);
            // Unlike the system, the headers write a dotted tail after ::ffff: only.
            if (text.starts_with("::") && text.find('.') != text.npos && bytes[10] == 0) {
                const unsigned groups[] = {bytes[12] * 256U + bytes[13], bytes[14] * 256U + bytes[15]};
                std::snprintf(buffer, sizeof buffer, "::%x:%x", groups[0], groups[1]);
                text = buffer;
            }
        }
    }
    bool may_have_scope() const {
        const bool is_of_link = bytes[0] == 0xFE && bytes[1] >= 0x80; // or of a site
        return family == AF_INET6 && (is_of_link || (bytes[0] == 0xFF && (bytes[1] & 0xF) - 1U < 2));
    }
    /// Whether all bits from that place on are 0.
    bool ends_at(std::size_t bit) const {
        for (; bit < size() * 8 && (bytes[bit / 8] & 0x80 >> bit % 8) == 0; ++bit) {
        }
        return bit == size() * 8;
    }
    std::size_t size() const { return family == AF_INET ? 4 : 16; }

    int family;
    std::uint8_t bytes[16] = {};
    char buffer[64];
    std::string text; ///< empty if it is no address
};

/// The part of the text before a mark, and that after it. A text without the mark has no second part.
std::pair<std::string, std::string> split(const std::string& text, std::size_t mark) {
    return {text.substr(0, mark), mark == text.npos ? "" : text.substr(mark + 1)};
}

// The text that must be written for what is read from a text; empty for none.

std::string written(const std::string& text, const kvtip::address&) {
    const auto [host, scope] = split(text, text.find('%'));
    const system_address plain(host);
    const bool is_plain = host.size() == text.size();
    const bool is_scoped = plain.may_have_scope() && is_number(scope, 1, 0xFFFFFFFF);
    return plain.text.empty() || is_plain ? plain.text : is_scoped ? plain.text + "%" + scope : "";
}

std::string written(const std::string& text, const kvtip::network&) {
    const auto [host, length] = split(text, text.find('/'));
    const system_address plain(host);
    const bool is_network = !plain.text.empty() && is_number(length, 0, plain.size() * 8) &&
                            plain.ends_at(std::strtoul(length.c_str(), nullptr, 10));
    return is_network ? plain.text + "/" + length : "";
}

std::string written(const std::string& text, const kvtip::endpoint&) {
    auto [host, port] = split(text, text.rfind(':'));
    const bool has_brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
    host = written(has_brackets ? host.substr(1, host.size() - 2) : host, kvtip::address());
    const bool is_endpoint =
        !host.empty() && is_number(port, 0, 0xFFFF) && has_brackets == (host.find(':') != host.npos);
    return !is_endpoint ? "" : has_brackets ? "[" + host + "]:" + port : host + ":" + port;
}

template <class Value>
std::optional<Value> read_and_write_back(const std::uint8_t* data, std::size_t size) {
    const auto value = read_block<Value, char>(data, size);
    check((read_block<Value, char16_t>(data, size) == value));
    check((read_block<Value, wchar_t>(data, size) == value));
    if (value)
        check(Value::parse(value->text()) == value);
    return value;
}

template <class Value>
void compare_with_the_system(const std::uint8_t* data, std::size_t size) {
    const auto value = read_and_write_back<Value>(data, size);
    check(value.value_or(Value()).to_string() == written({data, data + size}, Value()));
}

template <class Value>
void write_and_read_again(const Value& value) {
    check(Value::parse(value.text()) == value);
    check(value.to_string() == written(value.to_string(), value));
}

void try_headers(const std::uint8_t* data, std::size_t size) {
    compare_with_the_system<kvtip::address>(data, size);
    compare_with_the_system<kvtip::endpoint>(data, size);
    compare_with_the_system<kvtip::network>(data, size);
    read_and_write_back<kvtip::mac>(data, size);

    // Values of the same bytes. The last byte says which groups of an address are 0.
    std::array<std::uint8_t, 16> bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.begin());
    const std::uint8_t choice = size > 0 ? data[size - 1] : 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = (choice >> i / 2 & 1) != 0 ? 0 : bytes[i];
    const kvtip::address ipv4(bytes[0], bytes[1], bytes[2], 3), ipv6(bytes, choice);
    write_and_read_again(ipv6);
    write_and_read_again(kvtip::endpoint(ipv4, static_cast<std::uint16_t>(choice << 8 | bytes[1])));
    write_and_read_again(kvtip::network::of(ipv4, choice % 33));
    write_and_read_again(kvtip::network::of(ipv6, choice % 129));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try_classes(data, size);
    try_headers(data, size);
    return 0;
}
