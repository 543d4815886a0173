#include <cstring>

#include "address/convert.h"
#include "binding/exhaustion.h"
#include "dns/record_list.h"
#include "ip/dnsapi.h"

namespace ip {

using namespace detail;

namespace {

constexpr DWORD answer_section = 1;

void append(std::vector<addr>& addresses, std::uint16_t family, const void* bytes) {
    addr& address = addresses.emplace_back();
    address.family = family;
    std::memcpy(address.address, bytes, address_size(family));
}

template <class Query, class Char>
unsigned long append_answers(WORD type, Query query, const Char* name, unsigned long options,
                             std::vector<addr>& addresses) {
    record_list records;
    if (const unsigned long status = records.query(query, name, type, options)) {
        return status == DNS_INFO_NO_RECORDS ? 0 : status;
    }
    for (const DNS_RECORD* record = records.first(); record != nullptr; record = record->pNext) {
        if (record->Flags.S.Section != answer_section) {
            continue;
        }
        if (record->wType == DNS_TYPE_A) {
            append(addresses, family_ipv4, &record->Data.A.IpAddress);
        } else if (record->wType == DNS_TYPE_AAAA) {
            append(addresses, family_ipv6, &record->Data.AAAA.Ip6Address);
        }
    }
    return 0;
}

template <class Query, class Char>
unsigned long find_addresses(Query query, const Char* name, std::vector<addr>& addresses,
                             unsigned short family, unsigned long options) {
    const auto find = [&](WORD type) {
        return report_exhaustion([&] { return append_answers(type, query, name, options, addresses); });
    };
    addresses.clear();
    const unsigned long ipv4_status = family == family_ipv6 ? 0 : find(DNS_TYPE_A);
    const unsigned long ipv6_status = family == family_ipv4 ? 0 : find(DNS_TYPE_AAAA);
    return ipv6_status != 0 ? ipv6_status : ipv4_status;
}

} // namespace

unsigned long dnsapi::addresses_from_name(const char* name, std::vector<addr>& addresses,
                                          unsigned short family, unsigned long options) noexcept {
    return find_addresses(bound_dnsapi().DnsQuery_A, name, addresses, family, options);
}

unsigned long dnsapi::addresses_from_name(const wchar_t* name, std::vector<addr>& addresses,
                                          unsigned short family, unsigned long options) noexcept {
    return find_addresses(bound_dnsapi().DnsQuery_W, name, addresses, family, options);
}

} // namespace ip
