#include <algorithm>
#include <cctype>
#include <iterator>
#include <span>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

using kvtip::dns_type;

/// What a lookup asks for without a type.
constexpr dns_type common_types[] = {dns_type::a,  dns_type::aaaa, dns_type::cname,
                                     dns_type::mx, dns_type::ns,   dns_type::txt};

/// The records of a type. A name without such a record is no error.
std::vector<kvtip::dns_record> query(const std::string& name, dns_type type,
                                     const kvtip::dns_options& options, std::error_code& error) {
    constexpr int no_records = 9501; // DNS_INFO_NO_RECORDS
    auto records = kvtip::dns_query(name, type, options, error);
    if (error.value() == no_records) {
        error.clear();
    }
    return records;
}

void add_data(value& row, const kvtip::dns_record& record) {
    switch (record.type) {
    case dns_type::mx:
        row.add("priority", record.priority);
        return;
    case dns_type::srv:
        row.add("priority", record.priority);
        row.add("weight", record.weight);
        row.add("port", record.port);
        return;
    case dns_type::txt:
        row.add("texts", list_of(record.texts, [](const std::string& text) -> value {
                    return {{"text", text}};
                }));
        return;
    case dns_type::caa:
        row.add("flags", record.flags);
        row.add("tag", record.tag);
        row.add("value", record.value);
        return;
    case dns_type::soa:
        row.add("mailbox", record.mailbox);
        row.add("serial", record.serial);
        row.add("refresh", record.refresh.count());
        row.add("retry", record.retry.count());
        row.add("expire", record.expire.count());
        row.add("minimum", record.minimum.count());
        return;
    default:
        return;
    }
}

value record_value(const kvtip::dns_record& record) {
    value row = {{"name", record.name},
                 {"type", static_cast<std::uint32_t>(record.type)},
                 {"type_name", text_or_null(to_string(record.type))},
                 {"time_to_live", record.time_to_live.count()},
                 {"address", address_value(record.address)},
                 {"target", text_or_null(record.target)}};
    add_data(row, record);
    return row;
}

/// If records of one type are found, the failure of another type does not count.
value records_of(const std::string& name, std::span<const dns_type> types,
                 const kvtip::dns_options& options) {
    value result = value::list();
    std::error_code failure;
    for (const dns_type type : types) {
        std::error_code error;
        for (const kvtip::dns_record& record : query(name, type, options, error)) {
            result.add(record_value(record));
        }
        failure = error ? error : failure;
    }
    if (failure && result.elements().empty()) {
        throw std::system_error(failure);
    }
    return result;
}

/// "A, NS, CNAME, ..."
std::string known_types() {
    std::string text;
    for (const auto& each : kvtip::dns_type_names) {
        text += (text.empty() ? "" : ", ") + std::string(each.name);
    }
    return text;
}

dns_type parse_type(const std::string& text) {
    const auto is_same = [](char one, char other) {
        return std::toupper(static_cast<unsigned char>(one)) == other;
    };
    for (const auto& each : kvtip::dns_type_names) {
        if (std::equal(text.begin(), text.end(), each.name.begin(), each.name.end(), is_same)) {
            return each.value;
        }
    }
    throw usage_error(text + " is neither one of " + known_types() + " nor a server with its @");
}

/// A type and "@SERVER", in any order.
value look_up(const std::string& name, const std::optional<std::string> (&words)[2]) {
    kvtip::dns_options options;
    std::vector<dns_type> types;
    for (const auto& word : words) {
        if (word && word->starts_with('@')) {
            options.server = parse_address(word->substr(1), "SERVER");
        } else if (word) {
            types = {parse_type(*word)};
        }
    }
    if (types.empty() && kvtip::address::parse(name)) {
        types = {dns_type::ptr};
    }
    return records_of(name, types.empty() ? std::span(common_types) : std::span<const dns_type>(types),
                      options);
}

operation prepare_lookup(parameters& expected) {
    struct arguments {
        std::optional<std::string> words[2];
    };
    const auto name = add_host(expected, "NAME", "The name, or for PTR an address");
    const auto given = std::make_shared<arguments>();
    expected.add_text("TYPE", given->words[0],
                      ("One of " + known_types() + "; without it A, AAAA, CNAME, MX, NS and TXT").c_str());
    expected.add_text("@SERVER", given->words[1],
                      "The address of a DNS server to ask instead of the system's");
    return [=](const progress&) { return look_up(*name, given->words); };
}

operation prepare_reverse(parameters& expected) {
    const auto address = add_host(expected, "ADDRESS", "An IPv4 or IPv6 address");
    return [address](const progress&) {
        constexpr dns_type type[] = {dns_type::ptr};
        return records_of(parse_address(*address, "ADDRESS").to_string(), type, {});
    };
}

/// What a record says besides its name, in the order that zone files have. Texts are in quotes.
std::string data_text(const value& record) {
    std::string text;
    for (const char* member : {"address", "flags", "tag", "value", "priority", "weight", "port", "target",
                               "mailbox", "serial", "refresh", "retry", "expire", "minimum"}) {
        if (record.has(member)) {
            text += (text.empty() ? "" : " ") + plain_text(record[member]);
        }
    }
    for (const value& part : record.has("texts") ? record["texts"].elements() : std::vector<value>()) {
        text += (text.empty() ? "\"" : " \"") + part["text"].text() + "\"";
    }
    return text;
}

std::string records_text(const value& result) {
    constexpr column columns[] = {{"TYPE", "type_name"}, {"SECONDS", "time_to_live"}, {"DATA", "data"}};
    const value shown = list_of(result.elements(), [](value row) {
        row.add("data", data_text(row));
        return row;
    });
    return table_text(shown, columns, "no records");
}

std::string names_text(const value& result) {
    return list_text(result, "target", "no names");
}

} // namespace

const command lookup_command = {
    .name = "lookup",
    .summary = "Ask the DNS for the records of a name",
    .examples = {"lookup www.example.com", "lookup www.example.com aaaa"},
    .prepare = prepare_lookup,
    .text = records_text,
};
const command reverse_command = {
    .name = "reverse",
    .summary = "Ask the DNS for the names of an address",
    .examples = {"reverse 192.0.2.1", "reverse 2001:db8::1"},
    .prepare = prepare_reverse,
    .text = names_text,
};
