// The option parser's header takes long to compile: this is the only file that includes it.

#include "command_line.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <CLI/CLI.hpp>

namespace {

/// An option or argument for a whole number, with its limits in the help.
template <class Number>
CLI::Option* add_in_range(CLI::App& parser, const char* name, Number& number, const std::string& description,
                          std::uint32_t least, std::uint32_t most) {
    const std::string limits = std::to_string(least) + " to " + std::to_string(most);
    const auto check = [=](const std::string& text) {
        char* end = nullptr;
        const auto given = std::strtoull(text.c_str(), &end, 10);
        return *end == 0 && given >= least && given <= most ? "" : text + " is not a number from " + limits;
    };
    return parser.add_option(name, number, description + " (" + limits + ")")
        ->check(check)
        ->type_name("NUMBER");
}

std::string refuse_empty(const std::string& given) {
    return given.empty() ? "must not be empty" : "";
}

/// An option or argument for text.
template <class Text>
CLI::Option* add_any_text(CLI::App& parser, const char* name, Text& text, const char* description) {
    CLI::Option* option = parser.add_option(name, text, description)->check(refuse_empty);
    return option->type_name(option->get_positional() ? "" : "TEXT");
}

} // namespace

void parameters::add_flag(const char* name, bool& given, const char* description) {
    parser_.add_flag(name, given, description);
}

void parameters::add_number(const char* name, std::uint32_t& number, const char* description,
                            std::uint32_t least, std::uint32_t most) {
    add_in_range(parser_, name, number, description, least, most)->capture_default_str();
}

void parameters::add_number(const char* name, std::optional<std::uint32_t>& number, const char* description,
                            std::uint32_t least, std::uint32_t most) {
    CLI::Option* option = add_in_range(parser_, name, number, description, least, most);
    option->required(option->get_positional());
}

void parameters::add_seconds(const char* name, double& seconds, const char* description, unsigned most) {
    const auto check = [most](const std::string& text) {
        char* end = nullptr;
        const double given = std::strtod(text.c_str(), &end);
        const bool usable = *end == 0 && given > 0 && given <= most; // which a NaN is not
        return usable ? "" : text + " is not a number of seconds above 0 and up to " + std::to_string(most);
    };
    parser_.add_option(name, seconds, description)->check(check)->type_name("SECONDS");
}

void parameters::add_choice(const char* name, std::string& choice, const char* description,
                            const std::vector<std::string>& choices) {
    CLI::Option* option =
        parser_.add_option(name, choice, description)->transform(CLI::IsMember(choices, CLI::ignore_case));
    if (!choice.empty()) {
        option->capture_default_str();
    }
}

void parameters::add_text(const char* name, std::optional<std::string>& text, const char* description) {
    add_any_text(parser_, name, text, description);
}

void parameters::add_text(const char* name, std::string& text, const char* description) {
    CLI::Option* option = add_any_text(parser_, name, text, description);
    if (text.empty()) {
        option->required();
    } else {
        option->capture_default_str();
    }
}

void parameters::add_texts(const char* name, std::vector<std::string>& texts, const char* description) {
    add_any_text(parser_, name, texts, description)->required();
}

void parameters::exclude(const char* one, const char* other) {
    parser_.get_option(one)->excludes(parser_.get_option(other));
}

namespace {

/// What every help ends with.
std::string help_end(const char* const (&examples)[2]) {
    return std::string("Examples:\n  kvtip ") + examples[0] + "\n  kvtip " + examples[1] +
           "\n\nExit codes:\n"
           "  0  success\n"
           "  1  the operation failed\n"
           "  2  the command line cannot be understood\n";
}

/// "kvtip help ping" and "kvtip ping /?" mean "kvtip ping --help".
void understand_help(std::vector<std::string>& arguments) {
    while (!arguments.empty() && arguments.front() == "help") {
        arguments.front() = "--help";
        std::rotate(arguments.begin(), arguments.begin() + 1, arguments.end());
    }
    std::replace(arguments.begin(), arguments.end(), std::string("/?"), std::string("--help"));
}

} // namespace

void parse(std::span<const command* const> commands, std::vector<std::string> arguments, request& asked) {
    understand_help(arguments);
    const std::string first = arguments.empty() ? "" : arguments.front();
    const bool json_wanted = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
    CLI::App app("Shows this host's IP networking, looks names up and tests whether hosts answer.", "kvtip");
    app.set_version_flag("--version", "kvtip " KVTIP_TOOL_VERSION, "Print the version and exit");
    app.add_flag("--json", asked.as_json, "Print JSON");
    app.require_subcommand(0, 1);
    app.footer(help_end({"report", "help connections"}));
    std::vector<operation> operations;
    for (const command* each : commands) {
        CLI::App* subcommand = app.add_subcommand(each->name, each->summary);
        subcommand->add_flag("--json", asked.as_json, "Print JSON");
        subcommand->footer(help_end(each->examples));
        parameters expected(*subcommand);
        operations.push_back(each->prepare(expected));
    }
    const auto note_chosen = [&] {
        for (std::size_t i = 0; i < commands.size(); ++i) {
            if (app.got_subcommand(commands[i]->name)) {
                asked.chosen = commands[i];
                asked.work = operations[i];
            }
        }
        if (asked.chosen == nullptr && !first.empty() && first.front() != '-') {
            throw usage_error("there is no subcommand " + first);
        }
    };
    try {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
        app.parse(std::move(arguments));
    } catch (const CLI::Success& help_or_version) {
        note_chosen();
        std::ostringstream text;
        app.exit(help_or_version, text, text);
        asked.help = text.str();
        return;
    } catch (const CLI::ParseError& error) {
        asked.as_json = json_wanted; // which the parser may not have come to
        note_chosen();
        throw usage_error(error.what());
    }
    note_chosen();
    if (asked.chosen == nullptr) {
        throw usage_error("A subcommand is required");
    }
}

operation prepare(const command& which, const std::string& arguments) {
    CLI::App app;
    parameters expected(app);
    operation work = which.prepare(expected);
    try {
        app.parse(arguments);
    } catch (const CLI::ParseError& error) {
        throw usage_error(error.what());
    }
    return work;
}
