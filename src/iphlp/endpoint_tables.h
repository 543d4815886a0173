#pragma once

// The system's protocol for its tables of connections and endpoints.

#include <winsock2.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>

namespace ip::detail {

/// A table as the system writes it.
class table_bytes {
public:
    /// Makes room, whose content is undefined.
    void make_room(std::size_t size) {
        bytes_.reset(); // before there is more: the two need not be in memory at once
        size_ = 0;
        bytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
        size_ = size;
    }
    void clear() { *this = {}; }

    std::uint8_t* data() const { return bytes_.get(); }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_ = 0;
};

/// Fetches a table by `GetExtendedTcpTable` or `GetExtendedUdpTable`, which must be bound, into `table`,
/// whose room grows as the system asks. Returns the system's code, with an empty table after a failure;
/// throws `std::bad_alloc`.
template <class GetTable, class TableClass>
unsigned long fetch_table(GetTable get_table, TableClass table_class, unsigned short family,
                          table_bytes& table) {
    unsigned long code = ERROR_INSUFFICIENT_BUFFER;
    for (DWORD size = 1024; code == ERROR_INSUFFICIENT_BUFFER;) {
        size = std::max(size, static_cast<DWORD>(table.size())); // the system may ask for less than there is
        table.make_room(size);
        code = get_table(table.data(), &size, TRUE, family, table_class, 0);
    }
    if (code != 0) {
        table.clear();
    }
    return code;
}

/// The rows of a table: a count of 4 bytes and the rows after it. No more than the room holds, whatever the
/// count says; none for a table that was not fetched.
template <class Row>
std::span<const Row> rows_of(const table_bytes& table) {
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
