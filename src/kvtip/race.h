#pragma once

// Connecting to several endpoints in a race.

#include <span>
#include <vector>

#include "kvtip/deadline.h"
#include "kvtip/kvtip.h"
#include "kvtip/socket_owner.h"

namespace kvtip::library {

/// How a race went.
struct race_result {
    kvtip_endpoint local{};
    kvtip_endpoint remote{};
    std::vector<kvtip_attempt> attempts{}; ///< in the order in which they were made
    socket_owner socket{};                 ///< of the attempt that succeeded
};

/// The order in which a host's addresses are tried: as the system sorts them, but with both families in turn.
std::vector<kvtip_endpoint> in_turns(std::span<const kvtip_endpoint> sorted);

/// Connects to the first endpoint that accepts, as RFC 8305 describes: each attempt begins 250 ms after the
/// one before, or as soon as one has failed, and the first to succeed ends the others. The libraries must be
/// held. Returns 0, 120, the code of the attempt that failed last, 10060 when the time is over, 995 after a
/// cancellation, or the system's code.
std::uint32_t race(std::span<const kvtip_endpoint> endpoints, const deadline& end,
                   const kvtip_canceller* cancel, race_result& result);

} // namespace kvtip::library
