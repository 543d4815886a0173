#pragma once

/// \mainpage
/// This header includes the whole interface. All of it is in namespace `ip`, except for the conversions
/// between addresses and text in `ip::detail`. Failures that are thrown are of class
/// `kvt::exceptions::error`; `kvt::exceptions::fatal` reports misuse.

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
