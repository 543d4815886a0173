#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "kvtip/address.hpp"
#include "kvtip/connections.hpp"
#include "value.h"

// Values of what the library reports.

/// The text; null if it is empty.
value text_or_null(std::string_view text);

/// The number; null for 0, where 0 stands for none.
value number_or_null(std::int64_t number);

/// The number; null for none.
template <class Number>
value optional_value(const std::optional<Number>& number) {
    return number ? value(*number) : value();
}

/// The text of an address, with its scope; null without an address.
value address_value(const kvtip::address& address);

/// A row with an address alone.
value address_row(const kvtip::address& address);

/// An object with the address and the port.
value endpoint_value(const kvtip::endpoint& endpoint);

/// The identifier of the process that owns a connection; null for 0, unless the system has a name for that.
value process_value(const kvtip::connection& connection);

/// A list of what `convert` makes of each row.
template <class Rows, class Convert>
value list_of(const Rows& rows, Convert convert) {
    value result = value::list();
    for (const auto& row : rows) {
        result.add(convert(row));
    }
    return result;
}
