#include <exception>
#include <string>

#include "command.h"
#include "command_line.h"
#include "errors.h"
#include "ip/lib.h"
#include "layout.h"
#include "network_values.h"

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

value failure_value(unsigned long code, const std::string& message) {
    return {{"code", number_or_null(code)}, {"message", message}};
}

/// The work of a subcommand, or why it failed.
value run_section(const section& which) try {
    ip::lib library;
    if (!which.source->starts_library_itself) {
        check(library.init(), "start");
    }
    const operation work = prepare(*which.source, which.arguments);
    return {{"result", work([](std::string_view) {})}};
} catch (const kvt::exceptions::error& error) {
    return failure_value(error.error_code(), system_message(error.error_code()));
} catch (const std::exception& error) {
    return failure_value(0, error.what());
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
                                   : plain_text(part["code"]) + ": " + plain_text(part["message"]) + "\n";
    }
    return page;
}

/// A part that cannot be shown is not a failure, a library that does not start is.
std::string failure(const value& result) {
    return doctor_command.failure(result["system"]["result"]);
}

} // namespace

const command report_command = {"report",
                                "Show this host's networking on one page",
                                [](parameters&) -> operation { return report; },
                                text,
                                failure,
                                true};
