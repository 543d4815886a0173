#include "address/format.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>

// Groups are composed in a register and stored whole, which puts the first digit into the low byte.
static_assert(std::endian::native == std::endian::little);

namespace ip::detail {
namespace {

constexpr std::size_t group_count = 8;

/// A byte in decimal, stored with one copy of 4 bytes; what follows the digits is overwritten next.
struct decimal_text {
    char digits[3];
    std::uint8_t length;
};

constexpr auto decimal_texts = [] {
    std::array<decimal_text, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        decimal_text& text = texts[value];
        for (const unsigned unit : {100U, 10U, 1U}) {
            if (value >= unit || unit == 1) {
                text.digits[text.length++] = static_cast<char>('0' + value / unit % 10);
            }
        }
    }
    return texts;
}();

/// A byte as two hexadecimal digits, the first one in the low byte.
constexpr auto hexadecimal_texts = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<std::uint16_t, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        texts[value] = static_cast<std::uint16_t>(digits[value >> 4] | digits[value & 15] << 8);
    }
    return texts;
}();

struct zero_run {
    std::uint8_t first, end;
};

/// The longest run of zero groups for every set of them, bit i standing for group i. A single group
/// is a run too; of runs of equal length the first wins.
constexpr auto longest_zero_runs = [] {
    std::array<zero_run, 256> runs{};
    for (unsigned zeros = 0; zeros < 256; ++zeros) {
        for (std::size_t first = 0; first < group_count; ++first) {
            const int length = std::countr_one(zeros >> first);
            if (length > runs[zeros].end - runs[zeros].first) {
                runs[zeros] = {static_cast<std::uint8_t>(first),
                               static_cast<std::uint8_t>(first + static_cast<std::size_t>(length))};
            }
        }
    }
    return runs;
}();

zero_run longest_zero_run(const std::uint8_t* address) noexcept {
    unsigned zeros = 0;
    for (std::size_t group = 0; group < group_count; ++group) {
        zeros |= unsigned{(address[2 * group] | address[2 * group + 1]) == 0} << group;
    }
    return longest_zero_runs[zeros];
}

char* write_dotted(char* at, const std::uint8_t* octets) noexcept {
    for (int i = 0; i < 4; ++i) {
        const decimal_text& text = decimal_texts[octets[i]];
        std::memcpy(at, &text, sizeof text);
        at += text.length;
        *at++ = '.';
    }
    return at - 1;
}

/// Writes a group without leading zeros and a colon behind it.
char* write_group(char* at, std::uint8_t high, std::uint8_t low) noexcept {
    const std::uint64_t text =
        hexadecimal_texts[high] | std::uint64_t{hexadecimal_texts[low]} << 16 | std::uint64_t{':'} << 32;
    // The last digit stays, even of a zero.
    const std::uint32_t group = std::uint32_t{high} << 8 | low;
    const std::uint32_t leading_zeros = static_cast<std::uint32_t>(std::countl_zero(group | 1)) / 4 - 4;
    const std::uint64_t shown = text >> (8 * leading_zeros);
    std::memcpy(at, &shown, sizeof shown);
    return at + 5 - leading_zeros;
}

/// Writes groups with colons between them. Returns the place of the colon behind the last one.
char* write_groups(char* at, const std::uint8_t* address, std::size_t first, std::size_t end) noexcept {
    for (std::size_t group = first; group < end; ++group) {
        at = write_group(at, address[2 * group], address[2 * group + 1]);
    }
    return first < end ? at - 1 : at;
}

} // namespace

std::size_t format_ipv4(const std::uint8_t* address, char (&out)[16]) noexcept {
    char* const end = write_dotted(out, address);
    *end = '\0';
    return static_cast<std::size_t>(end - out);
}

std::size_t format_ipv6(const std::uint8_t* address, char (&out)[50]) noexcept {
    static constexpr std::uint8_t mapped[12] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    static constexpr char mapped_text[] = "::ffff:";

    char* at = out;
    if (std::equal(mapped, std::end(mapped), address)) {
        at = std::copy(mapped_text, std::end(mapped_text) - 1, at);
        at = write_dotted(at, address + sizeof mapped);
    } else if (const zero_run run = longest_zero_run(address); run.end == 0) {
        at = write_groups(at, address, 0, group_count);
    } else {
        at = write_groups(at, address, 0, run.first);
        *at++ = ':';
        *at++ = ':';
        at = write_groups(at, address, run.end, group_count);
    }
    *at = '\0';
    return static_cast<std::size_t>(at - out);
}

} // namespace ip::detail
