#include "ip/detail/dnsapi_impl.h"

#include <mutex>

#include "binding/entry_table.h"

namespace ip::detail {

namespace {

// In the order of the look-ups.
constexpr entry<dnsapi_impl> entries[] = {
    KVTIP_ENTRY(dnsapi_impl, DnsQuery_A),
    KVTIP_ENTRY(dnsapi_impl, DnsQuery_W),
    KVTIP_ENTRY(dnsapi_impl, DnsRecordListFree),
};

} // namespace

unsigned long dnsapi_impl::load() {
    const std::lock_guard guard(lock);
    if (load_count++ != 0) {
        return 0;
    }
    if (!module.load(L"Dnsapi.dll")) {
        if (const unsigned long code = GetLastError()) {
            return code;
        }
        // Without a reason the missing entries decide, and give theirs.
    }
    for (const auto& row : entries) {
        if (!row.bind(*this)) {
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
