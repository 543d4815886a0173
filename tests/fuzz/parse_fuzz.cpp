// Any text: what the system takes for an address reads the same here, both forms of the parser agree,
// and nothing is read past the end of the text.

#include "address/parse.h"
#include "check.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <vector>

using namespace ip::detail;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Blocks of exactly the text's size: it ends at its first zero. Wide units get a high byte.
    const std::uint8_t* const end = std::find(data, data + size, 0);
    std::vector<char> text(static_cast<std::size_t>(end - data) + 1);
    std::vector<wchar_t> wide_text(text.size());
    std::copy(data, end, text.begin());
    std::transform(data, end, wide_text.begin(), [](std::uint8_t unit) { return unit | 0x3000; });

    const auto agrees_with_the_system = [&](auto parse, int whole, int family, std::size_t bytes) {
        std::uint8_t ours[16], systems[16];
        const int prefix = parse(text.data(), ours);
        check(prefix >= not_an_address && prefix <= whole);
        if (inet_pton(family, text.data(), systems) == 1)
            check(prefix == whole && std::memcmp(ours, systems, bytes) == 0);
    };
    agrees_with_the_system(parse_ipv4, 32, AF_INET, 4);
    agrees_with_the_system(parse_ipv6, 128, AF_INET6, 16);

    ip::addr narrow{77, {}}, wide = narrow;
    const bool accepted = parse_address(text.data(), narrow);
    check(parse_address(wide_text.data(), wide) == accepted && accepted == (narrow.family != 77));
    check(wide.family == (accepted ? narrow.family : ip::family_none));
    check(std::memcmp(narrow.address, wide.address, sizeof narrow.address) == 0);
    return 0;
}
