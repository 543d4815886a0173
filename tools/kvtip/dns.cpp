#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

#include <windows.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/adapter_enumerator.h"
#include "ip/winsock2.h"
#include "output.h"

namespace {

/// What an adapter without IPv6 name servers shows instead.
constexpr const char* placeholders[] = {"fec0:0:0:ffff::1", "fec0:0:0:ffff::2", "fec0:0:0:ffff::3"};

bool is_same(const ip::saddr& one, const ip::saddr& other) {
    return one.family == other.family &&
           (one.family == ip::family_ipv4 ? std::equal(one.address4, std::end(one.address4), other.address4)
                                          : std::equal(one.address6, std::end(one.address6), other.address6));
}

/// Compares addresses, since one can be written in several ways.
bool has_server(const ip::_SFindAdapter& adapter, const std::string& text) {
    ip::addr server;
    return ip::winsock2::address_from_string(server, text.c_str()) == 0 &&
           std::any_of(adapter.dns_servers.begin(), adapter.dns_servers.end(),
                       [&](const ip::saddr& each) { return is_same(each, socket_address(server)); });
}

json adapters_with(const std::string& server, const std::vector<ip::_SFindAdapter>& adapters) {
    json names = json::array();
    for (const ip::_SFindAdapter& adapter : adapters) {
        if (has_server(adapter, server)) {
            names.push_back(title_of(adapter));
        }
    }
    return names;
}

std::vector<ip::_SFindAdapter> all_adapters() {
    std::vector<ip::_SFindAdapter> found;
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    for (bool more = adapters.find_first(adapter, 0); more; more = adapters.find_next(adapter)) {
        found.push_back(adapter);
    }
    if (const unsigned long code = GetLastError(); code != ERROR_NO_MORE_ITEMS) {
        check(code, "enumeration");
    }
    return found;
}

json list_servers(const line_sink& /*show*/) {
    std::string servers;
    ip::adapter_enumerator::retrievednsservers(servers);
    const std::vector<ip::_SFindAdapter> adapters = all_adapters();
    json result = json::array();
    std::istringstream rest(servers);
    for (std::string server; std::getline(rest, server, ',');) {
        const bool placeholder =
            std::find(std::begin(placeholders), std::end(placeholders), server) != std::end(placeholders);
        result.push_back({{"server", server},
                          {"placeholder", placeholder},
                          {"adapters", adapters_with(server, adapters)}});
    }
    return result;
}

std::string joined(const json& names) {
    std::string text;
    for (const json& name : names) {
        text += (text.empty() ? "" : ", ") + plain_text(name);
    }
    return text.empty() ? "-" : text;
}

std::string use_text(const json& placeholder) {
    return placeholder ? "placeholder" : "name server";
}

std::string text(const json& result) {
    constexpr column columns[] = {
        {"SERVER", "server"}, {"USE", "placeholder", use_text}, {"ADAPTERS", "adapters", joined}};
    return table_text(result, columns, "no name servers");
}

} // namespace

const command dns_command = {"dns", "List the name servers, each with the adapters that have it",
                             [](CLI::App&) -> operation { return list_servers; }, text};
