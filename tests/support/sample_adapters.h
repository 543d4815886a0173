#pragma once

// Entries of the system's adapter lists.

#include "scripted_system.h"

namespace scripted {

/// An Ethernet adapter that is up and has everything an entry can have.
IP_ADAPTER_ADDRESSES full_adapter(system& on);

/// The loopback adapter: 127.0.0.1/8 and ::1/128.
IP_ADAPTER_ADDRESSES loopback_adapter(system& on);

/// The first of the two as the older source tells it: 192.0.2.10/24, gateway 192.0.2.1.
IP_ADAPTER_INFO older_adapter();

} // namespace scripted
