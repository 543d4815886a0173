// Any address: what is written for it reads back as the same bytes, here and by the system.

#include "address/format.h"
#include "address/parse.h"
#include "check.h"

#include <arpa/inet.h>

#include <array>
#include <cstring>

namespace {

using address_bytes = std::array<std::uint8_t, 16>;

template <std::size_t size>
void reads_back(const address_bytes& address, int family, std::size_t bytes, int whole,
                std::size_t (*format)(const std::uint8_t*, char (&)[size]) noexcept,
                int (*parse)(const char*, std::uint8_t*) noexcept) {
    char text[size];
    check(format(address.data(), text) == std::strlen(text));

    address_bytes ours{}, systems{};
    check(parse(text, ours.data()) == whole);
    check(std::memcmp(ours.data(), address.data(), bytes) == 0);
    check(inet_pton(family, text, systems.data()) == 1);
    check(std::memcmp(systems.data(), address.data(), bytes) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    address_bytes address{};
    std::memcpy(address.data(), data, size < address.size() ? size : address.size());
    reads_back(address, AF_INET, 4, 32, ip::detail::format_ipv4, ip::detail::parse_ipv4);
    reads_back(address, AF_INET6, 16, 128, ip::detail::format_ipv6, ip::detail::parse_ipv6);
    return 0;
}
