#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "value.h"

class parameters;

/// Shows what a subcommand that goes on, such as `ping`, has found so far. Such a subcommand has a
/// `row_text`. Its result, which ends the output, does not hold the rows again.
struct progress {
    /// Shows a line to people, such as a heading.
    std::function<void(std::string_view line)> line;
    /// Shows a row, which is an object: as the line of `row_text`, or as the member `row` of a JSON object on
    /// a line of its own.
    std::function<void(const value& row)> row;
};

/// The work of a subcommand. It throws `std::system_error` or `explained_error` where an operation fails, and
/// `usage_error` where an argument turns out to be unusable.
using operation = std::function<value(const progress& show)>;

/// A subcommand: one file, and one row in main.cpp's table. The keys of its values are the names of the
/// members in `kvtip.hpp`. docs/json.md shows them, and docs/json.schema.json has a part for each subcommand.
struct command {
    const char* name;
    const char* summary;
    /// Two command lines, after "kvtip", which the help shows.
    const char* examples[2];
    /// Adds the subcommand's options and arguments. The work that it returns is done after these are parsed.
    operation (*prepare)(parameters& expected);
    /// Lays the result out for people, without what was shown meanwhile. It may be empty.
    std::string (*text)(const value& result);
    /// The error (see failure.h) if the result counts as a failure, otherwise null. No function if it never
    /// does.
    value (*failure)(const value& result) = nullptr;
    /// Lays a row out for people, on one line. Only for a subcommand that goes on.
    std::string (*row_text)(const value& row) = nullptr;
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
extern const command me_command;
extern const command name_command;
extern const command neighbours_command;
extern const command owner_command;
extern const command ping_command;
extern const command port_command;
extern const command report_command;
extern const command resolve_command;
extern const command reverse_command;
extern const command route_command;
extern const command routes_command;
extern const command trace_command;
extern const command traffic_command;
extern const command watch_command;
