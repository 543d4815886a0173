#pragma once

#include <windows.h>

#include <windns.h>

#include <cstdint>

#include "ip/detail/owners.h"

namespace ip::detail {

/// The run-time binding of `Dnsapi.dll`, unloaded until a client asks for it.
struct dnsapi_impl {
    module_handle module;

    decltype(&::DnsQuery_A) DnsQuery_A = nullptr;
    decltype(&::DnsQuery_W) DnsQuery_W = nullptr;
    // The platform's header makes the name a macro, so this one type is written by hand.
    void(WINAPI* DnsRecordListFree)(PDNS_RECORD, DNS_FREE_TYPE) = nullptr;

    critical_section lock;
    std::uint32_t load_count = 0;
};

} // namespace ip::detail
