#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

operation prepare(parameters& expected) {
    return [name = add_host(expected, "NAME", "The host's name"),
            family = add_family(expected)](const progress&) {
        return list_of(kvtip::resolve(with_numeric_scope(*name), "", {.family = family()}).endpoints,
                       [](const kvtip::endpoint& each) { return address_row(each.address()); });
    };
}

std::string text(const value& result) {
    return list_text(result, "address", "no addresses");
}

} // namespace

const command resolve_command = {
    .name = "resolve",
    .summary = "List the addresses of a host",
    .examples = {"resolve www.example.com", "resolve localhost --family 6"},
    .prepare = prepare,
    .text = text,
};
