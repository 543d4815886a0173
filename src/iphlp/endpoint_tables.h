#pragma once

// The system's protocol for its tables of connections and endpoints.

#include <winsock2.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace ip::detail {

/// Fetches a table by `GetExtendedTcpTable` or `GetExtendedUdpTable`, which must be bound, into `table`,
/// whose room grows as the system asks. Returns the system's code; throws `std::bad_alloc`.
template <class GetTable, class TableClass>
unsigned long fetch_table(GetTable get_table, TableClass table_class, unsigned short family,
                          std::vector<std::uint8_t>& table) {
    table.resize(1024);
    auto size = static_cast<DWORD>(table.size());
    unsigned long code = 0;
    while ((code = get_table(table.data(), &size, TRUE, family, table_class, 0)) ==
           ERROR_INSUFFICIENT_BUFFER) {
        table.resize(std::max<std::size_t>(table.size(), size)); // the system may ask for less than there is
        size = static_cast<DWORD>(table.size());
    }
    return code;
}

/// The rows of a table: a count of 4 bytes and the rows after it. No more than the room holds, whatever the
/// count says; none for a table that was not fetched.
template <class Row>
std::span<const Row> rows_of(const std::vector<std::uint8_t>& table) {
    DWORD count = 0;
    if (table.size() < sizeof count) {
        return {};
    }
    std::memcpy(&count, table.data(), sizeof count);
    const std::size_t room = (table.size() - sizeof count) / sizeof(Row);
    static_assert(alignof(Row) <= sizeof count);
    return {reinterpret_cast<const Row*>(table.data() + sizeof count), std::min<std::size_t>(count, room)};
}

} // namespace ip::detail
