#include "arguments.h"
#include "command.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// How far an address reaches.
const char* range_of(const kvtip::address& address) {
    return address.is_loopback()     ? "loopback"
           : address.is_link_local() ? "link-local"
           : address.is_private()    ? "private"
                                     : "global";
}

value row_of(const kvtip::adapter& adapter, const kvtip::adapter_address& found) {
    const bool has_prefix = found.prefix_length != kvtip::unknown_prefix;
    return {{"address", address_value(found.address)},
            {"prefix_length", has_prefix ? value(found.prefix_length) : value()},
            {"scope", number_or_null(found.address.scope())},
            {"range", range_of(found.address)},
            {"adapter", text_or_null(adapter.name)},
            {"interface_index",
             number_or_null(found.address.is_ipv6() && adapter.ipv6_index != 0 ? adapter.ipv6_index
                                                                               : adapter.index)}};
}

value list_addresses(kvtip::family family, bool all) {
    value result = value::list();
    for (const kvtip::adapter& adapter : kvtip::adapters({.family = family, .up = !all})) {
        for (const kvtip::adapter_address& each : adapter.addresses) {
            result.add(row_of(adapter, each));
        }
    }
    return result;
}

operation prepare(parameters& expected) {
    const auto all = std::make_shared<bool>(false);
    const auto family = add_family(expected);
    expected.add_flag("--all", *all, "Those of adapters that are down, too");
    return [=](const progress&) { return list_addresses(family(), *all); };
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"ADDRESS", "address"}, {"PREFIX", "prefix_length"}, {"RANGE", "range"}, {"ADAPTER", "adapter"}};
    return table_text(result, columns, "no addresses");
}

} // namespace

const command addresses_command = {
    .name = "addresses",
    .summary = "List the IP addresses of the adapters that are up",
    .examples = {"addresses", "addresses --family 6 --all"},
    .prepare = prepare,
    .text = text,
};
