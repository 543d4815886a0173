#pragma once

// The whole C++ interface. It needs C++20, kvtIP.dll, and no header of the platform.
//
// Every operation has two forms. One throws `std::system_error`; the other takes a `std::error_code&` as its
// last parameter, which it clears first. Both may throw `std::bad_alloc`. Without exceptions only the second
// form is there. Error codes are Windows error codes in `kvtip::category()`.

#include "kvtip/adapters.hpp"
#include "kvtip/address.hpp"
#include "kvtip/connections.hpp"
#include "kvtip/error.hpp"
#include "kvtip/library.hpp"
#include "kvtip/missing.hpp"
#include "kvtip/names.hpp"
#include "kvtip/neighbours.hpp"
#include "kvtip/ping.hpp"
#include "kvtip/routes.hpp"
#include "kvtip/socket.hpp"
