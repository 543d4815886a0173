#pragma once

#include <functional>

#include "ip/adapter_enumerator.h"

/// Visits all adapters in the system's order. The enumerator stands on the adapter, so that `find_next_addr`
/// finds its addresses. Throws `kvt::exceptions::error`.
void for_each_adapter(
    const std::function<void(const ip::_SFindAdapter& adapter, ip::adapter_enumerator& adapters)>& visit);
