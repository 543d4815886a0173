#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <cstdint>

#include "ip/detail/owners.h"

namespace ip::detail {

/// The run-time binding of `Ws2_32.dll`, with its entries under the system's names. Starts are counted: the
/// first one loads and binds, the last release unloads. All entries are null before the first start. After
/// the last release only `WSACleanup` is null: the others keep values that must not be called. Entries are
/// written only while the count goes from 0 to 1, and read without the lock by whoever holds a start.
struct winsock_impl {
    module_handle module;

    // Older systems lack some of these. The library's substitutes then replace the narrow name services, the
    // first two always together. The others are null, and whoever uses one falls back, except for `WSAPoll`,
    // which is called untested.
    decltype(&::getaddrinfo) getaddrinfo = nullptr;
    decltype(&::freeaddrinfo) freeaddrinfo = nullptr;
    decltype(&::GetAddrInfoW) GetAddrInfoW = nullptr;
    decltype(&::FreeAddrInfoW) FreeAddrInfoW = nullptr;
    decltype(&::getnameinfo) getnameinfo = nullptr;
    decltype(&::GetNameInfoW) GetNameInfoW = nullptr;
    decltype(&::WSAConnectByNameA) WSAConnectByNameA = nullptr;
    decltype(&::WSAConnectByNameW) WSAConnectByNameW = nullptr;
    decltype(&::WSAPoll) WSAPoll = nullptr;

    critical_section lock;
    std::atomic<std::uint32_t> start_count = 0; ///< changed under the lock, read by anybody

    // A start fails when one of these is missing.
    decltype(&::WSAStartup) WSAStartup = nullptr;
    /// Also marks a started binding.
    decltype(&::WSACleanup) WSACleanup = nullptr;
    decltype(&::WSAGetLastError) WSAGetLastError = nullptr;
    decltype(&::WSAEnumProtocolsW) WSAEnumProtocolsW = nullptr;
    decltype(&::WSASocketW) WSASocketW = nullptr;
    decltype(&::shutdown) shutdown = nullptr;
    decltype(&::closesocket) closesocket = nullptr;
    decltype(&::getsockopt) getsockopt = nullptr;
    decltype(&::setsockopt) setsockopt = nullptr;
    decltype(&::bind) bind = nullptr;
    decltype(&::listen) listen = nullptr;
    decltype(&::select) select = nullptr;
    decltype(&::connect) connect = nullptr;
    decltype(&::recv) recv = nullptr;
    decltype(&::recvfrom) recvfrom = nullptr;
    decltype(&::send) send = nullptr;
    decltype(&::sendto) sendto = nullptr;
    decltype(&::WSAAccept) WSAAccept = nullptr;
    decltype(&::ntohs) ntohs = nullptr;
    decltype(&::htons) htons = nullptr;
    decltype(&::htonl) htonl = nullptr;
    decltype(&::gethostbyname) gethostbyname = nullptr;
    decltype(&::gethostbyaddr) gethostbyaddr = nullptr;
    decltype(&::getservbyname) getservbyname = nullptr;
    decltype(&::getservbyport) getservbyport = nullptr;
    decltype(&::getpeername) getpeername = nullptr;
    decltype(&::getsockname) getsockname = nullptr;
    decltype(&::gethostname) gethostname = nullptr;
    decltype(&::ioctlsocket) ioctlsocket = nullptr;
    decltype(&::WSAAddressToStringA) WSAAddressToStringA = nullptr;
    decltype(&::WSAAddressToStringW) WSAAddressToStringW = nullptr;
    decltype(&::WSAStringToAddressA) WSAStringToAddressA = nullptr;
    decltype(&::WSAStringToAddressW) WSAStringToAddressW = nullptr;

    /// Calls `cleanup` if `WSACleanup` is bound, and discards its error.
    ~winsock_impl();

    /// Binds on the first use, and then always calls `WSAStartup`, outside the lock. Returns 0, the Win32
    /// code of the missing library or entry, or the code that `WSAStartup` returns. A failed start leaves the
    /// count as it was.
    unsigned long start(WSAData& data, unsigned short version);

    /// Calls `WSACleanup` untested, and releases. Returns the first error of the two, or 0.
    unsigned long cleanup();

    /// Takes one start back, and unloads after the last. Returns 0 or `FreeLibrary`'s error.
    unsigned long release();

private:
    /// Loads the library and fills the entries. On failure returns false and the reason in `code`, which is 0
    /// only when an entry is missing and the system gives no reason.
    bool bind_entries(unsigned long& code);
};

} // namespace ip::detail
