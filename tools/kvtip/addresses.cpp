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
            result.add(address_value(each.address));
        }
    }
    return result;
}

operation prepare(parameters& expected) {
    return [family = add_family(expected)](const line_sink&) { return list_addresses(family()); };
}

} // namespace

const command addresses_command = {"addresses", "List the IP addresses of all network adapters", prepare,
                                   list_text};
