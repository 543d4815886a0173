#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "check.h"
#include "command.h"
#include "ip/lib.h"
#include "output.h"

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

json failed(unsigned long code, const std::string& message) {
    return {{"code", number_json(code)}, {"message", message}};
}

/// The work of a subcommand, or why it failed.
json run(const section& which) try {
    ip::lib library;
    if (!which.source->starts_itself) {
        check(library.init(), "start");
    }
    CLI::App options;
    const operation work = which.source->prepare(options);
    options.parse(std::string(which.arguments));
    return {{"result", work([](std::string_view) {})}};
} catch (const kvt::exceptions::error& error) {
    return failed(error.error_code(), system_message(error.error_code()));
} catch (const std::exception& error) {
    return failed(0, error.what());
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
                    : plain_text(part["code"]) + ": " + plain_text(part["message"]) + "\n";
    }
    return page;
}

/// What is not there to be shown is no failure, a library that does not start is.
std::string failure(const json& result) {
    return doctor_command.failure(result["system"]["result"]);
}

} // namespace

const command report_command = {"report",
                                "Show this host's networking on one page",
                                [](CLI::App&) -> operation { return report; },
                                text,
                                failure,
                                true};
