// The way to a destination.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <span>
#include <string_view>

#include "address/convert.h"
#include "binding/sockaddr_inet.h"
#include "ip/winsock2.h"
#include "kvtip/adapter_rows.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

bool is_zero(const kvtip_address& address) {
    return std::all_of(address.bytes, address.bytes + 16, [](std::uint8_t byte) { return byte == 0; });
}

/// The network that an address is in; none for a prefix length that the family does not have.
kvtip_network to_network(const kvtip_address& address, int length) {
    return kvtip::network::of(kvtip::address(address), length).native();
}

bool is_same(const kvtip_address& one, const kvtip_address& other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

/// For a destination on the same link the system names no router, or the host itself.
void set_next_hop(kvtip_route& route, const kvtip_address& next_hop) {
    route.on_link = is_zero(next_hop) || is_same(next_hop, route.source) ? 1 : 0;
    route.next_hop = route.on_link != 0 ? kvtip_address{} : next_hop;
}

/// The code of a route that the system has not found.
std::uint32_t to_route_code(std::uint32_t code) {
    return code == ERROR_NETWORK_UNREACHABLE ? std::uint32_t{WSAENETUNREACH} : to_call_code(code);
}

kvtip_address to_address(const SOCKADDR_INET& address) {
    return kvtip::library::to_address(ip::detail::from_sockaddr(&address, sizeof address));
}

std::uint32_t find_route(const kvtip_address& destination, std::uint32_t interface_index,
                         kvtip_route& route) {
    const SOCKADDR_INET target = ip::detail::to_sockaddr_inet(to_saddr(destination));
    MIB_IPFORWARD_ROW2 found;
    SOCKADDR_INET source;
    if (const std::uint32_t code =
            entries().GetBestRoute2(nullptr, interface_index, nullptr, &target, 0, &found, &source)) {
        return to_route_code(code);
    }
    route.interface_index = found.InterfaceIndex;
    route.network =
        to_network(to_address(found.DestinationPrefix.Prefix), found.DestinationPrefix.PrefixLength);
    route.source = to_address(source);
    route.metric = found.Metric;
    set_next_hop(route, to_address(found.NextHop));
    return 0;
}

/// The address from which the host would send; family 0 if that cannot be found out. Nothing is sent.
kvtip_address find_source(const kvtip_address& destination) {
    constexpr std::uint16_t discard = 9; // any port but 0
    ip::socket socket;
    ip::saddr source;
    if (ip::winsock2::socket(socket, SOCK_DGRAM, IPPROTO_UDP, ip::family_ipv4) != 0) {
        return {};
    }
    if (ip::winsock2::connect(socket, to_saddr(destination, discard)) != 0 ||
        ip::winsock2::getsockname(socket, source) != 0) {
        source = {};
    }
    ip::winsock2::closesocket(socket);
    return kvtip::library::to_address(source);
}

/// The route by the older call, for IPv4. Its metric has that of the interface in it.
std::uint32_t find_older_route(const kvtip_address& destination, kvtip_route& route) {
    MIB_IPFORWARDROW found;
    if (const std::uint32_t code = GetBestRoute(ip::detail::ipv4_number(destination.bytes), 0, &found)) {
        return to_route_code(code);
    }
    route.interface_index = found.dwForwardIfIndex;
    route.network = to_network(ipv4_address(&found.dwForwardDest), std::popcount(found.dwForwardMask));
    route.source = find_source(destination);
    route.metric = found.dwForwardMetric1;
    if (is_same(route.source, destination)) {
        // The destination is the host itself, to which some systems have no route but the default one.
        route.network = to_network(destination, 32);
        route.on_link = 1;
        return 0;
    }
    set_next_hop(route, found.dwForwardType == MIB_IPROUTE_TYPE_DIRECT
                            ? kvtip_address{}
                            : ipv4_address(&found.dwForwardNextHop));
    return 0;
}

/// Finds the route. `is_older` says by which call.
std::uint32_t find_best_route(const kvtip_address& destination, std::uint32_t interface_index,
                              kvtip_route& route, bool& is_older) {
    const std::uint32_t index = interface_index != 0 ? interface_index : destination.scope;
    const std::uint32_t code = entries().GetBestRoute2 == nullptr ? std::uint32_t{ERROR_CALL_NOT_IMPLEMENTED}
                                                                  : find_route(destination, index, route);
    is_older = destination.family == 4 && index == 0 && code == ERROR_CALL_NOT_IMPLEMENTED;
    return is_older ? find_older_route(destination, route) : code;
}

bool has_address(const kvtip_adapter& adapter, const kvtip_address& address) {
    const std::span rows(adapter.addresses.rows, adapter.addresses.count);
    return std::any_of(rows.begin(), rows.end(),
                       [&](const auto* each) { return is_same(each->address, address); });
}

/// The adapter of a route: the one with its index, or for a route to the host itself the one with its source.
const kvtip_adapter* find_adapter(const kvtip_adapter_list& adapters, const kvtip_route& route,
                                  std::uint32_t family, bool is_to_host) {
    const std::span rows(adapters.rows, adapters.count);
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const kvtip_adapter* adapter) {
        return is_to_host ? has_address(*adapter, route.source)
                          : index_for(*adapter, family) == route.interface_index;
    });
    return found == rows.end() ? nullptr : *found;
}

/// The newer call leaves the interface's metric out.
void add_metric(kvtip_route& route, const kvtip_adapter* adapter, std::uint32_t family) {
    const std::uint32_t metric = adapter == nullptr ? KVTIP_UNKNOWN_METRIC
                                 : family == 4      ? adapter->ipv4_metric
                                                    : adapter->ipv6_metric;
    route.metric =
        metric > KVTIP_UNKNOWN_METRIC - route.metric ? KVTIP_UNKNOWN_METRIC : route.metric + metric;
}

} // namespace

uint32_t kvtip_route_to(const kvtip_address* destination, uint32_t interface_index,
                        const kvtip_route** route) noexcept {
    if (!clear(route) || destination == nullptr || !is_valid(*destination) || destination->family == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&]() -> uint32_t {
        kvtip_route found{};
        bool is_older = false;
        if (const uint32_t code = find_best_route(*destination, interface_index, found, is_older)) {
            return code;
        }
        adapter_rows adapters;
        if (const uint32_t code = list_adapters({}, false, adapters)) {
            return code;
        }
        const bool is_to_host = is_older && is_same(found.source, *destination);
        const kvtip_adapter* adapter = find_adapter(*adapters, found, destination->family, is_to_host);
        if (is_to_host && adapter != nullptr) {
            found.interface_index = index_for(*adapter, destination->family);
        }
        if (!is_older) {
            add_metric(found, adapter, destination->family);
        }
        *route = block::make<kvtip_route>([&](block& out, kvtip_route& result) {
            result = found;
            result.size = sizeof result;
            result.adapter = out.text(std::string_view(adapter == nullptr ? "" : adapter->name));
        });
        return 0;
    });
}
