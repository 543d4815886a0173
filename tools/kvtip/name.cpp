#include <string>
#include <system_error>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "failure.h"
#include "kvtip/names.hpp"
#include "network_values.h"

namespace {

value name_of(const std::string& text) {
    constexpr int host_not_found = 11001; // WSAHOST_NOT_FOUND
    const kvtip::address address = parse_address(text, "ADDRESS");
    std::error_code error;
    const std::vector<std::string> names = kvtip::reverse(address, error);
    if (error.value() == host_not_found) {
        throw explained_error(host_not_found, "This address has no name.");
    }
    if (error) {
        throw std::system_error(error);
    }
    return {{"address", address_value(address)}, {"name", names.front()}};
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
