#pragma once

// The whole interface.

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
