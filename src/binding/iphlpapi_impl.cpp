#include "ip/detail/iphlpapi_impl.h"

#include <mutex>

#include "binding/entry_table.h"

namespace ip::detail {

namespace {

constexpr const char* no_ping = "There is no ping over IPv4 (120).";
constexpr const char* no_ping6 = "There is no ping over IPv6 (120).";
constexpr const char* ipv4_neighbours = "Only IPv4 neighbours are listed, without their states.";

// The three tables are in the order of the lookups.

constexpr entry ping_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, IcmpCreateFile, no_ping),
    KVTIP_ENTRY(iphlpapi_impl, IcmpCloseHandle, "There is no ping (120)."),
    KVTIP_ENTRY(iphlpapi_impl, IcmpSendEcho, no_ping),
};

constexpr entry required_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, SendARP, no_start),
    KVTIP_ENTRY(iphlpapi_impl, GetIpNetTable, no_start),
};

constexpr entry optional_entries[] = {
    KVTIP_ENTRY(iphlpapi_impl, GetAdaptersAddresses, "Adapters come from GetAdaptersInfo, IPv4 only."),
    KVTIP_ENTRY(iphlpapi_impl, GetBestInterfaceEx,
                "The interface that serves an IPv6 host is not known (87)."),
    KVTIP_ENTRY(iphlpapi_impl, Icmp6CreateFile, no_ping6),
    KVTIP_ENTRY(iphlpapi_impl, Icmp6SendEcho2, no_ping6),
    KVTIP_ENTRY(iphlpapi_impl, ResolveIpNetEntry2,
                "Hardware addresses of IPv6 neighbours are not known (87 or 120)."),
    KVTIP_ENTRY(iphlpapi_impl, GetIpNetTable2, ipv4_neighbours),
    KVTIP_ENTRY(iphlpapi_impl, FreeMibTable, ipv4_neighbours),
    KVTIP_ENTRY(iphlpapi_impl, GetExtendedTcpTable,
                "Connections are not listed (120; 1627 from the classes)."),
    KVTIP_ENTRY(iphlpapi_impl, GetExtendedUdpTable,
                "UDP endpoints are not listed (120; 1627 from the classes)."),
    KVTIP_ENTRY(iphlpapi_impl, GetPerTcpConnectionEStats, "Who opened a connection is not known."),
    KVTIP_ENTRY(iphlpapi_impl, GetPerTcp6ConnectionEStats, "Who opened an IPv6 connection is not known."),
};

constexpr entry_table tables[] = {
    {L"Iphlpapi.dll", false, ping_entries},
    {L"Iphlpapi.dll", true, required_entries},
    {L"Iphlpapi.dll", false, optional_entries},
};

} // namespace

std::span<const entry_table> iphlpapi_tables() {
    return tables;
}

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
        // Without a reason, the required entries below set the code.
    }
    for (const auto& row : ping_entries) {
        row.bind(module, this);
    }
    bool complete = true;
    unsigned long code = 0;
    for (const auto& row : required_entries) {
        if (!row.bind(module, this)) {
            code = GetLastError(); // at once, since the next lookup may change it
            complete = false;
        }
    }
    if (!complete) {
        // Without a reason the load stays counted, and 0 is returned.
        if (code != 0) {
            unload();
        }
        return code;
    }
    for (const auto& row : optional_entries) {
        row.bind(module, this);
    }
    return 0;
}

unsigned long iphlpapi_impl::unload() {
    const std::lock_guard guard(lock);
    return --load_count == 0 ? module.unload() : 0;
}

} // namespace ip::detail
