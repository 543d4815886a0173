#pragma once

#include <bit>
#include <span>
#include <type_traits>

#include "ip/detail/owners.h"

namespace ip::detail {

/// One entry of a system library: a row of a binding's table.
struct entry {
    const char* name;
    void (*store)(void* binding, FARPROC found);
    const char* effect;          ///< one sentence: what does not work without the entry, or works otherwise
    bool has_substitute = false; ///< whether the library then does the work itself

    /// Looks the entry up and stores the result. Returns false when it is null.
    bool bind(const module_handle& module, void* binding) const {
        const FARPROC found = module.find(name);
        store(binding, found);
        return found != nullptr;
    }
};

/// Rows of one module that are looked up together.
struct entry_table {
    const wchar_t* module;
    bool is_required; ///< whether the library starts only if all of them exist
    std::span<const entry> rows;
};

template <class Binding, auto Member>
void store_entry(void* binding, FARPROC found) {
    auto& member = static_cast<Binding*>(binding)->*Member;
    member = std::bit_cast<std::remove_reference_t<decltype(member)>>(found);
}

constexpr entry with_substitute(entry row) {
    row.has_substitute = true;
    return row;
}

inline constexpr const char* no_start = "The library does not start.";

// The tables of the bindings.
std::span<const entry_table> winsock_tables();
std::span<const entry_table> iphlpapi_tables();
std::span<const entry_table> dnsapi_tables();

} // namespace ip::detail

/// A row whose name and member cannot differ, since both come from one token.
// clang-format off
#define KVTIP_ENTRY(binding, name, effect) \
    ip::detail::entry{#name, &ip::detail::store_entry<binding, &binding::name>, effect}
// clang-format on
