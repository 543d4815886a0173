// How this host reaches the network.

#include <winsock2.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "kvtip/adapter_details.h"
#include "kvtip/address.hpp"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/dns_servers.h"
#include "kvtip/values.h"
#include "kvtip/way.h"

using namespace kvtip::library;

namespace {

std::span<const kvtip_adapter_address* const> addresses_of(const kvtip_adapter& adapter) {
    return {adapter.addresses.rows, adapter.addresses.count};
}

/// How good an address is to send from to that router; 0 for one of another family.
int rank_of(const kvtip_adapter_address& row, const kvtip_network& destinations,
            const kvtip_address& router) {
    const kvtip::address address(row.address);
    if (row.address.family != destinations.address.family) {
        return 0;
    }
    const bool may_be_used = row.state == KVTIP_ADDRESS_PREFERRED || row.state == KVTIP_ADDRESS_UNKNOWN;
    const kvtip::network network = kvtip::network::of(address, static_cast<int>(row.prefix_length));
    return 1 + 4 * may_be_used + 2 * !address.is_link_local() + network.contains(kvtip::address(router));
}

/// Finds the address of the adapter that suits a route best. Family 0 if it has none of that family.
kvtip_address find_source(const kvtip_adapter& adapter, const kvtip_route& route) {
    kvtip_address best{};
    int rank = 0;
    for (const kvtip_adapter_address* each : addresses_of(adapter)) {
        if (const int other = rank_of(*each, route.network, route.next_hop); other > rank) {
            rank = other;
            best = each->address;
        }
    }
    return best;
}

/// Finds the way of the default route.
std::uint32_t find_default_way(adapter_details& details, way& found) {
    if (const std::uint32_t code = list_adapters(details, found.adapters)) {
        return code;
    }
    kvtip_route_entry entry;
    if (const std::uint32_t code = details.default_route(entry)) {
        return to_call_code(code);
    }
    found.adapter = find_adapter(*found.adapters, entry.interface_index, entry.network.address.family);
    found.route.interface_index = entry.interface_index;
    found.route.network = entry.network;
    found.route.next_hop = entry.next_hop;
    found.route.metric = entry.metric;
    found.route.source =
        found.adapter == nullptr ? kvtip_address{} : find_source(*found.adapter, found.route);
    return 0;
}

std::uint32_t prefix_length_of(const kvtip_address& address, const kvtip_adapter& adapter) {
    const auto rows = addresses_of(adapter);
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const kvtip_adapter_address* each) {
        return kvtip::address(each->address) == kvtip::address(address);
    });
    return found == rows.end() ? std::uint32_t{KVTIP_UNKNOWN_PREFIX} : (*found)->prefix_length;
}

void write_adapter(block& out, kvtip_primary_adapter& result, const kvtip_adapter& adapter,
                   const std::vector<adapter_server>& servers) {
    result.adapter = out.text(std::string_view(adapter.name));
    result.guid = out.text(std::string_view(adapter.guid));
    result.type = adapter.type;
    result.kind = adapter.kind;
    result.physical = adapter.physical;
    result.prefix_length = prefix_length_of(result.address, adapter);
    result.dns_server_count = servers.size();
    auto* addresses = out.array<kvtip_address>(servers.size());
    result.dns_servers = addresses;
    if (addresses != nullptr) {
        std::transform(servers.begin(), servers.end(), addresses,
                       [](const adapter_server& each) { return *each.address; });
    }
}

const kvtip_primary_adapter* make_result(const way& found) {
    kvtip_adapter none{};
    none.name = none.guid = "";
    none.physical = KVTIP_UNKNOWN_PHYSICAL;
    const kvtip_adapter* adapter = found.adapter == nullptr ? &none : found.adapter;
    std::vector<adapter_server> servers = servers_of(std::span(&adapter, 1));
    keep_usable(servers);
    return block::make<kvtip_primary_adapter>([&](block& out, kvtip_primary_adapter& result) {
        result.size = sizeof result;
        result.interface_index = found.route.interface_index;
        result.metric = found.route.metric;
        result.address = found.route.source;
        result.next_hop = found.route.next_hop;
        write_adapter(out, result, *adapter, servers);
    });
}

} // namespace

uint32_t kvtip_primary(const kvtip_address* destination, const kvtip_primary_adapter** primary) noexcept {
    if (!clear(primary) ||
        (destination != nullptr && (!is_valid(*destination) || destination->family == 0))) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        adapter_details details;
        way found;
        const uint32_t code = destination == nullptr ? find_default_way(details, found)
                                                     : find_way(*destination, 0, &details, found);
        if (code == 0) {
            *primary = make_result(found);
        }
        return code;
    });
}
