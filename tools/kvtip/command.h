#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "value.h"

class parameters;

/// Shows a line while the work still goes on.
using line_sink = std::function<void(std::string_view line)>;

/// The work of a subcommand. It throws `std::system_error` where an operation fails, and `usage_error` where
/// an argument turns out to be unusable.
using operation = std::function<value(const line_sink& show)>;

/// A subcommand: one file, and one row in main.cpp's table.
struct command {
    const char* name;
    const char* summary;
    /// Adds the subcommand's options and arguments. The work that it returns is done after these are parsed.
    operation (*prepare)(parameters& expected);
    /// Lays the result out for people, without the lines that were shown meanwhile.
    std::string (*text)(const value& result);
    /// The reason if the result counts as a failure, otherwise empty; null if it never does.
    std::string (*failure)(const value& result) = nullptr;
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
