#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

#include "all_adapters.h"
#include "arguments.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "ip/winsock2.h"
#include "layout.h"
#include "network_values.h"

namespace {

/// What an adapter without IPv6 name servers shows instead.
constexpr const char* placeholders[] = {"fec0:0:0:ffff::1", "fec0:0:0:ffff::2", "fec0:0:0:ffff::3"};

bool is_same(const ip::saddr& one, const ip::saddr& other) {
    return one.family == other.family &&
           (one.family == ip::family_ipv4 ? std::equal(one.address4, std::end(one.address4), other.address4)
                                          : std::equal(one.address6, std::end(one.address6), other.address6));
}

/// Compares addresses, since an address has several texts.
bool has_server(const ip::_SFindAdapter& adapter, const std::string& text) {
    ip::addr server;
    return ip::winsock2::address_from_string(server, text.c_str()) == 0 &&
           std::any_of(adapter.dns_servers.begin(), adapter.dns_servers.end(),
                       [&](const ip::saddr& each) { return is_same(each, socket_address(server)); });
}

value adapters_with(const std::string& server, const std::vector<ip::_SFindAdapter>& adapters) {
    value names = value::list();
    for (const ip::_SFindAdapter& adapter : adapters) {
        if (has_server(adapter, server)) {
            names.add(display_name(adapter));
        }
    }
    return names;
}

value list_servers(const line_sink& /*show*/) {
    std::string servers;
    ip::adapter_enumerator::retrievednsservers(servers);
    std::vector<ip::_SFindAdapter> adapters;
    for_each_adapter([&](const ip::_SFindAdapter& adapter, auto&) { adapters.push_back(adapter); });
    value result = value::list();
    std::istringstream rest(servers);
    for (std::string server; std::getline(rest, server, ',');) {
        const bool placeholder =
            std::find(std::begin(placeholders), std::end(placeholders), server) != std::end(placeholders);
        result.add({{"server", server},
                    {"placeholder", placeholder},
                    {"adapters", adapters_with(server, adapters)}});
    }
    return result;
}

std::string joined(const value& names) {
    std::string text;
    for (const value& name : names.elements()) {
        text += (text.empty() ? "" : ", ") + plain_text(name);
    }
    return text.empty() ? "-" : text;
}

std::string use_text(const value& placeholder) {
    return placeholder.truth() ? "placeholder" : "name server";
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"SERVER", "server"}, {"USE", "placeholder", use_text}, {"ADAPTERS", "adapters", joined}};
    return table_text(result, columns, "no name servers");
}

} // namespace

const command dns_command = {"dns", "List the name servers, each with the adapters that have it",
                             [](parameters&) -> operation { return list_servers; }, text};
