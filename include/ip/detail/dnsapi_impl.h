#pragma once

#include <windows.h>

#include <windns.h>

#include <cstdint>

#include "ip/detail/owners.h"

// The platform's header makes the name a macro, and declares no function then.
#undef DnsRecordListFree

namespace ip::detail {

/// The run-time binding of `Dnsapi.dll`, which is loaded for `ip::dnsapi` handles only. Loads are counted,
/// those that fail too. The first one binds, and the last unload frees the library. The entries are null
/// while unbound.
struct dnsapi_impl {
    module_handle module;

    decltype(&::DnsQuery_A) DnsQuery_A = nullptr;
    decltype(&::DnsQuery_W) DnsQuery_W = nullptr;
    void(WINAPI* DnsRecordListFree)(PDNS_RECORD, DNS_FREE_TYPE) = nullptr;

    critical_section lock;
    std::uint32_t load_count = 0;

    /// Returns 0 or the Win32 code of the missing library or entry. Even then the count is raised, so that
    /// the next load binds nothing.
    unsigned long load();

    /// Returns 0 or `FreeLibrary`'s error.
    unsigned long unload();

private:
    unsigned long drop_module();
};

} // namespace ip::detail
