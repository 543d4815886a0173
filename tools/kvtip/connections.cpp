#include <algorithm>
#include <optional>
#include <vector>

#include <winsock2.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/hlpapi.h"
#include "layout.h"
#include "network_values.h"
#include "processes.h"

namespace {

using connection = ip::hlpapi::_SIpConnection;

constexpr number_name states[] = {
    {ip::tcp_state_closed, "closed"},           {ip::tcp_state_listen, "listen"},
    {ip::tcp_state_syn_sent, "syn-sent"},       {ip::tcp_state_syn_received, "syn-received"},
    {ip::tcp_state_established, "established"}, {ip::tcp_state_fin_wait_1, "fin-wait-1"},
    {ip::tcp_state_fin_wait_2, "fin-wait-2"},   {ip::tcp_state_close_wait, "close-wait"},
    {ip::tcp_state_closing, "closing"},         {ip::tcp_state_last_ack, "last-ack"},
    {ip::tcp_state_time_wait, "time-wait"},     {ip::tcp_state_delete_tcb, "delete-tcb"}};
constexpr number_name directions[] = {{ip::direction_accepted, "accepted"}, {ip::direction_opened, "opened"}};
constexpr number_name protocols[] = {{IPPROTO_TCP, "TCP"}, {IPPROTO_UDP, "UDP"}};

/// What to list.
struct selection {
    bool tcp = false;
    bool udp = false;
    std::function<unsigned short()> family;
    std::string state; ///< empty for all
    std::optional<std::uint32_t> pid;

    unsigned long protocol() const { return tcp ? IPPROTO_TCP : udp ? IPPROTO_UDP : 0; }
    unsigned long state_number() const {
        const auto* found = std::find_if(std::begin(states), std::end(states),
                                         [&](const number_name& each) { return each.name == state; });
        return found == std::end(states) ? 0 : found->number;
    }
};

value connection_value(const connection& each, const process_names& processes) {
    const bool has_remote = each.protocol == IPPROTO_TCP && each.state != ip::tcp_state_listen;
    return {{"protocol", name_value(protocols, each.protocol)},
            {"local", endpoint_value(each.local)},
            {"remote", has_remote ? endpoint_value(each.remote) : value()},
            {"state", each.state},
            {"state_name", name_value(states, each.state)},
            {"direction", each.direction},
            {"direction_name", name_value(directions, each.direction)},
            {"pid", number_or_null(each.pid)},
            {"process", processes.find(each.pid)}};
}

value list_connections(const selection& wanted) {
    std::vector<connection> connections;
    check(ip::hlpapi::getConnections(connections, wanted.protocol(), wanted.family(), wanted.state_number()),
          "getConnections");
    const process_names processes;
    value result = value::list();
    for (const connection& each : connections) {
        if (each.pid == wanted.pid.value_or(each.pid)) {
            result.add(connection_value(each, processes));
        }
    }
    return result;
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
    return [wanted](const line_sink&) { return list_connections(*wanted); };
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
