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

std::string_view name_of(kvtip::dns_type type) {
    return type == kvtip::dns_type::a ? "A" : type == kvtip::dns_type::ptr ? "PTR" : "AAAA";
}

value record_value(const kvtip::dns_record& record) {
    return {{"name", record.name},
            {"type", static_cast<std::uint32_t>(record.type)},
            {"type_name", text_or_null(name_of(record.type))},
            {"time_to_live", record.time_to_live.count()},
            {"address", address_value(record.address)},
            {"target", text_or_null(record.target)}};
}

/// If one of the two types of records is found, a failure of the other does not count.
value addresses_of(const std::string& name, const std::string& type) {
    value result = value::list();
    std::error_code failure;
    const auto add = [&](kvtip::dns_type which) {
        std::error_code error;
        for (const kvtip::dns_record& record : query(name, which, error)) {
            result.add(record_value(record));
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
    return list_of(records, record_value);
}

operation prepare_lookup(parameters& expected) {
    const auto name = add_host(expected, "NAME", "The name to ask the name server for");
    auto type = std::make_shared<std::string>("both");
    expected.add_choice("--type", *type, "Which records", {"a", "aaaa", "both"});
    return [name, type](const progress&) { return addresses_of(*name, *type); };
}

operation prepare_reverse(parameters& expected) {
    const auto address = add_host(expected, "ADDRESS", "An IPv4 or IPv6 address");
    return [address](const progress&) { return names_of(*address); };
}

std::string addresses_text(const value& result) {
    return list_text(result, "address", "no addresses");
}

std::string names_text(const value& result) {
    return list_text(result, "target", "no names");
}

} // namespace

const command lookup_command = {
    .name = "lookup",
    .summary = "Ask the DNS for the addresses of a name",
    .examples = {"lookup www.example.com", "lookup www.example.com --type aaaa"},
    .prepare = prepare_lookup,
    .text = addresses_text,
};
const command reverse_command = {
    .name = "reverse",
    .summary = "Ask the DNS for the names of an address",
    .examples = {"reverse 192.0.2.1", "reverse 2001:db8::1"},
    .prepare = prepare_reverse,
    .text = names_text,
};
