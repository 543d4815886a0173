#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

operation prepare(parameters& expected) {
    return [name = add_host(expected, "NAME", "The host's name"),
            family = add_family(expected)](const line_sink&) {
        return list_of(kvtip::resolve(*name, "", {.family = family()}).endpoints,
                       [](const kvtip::endpoint& each) { return address_value(each.address()); });
    };
}

} // namespace

const command resolve_command = {"resolve", "List the addresses of a host", prepare, list_text};
