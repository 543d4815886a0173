#include "ip/detail/iphlpapi_impl.h"

#include <mutex>

#include "binding/entry_table.h"

namespace ip::detail {

namespace {

// The three tables in the order of the look-ups.

constexpr entry<iphlpapi_impl> echo_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, IcmpCreateFile),
    KVTIP_ENTRY(iphlpapi_impl, IcmpCloseHandle),
    KVTIP_ENTRY(iphlpapi_impl, IcmpSendEcho),
};

constexpr entry<iphlpapi_impl> required_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, SendARP),
    KVTIP_ENTRY(iphlpapi_impl, GetIpNetTable),
};

constexpr entry<iphlpapi_impl> optional_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, GetAdaptersAddresses),
    KVTIP_ENTRY(iphlpapi_impl, GetBestInterfaceEx),
    KVTIP_ENTRY(iphlpapi_impl, Icmp6CreateFile),
    KVTIP_ENTRY(iphlpapi_impl, Icmp6SendEcho2),
    KVTIP_ENTRY(iphlpapi_impl, ResolveIpNetEntry2),
    KVTIP_ENTRY(iphlpapi_impl, GetIpNetTable2),
    KVTIP_ENTRY(iphlpapi_impl, FreeMibTable),
    KVTIP_ENTRY(iphlpapi_impl, GetExtendedTcpTable),
    KVTIP_ENTRY(iphlpapi_impl, GetExtendedUdpTable),
    KVTIP_ENTRY(iphlpapi_impl, GetPerTcpConnectionEStats),
    KVTIP_ENTRY(iphlpapi_impl, GetPerTcp6ConnectionEStats),
};

} // namespace

unsigned long iphlpapi_impl::load() {
    const std::lock_guard guard(lock);
    if (load_count++ != 0) {
        return 0;
    }
    if (!module.load(L"Iphlpapi.dll")) {
        const unsigned long code = GetLastError();
        if (code != 0) {
            unload();
            return code;
        }
        // Without a reason the required entries decide.
    }
    for (const auto& row : echo_entries) {
        row.bind(*this);
    }
    bool complete = true;
    unsigned long code = 0;
    for (const auto& row : required_entries) {
        if (!row.bind(*this)) {
            code = GetLastError(); // at once: the next look-up may change it
            complete = false;
        }
    }
    if (!complete) {
        // A system that gives no reason leaves the load counted, and counts as success.
        if (code != 0) {
            unload();
        }
        return code;
    }
    for (const auto& row : optional_entries) {
        row.bind(*this);
    }
    return 0;
}

unsigned long iphlpapi_impl::unload() {
    const std::lock_guard guard(lock);
    return --load_count == 0 ? module.unload() : 0;
}

} // namespace ip::detail
