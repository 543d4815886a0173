#include <algorithm>
#include <vector>

#include "command.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// A name server, and the names of the adapters that have it.
struct server {
    kvtip::address address;
    bool placeholder = false;
    value adapters = value::list();
};

value list_servers(const progress& /*show*/) {
    std::vector<server> servers;
    for (const kvtip::dns_server& each : kvtip::dns_servers({.up = true})) {
        auto found = std::find_if(servers.begin(), servers.end(),
                                  [&](const server& known) { return known.address == each.address; });
        if (found == servers.end()) {
            found = servers.insert(found, {each.address, each.placeholder});
        }
        found->adapters.add({{"name", each.adapter}});
    }
    return list_of(servers, [](const server& each) -> value {
        return {{"address", address_value(each.address)},
                {"placeholder", each.placeholder},
                {"adapters", each.adapters}};
    });
}

std::string names_text(const value& adapters) {
    std::string text;
    for (const value& adapter : adapters.elements()) {
        text += (text.empty() ? "" : ", ") + plain_text(adapter["name"]);
    }
    return text;
}

std::string use_text(const value& placeholder) {
    return placeholder.truth() ? "placeholder" : "name server";
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"SERVER", "address"}, {"USE", "placeholder", use_text}, {"ADAPTERS", "adapters", names_text}};
    return table_text(result, columns, "no name servers");
}

} // namespace

const command dns_command = {
    .name = "dns",
    .summary = "List the name servers, each with the adapters that have it",
    .examples = {"dns", "dns --json"},
    .prepare = [](parameters&) -> operation { return list_servers; },
    .text = text,
};
