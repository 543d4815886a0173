#pragma once

// The two sources of adapters, and what both need to write their rows.

#include <windows.h>

#include <cstddef>
#include <cstdint>

#include "kvtip/adapter_details.h"
#include "kvtip/adapter_rows.h"
#include "kvtip/block.h"

namespace kvtip::library {

/// What the caller wants to see.
struct selection {
    bool has(const kvtip_address& address) const {
        return address.family != 0 && (family == 0 || family == address.family);
    }

    std::uint32_t family;
    bool up;
    bool with_device_ids;
    adapter_details* details; ///< null: none are wanted
};

/// Lists the adapters by `GetAdaptersAddresses`, which must be bound. Returns 0 or the code without rows.
std::uint32_t list_newer_adapters(const selection& wanted, adapter_rows& rows);

/// The same by the enumerator of the classes, which then knows IPv4 only.
std::uint32_t list_older_adapters(const selection& wanted, adapter_rows& rows);

/// What a walk calls that only counts.
inline constexpr auto ignore = [](const auto&...) {};

// A walk, `walk(use)`, calls `use` for each thing and returns how many there are.

/// Makes the list of the adapters that a walk passes to `use`; `write(block&, row, adapter)` fills a row with
/// what the source has.
template <class Walk, class Write>
const kvtip_adapter_list* make_rows(const selection& wanted, std::uint32_t missing, Walk walk, Write write) {
    return block::make<kvtip_adapter_list>([&](block& out, kvtip_adapter_list& list) {
        list.missing = missing | (wanted.details == nullptr ? 0 : wanted.details->missing());
        out.list(list, walk(ignore), [&](auto add) {
            walk([&](const auto& adapter) {
                kvtip_adapter& row = add();
                write(out, row, adapter);
                row.kind = kind_of_type(row.type);
                row.physical = KVTIP_UNKNOWN_PHYSICAL;
                if (wanted.details != nullptr) {
                    wanted.details->write(out, row);
                }
            });
        });
    });
}

/// Writes the addresses that a walk passes to `use`.
template <class Walk>
void write_addresses(block& out, const kvtip_address*& addresses, std::size_t& count, Walk walk) {
    count = walk(ignore);
    auto* next = out.array<kvtip_address>(count);
    addresses = next;
    if (!out.is_measuring()) {
        walk([&](const kvtip_address& address, const auto&) { *next++ = address; });
    }
}

/// Writes the rows that `make` returns for the addresses, and where they came from.
template <class Walk, class Make>
void write_addresses(block& out, kvtip_adapter_address_list& list, Walk walk, Make make) {
    out.flat_list(list, walk(ignore), [&](auto add) {
        walk([&](const kvtip_address& address, const auto& origin) { add() = make(address, origin); });
    });
}

} // namespace kvtip::library
