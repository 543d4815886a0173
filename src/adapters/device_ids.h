#pragma once

#include <map>
#include <string>

namespace ip::detail {

/// Adapter name (the interface GUID in braces) to device instance identifier.
using device_id_map = std::map<std::wstring, std::wstring>;

/// Adds what the registry's class keys of network adapters and modems say; a later device takes the
/// place of an earlier one of the same name. Devices that lack one of the two values, and keys that
/// cannot be read, are passed over. Throws `std::bad_alloc` with what was found so far in place.
void read_device_ids(device_id_map& device_ids);

} // namespace ip::detail
