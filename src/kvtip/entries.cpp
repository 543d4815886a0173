// What the system offers the library: every row of every binding, held against the system's modules.

#include <vector>

#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/dns_server_query.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

using namespace kvtip::library;
using ip::detail::entry;
using ip::detail::entry_table;

namespace {

/// An entry, the table it stands in, and what the system has in its place.
struct found_entry {
    const entry* row;
    const entry_table* table;
    kvtip_entry_state state;
};

void append(std::vector<found_entry>& found, const entry_table& table) {
    module_handle module;
    const bool loaded = table.load(module);
    for (const entry& row : table.rows) {
        const bool bound = loaded && module.find(row.name) != nullptr;
        found.push_back({&row, &table,
                         bound                          ? KVTIP_ENTRY_BOUND
                         : loaded && row.has_substitute ? KVTIP_ENTRY_SUBSTITUTED
                                                        : KVTIP_ENTRY_MISSING});
    }
}

std::vector<found_entry> find_entries() {
    std::vector<found_entry> found;
    for (const auto& tables :
         {ip::detail::winsock_tables(), ip::detail::iphlpapi_tables(), ip::detail::dnsapi_tables(),
          ip::detail::remote_access_tables(), system_tables(), dns_server_tables()}) {
        for (const entry_table& table : tables) {
            append(found, table);
        }
    }
    return found;
}

void lay_out(block& out, kvtip_entry_list& list, const std::vector<found_entry>& found) {
    out.list(list, found.size(), [&](auto add) {
        for (const found_entry& each : found) {
            kvtip_entry& row = add();
            row.module = out.text(each.table->module);
            row.name = each.row->name;
            row.effect = each.row->effect;
            row.required = each.table->is_required;
            row.state = each.state;
        }
    });
}

} // namespace

uint32_t kvtip_entries(const kvtip_entry_list** entries) noexcept {
    if (!clear(entries)) {
        return ERROR_INVALID_PARAMETER;
    }
    return guarded([&] {
        const std::vector<found_entry> found = find_entries();
        *entries = block::make<kvtip_entry_list>(
            [&](block& out, kvtip_entry_list& list) { lay_out(out, list, found); });
        return ERROR_SUCCESS;
    });
}
