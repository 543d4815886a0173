#include "kvtip/system_entries.h"

#include <iterator>
#include <mutex>
#include <type_traits>

namespace kvtip::library {

using ip::detail::entry;
using ip::detail::entry_table;

namespace {

constexpr const char* no_process_names = "The names of processes are not known.";

constexpr const char* no_process_paths = "The paths of processes' programs are not known.";

constexpr const char* system_time = "Waits follow the system's time, also when it is changed.";

constexpr const char* no_events =
    "Only the classes connect, changes are not watched, nothing can be cancelled (120), and hosts are looked "
    "up and pinged one after the other.";
constexpr const char* no_connect = "Only the classes connect (120).";
constexpr const char* older_signals = "Only changes of IPv4 addresses are signalled.";
constexpr const char* no_older_signals =
    "Without the newer calls, changes are only watched by polling (120 without an interval).";

constexpr const char* one_ping =
    "Hosts are pinged over IPv4 one after the other, and a ping under way is not cancelled.";

constexpr const char* no_lookup_deadline =
    "Lookups of hosts keep no time-out, are not cancelled, and are made one after the other.";

constexpr entry kernel_entries[] = {
    KVTIP_ENTRY(system_entries, CreateToolhelp32Snapshot, no_process_names),
    KVTIP_ENTRY(system_entries, Process32FirstW, no_process_names),
    KVTIP_ENTRY(system_entries, Process32NextW, no_process_names),
    KVTIP_ENTRY(system_entries, CloseHandle,
                "The names and paths of processes are not known. Only the classes connect, changes are not "
                "watched, nothing can be cancelled (120), and hosts are looked up and pinged one after the "
                "other."),
    KVTIP_ENTRY(system_entries, OpenProcess, no_process_paths),
    KVTIP_ENTRY(system_entries, QueryFullProcessImageNameW, no_process_paths),
    KVTIP_ENTRY(system_entries, FormatMessageW, "Only the codes that the library knows have a sentence."),
    KVTIP_ENTRY(system_entries, SetHandleInformation, "Child processes inherit connected sockets."),
    KVTIP_ENTRY(system_entries, QueryPerformanceCounter, system_time),
    KVTIP_ENTRY(system_entries, QueryPerformanceFrequency, system_time),
    KVTIP_ENTRY(system_entries, CompareStringOrdinal,
                "In the names of interfaces, only A to Z are found in any case."),
    KVTIP_ENTRY(system_entries, CreateEventW, no_events),
    KVTIP_ENTRY(system_entries, SetEvent, no_events),
    KVTIP_ENTRY(system_entries, WaitForMultipleObjects, no_events),
    KVTIP_ENTRY(
        system_entries, GetModuleHandleExW,
        "Changes are not watched (120), and lookups of hosts keep no time-out, are not cancelled, and are "
        "made one after the other."),
};

constexpr entry iphlpapi_entries[] = {
    KVTIP_ENTRY(system_entries, GetBestRoute2,
                "Routes to IPv6 hosts are not known (120; 10022 from the classes)."),
    KVTIP_ENTRY(system_entries, GetIfTable2,
                "Counters of adapters, and whether these are devices, are not known."),
    KVTIP_ENTRY(system_entries, GetIpForwardTable2, "Only IPv4 routes are listed."),
    KVTIP_ENTRY(system_entries, GetIpForwardTable,
                "Where GetIpForwardTable2 is missing too, routes are not listed (120)."),
    KVTIP_ENTRY(system_entries, IcmpSendEcho2Ex, "A ping over IPv4 cannot choose its source address (120)."),
    KVTIP_ENTRY(system_entries, IcmpSendEcho2, one_ping),
    KVTIP_ENTRY(system_entries, IcmpParseReplies, one_ping),
    KVTIP_ENTRY(system_entries, Icmp6ParseReplies,
                "Hosts are pinged over IPv6 one after the other, and a ping under way is not cancelled."),
    KVTIP_ENTRY(system_entries, NotifyIpInterfaceChange, older_signals),
    KVTIP_ENTRY(system_entries, NotifyUnicastIpAddressChange, older_signals),
    KVTIP_ENTRY(system_entries, NotifyRouteChange2,
                "Changes of routes are only watched by polling (120 without an interval)."),
    KVTIP_ENTRY(system_entries, CancelMibChangeNotify2, older_signals),
    KVTIP_ENTRY(system_entries, NotifyAddrChange, no_older_signals),
    KVTIP_ENTRY(system_entries, CancelIPChangeNotify, no_older_signals),
};

constexpr entry winsock_entries[] = {
    KVTIP_ENTRY(system_entries, GetHostNameW, "The host's name is converted from the system's code page."),
    KVTIP_ENTRY(system_entries, WSAEventSelect, no_connect),
    KVTIP_ENTRY(system_entries, WSAEnumNetworkEvents, no_connect),
    KVTIP_ENTRY(system_entries, WSAIoctl,
                "A connect to a loopback address that is refused takes up to 2 seconds."),
    KVTIP_ENTRY(system_entries, GetAddrInfoExW, no_lookup_deadline),
    KVTIP_ENTRY(system_entries, FreeAddrInfoExW, no_lookup_deadline),
    KVTIP_ENTRY(system_entries, GetAddrInfoExCancel, no_lookup_deadline),
    KVTIP_ENTRY(system_entries, GetAddrInfoExOverlappedResult, no_lookup_deadline),
};

constexpr entry_table tables[] = {
    {L"kernel32.dll", false, kernel_entries},
    {L"Iphlpapi.dll", false, iphlpapi_entries},
    {L"Ws2_32.dll", false, winsock_entries},
};

// At namespace scope: a local static would need a guard, which costs two handles at every load of the DLL.
system_entries the_entries;
ip::detail::dnsapi_impl the_dns_entries;

} // namespace

void system_entries::load() {
    static_assert(std::size(tables) == std::extent_v<decltype(modules_)>);
    const std::lock_guard guard(lock_);
    if (load_count_++ != 0) {
        return;
    }
    for (std::size_t i = 0; i < std::size(tables); ++i) {
        const bool loaded = modules_[i].load(tables[i].module);
        for (const entry& row : tables[i].rows) {
            loaded ? void(row.bind(modules_[i], this)) : row.store(this, nullptr);
        }
    }
}

void system_entries::unload() {
    const std::lock_guard guard(lock_);
    if (--load_count_ == 0) {
        for (module_handle& module : modules_) {
            module.unload();
        }
    }
}

entries_load::entries_load() {
    entries().load();
}

entries_load::~entries_load() {
    entries().unload();
}

std::span<const entry_table> system_tables() {
    return tables;
}

system_entries& entries() noexcept {
    return the_entries;
}

ip::detail::dnsapi_impl& dns_entries() noexcept {
    return the_dns_entries;
}

} // namespace kvtip::library
