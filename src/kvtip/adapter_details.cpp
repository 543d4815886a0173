// What adapters are, and what costs more system calls than to list them.

#include "kvtip/adapter_details.h"

#include <algorithm>
#include <iterator>

#include "kvtip/adapter_rows.h"
#include "kvtip/route_table.h"
#include "kvtip/system_entries.h"
#include "kvtip/values.h"

namespace kvtip::library {

namespace {

struct named_kind {
    std::uint32_t value;
    std::uint32_t kind;
};

constexpr std::uint32_t virtual_type = 53, mobile_type = 243, other_mobile_type = 244;

constexpr named_kind kinds_by_type[] = {
    {IF_TYPE_ETHERNET_CSMACD, KVTIP_KIND_ETHERNET},
    {IF_TYPE_PPP, KVTIP_KIND_PPP},
    {IF_TYPE_SOFTWARE_LOOPBACK, KVTIP_KIND_LOOPBACK},
    {virtual_type, KVTIP_KIND_VIRTUAL},
    {IF_TYPE_IEEE80211, KVTIP_KIND_WIFI},
    {IF_TYPE_TUNNEL, KVTIP_KIND_TUNNEL},
    {mobile_type, KVTIP_KIND_MOBILE},
    {other_mobile_type, KVTIP_KIND_MOBILE},
};

/// The physical media (NDIS_PHYSICAL_MEDIUM) of adapters that pretend to be Ethernet.
constexpr named_kind kinds_by_medium[] = {
    {1, KVTIP_KIND_WIFI}, {8, KVTIP_KIND_MOBILE}, {9, KVTIP_KIND_WIFI}, {10, KVTIP_KIND_BLUETOOTH}};

template <std::size_t Size>
std::uint32_t kind_in(const named_kind (&kinds)[Size], std::uint32_t value, std::uint32_t otherwise) {
    const auto* found =
        std::find_if(kinds, std::end(kinds), [=](const named_kind& each) { return each.value == value; });
    return found == std::end(kinds) ? otherwise : found->kind;
}

std::uint32_t kind_of_ethernet(const MIB_IF_ROW2& found) {
    const bool is_device = found.InterfaceAndOperStatusFlags.HardwareInterface != 0;
    return kind_in(kinds_by_medium, number_of(found.PhysicalMediumType),
                   is_device ? KVTIP_KIND_ETHERNET : KVTIP_KIND_VIRTUAL);
}

/// The older list does not always say in which state an adapter is.
bool may_be_up(const kvtip_adapter& adapter) {
    return adapter.status == KVTIP_ADAPTER_UP || adapter.status == KVTIP_ADAPTER_UNKNOWN;
}

} // namespace

std::uint32_t kind_of_type(std::uint32_t type) {
    return kind_in(kinds_by_type, type, KVTIP_KIND_OTHER);
}

std::uint32_t adapter_details::fetch(std::span<const kvtip_adapter> all) {
    interfaces_code_ = interfaces_.fetch(entries().GetIfTable2);
    route_code_ = interfaces_code_ == ERROR_NOT_ENOUGH_MEMORY ? interfaces_code_ : find_default_route(all);
    return route_code_ == ERROR_NOT_ENOUGH_MEMORY ? route_code_ : 0;
}

std::uint32_t adapter_details::missing() const {
    std::uint32_t missing = 0;
    if (interfaces_code_ != 0) {
        missing |= KVTIP_MISSING_COUNTERS;
    }
    if (route_code_ != 0 && route_code_ != WSAENETUNREACH) {
        missing |= KVTIP_MISSING_ROUTES;
    }
    return missing;
}

std::uint32_t adapter_details::default_route(kvtip_route_entry& route) const {
    route = default_route_;
    return route_code_;
}

std::uint32_t adapter_details::find_default_route(std::span<const kvtip_adapter> all) {
    for (const std::uint8_t family : {std::uint8_t{4}, std::uint8_t{6}}) {
        route_table routes;
        if (const std::uint32_t code = routes.fetch(family)) {
            return code;
        }
        routes.for_each([&](const kvtip_route_entry& route) {
            if (route.network.address.family != family || route.network.prefix_length != 0) {
                return;
            }
            const auto adapter = std::find_if(all.begin(), all.end(), [&](const kvtip_adapter& each) {
                return index_for(each, family) == route.interface_index && may_be_up(each);
            });
            if (adapter == all.end()) {
                return;
            }
            const std::uint32_t metric = routes.metric_of(route, &*adapter);
            if (default_route_.network.address.family == 0 || metric < default_route_.metric) {
                default_route_ = route;
                default_route_.metric = metric;
            }
        });
        if (default_route_.network.address.family != 0) {
            return 0;
        }
    }
    return WSAENETUNREACH;
}

void adapter_details::write(block& out, kvtip_adapter& row) const {
    const std::uint32_t primary_family = default_route_.network.address.family;
    row.primary =
        primary_family != 0 && index_for(row, primary_family) == default_route_.interface_index ? 1 : 0;
    const auto interfaces = interfaces_.rows();
    const auto found = std::find_if(
        interfaces.begin(), interfaces.end(),
        [index = index_for(row, 4)](const MIB_IF_ROW2& each) { return each.InterfaceIndex == index; });
    if (found == interfaces.end()) {
        return;
    }
    row.physical = found->InterfaceAndOperStatusFlags.HardwareInterface;
    row.kind = row.kind == KVTIP_KIND_ETHERNET ? kind_of_ethernet(*found) : row.kind;
    auto* counters = out.array<kvtip_adapter_counters>(1);
    row.counters = counters;
    if (counters != nullptr) {
        counters->received = {found->InOctets, found->InUcastPkts, found->InNUcastPkts, found->InErrors,
                              found->InDiscards};
        counters->sent = {found->OutOctets, found->OutUcastPkts, found->OutNUcastPkts, found->OutErrors,
                          found->OutDiscards};
    }
}

} // namespace kvtip::library
