#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <icmpapi.h>

#include <cstdint>

#include "ip/detail/owners.h"

namespace ip::detail {

/// The run-time binding of `Iphlpapi.dll`. Loads are counted: the first one binds, the last unload frees the
/// library. Only `SendARP` and `GetIpNetTable` are required. Whoever uses another entry tests it, and if it
/// is null falls back or returns a code, mostly `ERROR_CALL_NOT_IMPLEMENTED (120)`. The entries are null
/// before the first load, and keep their last values after the unload.
struct iphlpapi_impl {
    module_handle module;

    decltype(&::IcmpCreateFile) IcmpCreateFile = nullptr;
    decltype(&::IcmpCloseHandle) IcmpCloseHandle = nullptr;
    decltype(&::IcmpSendEcho) IcmpSendEcho = nullptr;

    critical_section lock;
    std::uint32_t load_count = 0;

    decltype(&::GetAdaptersAddresses) GetAdaptersAddresses = nullptr;
    decltype(&::ResolveIpNetEntry2) ResolveIpNetEntry2 = nullptr;
    decltype(&::SendARP) SendARP = nullptr;
    decltype(&::Icmp6CreateFile) Icmp6CreateFile = nullptr;
    decltype(&::Icmp6SendEcho2) Icmp6SendEcho2 = nullptr;
    decltype(&::GetIpNetTable) GetIpNetTable = nullptr;
    decltype(&::GetIpNetTable2) GetIpNetTable2 = nullptr;
    decltype(&::FreeMibTable) FreeMibTable = nullptr;
    decltype(&::GetBestInterfaceEx) GetBestInterfaceEx = nullptr;
    decltype(&::GetExtendedTcpTable) GetExtendedTcpTable = nullptr;
    decltype(&::GetExtendedUdpTable) GetExtendedUdpTable = nullptr;
    decltype(&::GetPerTcpConnectionEStats) GetPerTcpConnectionEStats = nullptr;
    decltype(&::GetPerTcp6ConnectionEStats) GetPerTcp6ConnectionEStats = nullptr;

    /// Returns 0 or the Win32 code of the missing library or required entry.
    unsigned long load();

    /// Returns 0 or `FreeLibrary`'s error. An unload without a load wraps the unsigned count below zero, so
    /// that the next load binds nothing.
    unsigned long unload();
};

} // namespace ip::detail
