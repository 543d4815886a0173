#pragma once

#include <cstddef>

#include "ip/address.h"
#include "ip/export.h"

namespace ip::detail {

// Address text by the system's own conversions (`WSAStringToAddressA/W`, `WSAAddressToStringA/W`). All
// return false, call nothing and leave the output alone while the socket library is not started, and
// return false when the system's conversion fails; they never say why. The system takes more forms than
// the plain ones: "1.2.3", "1.2.3.4:80", "[::1]:80".

/// Text to address; `address` is written on success only.
KVTIP_API bool from_string(const char* text, _raw_addr4_no& address);
KVTIP_API bool from_string(const wchar_t* text, _raw_addr4_no& address);
KVTIP_API bool from_string(const char* text, _raw_addr6_no& address);
KVTIP_API bool from_string(const wchar_t* text, _raw_addr6_no& address);

/// Address to zero-terminated text without port and scope. `size` is the room in `buffer` in
/// characters, terminator included; the system takes its low 32 bits.
KVTIP_API bool to_string(const _raw_addr4_no& address, char* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr4_no& address, wchar_t* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr6_no& address, char* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr6_no& address, wchar_t* buffer, std::size_t size);

} // namespace ip::detail
