#include <memory>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "ip/adapter_enumerator.h"
#include "kvt/exceptions/error.h"
#include "output.h"

namespace {

json list_addresses(unsigned short family) {
    std::vector<ip::addr> found;
    if (const unsigned long code = ip::localaddresses(found, family)) {
        throw kvt::exceptions::error(code, "localaddresses");
    }
    json result = json::array();
    for (const ip::addr& address : found) {
        result.push_back(address_json(address));
    }
    return result;
}

std::function<json()> prepare(CLI::App& options) {
    auto family = std::make_shared<int>(0);
    options.add_option("--family", *family, "Only IPv4 or only IPv6 addresses")->check(CLI::IsMember({4, 6}));
    return [family] {
        return list_addresses(*family == 4   ? ip::family_ipv4
                              : *family == 6 ? ip::family_ipv6
                                             : ip::family_none);
    };
}

std::string text(const json& result) {
    std::string lines;
    for (const json& address : result) {
        if (address.is_string()) {
            lines += address.get<std::string>() + "\n";
        }
    }
    return lines;
}

} // namespace

const command addresses_command = {"addresses", "List the IP addresses of all network adapters", prepare,
                                   text};
