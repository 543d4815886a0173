#include "ip/detail/winsock_impl.h"

#include <mutex>

#include "binding/entry_table.h"
#include "binding/name_services.h"

namespace ip::detail {

namespace {

// Each table is in the order of the lookups.

constexpr entry required_entries[] = {
    KVTIP_ENTRY(winsock_impl, WSAStartup, no_start),
    KVTIP_ENTRY(winsock_impl, WSACleanup, no_start),
    KVTIP_ENTRY(winsock_impl, WSAGetLastError, no_start),
    KVTIP_ENTRY(winsock_impl, WSAEnumProtocolsW, no_start),
    KVTIP_ENTRY(winsock_impl, WSASocketW, no_start),
    KVTIP_ENTRY(winsock_impl, getsockopt, no_start),
    KVTIP_ENTRY(winsock_impl, setsockopt, no_start),
    KVTIP_ENTRY(winsock_impl, shutdown, no_start),
    KVTIP_ENTRY(winsock_impl, closesocket, no_start),
    KVTIP_ENTRY(winsock_impl, bind, no_start),
    KVTIP_ENTRY(winsock_impl, listen, no_start),
    KVTIP_ENTRY(winsock_impl, select, no_start),
    KVTIP_ENTRY(winsock_impl, WSAAccept, no_start),
    KVTIP_ENTRY(winsock_impl, send, no_start),
    KVTIP_ENTRY(winsock_impl, sendto, no_start),
    KVTIP_ENTRY(winsock_impl, recv, no_start),
    KVTIP_ENTRY(winsock_impl, recvfrom, no_start),
    KVTIP_ENTRY(winsock_impl, connect, no_start),
    KVTIP_ENTRY(winsock_impl, htons, no_start),
    KVTIP_ENTRY(winsock_impl, ntohs, no_start),
    KVTIP_ENTRY(winsock_impl, htonl, no_start),
    KVTIP_ENTRY(winsock_impl, gethostbyname, no_start),
    KVTIP_ENTRY(winsock_impl, gethostbyaddr, no_start),
    KVTIP_ENTRY(winsock_impl, getservbyname, no_start),
    KVTIP_ENTRY(winsock_impl, getservbyport, no_start),
    KVTIP_ENTRY(winsock_impl, getpeername, no_start),
    KVTIP_ENTRY(winsock_impl, getsockname, no_start),
    KVTIP_ENTRY(winsock_impl, gethostname, no_start),
    KVTIP_ENTRY(winsock_impl, ioctlsocket, no_start),
    KVTIP_ENTRY(winsock_impl, WSAAddressToStringA, no_start),
    KVTIP_ENTRY(winsock_impl, WSAAddressToStringW, no_start),
    KVTIP_ENTRY(winsock_impl, WSAStringToAddressA, no_start),
    KVTIP_ENTRY(winsock_impl, WSAStringToAddressW, no_start),
};

constexpr const char* own_lookup = "Names are looked up by gethostbyname, IPv4 only.";
constexpr const char* own_connect = "Connecting by name looks the name up and connects itself.";
constexpr const char* narrow_lookup = "Wide names are looked up as narrow ones.";

constexpr entry optional_entries[] = {
    with_substitute(KVTIP_ENTRY(winsock_impl, getaddrinfo, own_lookup)),
    with_substitute(KVTIP_ENTRY(winsock_impl, freeaddrinfo, own_lookup)),
    with_substitute(
        KVTIP_ENTRY(winsock_impl, getnameinfo, "Addresses are looked up by gethostbyaddr, IPv4 only.")),
    KVTIP_ENTRY(winsock_impl, GetNameInfoW, "Wide names of addresses are converted narrow ones."),
    KVTIP_ENTRY(winsock_impl, GetAddrInfoW, narrow_lookup),
    KVTIP_ENTRY(winsock_impl, FreeAddrInfoW, narrow_lookup),
    KVTIP_ENTRY(winsock_impl, WSAConnectByNameA, own_connect),
    KVTIP_ENTRY(winsock_impl, WSAConnectByNameW, own_connect),
    KVTIP_ENTRY(winsock_impl, WSAPoll, "ip::winsock2::poll must not be called."),
};

constexpr entry_table tables[] = {
    {L"Ws2_32.dll", true, required_entries},
    {L"Ws2_32.dll", false, optional_entries},
};

} // namespace

std::span<const entry_table> winsock_tables() {
    return tables;
}

winsock_impl::~winsock_impl() {
    if (WSACleanup != nullptr) {
        cleanup();
    }
}

bool winsock_impl::bind_entries(unsigned long& code) {
    if (!module.load(L"Ws2_32.dll")) {
        code = GetLastError();
        if (code != 0) {
            return false;
        }
        // Without a reason, the first missing entry below sets the code.
    }
    for (const auto& row : required_entries) {
        if (!row.bind(module, this)) {
            code = GetLastError();
            return false;
        }
    }
    for (const auto& row : optional_entries) {
        row.bind(module, this);
    }
    if (getaddrinfo == nullptr || freeaddrinfo == nullptr) { // each needs the other from the same library
        getaddrinfo = substitute_getaddrinfo;
        freeaddrinfo = substitute_freeaddrinfo;
    }
    if (getnameinfo == nullptr) {
        getnameinfo = substitute_getnameinfo;
    }
    return true;
}

unsigned long winsock_impl::start(WSAData& data, unsigned short version) {
    {
        const std::lock_guard guard(lock);
        unsigned long code = 0;
        if (start_count++ == 0 && !bind_entries(code)) {
            release();
            return code;
        }
    }
    const int code = WSAStartup(version, &data);
    if (code != 0) {
        release();
    }
    return static_cast<unsigned long>(code);
}

unsigned long winsock_impl::release() {
    const std::lock_guard guard(lock);
    if (start_count-- != 1) {
        return 0;
    }
    const unsigned long code = module.unload();
    WSACleanup = nullptr;
    return code;
}

unsigned long winsock_impl::cleanup() {
    const unsigned long code = WSACleanup() == 0 ? 0 : static_cast<unsigned long>(WSAGetLastError());
    const unsigned long released = release();
    return code != 0 ? code : released;
}

} // namespace ip::detail
