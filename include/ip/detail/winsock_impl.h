#pragma once

#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <cstdint>

#include "ip/detail/owners.h"

namespace ip::detail {

/// The run-time binding of `Ws2_32.dll`: its entries under the system's own names, null while unbound.
/// Starts are counted; the first one loads and binds, the last release unloads. Entries are written
/// only while the count goes from 0 to 1 and are read without the lock by whoever holds a start.
struct winsock_impl {
    module_handle module;

    // Older systems lack some of these. The narrow name services are then the library's own (where one of
    // the first two is missing, both are); the others stay null, and their users go another way, but for
    // `WSAPoll`, which must be there to be used.
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
    /// Doubles as the mark of a started binding: null again after the last release, while the other
    /// entries keep their last values.
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

    /// If the start mark is still set, makes one `cleanup`; its error is discarded.
    ~winsock_impl();

    /// Binds on the first use, then calls `WSAStartup` outside the lock, every time. Returns 0, the
    /// Win32 code of a library or entry that is missing, or `WSAStartup`'s own code; a failed start
    /// leaves the count as it was.
    unsigned long start(WSAData& data, unsigned short version);

    /// Calls `WSACleanup`, untested, and releases. Returns its error, failing that `release`'s, or 0.
    unsigned long cleanup();

    /// Takes one start back and unloads at zero. Returns 0 or `FreeLibrary`'s error.
    unsigned long release();

private:
    /// Loads the library and fills the entries. False means stop with `code`, which is 0 in one case
    /// only: an entry is missing and the system gave no reason.
    bool bind_entries(unsigned long& code);
};

} // namespace ip::detail
