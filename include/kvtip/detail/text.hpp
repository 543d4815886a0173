#pragma once

// Reading and writing address text, for every type of character, at compile time too. No system call and no
// heap storage.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

// Every x86-64 processor has these instructions. On other processors, and at compile time, plain loops do the
// same.
#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define KVTIP_SSE2
#endif

namespace kvtip {
inline namespace v1 {
namespace detail {

// Groups of characters are composed in a register and stored whole, the first one in the low byte.
static_assert(std::endian::native == std::endian::little);

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

/// The byte in every one of eight places.
constexpr std::uint64_t each_of_8(std::uint8_t value) noexcept {
    return std::uint64_t{value} * 0x0101'0101'0101'0101;
}

// ---- Reading

#ifdef KVTIP_SSE2
/// One bit for each of 16 bytes: its highest one.
inline std::uint64_t bits_of(__m128i bytes) noexcept {
    return static_cast<std::uint64_t>(_mm_movemask_epi8(bytes));
}
#endif

/// Packs eight characters into bytes, and adds the bits that are not ASCII to `others`.
template <class Char>
constexpr std::uint64_t pack(const Char* from, std::uint64_t& others) noexcept {
    if (!std::is_constant_evaluated()) {
        if constexpr (sizeof(Char) == 1) {
            const auto block = load<std::uint64_t>(from);
            others |= block & each_of_8(0x80);
            return block;
        }
#ifdef KVTIP_SSE2
        if constexpr (sizeof(Char) == 2) {
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
            const __m128i above = _mm_and_si128(units, _mm_set1_epi16(~0x7F));
            others |= bits_of(_mm_cmpeq_epi16(above, _mm_setzero_si128())) ^ 0xFFFF;
            return static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));
        }
#endif
    }
    std::uint64_t block = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        const std::uint64_t unit = static_cast<std::make_unsigned_t<Char>>(from[i]);
        block |= (unit & 0x7F) << (8 * i);
        others |= unit & ~std::uint64_t{0x7F};
    }
    return block;
}

/// A copy of a text that ends at zeros, so that the readers need not watch for its end: they look at up to 60
/// characters after the one where an address begins. The copy is empty, which no value is, if the text is
/// longer than any value or has a character outside ASCII.
class text_copy {
public:
    /// The longest text: an endpoint with brackets, a dotted tail, a scope and a port.
    static constexpr std::size_t longest = 64;

    template <class Char>
    constexpr explicit text_copy(std::basic_string_view<Char> text) noexcept
        : size_(text.size() <= longest ? text.size() : 0) {
        std::uint64_t others = 0;
        if (size_ < 8) {
            for (std::size_t i = 0; i < size_; ++i) {
                const std::uint64_t unit = static_cast<std::make_unsigned_t<Char>>(text[i]);
                characters_[i] = static_cast<char>(unit);
                others |= unit & ~std::uint64_t{0x7F};
            }
        } else if (size_ <= 16) {
            others = copy_blocks<2>(text);
        } else if (size_ <= 40) {
            others = copy_blocks<5>(text);
        } else {
            others = copy_blocks<8>(text);
        }
        if (others != 0) {
            characters_[0] = 0;
            size_ = 0;
        }
    }
    text_copy(const text_copy&) = delete;
    text_copy& operator=(const text_copy&) = delete;

    constexpr const char* begin() const noexcept { return characters_; }
    constexpr const char* end() const noexcept { return characters_ + size_; }

private:
    /// Copies the text in so many blocks, and returns the bits that are not ASCII. The last block begins
    /// where there still are eight characters, and is shifted into its place: where blocks overlapped, a
    /// reader would wait for both.
    template <std::size_t Count, class Char>
    constexpr std::uint64_t copy_blocks(std::basic_string_view<Char> text) noexcept {
        const std::size_t last = text.size() - 8;
        std::uint64_t others = 0;
        for (std::size_t to = 0; to < 8 * Count; to += 8) {
            const std::size_t from = to < last ? to : last;
            const std::uint64_t block = pack(text.data() + from, others);
            const std::size_t shift = 8 * (to - from);
            store(characters_ + to, shift < 64 ? block >> shift : 0);
        }
        return others;
    }

