#include "kvtip/route_table.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "address/convert.h"
#include "kvtip/adapter_rows.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

namespace kvtip::library {

namespace {

kvtip_address address_in(const SOCKADDR_INET& address) {
    return to_address(ip::detail::from_sockaddr(&address, sizeof address));
}

/// The network that an address is in; none for a prefix length that the family does not have.
kvtip_network to_network(const kvtip_address& address, int length) {
    return kvtip::network::of(kvtip::address(address), length).native();
}

void set_next_hop(kvtip_route_entry& entry, kvtip_address next_hop) {
    entry.on_link = is_zero(next_hop.bytes) ? 1 : 0;
    if (entry.on_link == 0) {
        if (next_hop.scope == 0 && kvtip::detail::may_have_scope(next_hop)) {
            next_hop.scope = entry.interface_index;
        }
        entry.next_hop = next_hop;
    }
}

} // namespace

kvtip_route_entry to_entry(const MIB_IPFORWARD_ROW2& route) {
    kvtip_route_entry entry{};
    entry.network =
        to_network(address_in(route.DestinationPrefix.Prefix), route.DestinationPrefix.PrefixLength);
    entry.interface_index = route.InterfaceIndex;
    entry.metric = route.Metric;
    entry.protocol = number_of(route.Protocol);
    set_next_hop(entry, address_in(route.NextHop));
    return entry;
}

kvtip_route_entry to_entry(const MIB_IPFORWARDROW& route) {
    kvtip_route_entry entry{};
    entry.network = to_network(ipv4_address(&route.dwForwardDest), std::popcount(route.dwForwardMask));
    entry.interface_index = route.dwForwardIfIndex;
    entry.metric = route.dwForwardMetric1;
    entry.protocol = route.dwForwardProto;
    // Without a router the system names the host itself.
    set_next_hop(entry, route.dwForwardType == MIB_IPROUTE_TYPE_DIRECT
                            ? kvtip_address{}
                            : ipv4_address(&route.dwForwardNextHop));
    return entry;
}

std::uint32_t add_interface_metric(std::uint32_t route_metric, const kvtip_adapter* adapter,
                                   std::uint32_t family) {
    const std::uint32_t metric = adapter == nullptr ? KVTIP_UNKNOWN_METRIC
                                 : family == 4      ? adapter->ipv4_metric
                                                    : adapter->ipv6_metric;
    return metric > KVTIP_UNKNOWN_METRIC - route_metric ? KVTIP_UNKNOWN_METRIC : route_metric + metric;
}

kvtip_route_entry route_table::complete(kvtip_route_entry entry, const kvtip_adapter_list& adapters) const {
    const kvtip_adapter* adapter =
        find_adapter(adapters, entry.interface_index, entry.network.address.family);
    entry.metric = metric_of(entry, adapter);
    entry.adapter = adapter == nullptr ? "" : adapter->name;
    return entry;
}

std::uint32_t route_table::fetch(std::uint32_t family) {
    const std::uint32_t code = family == 6 ? 0 : fetch_ipv4();
    return code != 0 || family == 4 ? code : fetch_ipv6();
}

std::uint32_t route_table::fetch_ipv4() {
    std::uint32_t code = ipv4_.fetch(entries().GetIpForwardTable2, to_system_family(4));
    if (is_unsupported(code)) {
        code = fetch_older();
    }
    if (code == ERROR_NOT_SUPPORTED) {
        missing_ |= KVTIP_MISSING_IPV4;
        return 0;
    }
    return is_empty_table(code) ? 0 : code;
}

std::uint32_t route_table::fetch_ipv6() {
    const std::uint32_t code = ipv6_.fetch(entries().GetIpForwardTable2, to_system_family(6));
    if (is_unsupported(code)) {
        missing_ |= KVTIP_MISSING_IPV6;
        return 0;
    }
    return is_empty_table(code) ? 0 : code;
}

std::uint32_t route_table::fetch_older() {
    static_assert(offsetof(MIB_IPFORWARDTABLE, table) == 4 && sizeof(MIB_IPFORWARDROW) == 56);
    const auto get_table = entries().GetIpForwardTable;
    if (get_table == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    const auto fill = [=](void* table, DWORD* size, auto...) {
        return get_table(static_cast<MIB_IPFORWARDTABLE*>(table), size, FALSE);
    };
    return ip::detail::fetch_table(fill, 0, 0, older_);
}

} // namespace kvtip::library
