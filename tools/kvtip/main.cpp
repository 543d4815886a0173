#include <algorithm>
#include <bit>
#include <exception>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <windows.h>

#include "command.h"
#include "command_line.h"
#include "console.h"
#include "encoding.h"
#include "kvtip/library.hpp"
#include "layout.h"

namespace {

constexpr const command* commands[] = {
    &report_command,     &doctor_command,   &adapters_command,    &addresses_command, &dns_command,
    &route_command,      &profile_command,  &resolve_command,     &name_command,      &lookup_command,
    &reverse_command,    &hostname_command, &connect_command,     &ping_command,      &trace_command,
    &neighbours_command, &mac_command,      &connections_command, &owner_command};

void discard_line(std::string_view /*line*/) {}

/// "kvtip", and the subcommand if it is known.
std::string program_name(const request& asked, const char* separator) {
    return asked.chosen == nullptr ? "kvtip" : std::string("kvtip") + separator + asked.chosen->name;
}

int fail(const request& asked, const std::string& reason) {
    print_error(program_name(asked, ": ") + ": " + reason);
    return 1;
}

/// Does the work, shows the result, and returns the exit status. Texts from outside become printable here,
/// before any subcommand lays them out.
int run_command(const request& asked) {
    std::error_code unused; // every operation also starts the library for itself, and reports a failure
    const kvtip::started library = kvtip::start(unused);
    const value result = asked.work(asked.as_json ? discard_line : print_line);
    print(asked.as_json ? result.to_json() + "\n" : asked.chosen->text(result.with_printable_text()));
    const std::string failure = asked.chosen->failure == nullptr ? "" : asked.chosen->failure(result);
    return failure.empty() ? 0 : fail(asked, failure);
}

int parse_and_run(request& asked, std::vector<std::string> arguments) {
    parse(commands, std::move(arguments), asked);
    if (!asked.help.empty()) {
        print(asked.help);
        return 0;
    }
    return run_command(asked);
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
    try {
        std::vector<std::string> arguments;
        std::transform(argv + std::min(argc, 1), argv + argc, std::back_inserter(arguments), to_utf8);
        return parse_and_run(asked, std::move(arguments));
    } catch (const usage_error& error) {
        print_error("kvtip: " + std::string(error.what()));
        print_error("try '" + program_name(asked, " ") + " --help'");
        return 2;
    } catch (const std::system_error& error) {
        return fail(asked, code_text(error.code().value(), error.code().message()));
    } catch (const std::bad_alloc&) {
        return fail(asked,
                    code_text(ERROR_NOT_ENOUGH_MEMORY, kvtip::category().message(ERROR_NOT_ENOUGH_MEMORY)));
    } catch (const std::exception& error) {
        return fail(asked, error.what());
    }
}
