#include "address/characters.h"
#include "address/parse.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <iterator>

namespace ip::detail {
namespace {

constexpr int whole_address = 128;

/// The 16 bytes as they fill up, and where among them a `::` stood.
class scratch_address {
public:
    scratch_address() = default;
    scratch_address(const scratch_address&) = delete;
    scratch_address& operator=(const scratch_address&) = delete;

    [[nodiscard]] std::ptrdiff_t room() const noexcept { return std::end(bytes_) - end_; }

    void add_group(unsigned group) noexcept {
        *end_++ = static_cast<std::uint8_t>(group >> 8);
        *end_++ = static_cast<std::uint8_t>(group);
    }

    void add_octets(const std::uint8_t (&octets)[4]) noexcept { end_ = std::copy_n(octets, 4, end_); }

    /// Notes a `::` at this place; only one is allowed.
    bool mark_zero_run() noexcept {
        if (zero_run_) {
            return false;
        }
        zero_run_ = end_;
        return true;
    }

    /// Moves what follows the `::` to the end. Returns false when the address is not complete, or when it
    /// was complete without the `::`.
    bool complete() noexcept {
        if (!zero_run_) {
            return room() == 0;
        }
        if (room() == 0) {
            return false;
        }
        std::fill(zero_run_, std::copy_backward(zero_run_, end_, std::end(bytes_)), std::uint8_t{0});
        return true;
    }

    void copy_to(std::uint8_t* out) const noexcept { std::copy_n(bytes_, sizeof bytes_, out); }

private:
    std::uint8_t bytes_[16] = {};
    std::uint8_t* end_ = bytes_;
    std::uint8_t* zero_run_ = nullptr;
};

/// A character's value as a hexadecimal digit of either case, or a bit above those of four digits. The
/// digits of an address are random, and the branches of comparisons would be mispredicted.
constexpr std::uint32_t not_hexadecimal = 0x10000;

constexpr auto hexadecimal_values = [] {
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

std::uint32_t hexadecimal_value(char character) noexcept {
    return hexadecimal_values[static_cast<unsigned char>(character)];
}

struct digit_run {
    std::uint32_t value;
    const char* end;
};

/// Reads up to four hexadecimal digits; there may be none. Looks at four characters at once where the text
/// has them: how many of them are digits is random, and a branch on that would be mispredicted.
digit_run read_group(const char* at) noexcept {
    if (at[0] == '\0' || at[1] == '\0' || at[2] == '\0') {
        std::uint32_t value = 0;
        for (; hexadecimal_value(*at) != not_hexadecimal; ++at) {
            value = value << 4 | hexadecimal_value(*at);
        }
        return {value, at};
    }
    const std::uint32_t digits = hexadecimal_value(at[0]) << 12 | hexadecimal_value(at[1]) << 8 |
                                 hexadecimal_value(at[2]) << 4 | hexadecimal_value(at[3]);
    if (digits < not_hexadecimal) {
        return {digits, at + 4};
    }
    // The first character that is no digit has set the highest bit: 28, 24, 20 or 16.
    const int count = std::countl_zero(digits) / 4;
    return {(digits & 0xffff) >> (16 - 4 * count), at + count};
}

/// Reads decimal digits into `number`, which is 0 at first; there may be none. Returns the place after
/// them, or null when a zero stands before another digit or the number exceeds `max`.
const char* read_decimal(const char* at, unsigned max, unsigned& number) noexcept {
    for (const char* const start = at; is_decimal(*at); ++at) {
        if (number == 0 && at != start) {
            return nullptr;
        }
        number = number * 10 + decimal_value(*at);
        if (number > max) {
            return nullptr;
        }
    }
    return at;
}

/// The prefix length that ends the text. A malformed one is ignored: the address before it counts.
int read_prefix(const char* at) noexcept {
    unsigned prefix = 0;
    const char* const end = read_decimal(at, whole_address, prefix);
    const bool well_formed = end && end != at && *end == '\0';
    return well_formed ? static_cast<int>(prefix) : whole_address;
}

/// Reads the dotted IPv4 tail that must end the text, with or without a prefix length. Stricter than
/// `parse_ipv4`, except that octets may be missing: they are 0, and only the end of the text needs a
/// digit before it ("1.2" is 1.2.0.0 and "1..2" is 1.0.2.0, but "1." is no tail).
bool read_tail(const char* at, std::uint8_t (&octets)[4], int& prefix) noexcept {
    for (std::uint8_t& octet : octets) {
        unsigned value = 0;
        const char* const end = read_decimal(at, 255, value);
        if (!end) {
            return false;
        }
        octet = static_cast<std::uint8_t>(value);
        if (*end == '\0') {
            return end != at;
        }
        if (*end == '/') {
            prefix = read_prefix(end + 1);
            return true;
        }
        if (*end != '.') {
            return false;
        }
        at = end + 1;
    }
    return false;
}

/// Reads what ends the text after the last colon: a group, which may be missing, or a dotted tail. What
/// follows is ignored unless it is a prefix length. A tail that is malformed or has no room does not refuse
/// the address: its first digits count as a group ("::1.2.3.999" reads as "::1").
int read_end(const char* at, const digit_run& group, scratch_address& address) noexcept {
    const bool has_group = group.end != at;
    int prefix = whole_address;
    std::uint8_t tail[4] = {};
    if (has_group && *group.end == '.' && address.room() >= 4 && read_tail(at, tail, prefix)) {
        address.add_octets(tail);
    } else {
        if (*group.end == '/') {
            prefix = read_prefix(group.end + 1);
        }
        if (has_group && address.room() == 0) {
            return not_an_address;
        }
        if (has_group) {
            address.add_group(group.value);
        }
    }
    return address.complete() ? prefix : not_an_address;
}

} // namespace

int parse_ipv6(const char* text, std::uint8_t* out) noexcept {
    const char* at = skip_blanks(text);
    if (*at == ':' && *++at != ':') {
        return not_an_address;
    }

    scratch_address address;
    for (;;) {
        const digit_run group = read_group(at);
        const bool fifth_digit = hexadecimal_value(*group.end) != not_hexadecimal;
        if (fifth_digit) {
            return not_an_address;
        }

        if (*group.end != ':') {
            const int prefix = read_end(at, group, address);
            if (prefix != not_an_address) {
                address.copy_to(out);
            }
            return prefix;
        }

        if (group.end == at) {
            if (!address.mark_zero_run()) {
                return not_an_address;
            }
        } else {
            if (group.end[1] == '\0') {
                return not_an_address;
            }
            // Text with a ninth group in its middle is not refused: it counts as an address of prefix
            // length 0, and `out` keeps what it held.
            if (address.room() == 0) {
                return 0;
            }
            address.add_group(group.value);
        }
        at = group.end + 1;
    }
}

} // namespace ip::detail
