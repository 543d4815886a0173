#pragma once

// Reading the text of most addresses with instructions that every x86-64 processor has: IPv4 addresses, and
// IPv6 addresses that have neither a dotted tail nor a scope. The text must have 8 to 39 characters: the functions
// do not check that. They return false for any other text, valid or not, and on other processors.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__x86_64__) || defined(_M_X64)
#include <emmintrin.h>
#endif

namespace kvtip {
inline namespace v1 {
namespace detail {

#if defined(__x86_64__) || defined(_M_X64)

/// Eight characters as bytes, with zeros after them. What does not fit into a byte becomes 0 or 255, which no
/// reader takes.
template <class Char>
__m128i load_8(const Char* from) noexcept {
    const auto* const at = reinterpret_cast<const __m128i*>(from);
    if constexpr (sizeof(Char) == 1) {
        return _mm_loadl_epi64(at);
    } else if constexpr (sizeof(Char) == 2) {
        return _mm_packus_epi16(_mm_loadu_si128(at), _mm_setzero_si128());
    } else {
        const __m128i units = _mm_packs_epi32(_mm_loadu_si128(at), _mm_loadu_si128(at + 1));
        return _mm_packus_epi16(units, _mm_setzero_si128());
    }
}

inline __m128i in_each_byte(int value) noexcept {
    return _mm_set1_epi8(static_cast<char>(value));
}

/// One bit for each of 16 bytes: its highest one.
inline std::uint64_t bits_of(__m128i bytes) noexcept {
    return static_cast<std::uint64_t>(_mm_movemask_epi8(bytes));
}

inline std::uint64_t word_of(__m128i low_bytes) noexcept {
    return static_cast<std::uint64_t>(_mm_cvtsi128_si64(low_bytes));
}

/// All bits of those bytes that are from `first` to `last`.
inline __m128i within(__m128i bytes, int first, int last) noexcept {
    const __m128i offsets = _mm_sub_epi8(bytes, in_each_byte(first));
    return _mm_cmpeq_epi8(_mm_min_epu8(offsets, in_each_byte(last - first)), offsets);
}

/// The place of the lowest bit, which is then cleared.
inline std::size_t take_lowest(std::uint64_t& bits) noexcept {
    const auto place = static_cast<std::size_t>(std::countr_zero(bits));
    bits &= bits - 1;
    return place;
}

/// All bits of the marked bytes, and of those before the last marked one among four.
inline __m128i up_to_last(__m128i marked) noexcept {
    marked = _mm_or_si128(marked, _mm_srli_epi32(marked, 8));
    return _mm_or_si128(marked, _mm_srli_epi32(marked, 16));
}

/// Reads four octets, each of which ends its four characters. A dot or zero, and what precedes it, belongs to no
/// octet. False for an octet without digits, with a fourth one or a leading zero, or above 255.
inline bool read_four_octets(__m128i characters, std::uint32_t& octets) noexcept {
    const __m128i others = up_to_last(_mm_cmplt_epi8(characters, in_each_byte('0')));
    const __m128i digits = _mm_andnot_si128(others, characters);
    const __m128i hundreds_and_ones = _mm_srli_epi16(_mm_and_si128(digits, _mm_set1_epi16(0x0F00)), 8);
    const __m128i tens = _mm_and_si128(digits, _mm_set1_epi16(0x000F));
    const __m128i values = _mm_add_epi32(_mm_madd_epi16(hundreds_and_ones, _mm_set1_epi32(1 << 16 | 100)),
                                         _mm_madd_epi16(tens, _mm_set1_epi32(10 << 16)));

    const __m128i but_the_last = _mm_set1_epi32(0x00FF'FFFF); // which may be 0
    const __m128i are_zeros = _mm_and_si128(_mm_cmpeq_epi8(digits, in_each_byte('0')), but_the_last);
    const __m128i leading_zeros = _mm_and_si128(are_zeros, _mm_slli_epi32(others, 8));
    const __m128i first_and_last = _mm_set1_epi32(static_cast<int>(0xFF00'00FF));
    const __m128i bad_lengths =
        _mm_and_si128(_mm_xor_si128(others, _mm_set1_epi32(0x0000'00FF)), first_and_last);
    const __m128i wrong =
        _mm_or_si128(_mm_or_si128(leading_zeros, bad_lengths), _mm_cmpgt_epi32(values, _mm_set1_epi32(255)));

    const __m128i words = _mm_packs_epi32(values, values);
    octets = static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
    return bits_of(wrong) == 0;
}

template <class Char>
bool read_ipv4_quickly(std::basic_string_view<Char> text, std::uint32_t& octets) noexcept {
    const std::size_t size = text.size();
    if (size > 15) {
        return false;
    }
    const __m128i begin = load_8(text.data()), end = load_8(text.data() + (size - 8));
    const __m128i both = _mm_unpacklo_epi64(begin, end);
    const __m128i are_dots = _mm_cmpeq_epi8(both, in_each_byte('.'));
    const std::uint64_t known = bits_of(_mm_or_si128(are_dots, within(both, '0', '9')));

    // The places of three dots. Further bits stand for those that are missing.
    constexpr std::uint64_t missing = 0x7'0000;
    const std::uint64_t found = bits_of(are_dots);
    std::uint64_t dots = (found & 0xFF) | found >> 8 << (size - 8) | missing;
    const std::size_t first = take_lowest(dots), second = take_lowest(dots), third = take_lowest(dots);
    const bool may_be_octets = dots == missing && second < 8; // otherwise one of two octets is too long

    // The four characters before each dot and before the end, with zeros before the text. A dot at place 0 leaves
    // nothing of a word, which takes two shifts. The mask is for the places of missing dots, where the result does
    // not count.
    const auto before = [](__m128i characters, std::size_t place) {
        const std::uint64_t word = word_of(characters) << ((56 - 8 * place) & 63) << 8;
        return _mm_cvtsi64_si128(static_cast<long long>(word));
    };
    const __m128i two = _mm_unpacklo_epi32(before(begin, first), before(begin, second));
    const __m128i two_more = _mm_unpacklo_epi32(before(end, third + 8 - size), end);
    return read_four_octets(_mm_unpackhi_epi64(two, two_more), octets) && known == 0xFFFF && may_be_octets;
}

/// Four groups, each of which ends its four characters. A colon and what precedes it belong to no group.
struct four_groups {
    __m128i bytes;  ///< in network order, each in 16 bits
    __m128i known;  ///< all bits of the hexadecimal digits, and of `others`
    __m128i others; ///< all bits of the characters that belong to no group
};

inline four_groups read_four_groups(__m128i characters) noexcept {
    const __m128i others = up_to_last(_mm_cmpeq_epi8(characters, in_each_byte(':')));
    const __m128i are_letters = within(_mm_or_si128(characters, in_each_byte(0x20)), 'a', 'f');
    const __m128i known = _mm_or_si128(_mm_or_si128(within(characters, '0', '9'), are_letters), others);
    const __m128i low_bits = _mm_and_si128(characters, in_each_byte(0x0F));
    const __m128i values = _mm_add_epi8(low_bits, _mm_and_si128(are_letters, in_each_byte(9)));
    const __m128i digits = _mm_andnot_si128(others, values);
    const __m128i pairs = _mm_or_si128(_mm_slli_epi16(digits, 4), _mm_srli_epi16(digits, 8));
    return {_mm_and_si128(pairs, _mm_set1_epi16(0xFF)), known, others};
}

/// Where the groups of a text end, from its colons.
struct group_ends {
    bool are_valid; ///< for eight groups of up to four digits, of which one `::` may stand for some
    std::size_t count;
    std::uint64_t places; ///< one bit each, and one for every place past the text
};

inline group_ends find_group_ends(std::uint64_t colons, std::size_t size) noexcept {
    const std::uint64_t all = (std::uint64_t{1} << size) - 1;
    // At most one "::". A colon that begins or ends the text belongs to it, and ends no other group.
    const std::uint64_t pairs = colons & colons >> 1;
    const std::uint64_t leading = colons & 1;
    const std::uint64_t trailing = colons >> (size - 1);
    std::uint64_t wrong = (pairs & (pairs - 1)) | (leading & ~pairs) | (trailing & ~(pairs << 2 >> size));
    // No five digits in a row. Here every character but a colon counts as one.
    const std::uint64_t digits = all & ~colons;
    const std::uint64_t digit_pairs = digits & digits >> 1;
    wrong |= digit_pairs & digit_pairs >> 2 & digits >> 4;
    colons &= ~leading;
    const auto count = static_cast<std::size_t>(std::popcount(colons)) + 1 - trailing;
    return {wrong == 0 && (pairs == 0 ? count == 8 : count <= 8), count, colons | ~all};
}

/// All bits of the first `count` of eight groups.
inline __m128i first_groups(std::size_t count) noexcept {
    static constexpr auto bytes = [] {
        std::array<std::uint8_t, 32> result{};
        std::fill_n(result.begin(), 16, std::uint8_t{0xFF});
        return result;
    }();
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data() + (16 - 2 * count)));
}

/// The first `count` of eight groups. Those after a gap go to the end, with zeros in the gap.
inline __m128i fill_gap(__m128i groups, std::size_t before_gap, std::size_t count) noexcept {
    const std::size_t places = 8 - count;
    std::array<std::uint8_t, 32> room{};
    _mm_storeu_si128(reinterpret_cast<__m128i*>(room.data() + 16), groups);
    const __m128i moved = _mm_loadu_si128(reinterpret_cast<const __m128i*>(room.data() + (16 - 2 * places)));
    return _mm_or_si128(_mm_and_si128(groups, first_groups(before_gap)),
                        _mm_andnot_si128(first_groups(before_gap + places), moved));
}

template <class Char>
bool read_ipv6_quickly(std::basic_string_view<Char> text, std::uint64_t& low, std::uint64_t& high) noexcept {
    // A copy with colons around it, so that four characters can be looked at before each end. As far as the
    // compiler knows, the place of an end can be 64.
    std::array<char, 80> copy;
    copy.fill(':');
    std::uint64_t colons = 0;
    for (std::size_t i = 0; i < 40; i += 8) {
        const std::size_t place = i < text.size() - 8 ? i : text.size() - 8;
        const __m128i block = load_8(text.data() + place);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(copy.data() + 4 + place), block);
        colons |= bits_of(_mm_cmpeq_epi8(block, in_each_byte(':'))) << place;
    }
    group_ends ends = find_group_ends(colons, text.size());
    if (!ends.are_valid) {
        return false;
    }
    const auto next_group = [&] {
        int characters = 0;
        std::memcpy(&characters, copy.data() + take_lowest(ends.places), sizeof characters);
        return _mm_cvtsi32_si128(characters);
    };
    const auto next_two = [&] {
        const __m128i one = next_group();
        return _mm_unpacklo_epi32(one, next_group());
    };
    const auto next_four = [&] {
        const __m128i two = next_two();
        return read_four_groups(_mm_unpacklo_epi64(two, next_two()));
    };
    const four_groups first = next_four();
    const four_groups last = next_four();
    // A group is empty if its last character belongs to no group.
    const auto empty = [](__m128i others) { return _mm_movemask_ps(_mm_castsi128_ps(others)); };
    const auto empty_groups = static_cast<unsigned>(empty(first.others) | empty(last.others) << 4 | 1 << 8);
    const auto before_gap = static_cast<std::size_t>(std::countr_zero(empty_groups));
    const __m128i groups = fill_gap(_mm_packus_epi16(first.bytes, last.bytes), before_gap, ends.count);
    low = word_of(groups);
    high = word_of(_mm_unpackhi_epi64(groups, groups));
    return bits_of(_mm_and_si128(first.known, last.known)) == 0xFFFF;
}

#else

template <class Char>
bool read_ipv4_quickly(std::basic_string_view<Char>, std::uint32_t&) noexcept {
    return false;
}

template <class Char>
bool read_ipv6_quickly(std::basic_string_view<Char>, std::uint64_t&, std::uint64_t&) noexcept {
    return false;
}

#endif

} // namespace detail
} // namespace v1
} // namespace kvtip
