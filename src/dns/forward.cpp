#include <cstring>
#include <new>

#include "address/convert.h"
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
unsigned long ask_for(WORD type, Query query, const Char* name, unsigned long options,
                      std::vector<addr>& addresses) try {
    record_list records;
    if (const unsigned long status = records.ask(query, name, type, options)) {
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
} catch (const std::bad_alloc&) {
    return ERROR_NOT_ENOUGH_MEMORY;
}

template <class Query, class Char>
unsigned long look_up(Query query, const Char* name, std::vector<addr>& addresses, unsigned short family,
                      unsigned long options) {
    addresses.clear();
    const unsigned long ipv4_status =
        family == family_ipv6 ? 0 : ask_for(DNS_TYPE_A, query, name, options, addresses);
    const unsigned long ipv6_status =
        family == family_ipv4 ? 0 : ask_for(DNS_TYPE_AAAA, query, name, options, addresses);
    return ipv6_status != 0 ? ipv6_status : ipv4_status;
}

} // namespace

unsigned long dnsapi::addresses_from_name(const char* name, std::vector<addr>& addresses,
                                          unsigned short family, unsigned long options) {
    return look_up(the_helper().dnsapi.DnsQuery_A, name, addresses, family, options);
}

unsigned long dnsapi::addresses_from_name(const wchar_t* name, std::vector<addr>& addresses,
                                          unsigned short family, unsigned long options) {
    return look_up(the_helper().dnsapi.DnsQuery_W, name, addresses, family, options);
}

} // namespace ip
