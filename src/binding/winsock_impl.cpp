#include "ip/detail/winsock_impl.h"

#include <mutex>

#include "binding/entry_table.h"
#include "binding/name_services.h"

namespace ip::detail {

namespace {

// Each table in the order of the look-ups.

constexpr entry<winsock_impl> required_entries[] = {
    KVTIP_ENTRY(winsock_impl, WSAStartup),
    KVTIP_ENTRY(winsock_impl, WSACleanup),
    KVTIP_ENTRY(winsock_impl, WSAGetLastError),
    KVTIP_ENTRY(winsock_impl, WSAEnumProtocolsW),
    KVTIP_ENTRY(winsock_impl, WSASocketW),
    KVTIP_ENTRY(winsock_impl, getsockopt),
    KVTIP_ENTRY(winsock_impl, setsockopt),
    KVTIP_ENTRY(winsock_impl, shutdown),
    KVTIP_ENTRY(winsock_impl, closesocket),
    KVTIP_ENTRY(winsock_impl, bind),
    KVTIP_ENTRY(winsock_impl, listen),
    KVTIP_ENTRY(winsock_impl, select),
    KVTIP_ENTRY(winsock_impl, WSAAccept),
    KVTIP_ENTRY(winsock_impl, send),
    KVTIP_ENTRY(winsock_impl, sendto),
    KVTIP_ENTRY(winsock_impl, recv),
    KVTIP_ENTRY(winsock_impl, recvfrom),
    KVTIP_ENTRY(winsock_impl, connect),
    KVTIP_ENTRY(winsock_impl, htons),
    KVTIP_ENTRY(winsock_impl, ntohs),
    KVTIP_ENTRY(winsock_impl, htonl),
    KVTIP_ENTRY(winsock_impl, gethostbyname),
    KVTIP_ENTRY(winsock_impl, gethostbyaddr),
    KVTIP_ENTRY(winsock_impl, getservbyname),
    KVTIP_ENTRY(winsock_impl, getservbyport),
    KVTIP_ENTRY(winsock_impl, getpeername),
    KVTIP_ENTRY(winsock_impl, getsockname),
    KVTIP_ENTRY(winsock_impl, gethostname),
    KVTIP_ENTRY(winsock_impl, ioctlsocket),
    KVTIP_ENTRY(winsock_impl, WSAAddressToStringA),
    KVTIP_ENTRY(winsock_impl, WSAAddressToStringW),
    KVTIP_ENTRY(winsock_impl, WSAStringToAddressA),
    KVTIP_ENTRY(winsock_impl, WSAStringToAddressW),
};

constexpr entry<winsock_impl> optional_entries[] = {
    KVTIP_ENTRY(winsock_impl, getaddrinfo),       KVTIP_ENTRY(winsock_impl, freeaddrinfo),
    KVTIP_ENTRY(winsock_impl, getnameinfo),       KVTIP_ENTRY(winsock_impl, GetNameInfoW),
    KVTIP_ENTRY(winsock_impl, GetAddrInfoW),      KVTIP_ENTRY(winsock_impl, FreeAddrInfoW),
    KVTIP_ENTRY(winsock_impl, WSAConnectByNameA), KVTIP_ENTRY(winsock_impl, WSAConnectByNameW),
    KVTIP_ENTRY(winsock_impl, WSAPoll),
};

} // namespace

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
        // Without a reason the missing entries decide, and give theirs.
    }
    for (const auto& row : required_entries) {
        if (!row.bind(*this)) {
            code = GetLastError();
            return false;
        }
    }
    for (const auto& row : optional_entries) {
        row.bind(*this);
    }
    if (getaddrinfo == nullptr || freeaddrinfo == nullptr) { // what one makes only its own other frees
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
