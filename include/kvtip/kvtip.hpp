#pragma once

// The whole C++ interface. It needs C++20, kvtIP.dll, and no header of the platform.
//
// Every operation has two forms. One throws `std::system_error`, and its options may be left out. The other
// takes a `std::error_code&` as its last parameter, which it clears first, and all parameters before it:
// `adapters({}, error)`. Both may throw `std::bad_alloc`. Without exceptions only the second form is there.
// Error codes are Windows error codes in `kvtip::category()`.
//
// The comments in `kvtip.h`, at the C function that an operation names, say how long it may block, which
// codes it returns and what it rests on. Every operation may be called from any thread.

#include "kvtip/adapters.hpp"
#include "kvtip/address.hpp"
#include "kvtip/canceller.hpp"
#include "kvtip/changes.hpp"
#include "kvtip/connections.hpp"
#include "kvtip/error.hpp"
#include "kvtip/library.hpp"
#include "kvtip/missing.hpp"
#include "kvtip/names.hpp"
#include "kvtip/neighbours.hpp"
#include "kvtip/ping.hpp"
#include "kvtip/primary.hpp"
#include "kvtip/routes.hpp"
#include "kvtip/socket.hpp"
