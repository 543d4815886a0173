#include "command.h"
#include "command_line.h"
#include "kvtip/adapters.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

value server_value(const kvtip::dns_server& server) {
    return {{"address", address_value(server.address)},
            {"adapter", text_or_null(server.adapter)},
            {"interface_index", number_or_null(server.interface_index)},
            {"placeholder", server.placeholder}};
}

operation prepare(parameters& expected) {
    const auto all = std::make_shared<bool>(false);
    expected.add_flag("--all", *all,
                      "All servers of all adapters, also those that Windows lists where none is set");
    return [all](const progress&) { return list_of(kvtip::dns_servers({.usable = !*all}), server_value); };
}

std::string use_text(const value& placeholder) {
    return placeholder.truth() ? "placeholder" : "name server";
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"SERVER", "address"}, {"USE", "placeholder", use_text}, {"ADAPTER", "adapter"}};
    return table_text(result, columns, "no name servers");
}

} // namespace

const command dns_command = {
    .name = "dns",
    .summary = "List the name servers that this host can ask, best first",
    .examples = {"dns", "dns --all"},
    .prepare = prepare,
    .text = text,
};
