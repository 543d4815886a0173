#include <algorithm>
#include <bit>
#include <vector>

#include <windows.h>

#include "command.h"
#include "kvtip/library.hpp"
#include "layout.h"
#include "network_values.h"

namespace {

bool is_bound(const value& entry) {
    return entry["state"] == "bound";
}

/// The entry, with what its absence means.
value entry_value(const kvtip::entry& entry) {
    return {{"name", entry.name},
            {"required", entry.required},
            {"state", text_or_null(to_string(entry.state))},
            {"meaning", entry.state == kvtip::entry_state::bound ? value() : value(entry.effect)}};
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

value examine(const line_sink& /*show*/) {
    std::error_code start;
    const kvtip::started held = kvtip::start(start);
    return {{"system", system_value()}, {"start", start.value()}, {"libraries", libraries_value()}};
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
        return "missing: " + (required == entries.end() ? entries.front() : *required)["meaning"].text();
    }
    value lines = value::list();
    lines.add(std::to_string(std::count_if(entries.begin(), entries.end(), is_bound)) + " of " +
              std::to_string(entries.size()) + " entries");
    for (const value& each : entries) {
        if (!is_bound(each)) {
            lines.add(each["name"].text() + " is " + each["state"].text() + ": " + each["meaning"].text());
        }
    }
    return lines;
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "Windows", version_text(result["system"]));
    const value& code = result["start"];
    const std::string meaning = kvtip::category().message(static_cast<int>(code.number()));
    append_field(fields, "kvtIP", code == 0 ? "starts" : "does not start: " + code_text(code, meaning));
    for (const value& library : result["libraries"].elements()) {
        append_field(fields, library["module"].text(), library_lines(library));
    }
    return fields;
}

std::string failure(const value& result) {
    return result["start"] == 0 ? "" : "the library does not start";
}

} // namespace

const command doctor_command = {"doctor", "Show what the system offers the library, and what is missing",
                                [](parameters&) -> operation { return examine; }, text, failure};
