#pragma once

// The entries of the system's libraries that only the C interface uses. Each is optional: its user tests it.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstdint>

#include <icmpapi.h>
#include <tlhelp32.h>

#include "binding/entry_table.h"
#include "ip/detail/dnsapi_impl.h"
#include "ip/detail/owners.h"

namespace kvtip::library {

using critical_section = ip::detail::critical_section;
using module_handle = ip::detail::module_handle;

/// The optional entries. Loads are counted; the last unload frees the modules. Entries keep their last values
/// after that, and are read by whoever holds a load.
struct system_entries {
    // kernel32
    decltype(&::CreateToolhelp32Snapshot) CreateToolhelp32Snapshot = nullptr;
    decltype(&::Process32FirstW) Process32FirstW = nullptr;
    decltype(&::Process32NextW) Process32NextW = nullptr;
    decltype(&::CloseHandle) CloseHandle = nullptr;
    decltype(&::OpenProcess) OpenProcess = nullptr;
    decltype(&::QueryFullProcessImageNameW) QueryFullProcessImageNameW = nullptr;
    decltype(&::FormatMessageW) FormatMessageW = nullptr;
    decltype(&::SetHandleInformation) SetHandleInformation = nullptr;
    decltype(&::QueryPerformanceCounter) QueryPerformanceCounter = nullptr;
    decltype(&::QueryPerformanceFrequency) QueryPerformanceFrequency = nullptr;
    decltype(&::CompareStringOrdinal) CompareStringOrdinal = nullptr;
    decltype(&::CreateEventW) CreateEventW = nullptr;
    decltype(&::SetEvent) SetEvent = nullptr;
    decltype(&::WaitForMultipleObjects) WaitForMultipleObjects = nullptr;
    decltype(&::GetModuleHandleExW) GetModuleHandleExW = nullptr;

    // Iphlpapi
    decltype(&::GetBestRoute2) GetBestRoute2 = nullptr;
    decltype(&::GetIfTable2) GetIfTable2 = nullptr;
    decltype(&::GetIpForwardTable2) GetIpForwardTable2 = nullptr;
    decltype(&::GetIpForwardTable) GetIpForwardTable = nullptr;
    /// Not all platform headers declare it.
    DWORD(WINAPI* IcmpSendEcho2Ex)
    (HANDLE handle, HANDLE event, void* routine, void* context, IPAddr source, IPAddr destination, void* data,
     WORD size, IP_OPTION_INFORMATION* options, void* answer, DWORD room, DWORD timeout) = nullptr;
    decltype(&::IcmpSendEcho2) IcmpSendEcho2 = nullptr;
    decltype(&::IcmpParseReplies) IcmpParseReplies = nullptr;
    decltype(&::Icmp6ParseReplies) Icmp6ParseReplies = nullptr;
    decltype(&::NotifyIpInterfaceChange) NotifyIpInterfaceChange = nullptr;
    decltype(&::NotifyUnicastIpAddressChange) NotifyUnicastIpAddressChange = nullptr;
    decltype(&::NotifyRouteChange2) NotifyRouteChange2 = nullptr;
    decltype(&::CancelMibChangeNotify2) CancelMibChangeNotify2 = nullptr;
    decltype(&::NotifyAddrChange) NotifyAddrChange = nullptr;
    decltype(&::CancelIPChangeNotify) CancelIPChangeNotify = nullptr;

    // Ws2_32
    decltype(&::GetHostNameW) GetHostNameW = nullptr;
    decltype(&::WSAEventSelect) WSAEventSelect = nullptr;
    decltype(&::WSAEnumNetworkEvents) WSAEnumNetworkEvents = nullptr;
    decltype(&::WSAIoctl) WSAIoctl = nullptr;
    decltype(&::GetAddrInfoExW) GetAddrInfoExW = nullptr;
    decltype(&::FreeAddrInfoExW) FreeAddrInfoExW = nullptr;
    /// Not all platform headers declare these two.
    int(WSAAPI* GetAddrInfoExCancel)(HANDLE* lookup) = nullptr;
    int(WSAAPI* GetAddrInfoExOverlappedResult)(OVERLAPPED* lookup) = nullptr;

    void load();
    void unload();

private:
    critical_section lock_;
    std::uint32_t load_count_ = 0;
    module_handle modules_[3];
};

/// A load for as long as this object lives.
class entries_load {
public:
    entries_load();
    ~entries_load();
    entries_load(const entries_load&) = delete;
    entries_load& operator=(const entries_load&) = delete;
};

std::span<const ip::detail::entry_table> system_tables();

/// The one object of these entries.
system_entries& entries() noexcept;

/// The C interface's binding of the DNS library: a failed start of the classes cannot spoil it.
ip::detail::dnsapi_impl& dns_entries() noexcept;

} // namespace kvtip::library
