#pragma once

/// \mainpage
/// The whole interface: a program includes `ip/ip.h` and links the library. All is in namespace `ip`, the
/// conversions between addresses and text in `ip::detail`. Failures that are thrown are
/// `kvt::exceptions::error`; `kvt::exceptions::fatal` tells misuse.

#include "ip/adapter_enumerator.h"
#include "ip/address.h"
#include "ip/address_text.h"
#include "ip/dnsapi.h"
#include "ip/hlpapi.h"
#include "ip/lib.h"
#include "ip/membuffer.h"
#include "ip/winsock2.h"
#include "kvt/exceptions/error.h"
#include "kvt/exceptions/fatal.h"

/// The host's IP networking.
namespace ip {}
