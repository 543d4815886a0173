#pragma once

#include "ip/export.h"
#include "ip/lib.h"

namespace ip {

/// The IP Helper library. An object is an `ip::lib` handle that holds one more load of that library. Use
/// `load` and `free` only: on a handle that `lib::init` has initialised, `load` takes nothing and `free`
/// takes back a load that is not its own.
class hlpapi : public lib {
public:
    hlpapi() = default;
    /// Calls `free`.
    ~hlpapi() { free(); }

    /// Initialises the handle and loads the IP Helper library for it. Returns 0, also when the handle is
    /// initialised already, the error of `lib::init`, or that of the load (126, 127), after which the
    /// handle is not initialised.
    KVTIP_API unsigned long load();

    /// Takes the load back and calls `lib::free`. Returns 0, also for a handle that is not initialised,
    /// or the first error of the two. The handle is free whatever the code says.
    KVTIP_API unsigned long free();
};

} // namespace ip
