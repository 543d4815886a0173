#pragma once

// Reading address text, at compile time too. No system call and no heap storage.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>

namespace kvtip {
inline namespace v1 {
namespace detail {

/// A text of any type of character as ASCII. It is empty, which no value is, if the text is longer than any
/// value or has another character.
class ascii_text {
public:
    /// The longest text: an endpoint with brackets, a dotted tail, a scope and a port.
    static constexpr std::size_t longest = 64;

    template <class Char>
    constexpr explicit ascii_text(std::basic_string_view<Char> text) noexcept
        : size_(text.size() <= longest ? text.size() : 0) {
        for (std::size_t i = 0; i < size_; ++i) {
            const std::uint64_t unit = static_cast<std::make_unsigned_t<Char>>(text[i]);
            characters_[i] = static_cast<char>(unit);
            if (unit > 0x7F) {
                size_ = 0;
            }
        }
    }

    constexpr std::string_view view() const noexcept { return {characters_, size_}; }

private:
    std::size_t size_;
    char characters_[longest];
};

/// The values of hexadecimal digits of either case; 16 for other characters.
inline constexpr auto digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(16);
    for (std::uint8_t digit = 0; digit < 10; ++digit) {
        values['0' + digit] = digit;
    }
    for (std::uint8_t digit = 10; digit < 16; ++digit) {
        values['a' + digit - 10] = values['A' + digit - 10] = digit;
    }
    return values;
}();

template <class Char>
constexpr std::uint32_t digit_value(Char character) noexcept {
    const std::uint64_t unit = static_cast<std::make_unsigned_t<Char>>(character);
    return unit < digit_values.size() ? digit_values[unit] : 16;
}

/// The value of the digit that begins a text; 16 for none.
constexpr std::uint32_t first_digit(std::string_view text) noexcept {
    return text.empty() ? 16 : digit_value(text.front());
}

// Each of these takes what it returns off the front of the text. After a failure, a part of the text may be gone.

/// Whether the text begins with the mark.
constexpr bool take(std::string_view mark, std::string_view& text) noexcept {
    const bool begins = text.starts_with(mark);
    text.remove_prefix(begins ? mark.size() : 0);
    return begins;
}

/// A decimal number without leading zeros, at most `most`.
constexpr std::optional<std::uint32_t> take_number(std::string_view& text, std::uint32_t most) noexcept {
    if (first_digit(text) > 9 || (text.front() == '0' && first_digit(text.substr(1)) < 10)) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    while (number <= most && first_digit(text) < 10) {
        number = number * 10 + first_digit(text);
        text.remove_prefix(1);
    }
    return number <= most ? std::optional(static_cast<std::uint32_t>(number)) : std::nullopt;
}

/// Four octets, the first one in the low byte.
constexpr std::optional<std::uint32_t> take_ipv4(std::string_view& text) noexcept {
    std::uint32_t octets = 0;
    for (int place = 0; place < 32; place += 8) {
        const bool is_separated = place == 0 || take(".", text);
        const auto octet = take_number(text, 255);
        if (!is_separated || !octet) {
            return std::nullopt;
        }
        octets |= *octet << place;
    }
    return octets;
}

/// Up to `most` hexadecimal digits, but at least one.
constexpr std::optional<std::uint32_t> take_digits(std::string_view& text, std::size_t most) noexcept {
    std::uint32_t value = 0;
    std::size_t count = 0;
    for (; count < most && first_digit(text) < 16; ++count) {
        value = value << 4 | first_digit(text);
        text.remove_prefix(1);
    }
    return count > 0 ? std::optional(value) : std::nullopt;
}

using ipv6_bytes = std::array<std::uint8_t, 16>;

/// Eight groups, of which `::` stands for one or more; the last two may be written as an IPv4 address.
constexpr std::optional<ipv6_bytes> take_ipv6(std::string_view& text) noexcept {
    ipv6_bytes bytes{};
    std::size_t size = 0;
    constexpr std::size_t no_gap = 17; // greater than any place
    std::size_t gap = no_gap;
    const auto append = [&](std::uint32_t byte) { bytes[size++] = static_cast<std::uint8_t>(byte & 0xFF); };
    if (take("::", text)) {
        gap = 0;
    }
    while (size < bytes.size()) {
        std::string_view tail = text;
        const auto group = take_digits(text, 4);
        if (!group) {
            if (gap != size) {
                return std::nullopt;
            }
            break;
        }
        if (const auto octets = text.starts_with('.') ? take_ipv4(tail) : std::nullopt) {
            if (size > bytes.size() - 4) {
                return std::nullopt;
            }
            for (int place = 0; place < 32; place += 8) {
                append(*octets >> place);
            }
            text = tail;
            break;
        }
        append(*group >> 8);
        append(*group);
        if (take("::", text)) {
            if (gap != no_gap) {
                return std::nullopt;
            }
            gap = size;
        } else if (size == bytes.size() || !take(":", text)) {
            break;
        }
    }
    if (gap != no_gap ? size > bytes.size() - 2 : size != bytes.size()) {
        return std::nullopt;
    }
    ipv6_bytes result{};
    for (std::size_t i = 0; i < size; ++i) {
        result[i < gap ? i : i + bytes.size() - size] = bytes[i]; // what follows the gap goes to the end
    }
    return result;
}

} // namespace detail
} // namespace v1
} // namespace kvtip
