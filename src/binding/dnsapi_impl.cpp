#include "ip/detail/dnsapi_impl.h"

#include <mutex>

#include "binding/entry_table.h"

namespace ip::detail {

namespace {

constexpr const char* no_queries = "There are no DNS queries.";

// In the order of the lookups.
constexpr entry entries[] = {
    KVTIP_ENTRY(dnsapi_impl, DnsQuery_A, no_queries),
    KVTIP_ENTRY(dnsapi_impl, DnsQuery_W, no_queries),
    KVTIP_ENTRY(dnsapi_impl, DnsRecordListFree, no_queries),
};

constexpr entry_table tables[] = {{L"Dnsapi.dll", false, entries}};

} // namespace

std::span<const entry_table> dnsapi_tables() {
    return tables;
}

unsigned long dnsapi_impl::load() {
    const std::lock_guard guard(lock);
    if (load_count++ != 0) {
        return 0;
    }
    if (!module.load(L"Dnsapi.dll")) {
        if (const unsigned long code = GetLastError()) {
            return code;
        }
        // Without a reason, the first missing entry below sets the code.
    }
    for (const auto& row : entries) {
        if (!row.bind(module, this)) {
            const unsigned long code = GetLastError();
            drop_module();
            return code;
        }
    }
    return 0;
}

unsigned long dnsapi_impl::unload() {
    const std::lock_guard guard(lock);
    return --load_count == 0 ? drop_module() : 0;
}

unsigned long dnsapi_impl::drop_module() {
    DnsQuery_A = nullptr;
    DnsQuery_W = nullptr;
    DnsRecordListFree = nullptr;
    return module.unload();
}

} // namespace ip::detail
