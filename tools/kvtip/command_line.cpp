// The option parser's header takes long to compile: this is the only file that includes it.

#include "command_line.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include <CLI/CLI.hpp>

void parameters::add_flag(const char* name, bool& given, const char* description) {
    parser_.add_flag(name, given, description);
}

void parameters::add_number(const char* name, std::uint32_t& number, const char* description,
                            std::uint32_t least, std::uint32_t most) {
    parser_.add_option(name, number, description)->check(CLI::Range(least, most))->capture_default_str();
}

void parameters::add_number(const char* name, std::optional<std::uint32_t>& number, const char* description,
                            std::uint32_t least, std::uint32_t most) {
    CLI::Option* option = parser_.add_option(name, number, description)->check(CLI::Range(least, most));
    option->required(option->get_positional());
}

void parameters::add_seconds(const char* name, double& seconds, const char* description, unsigned most) {
    parser_.add_option(name, seconds, description)->check([most](const std::string& text) {
        const double given = std::strtod(text.c_str(), nullptr); // the parser refuses what is not a number
        const bool usable = given > 0 && given <= most;          // which a NaN is not
        return usable ? "" : text + " is not above 0 and up to " + std::to_string(most);
    });
}

void parameters::add_choice(const char* name, std::string& choice, const char* description,
                            const std::vector<std::string>& choices) {
    CLI::Option* option = parser_.add_option(name, choice, description)->check(CLI::IsMember(choices));
    if (!choice.empty()) {
        option->capture_default_str();
    }
}

void parameters::add_text(const char* name, std::string& text, const char* description) {
    CLI::Option* option = parser_.add_option(name, text, description)->check([](const std::string& given) {
        return std::string(given.empty() ? "must not be empty" : "");
    });
    if (text.empty()) {
        option->required();
    } else {
        option->capture_default_str();
    }
}

void parameters::exclude(const char* one, const char* other) {
    parser_.get_option(one)->excludes(parser_.get_option(other));
}

void parse(std::span<const command* const> commands, std::vector<std::string> arguments, request& asked) {
    CLI::App app("Shows this host's IP networking, looks names up and tests whether hosts answer.", "kvtip");
    app.set_version_flag("--version", "kvtip " KVTIP_TOOL_VERSION, "Print the version and exit");
    app.require_subcommand(0, 1);
    std::vector<operation> operations;
    for (const command* each : commands) {
        CLI::App* subcommand = app.add_subcommand(each->name, each->summary);
        subcommand->add_flag("--json", asked.as_json, "Print JSON");
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
    };
    try {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
        app.parse(std::move(arguments));
    } catch (const CLI::Success& help_or_version) {
        std::ostringstream text;
        app.exit(help_or_version, text, text);
        asked.help = text.str();
        return;
    } catch (const CLI::ParseError& error) {
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
