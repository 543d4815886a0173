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
#include <utility>

namespace kvtip {
inline namespace v1 {
namespace detail {

// Groups of characters are composed in a register and stored whole, the first one in the low byte.
static_assert(std::endian::native == std::endian::little);

template <class Word>
constexpr void store(char* at, Word word) noexcept {
    if (std::is_constant_evaluated()) {
        for (std::size_t i = 0; i < sizeof word; ++i) {
            at[i] = static_cast<char>(word >> (8 * i) & 0xFF);
        }
    } else {
        std::memcpy(at, &word, sizeof word);
    }
}

// ---- Reading

/// A copy of a text that ends at a zero, so that the readers need not watch for its end.
class text_copy {
public:
    /// The longest text of an endpoint has 58 characters.
    static constexpr std::size_t room = 64;

    template <class Char>
    constexpr explicit text_copy(std::basic_string_view<Char> text) noexcept : size_(text.size()) {
        if (size_ >= room) {
            size_ = 0; // no address is that long
        }
        if (sizeof(Char) == 1 && !std::is_constant_evaluated()) {
            copy_bytes(reinterpret_cast<const char*>(text.data()));
            return;
        }
        for (std::size_t i = 0; i < size_; ++i) {
            const auto unit = static_cast<std::make_unsigned_t<Char>>(text[i]);
            characters_[i] = unit < 0x80 ? static_cast<char>(unit) : '\x7F'; // which is in no address
        }
    }
    text_copy(const text_copy&) = delete;
    text_copy& operator=(const text_copy&) = delete;

    constexpr const char* begin() const noexcept { return characters_; }
    constexpr const char* end() const noexcept { return characters_ + size_; }

private:
    /// Copies in few steps of a fixed size, which overlap.
    void copy_bytes(const char* from) noexcept {
        const auto copy = [&]<std::size_t Size>(std::integral_constant<std::size_t, Size>) {
            std::memcpy(characters_, from, Size);
            std::memcpy(characters_ + size_ - Size, from + size_ - Size, Size);
        };
        if (size_ >= 32) {
            copy(std::integral_constant<std::size_t, 32>{});
        } else if (size_ >= 16) {
            copy(std::integral_constant<std::size_t, 16>{});
        } else if (size_ >= 8) {
            copy(std::integral_constant<std::size_t, 8>{});
        } else if (size_ >= 4) {
            copy(std::integral_constant<std::size_t, 4>{});
        } else {
            for (std::size_t i = 0; i < size_; ++i) {
                characters_[i] = from[i];
            }
        }
    }

    char characters_[room] = {};
    std::size_t size_;
};

/// What a character does to the number before it. A digit appends itself; any other leaves the number as it
/// is and is not passed.
struct alignas(4) continuation {
    std::uint8_t factor, addend, step;
};

inline constexpr auto continuations = [] {
    std::array<continuation, 256> result{};
    result.fill({1, 0, 0});
    for (std::uint8_t digit = 0; digit < 10; ++digit) {
        result['0' + digit] = {10, digit, 1};
    }
    return result;
}();

constexpr bool is_digit(char character) noexcept {
    return static_cast<unsigned char>(character - '0') < 10;
}

constexpr const char* append_digit(const char* at, unsigned& number) noexcept {
    const continuation& next = continuations[static_cast<unsigned char>(*at)];
    number = number * next.factor + next.addend;
    return at + next.step;
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

/// Four octets. Whether one has one, two or three digits is random, and a branch on that would be
/// mispredicted: what is wrong is gathered, and looked at once.
constexpr const char* read_ipv4(const char* at, std::uint8_t* out) noexcept {
    unsigned wrong = 0;
    for (int i = 0;; ++i) {
        const char* const begin = at;
        unsigned octet = static_cast<unsigned char>(*at) - unsigned{'0'};
        wrong |= octet > 9;
        ++at;
        at = append_digit(at, octet);
        at = append_digit(at, octet);
        wrong |= static_cast<unsigned>(octet > 255) | static_cast<unsigned>(*begin == '0' && at - begin > 1);
        out[i] = static_cast<std::uint8_t>(octet);
        if (i == 3) {
            return wrong != 0 || is_digit(*at) ? nullptr : at;
        }
        if (*at != '.') {
            return nullptr;
        }
        ++at;
    }
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

struct group {
    std::uint32_t value;
    int digits; ///< 0 to 4
};

/// Looks at four characters at once: how many of them are digits is random.
constexpr group read_group(const char* at) noexcept {
    const std::uint32_t digits = hexadecimal_value(at[0]) << 12 | hexadecimal_value(at[1]) << 8 |
                                 hexadecimal_value(at[2]) << 4 | hexadecimal_value(at[3]);
    if (digits < not_hexadecimal) {
        return {digits, 4};
    }
    // The first character that is no digit has set the highest bit: 28, 24, 20 or 16.
    const int count = std::countl_zero(digits) / 4;
    return {(digits & 0xFFFF) >> (16 - 4 * count), count};
}

/// Eight groups, of which `::` stands for one or more; the last two may be written as an IPv4 address.
constexpr const char* read_ipv6(const char* at, std::uint8_t* out) noexcept {
    constexpr int none = -1;
    std::uint8_t bytes[18] = {};
    int size = 0;
    int zero_run = none;
    if (at[0] == ':') {
        if (at[1] != ':') {
            return nullptr;
        }
        zero_run = 0;
        at += 2;
    }
    for (;;) {
        const group next = read_group(at);
        if (next.digits == 0) {
            if (zero_run != size) {
                return nullptr;
            }
            break; // the text ends in "::"
        }
        if (at[next.digits] == '.') {
            at = size > 12 ? nullptr : read_ipv4(at, bytes + size);
            if (at == nullptr) {
                return nullptr;
            }
            size += 4;
            break;
        }
        if (size == 16) {
            return nullptr;
        }
        at += next.digits;
        bytes[size++] = static_cast<std::uint8_t>(next.value >> 8);
        bytes[size++] = static_cast<std::uint8_t>(next.value);
        if (*at != ':') {
            break;
        }
        ++at;
        if (*at == ':') {
            if (zero_run != none) {
                return nullptr;
            }
            zero_run = size;
            ++at;
        }
    }
    if (zero_run == none ? size != 16 : size > 14) {
        return nullptr;
    }
    // What follows the "::" goes to the end.
    const int head = zero_run == none ? 16 : zero_run;
    const int shift = 16 - size;
    for (int i = 0; i < 16; ++i) {
        out[i] = i < head ? bytes[i] : i < head + shift ? std::uint8_t{0} : bytes[i - shift];
    }
    return at;
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
    std::uint64_t word = 0;
    if (std::is_constant_evaluated()) {
        for (std::size_t i = 0; i < sizeof word; ++i) {
            word |= std::uint64_t{groups[i]} << (8 * i);
        }
    } else {
        std::memcpy(&word, groups, sizeof word);
    }
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

/// Writes an IPv6 address in the form of RFC 5952, a mapped one with a dotted tail. Stores up to 8 characters
/// past the end.
constexpr char* write_ipv6(char* at, const std::uint8_t* address, bool is_mapped) noexcept {
    if (is_mapped) {
        for (const char character : {':', ':', 'f', 'f', 'f', 'f', ':'}) {
            *at++ = character;
        }
        return write_ipv4(at, address + 12);
    }
    const cuts& cut = zero_run_cuts[zero_groups(address) | zero_groups(address + 8) << 4];
    // A run at either end has a colon there, where other groups have none.
    *at = ':';
    at += cut.front() != 0;
    [&]<std::size_t... Group>(std::index_sequence<Group...>) {
        ((at = write_group(at, address[2 * Group], address[2 * Group + 1], cut[Group])), ...);
    }
    (std::make_index_sequence<8>{});
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
        char* const end = write(static_cast<char*>(characters_));
        *end = 0;
        size_ = static_cast<std::size_t>(end - characters_);
    }

private:
    char characters_[Size + 8] = {}; // the writers store past the end
    std::size_t size_ = 0;
};

} // namespace v1
} // namespace kvtip
