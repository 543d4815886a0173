#include "address/characters.h"
#include "address/parse.h"

#include <algorithm>
#include <array>

namespace ip::detail {
namespace {

constexpr int octet_count = 4;
constexpr unsigned max_octet = 255;
constexpr int whole_address = 32;

/// What a character does to the number before it. A digit appends itself; any other leaves the number as
/// it is and is not passed. An entry has four bytes, so that its place is found by a shift.
struct alignas(4) continuation {
    std::uint8_t factor, addend, step;
};

constexpr auto continuations = [] {
    std::array<continuation, 256> result;
    result.fill({1, 0, 0});
    for (std::uint8_t digit = 0; digit < 10; ++digit) {
        result['0' + digit] = {10, digit, 1};
    }
    return result;
}();

/// Appends the digit at `at` to `number`, if there is one. Returns the place after it.
const char* append_digit(const char* at, unsigned& number) noexcept {
    const continuation& next = continuations[static_cast<unsigned char>(*at)];
    number = number * next.factor + next.addend;
    return at + next.step;
}

/// Reads the prefix length that ends the text and zeroes the octets that the text left out. A prefix
/// may not cover a whole octet that was left out: "10/12" is an address, "10/16" is none.
int end_with_prefix(const char* at, std::uint8_t* out, int octets) noexcept {
    int prefix = 0;
    for (; is_decimal(*at); ++at) {
        prefix = prefix * 10 + static_cast<int>(decimal_value(*at));
        if (prefix > whole_address) {
            return not_an_address;
        }
    }
    if (*at != '\0' || prefix / 8 > octets) {
        return not_an_address;
    }
    std::fill(out + octets, out + octet_count, std::uint8_t{0});
    return prefix;
}

} // namespace

int parse_ipv4(const char* text, std::uint8_t* out) noexcept {
    const char* at = skip_blanks(text);
    if (!is_decimal(*at)) {
        return not_an_address;
    }

    int octets = 0;
    for (;;) {
        // Whether there are one, two or three digits is random, and a branch on that would be mispredicted.
        // More than three are rare: all but the last three are zeros.
        unsigned octet = decimal_value(*at++);
        at = append_digit(at, octet);
        at = append_digit(at, octet);
        for (; is_decimal(*at) && octet <= max_octet; ++at) {
            octet = octet * 10 + decimal_value(*at);
        }
        if (octet > max_octet) {
            return not_an_address;
        }
        out[octets++] = static_cast<std::uint8_t>(octet);

        const bool another = *at == '.' && is_decimal(at[1]);
        if (!another) {
            break;
        }
        if (octets == octet_count) {
            return not_an_address;
        }
        ++at;
    }

    if (*at == '/' && is_decimal(at[1])) {
        return end_with_prefix(at + 1, out, octets);
    }
    // Whatever else follows a fourth octet is ignored: "192.0.2.1:80" reads as its address.
    return octets == octet_count ? whole_address : not_an_address;
}

} // namespace ip::detail
