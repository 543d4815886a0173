#pragma once

#include <functional>
#include <string>

#include <nlohmann/json.hpp>

namespace CLI {
class App;
}

/// JSON whose members stay in the order in which they were added.
using json = nlohmann::ordered_json;

/// A subcommand: one file, and one row in main.cpp's table.
struct command {
    const char* name;
    const char* summary;
    /// Adds the options that are the subcommand's own. What it returns does the work once these are
    /// parsed; it throws `kvt::exceptions::error` where an operation fails, and
    /// `CLI::ParseError` where an argument turns out to be none that it can use.
    std::function<json()> (*prepare)(CLI::App& options);
    /// The result of that work, for people.
    std::string (*text)(const json& result);
};

extern const command adapters_command;
extern const command addresses_command;
extern const command connect_command;
extern const command hostname_command;
extern const command name_command;
extern const command resolve_command;
