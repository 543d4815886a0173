#include "address/parse.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>
#include <string>

namespace ip::detail {
namespace {

/// A copy of the low byte of each unit, terminator included. Null when memory is exhausted.
std::unique_ptr<char[]> low_bytes(const wchar_t* text) noexcept {
    const std::size_t size = std::char_traits<wchar_t>::length(text) + 1;
    std::unique_ptr<char[]> copy(new (std::nothrow) char[size]);
    if (copy) {
        std::transform(text, text + size, copy.get(), [](wchar_t unit) { return static_cast<char>(unit); });
    }
    return copy;
}

} // namespace

bool parse_address(const char* text, addr& out) noexcept {
    if (!text) {
        std::fill(std::begin(out.address), std::end(out.address), std::uint8_t{0});
        return false;
    }
    if (parse_ipv4(text, out.address) != not_an_address) {
        out.family = family_ipv4;
        return true;
    }
    if (parse_ipv6(text, out.address) != not_an_address) {
        out.family = family_ipv6;
        return true;
    }
    return false;
}

bool parse_address(const wchar_t* text, addr& out) noexcept {
    if (!text) {
        out = addr{};
        return false;
    }
    // Each attempt makes its copy, so that a moment of exhausted memory costs one attempt, not both.
    if (const auto copy = low_bytes(text); copy && parse_ipv4(copy.get(), out.address) != not_an_address) {
        out.family = family_ipv4;
        return true;
    }
    if (const auto copy = low_bytes(text); copy && parse_ipv6(copy.get(), out.address) != not_an_address) {
        out.family = family_ipv6;
        return true;
    }
    out.family = family_none;
    return false;
}

} // namespace ip::detail