    char characters_[longest + 16] = {};
    std::size_t size_;
};

constexpr bool is_digit(char character) noexcept {
    return static_cast<unsigned char>(character - '0') < 10;
}

/// A character's value as a hexadecimal digit of either case, or a bit above those of four digits.
inline constexpr std::uint32_t not_hexadecimal = 0x10000;

inline constexpr auto hexadecimal_values = [] {
    std::array<std::uint32_t, 256> values{};
    values.fill(not_hexadecimal);
    for (unsigned digit = 0; digit < 10; ++digit) {
        values['0' + digit] = digit;
    }
    for (unsigned letter = 0; letter < 6; ++letter) {
        values['a' + letter] = values['A' + letter] = 10 + letter;
    }
    return values;
}();

constexpr std::uint32_t hexadecimal_value(char character) noexcept {
    return hexadecimal_values[static_cast<unsigned char>(character)];
}

// Each of these reads what begins at `at` and returns the place after it, or null for what is not allowed.

/// A number without leading zeros, at most `most`.
constexpr const char* read_number(const char* at, std::uint64_t most, std::uint64_t& number) noexcept {
    if (!is_digit(*at) || (*at == '0' && is_digit(at[1]))) {
        return nullptr;
    }
    for (number = 0; is_digit(*at); ++at) {
        number = number * 10 + static_cast<unsigned>(*at - '0');
        if (number > most) {
            return nullptr;
        }
    }
    return at;
}

/// Whether each byte is at least `least`, from 1 to 128, in its highest bit.
constexpr std::uint64_t at_least(std::uint64_t bytes, std::uint8_t least) noexcept {
    return ((bytes & each_of_8(0x7F)) + each_of_8(static_cast<std::uint8_t>(0x80 - least))) | bytes;
}

/// The place of the lowest bit, which is then cleared.
constexpr std::size_t take_lowest(std::uint64_t& bits) noexcept {
    const auto place = static_cast<std::size_t>(std::countr_zero(bits));
    bits &= bits - 1;
    return place;
}

/// The first `length` of four characters, moved up so that the last of them is the highest byte. What is
/// below them is zero.
constexpr std::uint32_t last_digits(std::uint32_t characters, std::size_t length) noexcept {
    return static_cast<std::uint32_t>(std::uint64_t{characters} << ((32 - 8 * length) & 63));
}

/// An octet at the beginning of four characters. Whether it has one, two or three digits is random, and a
/// branch on that would be mispredicted: what is wrong is gathered, and looked at once.
struct octet_reading {
    std::uint32_t value;
    std::size_t length;
    unsigned wrong;
};

constexpr octet_reading read_octet(std::uint32_t characters) noexcept {
    constexpr unsigned least_values[] = {256, 0, 10, 100}; // by length: otherwise there is a leading zero
    characters ^= 0x3030'3030;
    const std::uint64_t others = at_least(characters | std::uint64_t{0x80} << 24, 10) & 0x8080'8080;
    const auto length = static_cast<std::size_t>(std::countr_zero(others)) / 8;
    const std::uint32_t digits = last_digits(characters, length);
    const std::uint32_t value = (digits >> 8 & 0xFF) * 100 + (digits >> 16 & 0xFF) * 10 + (digits >> 24);
    return {value, length,
            static_cast<unsigned>(value > 255) | static_cast<unsigned>(value < least_values[length])};
}

