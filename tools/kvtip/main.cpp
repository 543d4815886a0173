#include <algorithm>
#include <bit>
#include <exception>
#include <iterator>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <windows.h>

#include "check.h"
#include "command.h"
#include "ip/lib.h"
#include "output.h"

namespace {

constexpr const command* commands[] = {
    &report_command,     &doctor_command,   &adapters_command,    &addresses_command, &dns_command,
    &route_command,      &profile_command,  &resolve_command,     &name_command,      &lookup_command,
    &reverse_command,    &hostname_command, &connect_command,     &ping_command,      &trace_command,
    &neighbours_command, &mac_command,      &connections_command, &owner_command};

void print_line(std::string_view line) {
    print(printable(line) + "\n");
}

void keep_quiet(std::string_view /*line*/) {}

/// "kvtip", and the subcommand on the command line if there is one.
std::string name_of(const CLI::App& app, const char* separator) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : app.get_name() + separator + chosen.front()->get_name();
}

int fail(const CLI::App& app, const std::string& reason) {
    complain(printable(name_of(app, ": ") + ": " + reason) + "\n");
    return 1;
}

int fail(const CLI::App& app, unsigned long code) {
    return fail(app, std::to_string(code) + ": " + system_message(code));
}

/// Does the work, shows the result, and returns the exit status.
int carry_out(const CLI::App& app, const command& chosen, const operation& work, bool as_json) {
    ip::lib library;
    if (!chosen.starts_itself) {
        check(library.init(), "start");
    }
    const json result = work(as_json ? keep_quiet : print_line);
    print(as_json ? json_text(result) : chosen.text(with_printable_text(result)));
    const std::string failure = chosen.failure == nullptr ? "" : chosen.failure(result);
    return failure.empty() ? 0 : fail(app, failure);
}

/// Does what the command line asks for, and returns the exit status.
int carry_out(CLI::App& app, std::vector<std::string> arguments) {
    bool as_json = false;
    std::vector<operation> operations;
    for (const command* each : commands) {
        CLI::App* options = app.add_subcommand(each->name, each->summary);
        options->add_flag("--json", as_json, "Print JSON");
        operations.push_back(each->prepare(*options));
    }
    try {
        std::reverse(arguments.begin(), arguments.end()); // the parser takes them from the end
        app.parse(std::move(arguments));
    } catch (const CLI::Success& help_or_version) {
        std::ostringstream text;
        app.exit(help_or_version, text, text);
        print(text.str());
        return 0;
    }
    for (std::size_t i = 0; i < operations.size(); ++i) {
        if (app.got_subcommand(commands[i]->name)) {
            return carry_out(app, *commands[i], operations[i], as_json);
        }
    }
    throw CLI::RequiredError("A subcommand");
}

/// A library loaded by its bare name then comes from the system folder, never from the folder of this program
/// or the current one. Systems that lack the call keep their usual search.
void load_from_system_folder_only() {
    using set_default_dll_directories = BOOL(WINAPI*)(DWORD);
    const auto set_folders = std::bit_cast<set_default_dll_directories>(
        GetProcAddress(GetModuleHandleW(L"kernel32"), "SetDefaultDllDirectories"));
    if (set_folders != nullptr) {
        set_folders(LOAD_LIBRARY_SEARCH_SYSTEM32);
    }
}

} // namespace

int wmain(int argc, wchar_t** argv) {
    load_from_system_folder_only();
    CLI::App app("Shows this host's IP networking, looks names up and tries what answers.", "kvtip");
    try {
        app.set_version_flag("--version", "kvtip " KVTIP_VERSION, "Print the version and exit");
        app.require_subcommand(0, 1);
        std::vector<std::string> arguments;
        std::transform(argv + std::min(argc, 1), argv + argc, std::back_inserter(arguments), to_utf8);
        return carry_out(app, std::move(arguments));
    } catch (const CLI::ParseError& usage) {
        complain(printable("kvtip: " + std::string(usage.what())) + "\ntry '" + name_of(app, " ") +
                 " --help'\n");
        return 2;
    } catch (const kvt::exceptions::error& error) {
        return fail(app, error.error_code());
    } catch (const std::bad_alloc&) {
        return fail(app, ERROR_NOT_ENOUGH_MEMORY);
    } catch (const std::exception& error) {
        return fail(app, error.what());
    }
}
