#include <algorithm>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>
#include <winsock2.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/hlpapi.h"
#include "output.h"
#include "processes.h"

namespace {

using connection = ip::hlpapi::_SIpConnection;

constexpr unsigned listening = 2;
constexpr number_name states[] = {{1, "closed"},       {listening, "listen"}, {3, "syn-sent"},
                                  {4, "syn-received"}, {5, "established"},    {6, "fin-wait-1"},
                                  {7, "fin-wait-2"},   {8, "close-wait"},     {9, "closing"},
                                  {10, "last-ack"},    {11, "time-wait"},     {12, "delete-tcb"}};
constexpr number_name directions[] = {{1, "accepted"}, {2, "opened"}};
constexpr number_name protocols[] = {{IPPROTO_TCP, "TCP"}, {IPPROTO_UDP, "UDP"}};

/// What to list.
struct selection {
    bool tcp = false;
    bool udp = false;
    std::function<unsigned short()> family;
    std::string state; ///< empty for all
    std::optional<unsigned> pid;

    unsigned long protocol() const { return tcp ? IPPROTO_TCP : udp ? IPPROTO_UDP : 0; }
    unsigned long state_number() const {
        const auto* found = std::find_if(std::begin(states), std::end(states),
                                         [&](const number_name& each) { return each.name == state; });
        return found == std::end(states) ? 0 : found->number;
    }
};

json connection_json(const connection& each, const process_names& processes) {
    const bool has_remote = each.protocol == IPPROTO_TCP && each.state != listening;
    return {{"protocol", name_json(protocols, each.protocol)},
            {"local", endpoint_json(each.local)},
            {"remote", has_remote ? endpoint_json(each.remote) : json()},
            {"state", each.state},
            {"state_name", name_json(states, each.state)},
            {"direction", each.direction},
            {"direction_name", name_json(directions, each.direction)},
            {"pid", number_json(each.pid)},
            {"process", processes.find(each.pid)}};
}

json list_connections(const selection& wanted) {
    std::vector<connection> connections;
    check(ip::hlpapi::getConnections(connections, wanted.protocol(), wanted.family(), wanted.state_number()),
          "getConnections");
    const process_names processes;
    json result = json::array();
    for (const connection& each : connections) {
        if (each.pid == wanted.pid.value_or(each.pid)) {
            result.push_back(connection_json(each, processes));
        }
    }
    return result;
}

operation prepare(CLI::App& options) {
    std::vector<std::string> names;
    std::transform(std::begin(states), std::end(states), std::back_inserter(names),
                   [](const number_name& each) { return each.name; });
    auto wanted = std::make_shared<selection>();
    CLI::Option* tcp = options.add_flag("--tcp", wanted->tcp, "Only TCP");
    CLI::Option* udp = options.add_flag("--udp", wanted->udp, "Only UDP")->excludes(tcp);
    wanted->family = add_family(options);
    options.add_option("--state", wanted->state, "Only TCP connections in this state")
        ->check(CLI::IsMember(names))
        ->excludes(udp);
    options.add_option("--pid", wanted->pid, "Only those of this process; 0 for those of none")
        ->check(CLI::Range(0u, 4294967295u));
    return [wanted](const line_sink&) { return list_connections(*wanted); };
}

std::string text(const json& result) {
    constexpr column columns[] = {
        {"PROTOCOL", "protocol"}, {"LOCAL", "local", endpoint_text}, {"REMOTE", "remote", endpoint_text},
        {"STATE", "state_name"},  {"DIRECTION", "direction_name"},   {"PID", "pid"},
        {"PROCESS", "process"}};
    return table_text(result, columns, "no connections");
}

} // namespace

const command connections_command = {"connections", "List TCP connections, listeners and UDP endpoints",
                                     prepare, text};
