#include <algorithm>
#include <bit>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include "command.h"
#include "command_line.h"
#include "console.h"
#include "encoding.h"
#include "failure.h"
#include "kvtip/library.hpp"

namespace {

constexpr const command* commands[] = {
    &report_command, &doctor_command, &adapters_command,   &traffic_command,  &addresses_command,
    &dns_command,    &route_command,  &routes_command,     &me_command,       &resolve_command,
    &name_command,   &lookup_command, &reverse_command,    &hostname_command, &connect_command,
    &ping_command,   &trace_command,  &neighbours_command, &mac_command,      &connections_command,
    &port_command,   &owner_command,  &watch_command};

// Exit statuses.
constexpr int failed = 1;
constexpr int wrong_command_line = 2;

/// "kvtip", and the subcommand if it is known.
std::string program_name(const request& asked, const char* separator) {
    return asked.chosen == nullptr ? "kvtip" : std::string("kvtip") + separator + asked.chosen->name;
}

/// Prints a JSON object of the contract in docs/json.md, on one line if others can follow.
void print_json(const request& asked, const std::vector<value::member>& content) {
    constexpr int schema = 1;
    value frame{{"schema", schema}, {"command", asked.chosen == nullptr ? value() : asked.chosen->name}};
    for (const value::member& each : content) {
        frame.add(each.name, each.content);
    }
    const bool on_one_line = asked.chosen != nullptr && asked.chosen->row_text != nullptr;
    print((on_one_line ? frame.to_json() : frame.to_indented_json()) + "\n");
}

/// Texts from outside become printable here, before any subcommand lays them out.
progress progress_for(const request& asked) {
    if (asked.as_json) {
        return {[](std::string_view) {}, [&](const value& row) { print_json(asked, {{"row", row}}); }};
    }
    return {[](std::string_view line) { print(printable(line) + "\n"); },
            [&](const value& row) { print(asked.chosen->row_text(row.with_printable_text()) + "\n"); }};
}

/// What has been found, and what went wrong.
struct outcome {
    value result;
    value error;
    int status = 0;
};

outcome run_command(const request& asked) {
    std::error_code unused; // every operation also starts the library for itself, and reports a failure
    const kvtip::started library = kvtip::start(unused);
    const value result = asked.work(progress_for(asked));
    const value error = asked.chosen->failure == nullptr ? value() : asked.chosen->failure(result);
    return {result, error, error.is_null() ? 0 : failed};
}

/// Whether something is missing that the library needs.
bool shows_lack(const value& code) {
    return code == ERROR_CALL_NOT_IMPLEMENTED || code == ERROR_MOD_NOT_FOUND || code == ERROR_PROC_NOT_FOUND;
}

void show(const request& asked, const outcome& end) {
    if (asked.as_json) {
        print_json(asked, {{"result", end.result}, {"error", end.error}});
        return;
    }
    if (!end.result.is_null()) {
        print(asked.chosen->text(end.result.with_printable_text()));
    }
    if (end.status == wrong_command_line) {
        print_error("kvtip: " + end.error["message"].text());
        print_error("try '" + program_name(asked, " ") + " --help'");
    } else if (end.status != 0) {
        print_error(program_name(asked, ": ") + ": " + error_text(end.error));
        if (shows_lack(end.error["code"])) {
            print_error("try 'kvtip doctor', which shows what this system lacks");
        }
    }
}

/// Does what is asked for and returns the exit status.
int run(request& asked, std::vector<std::string> arguments) try {
    outcome end;
    try {
        parse(commands, std::move(arguments), asked);
        if (!asked.help.empty()) {
            print(asked.help);
            return 0;
        }
        end = run_command(asked);
    } catch (const output_error&) {
        throw;
    } catch (const usage_error&) {
        end = {value(), current_error(), wrong_command_line};
    } catch (...) {
        end = {value(), current_error(), failed};
    }
    show(asked, end);
    return end.status;
} catch (const output_error& error) {
    if (!error.is_closed_pipe()) {
        print_error(program_name(asked, ": ") + ": " + error_text(current_error()));
    }
    return failed;
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
    request asked;
    std::vector<std::string> arguments;
    std::transform(argv + std::min(argc, 1), argv + argc, std::back_inserter(arguments), to_utf8);
    return run(asked, std::move(arguments));
}
