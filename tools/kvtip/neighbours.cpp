#include <stdexcept>
#include <vector>

#include <windows.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/hlpapi.h"
#include "output.h"

namespace {

constexpr number_name states[] = {{0, "unreachable"}, {1, "incomplete"}, {2, "probe"},     {3, "delay"},
                                  {4, "stale"},       {5, "reachable"},  {6, "permanent"}, {7, "unknown"}};

json mac_json(const ip::macaddr& mac) {
    return bytes_json({mac.bytes, mac.length});
}

json row_json(const ip::hlpapi::_SIpNetRow& row) {
    return {{"address", address_json(row.address)},
            {"mac", mac_json(row.mac)},
            {"state", row.state},
            {"state_name", name_json(states, row.state)},
            {"interface_index", row.interface_index},
            {"interface_type", row.interface_type}};
}

json list_neighbours(unsigned short family) {
    std::vector<ip::hlpapi::_SIpNetRow> rows;
    const unsigned long code = ip::hlpapi::getipnettable(rows, family);
    if (code != ERROR_NOT_FOUND && code != ERROR_NO_DATA) { // the codes of an empty table
        check(code, "getipnettable");
    }
    json result = json::array();
    for (const auto& row : rows) {
        result.push_back(row_json(row));
    }
    return result;
}

json mac_of(const std::string& text) {
    const ip::addr address = parse_address(text, "ADDRESS");
    ip::macaddr mac;
    const unsigned long code = mac.from_addr(address, nullptr);
    if (code == ERROR_BAD_NET_NAME || code == ERROR_GEN_FAILURE) { // the system's texts speak of other things
        throw std::runtime_error(std::to_string(code) + ": no answer on this link");
    }
    check(code, "from_addr");
    return {{"address", address_json(address)}, {"mac", mac_json(mac)}};
}

operation prepare_neighbours(CLI::App& options) {
    return [family = add_family(options)](const line_sink&) { return list_neighbours(family()); };
}

operation prepare_mac(CLI::App& options) {
    const auto address = add_host(options, "ADDRESS", "The address of a host on the own link");
    return [address](const line_sink&) { return mac_of(*address); };
}

std::string neighbours_text(const json& result) {
    constexpr column columns[] = {
        {"ADDRESS", "address"}, {"MAC", "mac"}, {"STATE", "state_name"}, {"INTERFACE", "interface_index"}};
    return table_text(result, columns, "no neighbours");
}

std::string mac_text(const json& result) {
    return plain_text(result["mac"]) + "\n";
}

} // namespace

const command neighbours_command = {"neighbours", "List the hosts on the own links, as the system knows them",
                                    prepare_neighbours, neighbours_text};
const command mac_command = {"mac", "Ask a host on the own link for its hardware address", prepare_mac,
                             mac_text};