constexpr const char* read_ipv4(const char* at, std::uint32_t& out) noexcept {
    unsigned wrong = 0;
    std::uint32_t octets = 0;
    for (int i = 0; i < 4; ++i) {
        const octet_reading octet = read_octet(load<std::uint32_t>(at));
        wrong |= octet.wrong | static_cast<unsigned>(i < 3 && at[octet.length] != '.');
        octets |= octet.value << (8 * i);
        at += octet.length + 1;
    }
    --at;
    out = octets;
    return wrong != 0 || is_digit(*at) ? nullptr : at;
}

/// Reads a text that is an IPv4 address of 8 to 15 characters as a whole, as most are. It stays in registers:
/// a copy in memory would be read across the places where it was stored, which takes long. False for any
/// other text.
template <class Char>
constexpr bool read_ipv4_text(std::basic_string_view<Char> text, std::uint32_t& out) noexcept {
    const std::size_t size = text.size();
    if (size < 8 || size > 15) {
        return false;
    }
    std::uint64_t not_ascii = 0;
    std::uint64_t low = pack(text.data(), not_ascii);
    std::uint64_t high = pack(text.data() + (size - 8), not_ascii) >> (8 * (15 - size)) >> 8;
    unsigned wrong = not_ascii != 0;
    std::uint32_t octets = 0;
    std::size_t read = 3; // the dots
    for (int i = 0; i < 4; ++i) {
        const octet_reading octet = read_octet(static_cast<std::uint32_t>(low));
        const std::size_t shift = 8 * octet.length;
        const std::uint64_t rest = low >> shift;
        wrong |= octet.wrong | static_cast<unsigned>(i < 3 && (rest & 0xFF) != '.');
        octets |= octet.value << (8 * i);
        read += octet.length;
        low = rest >> 8 | high << (56 - shift);
        high >>= shift + 8;
    }
    out = octets;
    return wrong == 0 && read == size;
}

/// Eight groups of 16 bits, each in network order, the first one in the lowest bits.
struct groups {
    std::uint64_t low, high;

    friend constexpr groups operator&(const groups& one, const groups& other) noexcept {
        return {one.low & other.low, one.high & other.high};
    }
    friend constexpr groups operator|(const groups& one, const groups& other) noexcept {
        return {one.low | other.low, one.high | other.high};
    }
    constexpr groups operator~() const noexcept { return {~low, ~high}; }

    /// The groups moved on by up to 7 places.
    constexpr groups moved(std::size_t places) const noexcept {
        const std::size_t bits = 16 * places & 63;
        const groups result{low << bits, high << bits | low >> 1 >> (63 - bits)};
        const std::uint64_t half = 0 - static_cast<std::uint64_t>(places >> 2 & 1); // all bits, or none
        return {result.low & ~half, (result.high & ~half) | (result.low & half)};
    }
};

/// All bits of the first groups, by their number.
inline constexpr auto first_groups = [] {
    std::array<groups, 9> result{};
    for (std::size_t count = 1; count < 9; ++count) {
        result[count] = result[count - 1] | groups{0xFFFF, 0}.moved(count - 1);
    }
    return result;
}();

/// The values of two groups that are given as characters, as `last_digits` returns them.
constexpr std::uint64_t read_groups(std::uint32_t first, std::uint32_t second) noexcept {
    const std::uint64_t characters = first | std::uint64_t{second} << 32;
    const std::uint64_t digits =
        (characters & each_of_8(0x0F)) + (characters >> 6 & each_of_8(1)) * 9; // a letter has bit 6
    const std::uint64_t bytes = (digits << 4 | digits >> 8) & 0x00FF'00FF'00FF'00FF;
    const std::uint64_t halves = (bytes | bytes >> 8) & 0x0000'FFFF'0000'FFFF;
    return (halves | halves >> 16) & 0xFFFF'FFFF;
}

