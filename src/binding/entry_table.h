#pragma once

#include <bit>
#include <type_traits>

#include "ip/detail/owners.h"

namespace ip::detail {

/// One row of a binding's table: the name an entry is looked up by, and the member that holds it.
template <class Binding>
struct entry {
    const char* name;
    void (*store)(Binding&, FARPROC);

    /// Looks the entry up and stores what was found; false when that is null.
    bool bind(Binding& binding) const {
        const FARPROC found = binding.module.find(name);
        store(binding, found);
        return found != nullptr;
    }
};

template <class Binding, auto Member>
void store_entry(Binding& binding, FARPROC found) {
    binding.*Member = std::bit_cast<std::remove_reference_t<decltype(binding.*Member)>>(found);
}

} // namespace ip::detail

/// A row whose name and member cannot differ, since both come from one token.
// clang-format off
#define KVTIP_ENTRY(binding, name) \
    ip::detail::entry<binding>{#name, &ip::detail::store_entry<binding, &binding::name>}
// clang-format on
