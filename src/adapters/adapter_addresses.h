#pragma once

// What an entry of the `GetAdaptersAddresses` list says, as the caller's records.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstring>

#include "adapters/device_ids.h"
#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// Fills the record but for the IAID of an adapter without one. The record's lists must be empty.
/// Throws `std::bad_alloc` and `kvt::exceptions::error` with the record partly filled.
void fill(_SFindAdapter& adapter, const IP_ADAPTER_ADDRESSES& entry, const device_id_map& device_ids);

/// Fills address, mask and lease times; the lease times must be 0. A mask beside an address that is
/// neither IPv4 nor IPv6 is left alone.
void fill(_SFindAddress& address, const IP_ADAPTER_UNICAST_ADDRESS& entry);

/// Appends the entry's DNS servers, if it is long enough to list any.
void append_dns_servers(std::vector<saddr>& servers, const IP_ADAPTER_ADDRESSES& entry);

/// Copies the hardware address at `Offset` in the entry; one of more than 32 bytes counts as none. The
/// system's declaration has 8 bytes: those of a longer address are the next ones of the entry.
template <std::size_t Offset, class Entry>
void fill_hw_address(_SFindAdapter& adapter, const Entry& entry, DWORD length) {
    static_assert(Offset + sizeof adapter.hw_address <= sizeof(Entry));
    adapter.hw_address_length = length <= sizeof adapter.hw_address ? length : 0;
    std::memcpy(adapter.hw_address, reinterpret_cast<const BYTE*>(&entry) + Offset,
                adapter.hw_address_length);
}

/// The text, or empty text for null.
inline const wchar_t* text_or_empty(const wchar_t* text) {
    return text == nullptr ? L"" : text;
}

} // namespace ip::detail
