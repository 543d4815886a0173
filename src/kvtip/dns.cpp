// DNS queries.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <charconv>
#include <iterator>
#include <string>
#include <windns.h>

#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

/// The records of an answer.
class answer {
public:
    answer() = default;
    ~answer() {
        if (first_ != nullptr) {
            dns_entries().DnsRecordListFree(first_, DnsFreeRecordList);
        }
    }
    answer(const answer&) = delete;
    answer& operator=(const answer&) = delete;

    std::uint32_t ask(const wchar_t* name, WORD type, DWORD flags) {
        return static_cast<std::uint32_t>(
            dns_entries().DnsQuery_W(name, type, flags, nullptr, &first_, nullptr));
    }

    /// Calls `use` with each record of that type that answers the question. The answer to address text, which
    /// no server is asked for, says of no section (0). A record is only as long as its data: it is passed by
    /// pointer, since a compiler may read all of what a reference names.
    template <class Use>
    void for_each(WORD type, Use use) const {
        constexpr DWORD answer_section = 1;
        for (const auto* each = reinterpret_cast<const DNS_RECORDW*>(first_); each != nullptr;
             each = each->pNext) {
            if (each->wType == type && each->Flags.S.Section <= answer_section && has_data(each)) {
                use(each);
            }
        }
    }

private:
    static bool has_data(const DNS_RECORDW* record) {
        return record->wType != DNS_TYPE_PTR || record->Data.PTR.pNameHost != nullptr;
    }

    DNS_RECORD* first_ = nullptr; // not all systems write it when they fail
};

void fill(kvtip_dns_record& row, const DNS_RECORDW* record, block& out) {
    row.name = out.text(record->pName);
    row.type = record->wType;
    row.time_to_live = record->dwTtl;
    row.target = "";
    switch (record->wType) {
    case DNS_TYPE_A:
        row.address = ipv4_address(&record->Data.A.IpAddress);
        break;
    case DNS_TYPE_AAAA:
        row.address = ipv6_address(&record->Data.AAAA.Ip6Address);
        break;
    default:
        row.target = out.text(record->Data.PTR.pNameHost);
        break;
    }
}

/// The name under which the DNS knows an address.
std::wstring reverse_name(const kvtip_address& address) {
    constexpr wchar_t digits[] = L"0123456789abcdef";
    std::wstring name;
    if (address.family == 4) {
        for (std::size_t i = 4; i-- > 0;) {
            char octet[3];
            name.append(octet, std::to_chars(octet, std::end(octet), address.bytes[i]).ptr);
            name += L'.';
        }
        return name + L"in-addr.arpa";
    }
    for (std::size_t i = 16; i-- > 0;) {
        for (const int half : {address.bytes[i] & 15, address.bytes[i] >> 4}) {
            name += {digits[half], L'.'};
        }
    }
    return name + L"ip6.arpa";
}

std::uint32_t query(const char* name, std::uint32_t type, std::uint32_t flags,
                    const kvtip_dns_record_list** records) {
    std::wstring wide;
    if (const std::uint32_t code = to_wide(name, wide)) {
        return code;
    }
    kvtip_address address;
    if (type == KVTIP_DNS_PTR && kvtip_parse_address(name, &address) == 0) {
        wide = reverse_name(address);
    }
    dns_hold library;
    if (const std::uint32_t code = library.take()) {
        return code;
    }
    answer found;
    // Only the DNS is asked, not what else finds names in a local network.
    const DWORD system_flags = DNS_QUERY_NO_NETBT | DNS_QUERY_NO_MULTICAST |
                               ((flags & KVTIP_DNS_BYPASS_CACHE) != 0 ? DNS_QUERY_BYPASS_CACHE : 0u) |
                               ((flags & KVTIP_DNS_TCP) != 0 ? DNS_QUERY_USE_TCP_ONLY : 0u);
    const auto record_type = static_cast<WORD>(type);
    if (const std::uint32_t code = found.ask(wide.c_str(), record_type, system_flags)) {
        return code == ERROR_TIMEOUT ? WSAETIMEDOUT : code;
    }
    std::size_t count = 0;
    found.for_each(record_type, [&](const DNS_RECORDW*) { ++count; });
    if (count == 0) {
        return DNS_INFO_NO_RECORDS; // an answer of other records only, such as the name's alias
    }
    *records = block::make<kvtip_dns_record_list>([&](block& out, kvtip_dns_record_list& list) {
        out.list(list, count, [&](auto add) {
            found.for_each(record_type, [&](const DNS_RECORDW* each) { fill(add(), each, out); });
        });
    });
    return 0;
}

} // namespace

uint32_t kvtip_dns_query(const char* name, uint32_t type, const kvtip_dns_options* options,
                         const kvtip_dns_record_list** records) noexcept {
    kvtip_dns_options wanted;
    if (!clear(records) || name == nullptr || *name == 0 || !read_options(options, wanted) ||
        !has_only(wanted.flags, KVTIP_DNS_BYPASS_CACHE | KVTIP_DNS_TCP) ||
        (type != KVTIP_DNS_A && type != KVTIP_DNS_AAAA && type != KVTIP_DNS_PTR)) {
        return ERROR_INVALID_PARAMETER;
    }
    return guarded([&] { return query(name, type, wanted.flags, records); });
}
