#pragma once

// Queries to a DNS server of the caller's choice, which only newer systems have. Not all platform headers
// declare them.

#include <windows.h>

#include <windns.h>

#include <cstdint>
#include <cstring>
#include <span>

#include "binding/entry_table.h"
#include "kvtip/kvtip.h"

namespace kvtip::library {

/// The system's DNS_ADDR_ARRAY with one address.
struct dns_server {
    explicit dns_server(const kvtip_address& address);

    DWORD room = 1, count = 1, tag = 0;
    WORD family, reserved = 0;
    DWORD flags = 0, match = 0, more_reserved[2] = {};
    std::uint8_t socket_address[32] = {};
    DWORD user_data[8] = {};
};
static_assert(sizeof(dns_server) == 96);

/// The system's DNS_QUERY_REQUEST. Without a function to call at its end, the query waits.
struct dns_request {
    ULONG version = 1;
    const wchar_t* name;
    WORD type;
    ULONG64 flags;
    const dns_server* server;
    ULONG interface_index = 0;
    void* at_end = nullptr;
    void* context = nullptr;
};
static_assert(sizeof(dns_request) == 64);

/// The system's DNS_QUERY_RESULT.
struct dns_result {
    ULONG version = 1;
    DNS_STATUS status = 0;
    ULONG64 flags = 0;
    DNS_RECORD* records = nullptr;
    void* reserved = nullptr;
};
static_assert(sizeof(dns_result) == 32);

/// The optional entry. The DNS library must be held.
struct dns_server_entries {
    explicit dns_server_entries(const ip::detail::module_handle& module);

    DNS_STATUS(WINAPI* DnsQueryEx)(const dns_request*, dns_result*, void* cancel) = nullptr;
};

std::span<const ip::detail::entry_table> dns_server_tables();

} // namespace kvtip::library
