#include <vector>

#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

/// The records of a type. A name without such a record is no error.
std::vector<kvtip::dns_record> query(const std::string& name, kvtip::dns_type type, std::error_code& error) {
    constexpr int no_records = 9501; // DNS_INFO_NO_RECORDS
    auto records = kvtip::dns_query(name, type, {}, error);
    if (error.value() == no_records) {
        error.clear();
    }
    return records;
}

/// If one of the two types of records is found, a failure of the other does not count.
value addresses_of(const std::string& name, const std::string& type) {
    value result = value::list();
    std::error_code failure;
    const auto add = [&](kvtip::dns_type which) {
        std::error_code error;
        for (const kvtip::dns_record& record : query(name, which, error)) {
            result.add(address_value(record.address));
        }
        failure = error ? error : failure;
    };
    if (type != "aaaa") {
        add(kvtip::dns_type::a);
    }
    if (type != "a") {
        add(kvtip::dns_type::aaaa);
    }
    if (failure && result.elements().empty()) {
        throw std::system_error(failure);
    }
    return result;
}

value names_of(const std::string& text) {
    const kvtip::address address = parse_address(text, "ADDRESS");
    std::error_code error;
    const auto records = query(address.to_string(), kvtip::dns_type::ptr, error);
    if (error) {
        throw std::system_error(error);
    }
    return list_of(records, [](const kvtip::dns_record& each) { return each.target; });
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
