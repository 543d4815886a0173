// Any text: what the system takes for an address reads the same here, both forms of the parser agree,
// and nothing is read past the end of the text.

#include "address/parse.h"
#include "check.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>
#include <memory>
#include <string>

namespace {

using address_bytes = std::array<std::uint8_t, 16>;

constexpr std::uint16_t untouched_family = 77;

/// The text in a block of exactly its size. Wide text gets a high byte in each unit.
template <class Char>
std::unique_ptr<Char[]> exact_copy(const std::string& text) {
    constexpr unsigned high = sizeof(Char) > 1 ? 0x3000 : 0;
    std::unique_ptr<Char[]> copy(new Char[text.size() + 1]);
    for (std::size_t i = 0; i < text.size(); ++i)
        copy[i] = static_cast<Char>(static_cast<unsigned char>(text[i]) | high);
    copy[text.size()] = 0;
    return copy;
}

void agrees_with_the_system(const char* text, int family, std::size_t size, int whole,
                            int (*parse)(const char*, std::uint8_t*) noexcept) {
    address_bytes expected{}, out{};
    const int prefix = parse(text, out.data());
    check(prefix >= -1 && prefix <= whole);
    if (inet_pton(family, text, expected.data()) != 1)
        return;
    check(prefix == whole);
    check(std::memcmp(out.data(), expected.data(), size) == 0);
}

void narrow_and_wide_agree(const std::string& text) {
    ip::addr narrow{untouched_family, {}}, wide = narrow;
    const bool accepted = ip::detail::parse_address(exact_copy<char>(text).get(), narrow);
    check(ip::detail::parse_address(exact_copy<wchar_t>(text).get(), wide) == accepted);
    check(std::memcmp(narrow.address, wide.address, sizeof narrow.address) == 0);
    check(wide.family == (accepted ? narrow.family : ip::family_none));
    check(accepted == (narrow.family != untouched_family));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str(); // a text ends at its first zero
    const auto exact = exact_copy<char>(text);
    agrees_with_the_system(exact.get(), AF_INET, 4, 32, ip::detail::parse_ipv4);
    agrees_with_the_system(exact.get(), AF_INET6, 16, 128, ip::detail::parse_ipv6);
    narrow_and_wide_agree(text);
    return 0;
}
