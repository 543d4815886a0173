#pragma once

#include <cstddef>

#include "ip/address.h"
#include "ip/export.h"

/// Address text by the system's own conversions (`WSAStringToAddressA/W`, `WSAAddressToStringA/W`). All
/// return false and leave the output alone when the system's conversion fails, and call nothing while the
/// socket library is not started; they never say why. Keep an `ip::lib` handle initialised meanwhile: they
/// must not run beside the first start or the last stop.
namespace ip::detail {

/// Text to address; `address` is written on success only. The system takes more than the plain forms
/// ("1.2.3", "1.2.3.4:80", "[::1]:80"); port and scope are dropped.
KVTIP_API bool from_string(const char* text, _raw_addr4_no& address);
KVTIP_API bool from_string(const wchar_t* text, _raw_addr4_no& address);
KVTIP_API bool from_string(const char* text, _raw_addr6_no& address);
KVTIP_API bool from_string(const wchar_t* text, _raw_addr6_no& address);

/// Address to zero-terminated text without port and scope. `size` is the room in `buffer` in
/// characters, terminator included; the system takes its low 32 bits. Too little room is a failure.
KVTIP_API bool to_string(const _raw_addr4_no& address, char* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr4_no& address, wchar_t* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr6_no& address, char* buffer, std::size_t size);
KVTIP_API bool to_string(const _raw_addr6_no& address, wchar_t* buffer, std::size_t size);

} // namespace ip::detail
