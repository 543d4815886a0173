#include "arguments.h"
#include "command.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

value list_addresses(kvtip::family family) {
    value result = value::list();
    for (const kvtip::adapter& adapter : kvtip::adapters({.family = family})) {
        for (const kvtip::adapter_address& each : adapter.addresses) {
            result.add(address_row(each.address));
        }
    }
    return result;
}

std::string text(const value& result) {
    return list_text(result, "address", "no addresses");
}

operation prepare(parameters& expected) {
    return [family = add_family(expected)](const progress&) { return list_addresses(family()); };
}

} // namespace

const command addresses_command = {
    .name = "addresses",
    .summary = "List the IP addresses of all network adapters",
    .examples = {"addresses", "addresses --family 6"},
    .prepare = prepare,
    .text = text,
};
