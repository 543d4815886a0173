#include "address/format.h"

#include <array>
#include <bit>
#include <cstring>
#include <utility>

#include "address/ipv4_mapped.h"

// Text is composed in a register and stored whole, which puts the first character into the low byte.
static_assert(std::endian::native == std::endian::little);

namespace ip::detail {
namespace {

constexpr std::size_t group_count = 8;

/// An octet in decimal with a dot after it. All four characters are stored; the next octet overwrites
/// those past the length.
struct octet_text {
    char characters[4];
    std::uint32_t length;
};

constexpr auto octet_texts = [] {
    std::array<octet_text, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        octet_text& text = texts[value];
        for (const unsigned unit : {100U, 10U, 1U}) {
            if (value >= unit || unit == 1) {
                text.characters[text.length++] = static_cast<char>('0' + value / unit % 10);
            }
        }
        text.characters[text.length++] = '.';
    }
    return texts;
}();

char* write_octet(char* at, std::uint8_t octet) noexcept {
    const octet_text& text = octet_texts[octet];
    std::memcpy(at, text.characters, sizeof text.characters);
    return at + text.length;
}

/// Writes four octets and a zero after them, at which it returns.
char* write_dotted(char* at, const std::uint8_t* octets) noexcept {
    // All are read before the first is stored: as far as the compiler knows, the two might overlap.
    const std::uint8_t first = octets[0], second = octets[1], third = octets[2], fourth = octets[3];
    at = write_octet(at, first);
    at = write_octet(at, second);
    at = write_octet(at, third);
    at = write_octet(at, fourth);
    *--at = '\0';
    return at;
}

/// A byte as two hexadecimal digits with a colon after them, the first digit in the low byte.
constexpr auto hexadecimal_texts = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<std::uint32_t, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        texts[value] = static_cast<std::uint32_t>(digits[value >> 4] | digits[value & 15] << 8 | ':' << 16);
    }
    return texts;
}();

/// How many characters of its "0:" each group loses.
using cuts = std::array<std::uint8_t, group_count>;

/// The cuts for every set of zero groups, bit i standing for group i. In the longest run the first group
/// keeps its colon, the others keep nothing. A single group is a run too; of runs of equal length the
/// first wins.
constexpr auto zero_run_cuts = [] {
    std::array<cuts, 256> result{};
    for (unsigned zeros = 0; zeros < 256; ++zeros) {
        std::size_t longest = 0;
        for (std::size_t first = 0; first < group_count; ++first) {
            const auto length = static_cast<std::size_t>(std::countr_one(zeros >> first));
            if (length > longest) {
                longest = length;
                result[zeros] = {};
                for (std::size_t group = first; group < first + length; ++group) {
                    result[zeros][group] = group == first ? 1 : 2;
                }
            }
        }
    }
    return result;
}();

/// The set of zero groups among four, the first of them as bit 0.
unsigned zero_groups(const std::uint8_t* groups) noexcept {
    constexpr std::uint64_t low_bits = 0x7fff'7fff'7fff'7fff;
    std::uint64_t word;
    std::memcpy(&word, groups, sizeof word);
    // The sum sets a group's highest bit unless the other bits are zero, and carries into no other group.
    const std::uint64_t highest_bits = ~(((word & low_bits) + low_bits) | word | low_bits);
    // The product gathers bits 15, 31, 47 and 63 in bits 48 to 51.
    return static_cast<unsigned>((highest_bits >> 15) * 0x0001'0002'0004'0008 >> 48);
}

/// Writes a group without leading zeros and a colon after it, less the cut. Stores 8 bytes.
char* write_group(char* at, std::uint8_t high, std::uint8_t low, std::uint32_t cut) noexcept {
    const std::uint64_t text =
        static_cast<std::uint16_t>(hexadecimal_texts[high]) | std::uint64_t{hexadecimal_texts[low]} << 16;
    // The last digit stays, even of a zero.
    const std::uint32_t group = (std::uint32_t{high} << 8 | low | 1) << 16;
    const std::uint32_t skipped = static_cast<std::uint32_t>(std::countl_zero(group)) / 4 + cut;
    const std::uint64_t shown = text >> (8 * skipped);
    std::memcpy(at, &shown, sizeof shown);
    return at + 5 - skipped;
}

/// Writes eight groups and a zero after them, at which it returns.
char* write_groups(char* at, const std::uint8_t* address) noexcept {
    const cuts& cut = zero_run_cuts[zero_groups(address) | zero_groups(address + 8) << 4];
    // A run at either end has a colon there, where other groups have none.
    *at = ':';
    at += cut.front() != 0;
    [&]<std::size_t... group>(std::index_sequence<group...>) {
        ((at = write_group(at, address[2 * group], address[2 * group + 1], cut[group])), ...);
    }
    (std::make_index_sequence<group_count>{});
    at -= cut.back() == 0;
    *at = '\0';
    return at;
}

} // namespace

std::size_t format_ipv4(const std::uint8_t* address, char (&out)[16]) noexcept {
    return static_cast<std::size_t>(write_dotted(out, address) - out);
}

std::size_t format_ipv6(const std::uint8_t* address, char (&out)[50]) noexcept {
    static constexpr char mapped_text[] = {':', ':', 'f', 'f', 'f', 'f', ':'};

    if (is_ipv4_mapped(address)) {
        std::memcpy(out, mapped_text, sizeof mapped_text);
        return static_cast<std::size_t>(
            write_dotted(out + sizeof mapped_text, address + sizeof ipv4_mapped_prefix) - out);
    }
    return static_cast<std::size_t>(write_groups(out, address) - out);
}

std::string_view format_address(const addr& address, char (&out)[50]) noexcept {
    if (address.family == family_ipv4) {
        return {out, static_cast<std::size_t>(write_dotted(out, address.address) - out)};
    }
    return {out, address.family == family_ipv6 ? format_ipv6(address.address, out) : 0};
}

} // namespace ip::detail
