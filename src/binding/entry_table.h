#pragma once

#include <bit>
#include <span>
#include <string>
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
    bool is_in_system_folder = false; ///< whether no other folder may supply the module

    /// Loads the module: by its name, for which the program says where to search, or by its full path.
    bool load(module_handle& library) const {
        if (!is_in_system_folder) {
            return library.load(module);
        }
        wchar_t folder[MAX_PATH];
        const UINT length = GetSystemDirectoryW(folder, MAX_PATH);
        return length != 0 && length < MAX_PATH &&
               library.load((std::wstring(folder, length) + L'\\' + module).c_str());
    }
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
std::span<const entry_table> remote_access_tables();

} // namespace ip::detail

/// A row whose name and member cannot differ, since both come from one token.
// clang-format off
#define KVTIP_ENTRY(binding, name, effect) \
    ip::detail::entry{#name, &ip::detail::store_entry<binding, &binding::name>, effect}
// clang-format on
