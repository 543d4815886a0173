#pragma once

// Copies the entries of the older `GetAdaptersInfo` list to the caller's records.

#include <winsock2.h>

#include <iphlpapi.h>

#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// Fills what the older source knows. The status, the friendly name and the DNS servers come from the entry
/// with the same index in `newer`, the start of the newer list, which can be null. The record's lists must be
/// empty. Suffix, device instance identifier, metrics and IAID stay as they were. Throws `std::bad_alloc`
/// with the record partly filled.
void fill_record(_SFindAdapter& adapter, const IP_ADAPTER_INFO& entry, const IP_ADAPTER_ADDRESSES* newer);

/// Fills address and mask. Where the text is not an address, the family is 0.
void fill_record(_SFindAddress& address, const IP_ADDR_STRING& entry);

} // namespace ip::detail
