#include <exception>
#include <string>

#include "command.h"
#include "command_line.h"
#include "kvtip/error.hpp"
#include "layout.h"

namespace {

/// A part of the report: what a subcommand shows.
struct section {
    const char* title;
    const command* source;
    const char* arguments = "";
};

const section sections[] = {
    {"host", &hostname_command},           {"system", &doctor_command},
    {"adapters", &adapters_command},       {"name servers", &dns_command},
    {"profile", &profile_command},         {"IPv4 neighbours", &neighbours_command, "--family 4"},
    {"connections", &connections_command},
};

/// The work of a subcommand, or why it failed.
value run_section(const section& which) try {
    const operation work = prepare(*which.source, which.arguments);
    return {{"result", work([](std::string_view) {})}};
} catch (const std::system_error& error) {
    return {{"code", error.code().value()}, {"message", error.code().message()}};
} catch (const std::exception& error) {
    return {{"code", nullptr}, {"message", error.what()}};
}

value report(const line_sink& /*show*/) {
    value result = value::object();
    for (const section& each : sections) {
        result.add(each.title, run_section(each));
    }
    return result;
}

std::string text(const value& result) {
    std::string page;
    for (const section& each : sections) {
        const value& part = result[each.title];
        page += (page.empty() ? "" : "\n") + std::string("== ") + each.title + "\n\n";
        page += part.has("result") ? each.source->text(part["result"])
                                   : code_text(part["code"], part["message"]) + "\n";
    }
    return page;
}

/// A part that cannot be shown is not a failure, a library that does not start is.
std::string failure(const value& result) {
    return doctor_command.failure(result["system"]["result"]);
}

} // namespace

const command report_command = {"report", "Show this host's networking on one page",
                                [](parameters&) -> operation { return report; }, text, failure};
