// The way to a destination, and the table of routes.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "address/convert.h"
#include "binding/sockaddr_inet.h"
#include "ip/winsock2.h"
#include "kvtip/adapter_rows.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/options.h"
#include "kvtip/route_table.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"
#include "kvtip/way.h"

using namespace kvtip::library;

namespace {

bool is_same(const kvtip_address& one, const kvtip_address& other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

/// For a destination on the same link the older call may name the host itself.
void set_way(kvtip_route& route, const kvtip_route_entry& entry) {
    route.interface_index = entry.interface_index;
    route.network = entry.network;
    route.metric = entry.metric;
    route.on_link = entry.on_link != 0 || is_same(entry.next_hop, route.source) ? 1 : 0;
    route.next_hop = route.on_link != 0 ? kvtip_address{} : entry.next_hop;
}

/// The code of a route that the system has not found.
std::uint32_t to_route_code(std::uint32_t code) {
    return code == ERROR_NETWORK_UNREACHABLE ? std::uint32_t{WSAENETUNREACH} : to_call_code(code);
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
    route.source = to_address(ip::detail::from_sockaddr(&source, sizeof source));
    set_way(route, to_entry(found));
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
    route.source = find_source(destination);
    set_way(route, to_entry(found));
    if (is_same(route.source, destination)) {
        // The destination is the host itself, to which some systems have no route but the default one.
        route.network = kvtip_network{destination, 32, {}};
        route.on_link = 1;
        route.next_hop = {};
    }
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

/// Finds the adapter with that address; null without such an adapter.
const kvtip_adapter* find_adapter_with(const kvtip_adapter_list& adapters, const kvtip_address& address) {
    const std::span rows(adapters.rows, adapters.count);
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const kvtip_adapter* adapter) {
        return has_address(*adapter, address);
    });
    return found == rows.end() ? nullptr : *found;
}

/// The name of an adapter; empty for null.
std::string_view name_of(const kvtip_adapter* adapter) {
    return adapter == nullptr ? "" : adapter->name;
}

/// The list of the routes of that interface, or of any for 0.
const kvtip_route_list* make_route_list(const route_table& table, const kvtip_adapter_list& adapters,
                                        std::uint32_t interface_index) {
    const auto is_wanted = [=](const kvtip_route_entry& entry) {
        return interface_index == 0 || entry.interface_index == interface_index;
    };
    std::size_t count = 0;
    table.for_each([&](const kvtip_route_entry& entry) { count += is_wanted(entry); });
    return block::make<kvtip_route_list>([&](block& out, kvtip_route_list& list) {
        list.missing = table.missing();
        out.list(list, count, [&](auto add) {
            table.for_each([&](const kvtip_route_entry& entry) {
                if (is_wanted(entry)) {
                    kvtip_route_entry& row = add() = table.complete(entry, adapters);
                    row.adapter = out.text(std::string_view(row.adapter));
                }
            });
        });
    });
}

} // namespace

std::uint32_t kvtip::library::find_way(const kvtip_address& destination, std::uint32_t interface_index,
                                       adapter_details* details, way& found) {
    bool is_older = false;
    std::uint32_t code = find_best_route(destination, interface_index, found.route, is_older);
    if (code == 0) {
        code = details == nullptr ? list_adapters({}, false, found.adapters)
                                  : list_adapters(*details, found.adapters);
    }
    if (code != 0) {
        return code;
    }
    const bool is_to_host = is_older && is_same(found.route.source, destination);
    found.adapter = is_to_host
                        ? find_adapter_with(*found.adapters, found.route.source)
                        : find_adapter(*found.adapters, found.route.interface_index, destination.family);
    if (is_to_host && found.adapter != nullptr) {
        found.route.interface_index = index_for(*found.adapter, destination.family);
    }
    if (!is_older) {
        found.route.metric = add_interface_metric(found.route.metric, found.adapter, destination.family);
    }
    return 0;
}

uint32_t kvtip_route_to(const kvtip_address* destination, uint32_t interface_index,
                        const kvtip_route** route) noexcept {
    if (!clear(route) || destination == nullptr || !is_valid(*destination) || destination->family == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&]() -> uint32_t {
        way found;
        if (const uint32_t code = find_way(*destination, interface_index, nullptr, found)) {
            return code;
        }
        *route = block::make<kvtip_route>([&](block& out, kvtip_route& result) {
            result = found.route;
            result.size = sizeof result;
            result.adapter = out.text(name_of(found.adapter));
        });
        return 0;
    });
}

uint32_t kvtip_routes(const kvtip_route_options* options, const kvtip_route_list** routes) noexcept {
    kvtip_route_options wanted;
    if (!clear(routes) || !read_options(options, wanted) || !is_family(wanted.family)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&]() -> uint32_t {
        route_table table;
        if (const uint32_t code = table.fetch(wanted.family)) {
            return code;
        }
        adapter_rows adapters;
        if (const uint32_t code = list_adapters({}, false, adapters)) {
            return code;
        }
        *routes = make_route_list(table, *adapters, wanted.interface_index);
        return 0;
    });
}
