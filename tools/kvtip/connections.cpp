#include "kvtip/connections.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "kvtip/names.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

using rows = std::vector<kvtip::connection>;

/// The columns by which rows are sorted.
const struct {
    std::string_view name;
    bool (*is_before)(const kvtip::connection& one, const kvtip::connection& other);
} orders[] = {
    {"protocol", [](auto& one, auto& other) { return one.protocol < other.protocol; }},
    {"local", [](auto& one, auto& other) { return one.local < other.local; }},
    {"port", [](auto& one, auto& other) { return one.local.port() < other.local.port(); }},
    {"remote", [](auto& one, auto& other) { return one.remote < other.remote; }},
    {"state", [](auto& one, auto& other) { return one.state < other.state; }},
    {"direction", [](auto& one, auto& other) { return one.direction < other.direction; }},
    {"pid", [](auto& one, auto& other) { return one.process < other.process; }},
    {"process", [](auto& one, auto& other) { return one.process_name < other.process_name; }},
};

/// The names in a table.
template <class Table>
std::vector<std::string> names_in(const Table& table) {
    std::vector<std::string> names;
    std::transform(std::begin(table), std::end(table), std::back_inserter(names),
                   [](const auto& each) { return std::string(each.name); });
    return names;
}

/// Finds the row of that name in a table; null for an unknown name.
template <class Table>
auto find_in(const Table& table, std::string_view name) {
    const auto* found =
        std::find_if(std::begin(table), std::end(table), [=](const auto& each) { return each.name == name; });
    return found == std::end(table) ? nullptr : found;
}

/// Whether a process is the one that the user names: by its identifier, or by its program, with or without
/// ".exe", in any case.
class process_choice {
public:
    explicit process_choice(const std::string& text) : name_(plain(text)) {
        const auto read = std::from_chars(text.data(), text.data() + text.size(), id_);
        is_id_ = read.ec == std::errc() && read.ptr == text.data() + text.size();
    }

    bool has(const kvtip::connection& row) const {
        return is_id_ ? row.process == id_ : !row.process_name.empty() && plain(row.process_name) == name_;
    }

private:
    static std::string plain(std::string name) {
        std::transform(name.begin(), name.end(), name.begin(), [](char unit) {
            return unit >= 'A' && unit <= 'Z' ? static_cast<char>(unit - 'A' + 'a') : unit;
        });
        return name.ends_with(".exe") ? name.substr(0, name.size() - 4) : name;
    }

    std::string name_;
    std::uint32_t id_ = 0;
    bool is_id_ = false;
};

/// What to list, and how.
struct selection {
    std::function<kvtip::protocol()> protocol;
    std::function<kvtip::family()> family;
    std::string state; ///< empty for all
    bool listening = false;
    std::optional<std::uint32_t> port, remote_port;
    std::optional<std::string> process;
    std::string order; ///< empty for the system's
    bool resolve = false;

    kvtip::connection_options options() const {
        const auto* found = find_in(kvtip::connection_state_names, state);
        return {.protocol = protocol(),
                .family = family(),
                .state = found == nullptr ? kvtip::connection_state::none : found->value,
                .local_port = static_cast<std::uint16_t>(port.value_or(0)),
                .remote_port = static_cast<std::uint16_t>(remote_port.value_or(0))};
    }

    rows list() const {
        rows found = kvtip::connections(options()).rows;
        if (listening) {
            std::erase_if(found, [](const kvtip::connection& each) {
                return each.protocol == kvtip::protocol::tcp && each.state != kvtip::connection_state::listen;
            });
        }
        if (process) {
            const process_choice wanted(*process);
            std::erase_if(found, [&](const kvtip::connection& each) { return !wanted.has(each); });
        }
        if (const auto* by = find_in(orders, order)) {
            std::stable_sort(found.begin(), found.end(), by->is_before);
        }
        return found;
    }
};

/// The names of addresses, each looked up once; empty for one without a name.
class name_cache {
public:
    const std::string& of(const kvtip::address& address) {
        const auto [at, is_new] = names_.try_emplace(address);
        if (is_new) {
            std::error_code error;
            const std::vector<std::string> found = kvtip::reverse(address, error);
            at->second = found.empty() ? "" : found.front();
        }
        return at->second;
    }

private:
    std::map<kvtip::address, std::string> names_;
};

value connection_value(const kvtip::connection& each) {
    const bool has_direction = each.direction != kvtip::direction::unknown;
    return {{"protocol", static_cast<std::uint32_t>(each.protocol)},
            {"protocol_name", text_or_null(to_string(each.protocol))},
            {"local", endpoint_value(each.local)},
            {"remote", each.remote ? endpoint_value(each.remote) : value()},
            {"state", number_or_null(static_cast<std::uint32_t>(each.state))},
            {"state_name", text_or_null(to_string(each.state))},
            {"direction", number_or_null(static_cast<std::uint32_t>(each.direction))},
            {"direction_name", has_direction ? text_or_null(to_string(each.direction)) : value()},
            {"process", process_value(each)},
            {"process_name", text_or_null(each.process_name)}};
}

value list(const selection& wanted) {
    name_cache names;
    return list_of(wanted.list(), [&](const kvtip::connection& each) {
        value row = connection_value(each);
        if (wanted.resolve && each.remote) {
            row.add("remote_name", text_or_null(names.of(each.remote.address())));
        }
        return row;
    });
}

operation prepare(parameters& expected) {
    auto wanted = std::make_shared<selection>();
    wanted->protocol = add_protocol(expected);
    wanted->family = add_family(expected);
    expected.add_choice("--state", wanted->state, "Only TCP connections in this state",
                        names_in(kvtip::connection_state_names));
    expected.exclude("--state", "--udp");
    expected.add_flag("--listening", wanted->listening, "Only TCP listeners and UDP endpoints");
    expected.exclude("--listening", "--state");
    expected.add_number("--port", wanted->port, "Only those with this local port", 1, 65535);
    expected.add_number("--remote-port", wanted->remote_port, "Only those with this remote port", 1, 65535);
    expected.add_text(
        "--process", wanted->process,
        "Only those of this process: its number, 0 for those whose process is unknown, or its program's "
        "name");
    expected.add_choice("--sort", wanted->order, "Sort by this column", names_in(orders));
    expected.add_flag("--resolve", wanted->resolve,
                      "Look the names of remote hosts up, which can take seconds for each");
    return [wanted](const progress&) { return list(*wanted); };
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"PROTOCOL", "protocol_name"}, {"LOCAL", "local", endpoint_text}, {"REMOTE", "peer"},
        {"STATE", "state_name"},       {"DIRECTION", "direction_name"},   {"PID", "process"},
        {"PROCESS", "process_name"}};
    const value shown = list_of(result.elements(), [](value row) {
        if (row.has("remote")) {
            const value& host = row["remote_name"];
            row.add("peer", host.is_null() ? endpoint_text(row["remote"])
                                           : host.text() + ":" + plain_text(row["remote"]["port"]));
        }
        return row;
    });
    const std::size_t count = shown.elements().size();
    return table_text(shown, columns, "no connections") +
           (count == 0 ? "" : std::to_string(count) + (count == 1 ? " connection\n" : " connections\n"));
}

} // namespace

const command connections_command = {
    .name = "connections",
    .summary = "List TCP connections, listeners and UDP endpoints",
    .examples = {"connections --listening --sort port", "connections --process 4 --remote-port 443"},
    .prepare = prepare,
    .text = text,
};
