#include "kvtip/connections.hpp"

#include <algorithm>
#include <iterator>
#include <optional>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "layout.h"
#include "network_values.h"

namespace {

/// What to list.
struct selection {
    bool tcp = false;
    bool udp = false;
    std::function<kvtip::family()> family;
    std::string state; ///< empty for all
    std::optional<std::uint32_t> pid;

    kvtip::connection_options options() const {
        const auto* found =
            std::find_if(std::begin(kvtip::connection_state_names), std::end(kvtip::connection_state_names),
                         [&](const auto& each) { return each.name == state; });
        return {.protocol = tcp   ? kvtip::protocol::tcp
                            : udp ? kvtip::protocol::udp
                                  : kvtip::protocol::any,
                .family = family(),
                .state = found == std::end(kvtip::connection_state_names) ? kvtip::connection_state::none
                                                                          : found->value,
                .process = pid};
    }
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
            {"process", number_or_null(each.process)},
            {"process_name", text_or_null(each.process_name)}};
}

operation prepare(parameters& expected) {
    std::vector<std::string> names;
    std::transform(std::begin(kvtip::connection_state_names), std::end(kvtip::connection_state_names),
                   std::back_inserter(names), [](const auto& each) { return std::string(each.name); });
    auto wanted = std::make_shared<selection>();
    expected.add_flag("--tcp", wanted->tcp, "Only TCP");
    expected.add_flag("--udp", wanted->udp, "Only UDP");
    expected.exclude("--udp", "--tcp");
    wanted->family = add_family(expected);
    expected.add_choice("--state", wanted->state, "Only TCP connections in this state", names);
    expected.exclude("--state", "--udp");
    expected.add_number("--pid", wanted->pid, "Only those of this process; 0 for those without one", 0,
                        4294967295);
    return [wanted](const progress&) {
        return list_of(kvtip::connections(wanted->options()), connection_value);
    };
}

std::string text(const value& result) {
    constexpr column columns[] = {{"PROTOCOL", "protocol_name"},       {"LOCAL", "local", endpoint_text},
                                  {"REMOTE", "remote", endpoint_text}, {"STATE", "state_name"},
                                  {"DIRECTION", "direction_name"},     {"PID", "process"},
                                  {"PROCESS", "process_name"}};
    return table_text(result, columns, "no connections");
}

} // namespace

const command connections_command = {
    .name = "connections",
    .summary = "List TCP connections, listeners and UDP endpoints",
    .examples = {"connections --tcp --state listen", "connections --udp --family 4"},
    .prepare = prepare,
    .text = text,
};
