#pragma once

// Copies the entries of the `GetAdaptersAddresses` list to the caller's records.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include "adapters/device_ids.h"
#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// Fills the record, except for the IAID if the adapter has none. The record's lists must be empty. Throws
/// `std::bad_alloc` and `kvt::exceptions::error` with the record partly filled.
void fill_record(_SFindAdapter& adapter, const IP_ADAPTER_ADDRESSES* entry, const device_id_map& device_ids);

/// Fills address, mask and lease times; the lease times must be 0. If the address is neither IPv4 nor IPv6,
/// the mask stays as it was.
void fill_record(_SFindAddress& address, const IP_ADAPTER_UNICAST_ADDRESS* entry);

/// Appends the entry's DNS servers, if it is long enough to list any.
void append_dns_servers(std::vector<saddr>& servers, const IP_ADAPTER_ADDRESSES* entry);

} // namespace ip::detail
