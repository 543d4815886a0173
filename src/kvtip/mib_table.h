#pragma once

// A table of rows that the system allocates.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstdint>
#include <memory>
#include <span>

#include "ip/detail/helper.h"

namespace kvtip::library {

/// Holds a `Table` of the system, and gives it back.
template <class Table>
class mib_table {
public:
    /// Fetches the table by an entry whose last argument says where to put it. Returns the entry's code, or
    /// 120 without the entry.
    template <class Entry, class... Arguments>
    std::uint32_t fetch(Entry entry, Arguments... arguments) {
        const auto release = ip::detail::bound_iphlpapi().FreeMibTable;
        if (entry == nullptr || release == nullptr) {
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
        Table* found = nullptr;
        const auto code = static_cast<std::uint32_t>(entry(arguments..., &found));
        table_ = {code == 0 ? found : nullptr, release};
        return code;
    }

    /// The rows; none without a table.
    auto rows() const {
        using row = std::remove_extent_t<decltype(Table::Table)>;
        return table_ == nullptr ? std::span<const row>()
                                 : std::span<const row>(table_->Table, table_->NumEntries);
    }

private:
    std::unique_ptr<Table, decltype(&::FreeMibTable)> table_{nullptr, nullptr};
};

constexpr bool is_empty_table(std::uint32_t code) {
    return code == ERROR_NOT_FOUND || code == ERROR_NO_DATA;
}

/// Whether the code says that the system cannot list what was asked for.
constexpr bool is_unsupported(std::uint32_t code) {
    return code == ERROR_CALL_NOT_IMPLEMENTED || code == ERROR_NOT_SUPPORTED ||
           code == ERROR_INVALID_FUNCTION;
}

} // namespace kvtip::library
