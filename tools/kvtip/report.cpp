#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "command.h"
#include "kvt/exceptions/error.h"
#include "output.h"

namespace {

/// A part of the report: what a subcommand shows.
struct section {
    const char* title;
    const command* source;
    std::vector<std::string> arguments = {};
};

const section sections[] = {
    {"host", &hostname_command},
    {"system", &doctor_command},
    {"adapters", &adapters_command},
    {"name servers", &dns_command},
    {"profile", &profile_command},
    {"IPv4 neighbours", &neighbours_command, {"4", "--family"}}, // the parser takes them from the end
    {"connections", &connections_command},
};

/// The work of a subcommand, or why it failed.
json run(const section& which) try {
    CLI::App options;
    const operation work = which.source->prepare(options);
    options.parse(std::vector<std::string>(which.arguments));
    return {{"result", work([](std::string_view) {})}};
} catch (const kvt::exceptions::error& error) {
    return {{"code", error.error_code()}, {"message", system_message(error.error_code())}};
}

json report(const line_sink& /*show*/) {
    json result;
    for (const section& each : sections) {
        result[each.title] = run(each);
    }
    return result;
}

std::string text(const json& result) {
    std::string page;
    for (const section& each : sections) {
        const json& part = result[each.title];
        page += (page.empty() ? "" : "\n") + std::string("== ") + each.title + "\n\n";
        page += part.contains("result")
                    ? each.source->text(part["result"])
                    : part["code"].dump() + ": " + part["message"].get<std::string>() + "\n";
    }
    return page;
}

} // namespace

const command report_command = {"report", "Show all of this on one page",
                                [](CLI::App&) -> operation { return report; }, text};
