#pragma once

// What adapters are, and what costs more system calls than to list them.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstdint>

#include "kvtip/block.h"
#include "kvtip/kvtip.h"
#include "kvtip/mib_table.h"

namespace kvtip::library {

/// What an interface of that type is (`kvtip_adapter_kind`).
std::uint32_t kind_of_type(std::uint32_t type);

/// What the system's table of interfaces adds to the adapters.
class adapter_details {
public:
    /// Fetches the table, while the libraries are held. Returns 8 without memory, otherwise 0: what the
    /// system does not have is in `missing`.
    std::uint32_t fetch();
    std::uint32_t missing() const { return missing_; }

    /// Adds what is known of the adapter in that row.
    void write(block& out, kvtip_adapter& row) const;

private:
    mib_table<MIB_IF_TABLE2> interfaces_;
    std::uint32_t missing_ = 0;
};

} // namespace kvtip::library
