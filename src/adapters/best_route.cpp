#include <winsock2.h>
#include <ws2tcpip.h>

#include <bit>
#include <cstddef>
#include <cstring>

#include <iphlpapi.h>

#include "address/convert.h"
#include "binding/sockaddr_inet.h"
#include "ip/adapter_enumerator.h"
#include "ip/detail/helper.h"

namespace ip {

using namespace detail;

namespace {

bool has_index(const _SFindAdapter& adapter, std::uint32_t index) {
    return index != 0 && (adapter.index == index || adapter.ipv6_index == index);
}

unsigned long find_ipv4_gateway(const saddr& destination, saddr& gateway) {
    MIB_IPFORWARDROW route;
    if (const unsigned long code = GetBestRoute(ipv4_number(destination.address4), 0, &route)) {
        return code;
    }
    gateway = {};
    gateway.family = family_ipv4;
    std::memcpy(gateway.address4, &route.dwForwardNextHop, sizeof gateway.address4);
    return 0;
}

unsigned long find_ipv6_gateway(std::uint32_t index, const saddr& destination, saddr& gateway) {
    static_assert(sizeof(MIB_IPFORWARD_ROW2) == 104 && offsetof(MIB_IPFORWARD_ROW2, NextHop) == 44);
    module_handle library;
    const FARPROC found = library.load(L"Iphlpapi.dll") ? library.find("GetBestRoute2") : nullptr;
    if (found == nullptr) {
        return WSAEINVAL;
    }
    const SOCKADDR_INET target = to_sockaddr_inet(destination);
    MIB_IPFORWARD_ROW2 route;
    SOCKADDR_INET source;
    if (const unsigned long code = std::bit_cast<decltype(&::GetBestRoute2)>(found)(
            nullptr, index, nullptr, &target, 0, &route, &source)) {
        return code;
    }
    gateway = from_sockaddr(&route.NextHop, sizeof route.NextHop);
    return gateway.family == family_ipv6 ? 0 : WSAEPFNOSUPPORT;
}

} // namespace

unsigned long getbestinterface(const saddr& destination, std::uint32_t& index) noexcept {
    DWORD found = index;
    const auto best_interface = bound_iphlpapi().GetBestInterfaceEx;
    unsigned long code = ERROR_INVALID_PARAMETER;
    if (best_interface != nullptr) {
        SOCKADDR_INET target = to_sockaddr_inet(destination);
        code = best_interface(reinterpret_cast<SOCKADDR*>(&target), &found);
    } else if (destination.family == family_ipv4) {
        code = GetBestInterface(ipv4_number(destination.address4), &found);
    }
    index = found;
    return code;
}

bool getbestinterface(const saddr& destination, _SFindAdapter& adapter) {
    bool found = false;
    DWORD code = 0;
    {
        adapter_enumerator adapters;
        found = adapters.find_best(adapter, destination);
        code = GetLastError(); // before the enumerator is destroyed, which may change it
    }
    SetLastError(code);
    return found;
}

bool adapter_enumerator::find_best(_SFindAdapter& adapter, const saddr& destination, std::uint32_t index) {
    if (!find_first(adapter, family_none)) {
        return false;
    }
    if (index == 0) {
        if (const unsigned long code = getbestinterface(destination, index)) {
            SetLastError(code);
            return false;
        }
    }
    do {
        if (has_index(adapter, index)) {
            SetLastError(0);
            return true;
        }
    } while (find_next(adapter));
    return false;
}

unsigned long adapter_enumerator::find_best_gateway(const _SFindAdapter& adapter, const saddr& destination,
                                                    saddr& gateway) noexcept {
    switch (destination.family) {
    case family_ipv4:
        return find_ipv4_gateway(destination, gateway);
    case family_ipv6:
        return find_ipv6_gateway(adapter.ipv6_index, destination, gateway);
    default:
        return WSAEINVAL;
    }
}

} // namespace ip
