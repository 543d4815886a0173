#pragma once

// What an entry of the older `GetAdaptersInfo` list says, as the caller's records.

#include <winsock2.h>

#include <iphlpapi.h>

#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// Fills what the older source knows. Status, name for the user and DNS servers come from the entry of
/// the same index in `newer`, the start of the newer list, or null. The record's lists must be empty.
/// Suffix, device instance identifier, metrics and IAID are left alone. Throws `std::bad_alloc` with the
/// record partly filled.
void fill(_SFindAdapter& adapter, const IP_ADAPTER_INFO& entry, const IP_ADAPTER_ADDRESSES* newer);

/// Fills address and mask; one whose text is no address gets family 0.
void fill(_SFindAddress& address, const IP_ADDR_STRING& entry);

} // namespace ip::detail
