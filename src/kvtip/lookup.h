#pragma once

// Lookups of hosts by the system's name services.

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "kvtip/kvtip.h"

namespace kvtip::library {

/// Whether the system's socket library stays loaded and started until the process ends.
extern constinit std::atomic<bool> sockets_are_kept;

/// What the lookups of several hosts have in common.
struct lookup_terms {
    std::wstring service;
    kvtip_resolve_options options{};
};

/// The lookup of a host, and what it has found.
struct host_lookup {
    /// The code of a lookup that has not ended.
    static constexpr std::uint32_t unfinished = 997; // ERROR_IO_PENDING

    std::wstring host; ///< empty for this host
    std::uint32_t code = unfinished;
    std::uint64_t begin = 0; ///< 0 before it begins
    std::uint32_t time = 0;
    std::string canonical_name{};
    std::vector<kvtip_endpoint> endpoints{};
};

/// The code of a lookup that the system's calls return. Some systems pass on negative codes of another name
/// service for an address of the wrong family.
std::uint32_t name_service_code(int code) noexcept;

/// Looks one host up, for as long as the system takes. Returns the code. Throws `std::bad_alloc`.
std::uint32_t look_up(host_lookup& of, const lookup_terms& terms);

/// Looks hosts up, at most 256 at a time, but one after the other where the system can do no better. A lookup
/// that already has another code than `unfinished` is left out. Afterwards each has its code, which is
/// `WSAETIMEDOUT (10060)` or `ERROR_OPERATION_ABORTED (995)` for one that had not ended when the time was over
/// or the caller cancelled. Returns 0 if all have ended; otherwise one of these two, or the code of a wait that
/// failed. Throws `std::bad_alloc`.
std::uint32_t look_up_all(std::span<host_lookup> hosts, const lookup_terms& terms);

} // namespace kvtip::library
