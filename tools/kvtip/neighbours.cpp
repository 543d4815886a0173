#include <stdexcept>
#include <vector>

#include <windows.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/hlpapi.h"
#include "layout.h"
#include "network_values.h"

namespace {

constexpr number_name states[] = {{ip::neighbour_unreachable, "unreachable"},
                                  {ip::neighbour_incomplete, "incomplete"},
                                  {ip::neighbour_probe, "probe"},
                                  {ip::neighbour_delay, "delay"},
                                  {ip::neighbour_stale, "stale"},
                                  {ip::neighbour_reachable, "reachable"},
                                  {ip::neighbour_permanent, "permanent"},
                                  {ip::neighbour_unknown, "unknown"}};

value mac_value(const ip::macaddr& mac) {
    return bytes_value({mac.bytes, mac.length});
}

value row_value(const ip::hlpapi::_SIpNetRow& row) {
    return {{"address", address_value(row.address)},
            {"mac", mac_value(row.mac)},
            {"state", row.state},
            {"state_name", name_value(states, row.state)},
            {"interface_index", row.interface_index},
            {"interface_type", row.interface_type}};
}

value list_neighbours(unsigned short family) {
    std::vector<ip::hlpapi::_SIpNetRow> rows;
    const unsigned long code = ip::hlpapi::getipnettable(rows, family);
    if (code != ERROR_NOT_FOUND && code != ERROR_NO_DATA) { // the codes of an empty table
        check(code, "getipnettable");
    }
    value result = value::list();
    for (const auto& row : rows) {
        result.add(row_value(row));
    }
    return result;
}

value mac_of(const std::string& text) {
    const ip::addr address = parse_address(text, "ADDRESS");
    ip::macaddr mac;
    const unsigned long code = mac.from_addr(address, nullptr);
    if (code == ERROR_BAD_NET_NAME || code == ERROR_GEN_FAILURE) { // the system's texts do not fit
        throw std::runtime_error(code_text(code, "no answer on this link"));
    }
    check(code, "from_addr");
    return {{"address", address_value(address)}, {"mac", mac_value(mac)}};
}

operation prepare_neighbours(parameters& expected) {
    return [family = add_family(expected)](const line_sink&) { return list_neighbours(family()); };
}

operation prepare_mac(parameters& expected) {
    const auto address = add_host(expected, "ADDRESS", "The address of a host on a local link");
    return [address](const line_sink&) { return mac_of(*address); };
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

const command neighbours_command = {"neighbours",
                                    "List the hosts on the local links, as the system knows them",
                                    prepare_neighbours, neighbours_text};
const command mac_command = {"mac", "Ask a host on a local link for its hardware address", prepare_mac,
                             mac_text};
