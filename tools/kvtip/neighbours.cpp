#include "kvtip/neighbours.hpp"

#include "arguments.h"
#include "command.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

value row_value(const kvtip::neighbour& row) {
    constexpr std::uint32_t unknown_type = 1;
    const bool has_type = row.interface_type != unknown_type;
    return {{"address", address_value(row.address)},
            {"mac", text_or_null(row.mac.text())},
            {"state", static_cast<std::uint32_t>(row.state)},
            {"state_name", text_or_null(to_string(row.state))},
            {"interface_index", row.interface_index},
            {"interface_type", has_type ? value(row.interface_type) : value()},
            {"interface_type_name", text_or_null(kvtip::interface_type_name(row.interface_type))}};
}

value mac_of(const std::string& text) {
    const kvtip::address address = parse_address(text, "ADDRESS");
    check_scope(address);
    return {{"address", address_value(address)},
            {"mac", text_or_null(kvtip::hardware_address(address).text())}};
}

operation prepare_neighbours(parameters& expected) {
    return [family = add_family(expected)](const progress&) {
        return list_of(kvtip::neighbours({.family = family()}), row_value);
    };
}

operation prepare_mac(parameters& expected) {
    const auto address = add_host(expected, "ADDRESS", "The address of a host on a local link");
    return [address](const progress&) { return mac_of(*address); };
}

std::string neighbours_text(const value& result) {
    constexpr column columns[] = {
        {"ADDRESS", "address"}, {"MAC", "mac"}, {"STATE", "state_name"}, {"INTERFACE", "interface_index"}};
    return table_text(result, columns, "no neighbours");
}

std::string mac_text(const value& result) {
    return plain_text(result["mac"]) + "\n";
}

} // namespace

const command neighbours_command = {
    .name = "neighbours",
    .summary = "List the hosts on the local links, as the system knows them",
    .examples = {"neighbours", "neighbours --family 4"},
    .prepare = prepare_neighbours,
    .text = neighbours_text,
};
const command mac_command = {
    .name = "mac",
    .summary = "Ask a host on a local link for its hardware address",
    .examples = {"mac 192.0.2.1", "mac fe80::1%Ethernet"},
    .prepare = prepare_mac,
    .text = mac_text,
};
