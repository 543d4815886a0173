#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace CLI {
class App;
}

/// JSON whose members stay in the order in which they were added.
using json = nlohmann::ordered_json;

/// Takes a line for people while the work still goes on.
using line_sink = std::function<void(std::string_view line)>;

/// The work of a subcommand. It throws `kvt::exceptions::error` where an operation fails, and
/// `CLI::ParseError` where an argument turns out to be none that it can use.
using operation = std::function<json(const line_sink& show)>;

/// A subcommand: one file, and one row in main.cpp's table.
struct command {
    const char* name;
    const char* summary;
    /// Adds the options that are the subcommand's own, for work to be done once these are parsed.
    operation (*prepare)(CLI::App& options);
    /// The result of that work, for people: what they have not been shown yet.
    std::string (*text)(const json& result);
    /// Why the result is a failure for all that there is to show, empty if it is none; null for never.
    std::string (*failure)(const json& result) = nullptr;
    bool starts_itself = false; ///< whether it wants to see for itself that the library starts
};

extern const command adapters_command;
extern const command addresses_command;
extern const command connect_command;
extern const command connections_command;
extern const command dns_command;
extern const command doctor_command;
extern const command hostname_command;
extern const command lookup_command;
extern const command mac_command;
extern const command name_command;
extern const command neighbours_command;
extern const command owner_command;
extern const command ping_command;
extern const command profile_command;
extern const command report_command;
extern const command resolve_command;
extern const command reverse_command;
extern const command route_command;
extern const command trace_command;
