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

constexpr number_name states[] = {
    {KVTIP_STATE_CLOSED, "closed"},           {KVTIP_STATE_LISTEN, "listen"},
    {KVTIP_STATE_SYN_SENT, "syn-sent"},       {KVTIP_STATE_SYN_RECEIVED, "syn-received"},
    {KVTIP_STATE_ESTABLISHED, "established"}, {KVTIP_STATE_FIN_WAIT_1, "fin-wait-1"},
    {KVTIP_STATE_FIN_WAIT_2, "fin-wait-2"},   {KVTIP_STATE_CLOSE_WAIT, "close-wait"},
    {KVTIP_STATE_CLOSING, "closing"},         {KVTIP_STATE_LAST_ACK, "last-ack"},
    {KVTIP_STATE_TIME_WAIT, "time-wait"},     {KVTIP_STATE_DELETE_TCB, "delete-tcb"}};
constexpr number_name directions[] = {{KVTIP_DIRECTION_IN, "accepted"}, {KVTIP_DIRECTION_OUT, "opened"}};
constexpr number_name protocols[] = {{KVTIP_TCP, "TCP"}, {KVTIP_UDP, "UDP"}};

/// What to list.
struct selection {
    bool tcp = false;
    bool udp = false;
    std::function<kvtip::family()> family;
    std::string state; ///< empty for all
    std::optional<std::uint32_t> pid;

    kvtip::connection_options options() const {
        const auto* found = std::find_if(std::begin(states), std::end(states),
                                         [&](const number_name& each) { return each.name == state; });
        return {.protocol = tcp   ? kvtip::protocol::tcp
                            : udp ? kvtip::protocol::udp
                                  : kvtip::protocol::any,
                .family = family(),
                .state = found == std::end(states) ? kvtip::connection_state::none
                                                   : static_cast<kvtip::connection_state>(found->number),
                .process = pid};
    }
};

value connection_value(const kvtip::connection& each) {
    const auto state = static_cast<std::uint32_t>(each.state);
    const auto direction = static_cast<std::uint32_t>(each.direction);
    return {{"protocol", name_value(protocols, static_cast<std::uint32_t>(each.protocol))},
            {"local", endpoint_value(each.local)},
            {"remote", each.remote ? endpoint_value(each.remote) : value()},
            {"state", state},
            {"state_name", name_value(states, state)},
            {"direction", direction},
            {"direction_name", name_value(directions, direction)},
            {"pid", number_or_null(each.process)},
            {"process", text_or_null(each.process_name)}};
}

operation prepare(parameters& expected) {
    std::vector<std::string> names;
    std::transform(std::begin(states), std::end(states), std::back_inserter(names),
                   [](const number_name& each) { return each.name; });
    auto wanted = std::make_shared<selection>();
    expected.add_flag("--tcp", wanted->tcp, "Only TCP");
    expected.add_flag("--udp", wanted->udp, "Only UDP");
    expected.exclude("--udp", "--tcp");
    wanted->family = add_family(expected);
    expected.add_choice("--state", wanted->state, "Only TCP connections in this state", names);
    expected.exclude("--state", "--udp");
    expected.add_number("--pid", wanted->pid, "Only those of this process; 0 for those without one", 0,
                        4294967295);
    return [wanted](const line_sink&) {
        return list_of(kvtip::connections(wanted->options()), connection_value);
    };
}

std::string text(const value& result) {
    constexpr column columns[] = {
        {"PROTOCOL", "protocol"}, {"LOCAL", "local", endpoint_text}, {"REMOTE", "remote", endpoint_text},
        {"STATE", "state_name"},  {"DIRECTION", "direction_name"},   {"PID", "pid"},
        {"PROCESS", "process"}};
    return table_text(result, columns, "no connections");
}

} // namespace

const command connections_command = {"connections", "List TCP connections, listeners and UDP endpoints",
                                     prepare, text};
