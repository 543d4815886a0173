// Any address: what is written for it reads back as the same bytes, here and by the system.

#include "address/format.h"
#include "address/parse.h"
#include "check.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>

using namespace ip::detail;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::uint8_t address[16] = {}, ours[16], systems[16];
    std::copy_n(data, std::min(size, sizeof address), address);
    const auto reads_back = [&](auto& text, auto format, auto parse, int whole, int family,
                                std::size_t bytes) {
        const std::size_t length = format(address, text);
        check(length == std::strlen(text));
        check(parse(text, ours) == whole && inet_pton(family, text, systems) == 1);
        check(std::memcmp(ours, address, bytes) == 0 && std::memcmp(systems, address, bytes) == 0);
    };
    char text4[16], text6[50];
    reads_back(text4, format_ipv4, parse_ipv4, 32, AF_INET, 4);
    reads_back(text6, format_ipv6, parse_ipv6, 128, AF_INET6, 16);
    return 0;
}
