#pragma once

// Writing address text, at compile time too. No system call and no heap storage.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#if defined(__x86_64__) || defined(_M_X64)
#include <emmintrin.h>
#endif

namespace kvtip {
inline namespace v1 {
namespace detail {

/// The bytes at that place as a word, the first one in the low byte.
template <class Word, class Byte>
constexpr Word load(const Byte* at) noexcept {
    Word word = 0;
    if (std::is_constant_evaluated()) {
        for (std::size_t i = 0; i < sizeof word; ++i) {
            word |= static_cast<Word>(Word{static_cast<std::uint8_t>(at[i])} << (8 * i));
        }
    } else {
        std::memcpy(&word, at, sizeof word);
    }
    return word;
}

/// Stores a word in the same way.
template <class Word, class Byte>
constexpr void store(Byte* at, Word word) noexcept {
    if (std::is_constant_evaluated()) {
        for (std::size_t i = 0; i < sizeof word; ++i) {
            at[i] = static_cast<Byte>(word >> (8 * i) & 0xFF);
        }
    } else {
        std::memcpy(at, &word, sizeof word);
    }
}

/// An octet in decimal with a dot after it. All four characters are stored; the next octet overwrites those
/// past the length.
struct octet_text {
    std::uint32_t characters;
    std::uint32_t length;
};

inline constexpr auto octet_texts = [] {
    std::array<octet_text, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        octet_text& text = texts[value];
        const auto append = [&](unsigned character) {
            text.characters |= character << (8 * text.length);
            ++text.length;
        };
        for (const unsigned unit : {100U, 10U, 1U}) {
            if (value >= unit || unit == 1) {
                append('0' + value / unit % 10);
            }
        }
        append('.');
    }
    return texts;
}();

constexpr char* write_octet(char* at, std::uint8_t octet) noexcept {
    store(at, octet_texts[octet].characters);
    return at + octet_texts[octet].length;
}

/// Writes four octets. Stores up to three characters past the end.
constexpr char* write_ipv4(char* at, const std::uint8_t* octets) noexcept {
    // All are read before the first is stored: as far as the compiler knows, the two might overlap.
    const std::uint8_t first = octets[0], second = octets[1], third = octets[2], fourth = octets[3];
    at = write_octet(at, first);
    at = write_octet(at, second);
    at = write_octet(at, third);
    at = write_octet(at, fourth);
    return at - 1;
}

/// The hexadecimal digits of 16 bytes.
constexpr std::array<char, 32> hexadecimal_digits(const std::uint8_t* bytes) noexcept {
    std::array<char, 32> result{};
#if defined(__x86_64__) || defined(_M_X64)
    if (!std::is_constant_evaluated()) {
        const auto digits = [](__m128i values) {
            const __m128i are_letters = _mm_cmpgt_epi8(values, _mm_set1_epi8(9));
            const __m128i above_nine = _mm_and_si128(are_letters, _mm_set1_epi8('a' - '9' - 1));
            return _mm_add_epi8(_mm_add_epi8(values, _mm_set1_epi8('0')), above_nine);
        };
        const __m128i low_bits = _mm_set1_epi8(0x0F);
        const __m128i all = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
        const __m128i high = digits(_mm_and_si128(_mm_srli_epi16(all, 4), low_bits));
        const __m128i low = digits(_mm_and_si128(all, low_bits));
        auto* const to = reinterpret_cast<__m128i*>(result.data());
        _mm_storeu_si128(to, _mm_unpacklo_epi8(high, low));
        _mm_storeu_si128(to + 1, _mm_unpackhi_epi8(high, low));
        return result;
    }
#endif
    constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < result.size(); ++i) {
        result[i] = digits[i % 2 == 0 ? bytes[i / 2] >> 4 : bytes[i / 2] & 15];
    }
    return result;
}

/// How many bits of its text "0:" each group loses.
using cuts = std::array<std::uint8_t, 8>;

/// The cuts for every set of zero groups, bit i standing for group i. In the longest run the first group
/// keeps its colon, the others keep nothing. A single group is no run; of runs of equal length the first
/// wins.
inline constexpr auto zero_run_cuts = [] {
    std::array<cuts, 256> result{};
    for (unsigned zeros = 0; zeros < 256; ++zeros) {
        std::size_t longest = 1;
        for (std::size_t first = 0; first < 8; ++first) {
            const auto length = static_cast<std::size_t>(std::countr_one(zeros >> first));
            if (length > longest) {
                longest = length;
                result[zeros] = {};
                for (std::size_t each = first; each < first + length; ++each) {
                    result[zeros][each] = each == first ? 8 : 16;
                }
            }
        }
    }
    return result;
}();

/// The set of zero groups among four, the first of them as bit 0.
constexpr unsigned zero_groups(const std::uint8_t* groups) noexcept {
    constexpr std::uint64_t low_bits = 0x7FFF'7FFF'7FFF'7FFF;
    const auto word = load<std::uint64_t>(groups);
    // The sum sets a group's highest bit unless the other bits are zero, and carries into no other group.
    const std::uint64_t highest_bits = ~(((word & low_bits) + low_bits) | word | low_bits);
    // The product gathers bits 15, 31, 47 and 63 in bits 48 to 51.
    return static_cast<unsigned>((highest_bits >> 15) * 0x0001'0002'0004'0008 >> 48);
}

/// Writes a group of four digits without leading zeros and a colon after it, less the cut. Stores 8
/// characters.
constexpr char* write_group(char* at, const char* digits, std::uint32_t cut) noexcept {
    const auto group = load<std::uint32_t>(digits);
    // A bit that is not in '0'. The last digit stays, even of a zero.
    const auto first = static_cast<std::uint32_t>(std::countr_zero((group ^ 0x3030'3030) | 1U << 24));
    const std::uint32_t skipped = (first & ~7U) + cut;
    store(at, (group | std::uint64_t{':'} << 32) >> skipped);
    return at + 5 - skipped / 8;
}

/// Whether the 16 bytes are in ::ffff:0:0/96.
constexpr bool is_mapped(const std::uint8_t* address) noexcept {
    return load<std::uint64_t>(address) == 0 && load<std::uint32_t>(address + 8) == 0xFFFF'0000;
}

/// Writes an IPv6 address in the form of RFC 5952, a mapped one with a dotted tail. Stores up to 8 characters
/// past the end.
constexpr char* write_ipv6(char* at, const std::uint8_t* address) noexcept {
    if (is_mapped(address)) {
        store(at, std::uint64_t{0x3A66'6666'663A'3A}); // "::ffff:"
        return write_ipv4(at + 7, address + 12);
    }
    const cuts& cut = zero_run_cuts[zero_groups(address) | zero_groups(address + 8) << 4];
    // A run at either end has a colon there, where other groups have none.
    *at = ':';
    at += cut.front() != 0;
    const auto digits = hexadecimal_digits(address);
    for (std::size_t i = 0; i < 8; ++i) {
        at = write_group(at, digits.data() + 4 * i, cut[i]);
    }
    return at - (cut.back() == 0);
}

constexpr char* write_number(char* at, std::uint32_t number) noexcept {
    std::size_t length = 1;
    for (std::uint32_t rest = number; rest > 9; rest /= 10) {
        ++length;
    }
    for (char* digit = at + length; digit != at; number /= 10) {
        *--digit = static_cast<char>('0' + number % 10);
    }
    return at + length;
}

} // namespace detail

/// Text of a value, without heap storage.
template <std::size_t Size>
class text_buffer {
public:
    constexpr std::string_view view() const noexcept { return {characters_, size_}; }
    constexpr operator std::string_view() const noexcept { return view(); }
    constexpr const char* c_str() const noexcept { return characters_; }
    constexpr std::size_t size() const noexcept { return size_; }

    /// For the writers: `write(char* begin)` writes the text and returns its end.
    template <class Write>
    constexpr explicit text_buffer(Write write) noexcept {
        if (std::is_constant_evaluated()) {
            for (char& character : characters_) {
                character = 0; // at run time the writers store what is needed
            }
        }
        char* const end = write(static_cast<char*>(characters_));
        *end = 0;
        size_ = static_cast<std::size_t>(end - characters_);
    }

private:
    char characters_[Size + 8]; // the writers store past the end
    std::size_t size_;
};

} // namespace v1
} // namespace kvtip
