#include "binding/remote_access.h"

#include "binding/entry_table.h"

namespace ip::detail {

namespace {

constexpr const char* no_dial_up = "No connection counts as dial-up.";

constexpr entry remote_access_rows[] = {
    KVTIP_ENTRY(remote_access_entries, RasEnumConnectionsW, no_dial_up),
    KVTIP_ENTRY(remote_access_entries, RasGetProjectionInfoW, no_dial_up),
};

constexpr entry_table remote_access_table{L"rasapi32.dll", false, remote_access_rows, true};

} // namespace

std::span<const entry_table> remote_access_tables() {
    return {&remote_access_table, 1};
}

remote_access_entries::remote_access_entries() {
    if (remote_access_table.load(module_)) {
        for (const entry& row : remote_access_rows) {
            row.bind(module_, this);
        }
    }
}

} // namespace ip::detail
