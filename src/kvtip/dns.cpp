// DNS queries.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <charconv>
#include <iterator>
#include <span>
#include <string>
#include <windns.h>

#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/dns_server_query.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

constexpr std::uint32_t known_types[] = {KVTIP_DNS_A,   KVTIP_DNS_NS, KVTIP_DNS_CNAME, KVTIP_DNS_SOA,
                                         KVTIP_DNS_PTR, KVTIP_DNS_MX, KVTIP_DNS_TXT,   KVTIP_DNS_AAAA,
                                         KVTIP_DNS_SRV, KVTIP_DNS_CAA};

/// The data of a CAA record, which no system takes apart: flags, the length of the tag, the tag, the value.
class caa_data {
public:
    explicit caa_data(const DNS_RECORDW* record)
        : bytes_(record->Data.UNKNOWN.bData, record->Data.UNKNOWN.dwByteCount) {}

    bool is_valid() const { return bytes_.size() >= 2 && bytes_[1] <= bytes_.size() - 2; }
    std::uint8_t flags() const { return bytes_[0]; }
    std::wstring tag() const { return widened(bytes_.subspan(2, bytes_[1])); }
    std::wstring value() const { return widened(bytes_.subspan(2 + std::size_t{bytes_[1]})); }

private:
    /// Tags and values are ASCII. What is not becomes the character of the same number, so that the result is
    /// UTF-8 for any bytes.
    static std::wstring widened(std::span<const BYTE> bytes) { return {bytes.begin(), bytes.end()}; }

    std::span<const BYTE> bytes_;
};

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

    /// Asks that server, and not the cache, whose answer would be another server's.
    std::uint32_t ask(const wchar_t* name, WORD type, DWORD flags, const kvtip_address& server) {
        const dns_server_entries entries(dns_entries().module);
        if (entries.DnsQueryEx == nullptr) {
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
        const dns_server target(server);
        const dns_request request{
            .name = name, .type = type, .flags = flags | DNS_QUERY_BYPASS_CACHE, .server = &target};
        dns_result result;
        const DNS_STATUS code = entries.DnsQueryEx(&request, &result, nullptr);
        first_ = result.records;
        return to_call_code(static_cast<std::uint32_t>(code));
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
        switch (record->wType) {
        case DNS_TYPE_A:
        case DNS_TYPE_AAAA:
        case DNS_TYPE_TEXT:
            return true;
        case KVTIP_DNS_CAA:
            return caa_data(record).is_valid();
        default: // all others begin with a name
            return record->Data.PTR.pNameHost != nullptr;
        }
    }

    DNS_RECORD* first_ = nullptr; // not all systems write it when they fail
};

void fill_soa(kvtip_dns_record& row, const DNS_RECORDW* record, block& out) {
    row.mailbox = out.text(record->Data.SOA.pNameAdministrator);
    row.serial = record->Data.SOA.dwSerialNo;
    row.refresh = record->Data.SOA.dwRefresh;
    row.retry = record->Data.SOA.dwRetry;
    row.expire = record->Data.SOA.dwExpire;
    row.minimum = record->Data.SOA.dwDefaultTtl;
}

void fill_texts(kvtip_dns_record& row, const DNS_RECORDW* record, block& out) {
    row.text_count = record->Data.TXT.dwStringCount;
    auto** texts = out.array<const char*>(row.text_count);
    row.texts = texts;
    for (std::size_t i = 0; i < row.text_count; ++i) {
        const char* text = out.text(record->Data.TXT.pStringArray[i]);
        if (!out.is_measuring()) {
            texts[i] = text;
        }
    }
}

void fill(kvtip_dns_record& row, const DNS_RECORDW* record, block& out) {
    row.name = out.text(record->pName);
    row.type = record->wType;
    row.time_to_live = record->dwTtl;
    row.target = row.tag = row.value = row.mailbox = "";
    row.texts = out.array<const char*>(0);
    switch (record->wType) {
    case DNS_TYPE_A:
        row.address = ipv4_address(&record->Data.A.IpAddress);
        return;
    case DNS_TYPE_AAAA:
        row.address = ipv6_address(&record->Data.AAAA.Ip6Address);
        return;
    case DNS_TYPE_TEXT:
        fill_texts(row, record, out);
        return;
    case KVTIP_DNS_CAA: {
        const caa_data data(record);
        row.flags = data.flags();
        row.tag = out.text(data.tag());
        row.value = out.text(data.value());
        return;
    }
    case DNS_TYPE_MX:
        row.priority = record->Data.MX.wPreference;
        break;
    case DNS_TYPE_SRV:
        row.priority = record->Data.SRV.wPriority;
        row.weight = record->Data.SRV.wWeight;
        row.port = record->Data.SRV.wPort;
        break;
    case DNS_TYPE_SOA:
        fill_soa(row, record, out);
        break;
    default:
        break;
    }
    row.target = out.text(record->Data.PTR.pNameHost); // where all of these have their name
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

std::uint32_t query(const char* name, std::uint32_t type, const kvtip_dns_options& options,
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
                               ((options.flags & KVTIP_DNS_BYPASS_CACHE) != 0 ? DNS_QUERY_BYPASS_CACHE : 0u) |
                               ((options.flags & KVTIP_DNS_TCP) != 0 ? DNS_QUERY_USE_TCP_ONLY : 0u);
    const auto record_type = static_cast<WORD>(type);
    if (const std::uint32_t code = options.server.family == 0
                                       ? found.ask(wide.c_str(), record_type, system_flags)
                                       : found.ask(wide.c_str(), record_type, system_flags, options.server)) {
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
        !has_only(wanted.flags, KVTIP_DNS_BYPASS_CACHE | KVTIP_DNS_TCP) || !is_valid(wanted.server) ||
        std::find(std::begin(known_types), std::end(known_types), type) == std::end(known_types)) {
        return ERROR_INVALID_PARAMETER;
    }
    return guarded([&] { return query(name, type, wanted, records); });
}
