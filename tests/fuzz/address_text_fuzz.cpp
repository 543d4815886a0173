// Text that the system takes for an address reads the same here; both forms of the parser agree; nothing
// is read past the end of the text. What is written for an address reads back as the same bytes, here and
// by the system.

#include "address/format.h"
#include "address/parse.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace ip::detail;

namespace {

/// Ends the fuzzer's run, which reports the input, unless the condition holds.
void check(bool condition) {
    if (!condition)
        std::abort();
}

struct ipv4 {
    static constexpr auto& parse = parse_ipv4;
    static constexpr auto& format = format_ipv4;
    static constexpr int family = AF_INET, whole = 32, text_size = 16;
};

struct ipv6 {
    static constexpr auto& parse = parse_ipv6;
    static constexpr auto& format = format_ipv6;
    static constexpr int family = AF_INET6, whole = 128, text_size = 50;
};

template <class Family>
void read_by_both(const char* text) {
    std::uint8_t ours[16], systems[16];
    const int prefix = Family::parse(text, ours);
    check(prefix >= not_an_address && prefix <= Family::whole);
    if (inet_pton(Family::family, text, systems) == 1)
        check(prefix == Family::whole && std::memcmp(ours, systems, Family::whole / 8) == 0);
}

template <class Family>
void write_and_read_back(const std::uint8_t (&address)[16]) {
    char text[Family::text_size];
    check(Family::format(address, text) == std::strlen(text));
    std::uint8_t systems[16];
    check(inet_pton(Family::family, text, systems) == 1);
    check(std::memcmp(systems, address, Family::whole / 8) == 0);
    read_by_both<Family>(text);
}

void read_wide_and_narrow(const char* text, const wchar_t* wide_text) {
    ip::addr narrow{77, {}}, wide = narrow;
    const bool accepted = parse_address(text, narrow);
    check(parse_address(wide_text, wide) == accepted && accepted == (narrow.family != 77));
    check(wide.family == (accepted ? narrow.family : ip::family_none));
    check(std::memcmp(narrow.address, wide.address, sizeof narrow.address) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Blocks of exactly the text's size: it ends at its first zero. Wide units get a high byte.
    const std::uint8_t* const end = std::find(data, data + size, 0);
    std::vector<char> text(static_cast<std::size_t>(end - data) + 1);
    std::vector<wchar_t> wide_text(text.size());
    std::copy(data, end, text.begin());
    std::transform(data, end, wide_text.begin(), [](std::uint8_t unit) { return unit | 0x3000; });
    read_by_both<ipv4>(text.data());
    read_by_both<ipv6>(text.data());
    read_wide_and_narrow(text.data(), wide_text.data());

    std::uint8_t address[16] = {};
    std::copy_n(data, std::min(size, sizeof address), address);
    write_and_read_back<ipv4>(address);
    write_and_read_back<ipv6>(address);
    return 0;
}
