#pragma once

// What an entry of the `GetAdaptersAddresses` list says, as the caller's records.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include "adapters/device_ids.h"
#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// Fills the whole record but for the IAID of an adapter without one. The record's lists must be empty.
/// Throws `std::bad_alloc` and `kvt::exceptions::error` with the record partly filled.
void fill(_SFindAdapter& adapter, const IP_ADAPTER_ADDRESSES& entry, const device_id_map& device_ids);

/// Fills address, mask and lease times; the lease times must be 0.
void fill(_SFindAddress& address, const IP_ADAPTER_UNICAST_ADDRESS& entry);

/// Appends the entry's DNS servers, if it is long enough to list any.
void append_dns_servers(std::vector<saddr>& servers, const IP_ADAPTER_ADDRESSES& entry);

/// Copies the hardware address; one that is too long counts as none.
void fill_hw_address(_SFindAdapter& adapter, const BYTE* bytes, DWORD length);

/// The text, or empty text for null.
inline const wchar_t* text_or_empty(const wchar_t* text) {
    return text == nullptr ? L"" : text;
}

} // namespace ip::detail
