#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "ip/adapter_enumerator.h"
#include "value.h"

// Values of what the library reports.

/// The text of an address, with the scope of a link-local one that has one; null without an address. An
/// `ip::lib` must be initialised.
value address_value(const ip::addr& address);
value address_value(const ip::saddr& address);
value address_value(const ip::saddr4& address);

/// A list of the addresses.
template <class Addresses>
value address_list(const Addresses& addresses) {
    value result = value::list();
    for (const auto& address : addresses) {
        result.add(address_value(address));
    }
    return result;
}

/// A port from network to host byte order, and back.
std::uint16_t swap_bytes(std::uint16_t port);

/// An object with the address and the port, in host byte order.
value endpoint_value(const ip::saddr& endpoint);

/// The adapter's name as users know it, otherwise its GUID.
std::string display_name(const ip::_SFindAdapter& adapter);

/// The text; null if it is empty.
value text_or_null(std::wstring_view text);

/// The number; null for 0, where 0 stands for none.
value number_or_null(std::int64_t number);

/// Bytes as "02-00-5E"; null for none.
value bytes_value(std::span<const std::uint8_t> bytes);

/// The name of a number that the system uses.
struct number_name {
    unsigned number;
    const char* name;
};

/// The name; null for a number that is not in the table.
value name_value(std::span<const number_name> names, std::uint32_t number);
