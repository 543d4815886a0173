#pragma once

#include "kvtip/event.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

struct kvtip_canceller {
    kvtip::library::entries_load load; ///< outlives the event
    kvtip::library::event cancelled;   ///< stays set
};
