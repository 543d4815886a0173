#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "network_values.h"

namespace {

value name_of(const std::string& text) {
    const kvtip::address address = parse_address(text, "ADDRESS");
    return {{"address", address_value(address)}, {"name", kvtip::reverse(address).front()}};
}

operation prepare(parameters& expected) {
    return [address = add_host(expected, "ADDRESS", "An IPv4 or IPv6 address")](const progress&) {
        return name_of(*address);
    };
}

std::string text(const value& result) {
    return result["name"].text() + "\n";
}

} // namespace

const command name_command = {
    .name = "name",
    .summary = "Show the name of the host with an address",
    .examples = {"name 127.0.0.1", "name 2001:db8::1"},
    .prepare = prepare,
    .text = text,
};
