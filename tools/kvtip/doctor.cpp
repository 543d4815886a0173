#include <algorithm>
#include <bit>
#include <vector>

#include <windows.h>

#include "command.h"
#include "failure.h"
#include "kvtip/library.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

bool is_bound(const value& entry) {
    return entry["state"] == static_cast<std::uint32_t>(kvtip::entry_state::bound);
}

/// The entry, with what its absence means.
value entry_value(const kvtip::entry& entry) {
    return {{"name", entry.name},
            {"required", entry.required},
            {"state", static_cast<std::uint32_t>(entry.state)},
            {"state_name", text_or_null(to_string(entry.state))},
            {"effect", entry.state == kvtip::entry_state::bound ? value() : value(entry.effect)}};
}

/// The libraries, each with its entries.
value libraries_value() {
    struct library {
        std::string name;
        std::vector<value> entries;
    };
    std::vector<library> libraries;
    for (const kvtip::entry& entry : kvtip::entries()) {
        auto found = std::find_if(libraries.begin(), libraries.end(),
                                  [&](const library& each) { return each.name == entry.module; });
        if (found == libraries.end()) {
            found = libraries.insert(found, {entry.module, {}});
        }
        found->entries.push_back(entry_value(entry));
    }
    return list_of(libraries, [](const library& each) -> value {
        return {{"module", each.name},
                {"loaded", std::any_of(each.entries.begin(), each.entries.end(), is_bound)},
                {"entries", each.entries}};
    });
}

/// The version, which the system reports in full to this call only.
value system_value() {
    using rtl_get_version = LONG(WINAPI*)(OSVERSIONINFOW*);
    const auto ask =
        std::bit_cast<rtl_get_version>(GetProcAddress(GetModuleHandleW(L"ntdll"), "RtlGetVersion"));
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (ask == nullptr || ask(&version) != 0) {
        return nullptr;
    }
    return {{"major", version.dwMajorVersion},
            {"minor", version.dwMinorVersion},
            {"build", version.dwBuildNumber}};
}

value examine(const progress& /*show*/) {
    std::error_code start;
    const kvtip::started held = kvtip::start(start);
    return {{"system", system_value()},
            {"starts", !start},
            {"start_error", start ? error_value(static_cast<std::uint32_t>(start.value())) : value()},
            {"libraries", libraries_value()}};
}

std::string version_text(const value& version) {
    return version.is_null() ? "unknown"
                             : plain_text(version["major"]) + "." + plain_text(version["minor"]) +
                                   ", build " + plain_text(version["build"]);
}

/// How many entries are bound, and what the absence of the others means.
value library_lines(const value& library) {
    const std::vector<value>& entries = library["entries"].elements();
    if (!library["loaded"].truth()) {
        const auto required = std::find_if(entries.begin(), entries.end(),
                                           [](const value& each) { return each["required"].truth(); });
        return "missing: " + (required == entries.end() ? entries.front() : *required)["effect"].text();
    }
    value lines = value::list();
    lines.add(std::to_string(std::count_if(entries.begin(), entries.end(), is_bound)) + " of " +
              std::to_string(entries.size()) + " entries");
    for (const value& each : entries) {
        if (!is_bound(each)) {
            lines.add(each["name"].text() + " is " + each["state_name"].text() + ": " +
                      each["effect"].text());
        }
    }
    return lines;
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "Windows", version_text(result["system"]));
    append_field(fields, "kvtIP",
                 result["starts"].truth() ? "starts"
                                          : "does not start: " + error_text(result["start_error"]));
    for (const value& library : result["libraries"].elements()) {
        append_field(fields, library["module"].text(), library_lines(library));
    }
    return fields;
}

value failure(const value& result) {
    return result["start_error"];
}

} // namespace

const command doctor_command = {
    .name = "doctor",
    .summary = "Show what the system offers the library, and what is missing",
    .examples = {"doctor", "doctor --json"},
    .prepare = [](parameters&) -> operation { return examine; },
    .text = text,
    .failure = failure,
};