/// Eight groups of four digits, whose places are fixed. False for any other text.
constexpr bool read_full_form(const char* at, groups& out) noexcept {
    std::uint64_t halves[2] = {};
    std::uint32_t wrong = 0;
    for (std::size_t i = 0; i < 8; ++i) {
        const std::uint32_t group = hexadecimal_value(at[5 * i]) << 4 | hexadecimal_value(at[5 * i + 1]) |
                                    hexadecimal_value(at[5 * i + 2]) << 12 |
                                    hexadecimal_value(at[5 * i + 3]) << 8;
        wrong |= group | (i < 7 && at[5 * i + 4] != ':' ? not_hexadecimal : 0);
        halves[i / 4] |= std::uint64_t{group & 0xFFFF} << (16 * (i % 4));
    }
    out = {halves[0], halves[1]};
    return wrong < not_hexadecimal;
}

/// Of the first 40 characters, which no eight groups fill, one bit each: the colons, and those that are neither
/// colons nor hexadecimal digits, with a bit after the last.
struct delimiters {
    std::uint64_t colons = 0;
    std::uint64_t others = std::uint64_t{1} << 40;
};

constexpr delimiters find_delimiters(const char* at) noexcept {
    delimiters found;
#ifdef KVTIP_SSE2
    if (!std::is_constant_evaluated()) {
        const auto within = [](__m128i characters, char first, char last) {
            const __m128i offsets = _mm_sub_epi8(characters, _mm_set1_epi8(first));
            const __m128i most = _mm_set1_epi8(static_cast<char>(last - first));
            return _mm_cmpeq_epi8(_mm_min_epu8(offsets, most), offsets);
        };
        for (std::size_t i = 0; i < 48; i += 16) {
            const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at + i));
            const __m128i lower = _mm_or_si128(characters, _mm_set1_epi8(0x20));
            const __m128i known = _mm_or_si128(within(characters, '0', ':'), within(lower, 'a', 'f'));
            found.colons |= bits_of(_mm_cmpeq_epi8(characters, _mm_set1_epi8(':'))) << i;
            found.others |= (bits_of(known) ^ 0xFFFF) << i;
        }
        return found;
    }
#endif
    for (std::size_t i = 0; i < 40; ++i) {
        const bool is_colon = at[i] == ':';
        found.colons |= std::uint64_t{is_colon} << i;
        found.others |= std::uint64_t{!is_colon && hexadecimal_value(at[i]) == not_hexadecimal} << i;
    }
    return found;
}

/// Eight groups, of which `::` stands for one or more; the last two may be written as an IPv4 address.
constexpr const char* read_ipv6(const char* at, groups& out) noexcept {
    if (at[29] == ':' && at[34] == ':' && read_full_form(at, out)) {
        return at + 39;
    }
    auto [colons, others] = find_delimiters(at);
    const auto end = static_cast<std::size_t>(std::countr_zero(others));
    const std::uint64_t before_end = (std::uint64_t{1} << end) - 1;
    colons &= before_end;

    // At most one "::". A colon that begins or ends the text belongs to it, and delimits no other group.
    const std::uint64_t pairs = colons & colons >> 1;
    const std::uint64_t leading = colons & 1;
    const std::uint64_t trailing = colons << 1 >> end & 1;
    std::uint64_t wrong = (pairs & (pairs - 1)) | (leading & ~pairs) | (trailing & ~(pairs << 2 >> end));
    // At most four digits.
    const std::uint64_t digits = before_end & ~colons;
    const std::uint64_t digit_pairs = digits & digits >> 1;
    wrong |= digit_pairs & digit_pairs >> 2 & digits >> 4;

    colons &= ~leading;
    std::size_t count = static_cast<std::size_t>(std::popcount(colons)) + 1 - trailing;
    const auto before_gap = static_cast<std::size_t>(std::popcount(colons & (2 * pairs - 1)));
    std::uint64_t ends = colons | ~before_end;
    std::size_t begin = leading;
    const auto next_group = [&] {
        const std::size_t group_end = take_lowest(ends);
        const std::uint32_t group = last_digits(load<std::uint32_t>(at + begin), group_end - begin);
        begin = group_end + 1;
        return group;
    };
    const auto next_groups = [&] {
        const std::uint32_t first = next_group();
        return read_groups(first, next_group());
    };
    groups all{};
    all.low = next_groups();
    all.low |= next_groups() << 32;
    all.high = next_groups();
    all.high |= next_groups() << 32;

    const char* after = at + end;
    if (*after == '.') {
        std::uint32_t octets = 0;
        after = read_ipv4(at + std::bit_width(colons), octets);
        if (after == nullptr || count > 7) {
            return nullptr;
        }
        const groups tail{octets, 0};
        all = (all & first_groups[count - 1]) | tail.moved(count - 1);
        ++count;
    }
    if (wrong != 0 || count > 8 || (pairs == 0 && count != 8)) {
        return nullptr;
    }
    // What follows the "::" goes to the end.
    const std::size_t places = 8 - count;
    out = (all & first_groups[before_gap]) | (all.moved(places) & ~first_groups[before_gap + places]);
    return after;
}

