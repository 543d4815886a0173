#include <exception>
#include <string>

#include "command.h"
#include "command_line.h"
#include "failure.h"

namespace {

/// A part of the report: what a subcommand shows.
struct section {
    const command* source;
    const char* title;
    const char* arguments = "";
};

const section sections[] = {
    {&hostname_command, "host"},           {&doctor_command, "system"},
    {&adapters_command, "adapters"},       {&dns_command, "name servers"},
    {&me_command, "primary adapter"},      {&neighbours_command, "IPv4 neighbours", "--family 4"},
    {&connections_command, "connections"},
};

/// The work of a subcommand, or why it failed.
value run_section(const section& which) try {
    const operation work = prepare(*which.source, which.arguments);
    return {{"result", work({})}};
} catch (const std::exception&) {
    return {{"error", current_error()}};
}

value report(const progress& /*show*/) {
    value result = value::object();
    for (const section& each : sections) {
        result.add(each.source->name, run_section(each));
    }
    return result;
}

std::string text(const value& result) {
    std::string page;
    for (const section& each : sections) {
        const value& part = result[each.source->name];
        page += (page.empty() ? "" : "\n") + std::string("== ") + each.title + "\n\n";
        page += part.has("result") ? each.source->text(part["result"]) : error_text(part["error"]) + "\n";
    }
    return page;
}

/// A part that cannot be shown is not a failure, a library that does not start is.
value failure(const value& result) {
    return doctor_command.failure(result[doctor_command.name]["result"]);
}

} // namespace

const command report_command = {
    .name = "report",
    .summary = "Show this host's networking on one page",
    .examples = {"report", "report --json"},
    .prepare = [](parameters&) -> operation { return report; },
    .text = text,
    .failure = failure,
};
