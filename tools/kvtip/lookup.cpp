#include <vector>

#include <windows.h>

#include <windns.h>

#include "arguments.h"
#include "command.h"
#include "encoding.h"
#include "errors.h"
#include "ip/dnsapi.h"
#include "layout.h"
#include "network_values.h"

namespace {

constexpr unsigned long query_options = DNS_QUERY_STANDARD | DNS_QUERY_NO_NETBT; // not by NetBIOS

/// The DNS library, for as long as this object lives.
class dns_library {
public:
    dns_library() { check(handle_.init(), "dnsapi"); }

private:
    ip::dnsapi handle_;
};

unsigned short family_of(const std::string& type) {
    return type == "a" ? ip::family_ipv4 : type == "aaaa" ? ip::family_ipv6 : ip::family_none;
}

/// If one of the two types of records is found, a failure of the other does not count.
value addresses_of(const std::string& name, const std::string& type) {
    const dns_library dns;
    std::vector<ip::addr> found;
    const unsigned long code =
        ip::dnsapi::addresses_from_name(to_wide(name).c_str(), found, family_of(type), query_options);
    if (found.empty()) {
        check(code, "addresses_from_name");
    }
    return address_list(found);
}

value names_of(const std::string& text) {
    const ip::addr address = parse_address(text, "ADDRESS");
    const dns_library dns;
    std::vector<std::wstring> found;
    check(ip::dnsapi::names_from_address(address, found, query_options), "names_from_address");
    value result = value::list();
    for (const std::wstring& name : found) {
        result.add(to_utf8(name));
    }
    return result;
}

operation prepare_lookup(parameters& expected) {
    const auto name = add_host(expected, "NAME", "The name to ask the name server for");
    auto type = std::make_shared<std::string>("both");
    expected.add_choice("--type", *type, "Which records", {"a", "aaaa", "both"});
    return [name, type](const line_sink&) { return addresses_of(*name, *type); };
}

operation prepare_reverse(parameters& expected) {
    const auto address = add_host(expected, "ADDRESS", "An IPv4 or IPv6 address");
    return [address](const line_sink&) { return names_of(*address); };
}

std::string addresses_text(const value& result) {
    return result.elements().empty() ? "no addresses\n" : list_text(result);
}

std::string names_text(const value& result) {
    return result.elements().empty() ? "no names\n" : list_text(result);
}

} // namespace

const command lookup_command = {"lookup", "Ask the DNS for the addresses of a name", prepare_lookup,
                                addresses_text};
const command reverse_command = {"reverse", "Ask the DNS for the names of an address", prepare_reverse,
                                 names_text};
