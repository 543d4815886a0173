#pragma once

#include <windows.h>

#include <ras.h>

#include "ip/detail/owners.h"

namespace ip::detail {

/// The entries of the remote-access library, which is loaded for as long as this object lives. They are null
/// where it is missing.
struct remote_access_entries {
    remote_access_entries();

    decltype(&::RasEnumConnectionsW) RasEnumConnectionsW = nullptr;
    decltype(&::RasGetProjectionInfoW) RasGetProjectionInfoW = nullptr;

private:
    module_handle module_;
};

} // namespace ip::detail
