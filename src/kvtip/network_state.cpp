#include "kvtip/network_state.h"

#include <algorithm>
#include <compare>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <tuple>

#include "ip/detail/helper.h"
#include "kvtip/adapter_sources.h"
#include "kvtip/route_table.h"

namespace kvtip::library {

namespace {

using change_rows = std::vector<kvtip_change>;

kvtip_change change_of(std::uint32_t kind, const char* adapter, std::uint32_t interface_index) {
    kvtip_change change{};
    change.adapter = adapter;
    change.kind = kind;
    change.interface_index = interface_index;
    change.prefix_length = KVTIP_UNKNOWN_PREFIX;
    change.address_state = KVTIP_ADDRESS_UNKNOWN;
    change.metric = KVTIP_UNKNOWN_METRIC;
    return change;
}

// What is compared: each kind has an order, in which only equal items are the same thing at two moments.

/// An interface is known by its GUID.
struct interface_item {
    auto operator<=>(const interface_item& other) const {
        return std::string_view(adapter->guid) <=> std::string_view(other.adapter->guid);
    }

    /// What is compared of it beside its state.
    auto settings() const {
        const std::string_view dns_servers(reinterpret_cast<const char*>(adapter->dns_servers),
                                           adapter->dns_server_count * sizeof *adapter->dns_servers);
        return std::tuple(std::string_view(adapter->name), std::string_view(adapter->dns_suffix), dns_servers,
                          adapter->index, adapter->ipv6_index, adapter->mtu, adapter->ipv4_metric,
                          adapter->ipv6_metric);
    }

    bool is_up() const { return adapter->status == KVTIP_ADAPTER_UP; }

    /// Whether nothing is different, except that it may have come up or gone down.
    bool is_unchanged(const interface_item& before) const {
        return (is_up() != before.is_up() || adapter->status == before.adapter->status) &&
               settings() == before.settings() &&
               std::memcmp(&adapter->mac, &before.adapter->mac, sizeof adapter->mac) == 0;
    }

    kvtip_change change(std::uint32_t kind) const {
        return change_of(kind, adapter->name, index_for(*adapter, 4));
    }

    const kvtip_adapter* adapter;
};

/// An address of an interface. With another prefix it is another one.
struct address_item {
    auto operator<=>(const address_item& other) const {
        const int order = std::memcmp(&row->address, &other.row->address, sizeof row->address);
        return std::tuple(owner, order, row->prefix_length) <=>
               std::tuple(other.owner, 0, other.row->prefix_length);
    }

    bool is_unchanged(const address_item& before) const { return row->state == before.row->state; }

    kvtip_change change(std::uint32_t kind) const {
        kvtip_change change =
            change_of(kind, owner.adapter->name, index_for(*owner.adapter, row->address.family));
        change.address = row->address;
        change.prefix_length = row->prefix_length;
        change.address_state = row->state;
        return change;
    }

    interface_item owner;
    const kvtip_adapter_address* row;
};

/// A route. By another router or interface it is another one.
struct route_item {
    auto operator<=>(const route_item& other) const {
        static_assert(offsetof(kvtip_route_entry, network) == 0 &&
                      offsetof(kvtip_route_entry, interface_index) < offsetof(kvtip_route_entry, metric));
        return std::memcmp(row, other.row, offsetof(kvtip_route_entry, metric)) <=> 0;
    }

    bool is_unchanged(const route_item& before) const {
        return row->metric == before.row->metric && row->protocol == before.row->protocol;
    }

    kvtip_change change(std::uint32_t kind) const {
        kvtip_change change = change_of(kind, row->adapter, row->interface_index);
        change.network = row->network;
        change.next_hop = row->next_hop;
        change.metric = row->metric;
        return change;
    }

