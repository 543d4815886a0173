#include <algorithm>
#include <charconv>
#include <string_view>
#include <type_traits>

#include "address/convert.h"
#include "binding/exhaustion.h"
#include "dns/record_list.h"
#include "ip/dnsapi.h"

namespace ip {

using namespace detail;

namespace {

/// The longest reverse name, that of an IPv6 address, and its terminator.
constexpr std::size_t reverse_name_size = 73;

/// Writes the four numbers from the last to the first, each followed by a dot. Returns the end.
char* write_reversed_ipv4(const std::uint8_t* address, char* out) {
    for (std::size_t i = ipv4_size; i-- > 0;) {
        out = std::to_chars(out, out + 3, address[i]).ptr;
        *out++ = '.';
    }
    return out;
}

/// Writes the 32 half bytes from the last to the first, each followed by a dot. Returns the end.
char* write_reversed_ipv6(const std::uint8_t* address, char* out) {
    constexpr char digits[] = "0123456789abcdef";
    for (std::size_t i = ipv6_size; i-- > 0;) {
        for (const int half : {address[i] & 15, address[i] >> 4}) {
            *out++ = digits[half];
            *out++ = '.';
        }
    }
    return out;
}

template <class Char>
void write_reverse_name(const addr& address, Char (&out)[reverse_name_size]) {
    constexpr addr unset; // an address without family is looked up as "::"
    char name[reverse_name_size];
    const bool is_ipv4 = address.family == family_ipv4;
    char* end = is_ipv4
                    ? write_reversed_ipv4(address.address, name)
                    : write_reversed_ipv6((address.family == family_ipv6 ? address : unset).address, name);
    const std::string_view suffix = is_ipv4 ? "IN-ADDR.ARPA" : "ip6.arpa";
    end = std::copy(suffix.begin(), suffix.end(), end);
    *std::copy(name, end, out) = 0;
}

template <class Query, class Char>
unsigned long append_names(Query query, const addr& address, std::vector<std::basic_string<Char>>& names,
                           unsigned long options) {
    Char name[reverse_name_size];
    write_reverse_name(address, name);
    record_list records;
    if (const unsigned long status = records.query(query, name, DNS_TYPE_PTR, options)) {
        return status;
    }
    using record = std::conditional_t<std::is_same_v<Char, char>, DNS_RECORDA, DNS_RECORDW>;
    for (const auto* each = reinterpret_cast<const record*>(records.first()); each != nullptr;
         each = each->pNext) {
        if (each->wType == DNS_TYPE_PTR && each->Data.PTR.pNameHost != nullptr) {
            names.emplace_back(each->Data.PTR.pNameHost);
        }
    }
    return 0;
}

} // namespace

unsigned long dnsapi::names_from_address(const addr& address, std::vector<std::string>& names,
                                         unsigned long options) noexcept {
    return report_exhaustion(
        [&] { return append_names(bound_dnsapi().DnsQuery_A, address, names, options); });
}

unsigned long dnsapi::names_from_address(const addr& address, std::vector<std::wstring>& names,
                                         unsigned long options) noexcept {
    return report_exhaustion(
        [&] { return append_names(bound_dnsapi().DnsQuery_W, address, names, options); });
}

} // namespace ip
