#pragma once

#include <map>
#include <string>

namespace ip::detail {

/// Adapter name (the interface GUID in braces) to device instance identifier.
using device_id_map = std::map<std::wstring, std::wstring>;

/// Adds the devices in the registry's class keys of network adapters and modems; a later device replaces an
/// earlier one with the same name. Skips devices without one of the two values, and keys that cannot be
/// read. Throws `std::bad_alloc` with the devices found so far in the map.
void read_device_ids(device_id_map& device_ids);

} // namespace ip::detail