    const kvtip_route_entry* row;
};

std::vector<interface_item> interfaces_of(const adapter_rows& adapters) {
    std::vector<interface_item> items;
    for (const kvtip_adapter* adapter : std::span(adapters->rows, adapters->count)) {
        items.push_back({adapter});
    }
    std::sort(items.begin(), items.end());
    return items;
}

std::vector<address_item> addresses_of(const adapter_rows& adapters) {
    std::vector<address_item> items;
    for (const kvtip_adapter* adapter : std::span(adapters->rows, adapters->count)) {
        for (const kvtip_adapter_address* row :
             std::span(adapter->addresses.rows, adapter->addresses.count)) {
            items.push_back({{adapter}, row});
        }
    }
    std::sort(items.begin(), items.end());
    return items;
}

std::vector<route_item> routes_of(const std::vector<kvtip_route_entry>& routes) {
    std::vector<route_item> items;
    items.reserve(routes.size());
    for (const kvtip_route_entry& row : routes) {
        items.push_back({&row});
    }
    std::sort(items.begin(), items.end());
    return items;
}

/// Calls `use(before, after)` for each thing in two sorted lists; null where only one list has it.
template <class Item, class Use>
void for_each_of_both(const std::vector<Item>& before, const std::vector<Item>& after, Use use) {
    auto old_item = before.begin();
    auto new_item = after.begin();
    while (old_item != before.end() || new_item != after.end()) {
        const bool is_gone = new_item == after.end() || (old_item != before.end() && *old_item < *new_item);
        const bool is_new = !is_gone && (old_item == before.end() || *new_item < *old_item);
        use(is_new ? nullptr : &*old_item, is_gone ? nullptr : &*new_item);
        old_item += is_new ? 0 : 1;
        new_item += is_gone ? 0 : 1;
    }
}

/// Finds what was added, removed and changed, of which `added` is the first of three kinds.
template <class Item>
void compare(const std::vector<Item>& before, const std::vector<Item>& after, std::uint32_t added,
             change_rows& found) {
    for_each_of_both(before, after, [&](const Item* old_item, const Item* new_item) {
        if (old_item == nullptr) {
            found.push_back(new_item->change(added));
        } else if (new_item == nullptr) {
            found.push_back(old_item->change(added + 1U));
        } else if (!new_item->is_unchanged(*old_item)) {
            found.push_back(new_item->change(added + 2U));
        }
    });
}
static_assert(KVTIP_CHANGE_INTERFACE_REMOVED == KVTIP_CHANGE_INTERFACE_ADDED + 1 &&
              KVTIP_CHANGE_INTERFACE_CHANGED == KVTIP_CHANGE_INTERFACE_ADDED + 2 &&
              KVTIP_CHANGE_ADDRESS_REMOVED == KVTIP_CHANGE_ADDRESS_ADDED + 1 &&
              KVTIP_CHANGE_ADDRESS_CHANGED == KVTIP_CHANGE_ADDRESS_ADDED + 2 &&
              KVTIP_CHANGE_ROUTE_REMOVED == KVTIP_CHANGE_ROUTE_ADDED + 1 &&
              KVTIP_CHANGE_ROUTE_CHANGED == KVTIP_CHANGE_ROUTE_ADDED + 2);

void find_switched(const std::vector<interface_item>& before, const std::vector<interface_item>& after,
                   change_rows& found) {
    for_each_of_both(before, after, [&](const interface_item* old_item, const interface_item* new_item) {
        if (old_item != nullptr && new_item != nullptr && old_item->is_up() != new_item->is_up()) {
            found.push_back(new_item->change(new_item->is_up() ? KVTIP_CHANGE_INTERFACE_UP
                                                               : KVTIP_CHANGE_INTERFACE_DOWN));
        }
    });
}

} // namespace

std::uint32_t network_state::take(std::uint32_t flags) {
    route_table table;
    const bool has_routes = (flags & KVTIP_WATCH_ROUTES) != 0;
    if (const std::uint32_t code = has_routes ? table.fetch(0) : 0) {
        return code;
    }
    // Always by the same call: the older one, in place of one that fails, would lack all IPv6 addresses.
    const ip::detail::helper& helper = ip::detail::the_helper();
    const bool has_newer = helper.is_version_6_or_later() && helper.iphlpapi.GetAdaptersAddresses != nullptr;
    if (const std::uint32_t code = (has_newer ? list_newer_adapters : list_older_adapters)({}, adapters_)) {
        return code;
    }
    missing_ = adapters_->missing | table.missing();
    if (has_routes) {
        table.for_each(
            [&](const kvtip_route_entry& entry) { routes_.push_back(table.complete(entry, *adapters_)); });
    }
    return 0;
}

const kvtip_change_list* network_state::changes_to(const network_state& later, std::uint32_t flags) const {
    change_rows found;
    if ((flags & KVTIP_WATCH_INTERFACES) != 0) {
        const auto before = interfaces_of(adapters_);
        const auto after = interfaces_of(later.adapters_);
        compare(before, after, KVTIP_CHANGE_INTERFACE_ADDED, found);
        find_switched(before, after, found);
    }
    if ((flags & KVTIP_WATCH_ADDRESSES) != 0) {
        compare(addresses_of(adapters_), addresses_of(later.adapters_), KVTIP_CHANGE_ADDRESS_ADDED, found);
    }
    compare(routes_of(routes_), routes_of(later.routes_), KVTIP_CHANGE_ROUTE_ADDED, found);
    if (found.empty()) {
        return nullptr;
    }
    return block::make<kvtip_change_list>([&](block& out, kvtip_change_list& list) {
        list.missing = later.missing_;
        out.list(list, found.size(), [&](auto add) {
            for (const kvtip_change& each : found) {
                kvtip_change& row = add() = each;
                row.adapter = out.text(std::string_view(each.adapter));
            }
        });
    });
}

} // namespace kvtip::library