// ---- Writing

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

/// Writes four octets. Stores up to one character past the end.
constexpr char* write_ipv4(char* at, const std::uint8_t* octets) noexcept {
    // All are read before the first is stored: as far as the compiler knows, the two might overlap.
    const std::uint8_t first = octets[0], second = octets[1], third = octets[2], fourth = octets[3];
    at = write_octet(at, first);
    at = write_octet(at, second);
    at = write_octet(at, third);
    at = write_octet(at, fourth);
    return at - 1;
}

/// A byte as two hexadecimal digits with a colon after them, the first digit in the low byte.
inline constexpr auto hexadecimal_texts = [] {
    constexpr char digits[] = "0123456789abcdef";
    std::array<std::uint32_t, 256> texts{};
    for (unsigned value = 0; value < 256; ++value) {
        texts[value] = static_cast<std::uint32_t>(digits[value >> 4] | digits[value & 15] << 8 | ':' << 16);
    }
    return texts;
}();

/// How many characters of its "0:" each group loses.
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
                    result[zeros][each] = each == first ? 1 : 2;
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
    // The product gathers bits 15, 31, 47 and 63 in the highest four.
    return static_cast<unsigned>((highest_bits >> 15) * 0x0001'0002'0004'0008 >> 48);
}

/// Writes a group without leading zeros and a colon after it, less the cut. Stores 8 characters.
constexpr char* write_group(char* at, std::uint8_t high, std::uint8_t low, std::uint32_t cut) noexcept {
    const std::uint64_t text =
        static_cast<std::uint16_t>(hexadecimal_texts[high]) | std::uint64_t{hexadecimal_texts[low]} << 16;
    // The last digit stays, even of a zero.
    const std::uint32_t value = (std::uint32_t{high} << 8 | low | 1) << 16;
    const std::uint32_t skipped = static_cast<std::uint32_t>(std::countl_zero(value)) / 4 + cut;
    store(at, text >> (8 * skipped));
    return at + 5 - skipped;
}

/// Writes four groups in the same way.
constexpr char* write_four_groups(char* at, const std::uint8_t* groups, const std::uint8_t* cut) noexcept {
    at = write_group(at, groups[0], groups[1], cut[0]);
    at = write_group(at, groups[2], groups[3], cut[1]);
    at = write_group(at, groups[4], groups[5], cut[2]);
    return write_group(at, groups[6], groups[7], cut[3]);
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
    at = write_four_groups(at, address, cut.data());
    at = write_four_groups(at, address + 8, cut.data() + 4);
    return at - (cut.back() == 0);
}

constexpr char* write_number(char* at, std::uint32_t number) noexcept {
    char digits[10] = {};
    std::size_t count = 0;
    do {
        digits[count++] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    while (count > 0) {
        *at++ = digits[--count];
    }
    return at;
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

#undef KVTIP_SSE2
