#pragma once

// The character classes that both address parsers use. The locale does not matter.

namespace ip::detail {

/// The value of a decimal digit; more than 9 for any other character.
constexpr unsigned decimal_value(char character) noexcept {
    return static_cast<unsigned char>(character) - unsigned{'0'};
}

constexpr bool is_decimal(char character) noexcept {
    return decimal_value(character) <= 9;
}

/// Skips the blanks that may stand before an address. A line feed is not one of them: text that begins
/// with one is refused.
constexpr const char* skip_blanks(const char* at) noexcept {
    while (*at == ' ' || *at == '\t' || *at == '\v' || *at == '\f' || *at == '\r') {
        ++at;
    }
    return at;
}

} // namespace ip::detail
