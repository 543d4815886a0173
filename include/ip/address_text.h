#pragma once

#include <cstddef>

#include "ip/address.h"
#include "ip/export.h"

/// Conversions between addresses and text by the system (`WSAStringToAddressA/W`, `WSAAddressToStringA/W`).
/// They return false, without a reason, when the system's conversion fails, and while the socket library is
/// not started; the output is then untouched. Keep an `ip::lib` handle initialised while they run: they must
/// not run during the first start or the last stop.
namespace ip::detail {

/// @{
/// Converts text to an address. The system accepts more than the plain forms ("1.2.3", "1.2.3.4:80",
/// "[::1]:80"). Port and scope are dropped.
KVTIP_API bool from_string(const char* text, _raw_addr4_no& address) noexcept;
KVTIP_API bool from_string(const wchar_t* text, _raw_addr4_no& address) noexcept;
KVTIP_API bool from_string(const char* text, _raw_addr6_no& address) noexcept;
KVTIP_API bool from_string(const wchar_t* text, _raw_addr6_no& address) noexcept;
/// @}

/// @{
/// Converts an address to zero-terminated text without port and scope. `size` is the room in `buffer` in
/// characters, with the terminator; the system takes its low 32 bits. Too little room is a failure.
KVTIP_API bool to_string(const _raw_addr4_no& address, char* buffer, std::size_t size) noexcept;
KVTIP_API bool to_string(const _raw_addr4_no& address, wchar_t* buffer, std::size_t size) noexcept;
KVTIP_API bool to_string(const _raw_addr6_no& address, char* buffer, std::size_t size) noexcept;
KVTIP_API bool to_string(const _raw_addr6_no& address, wchar_t* buffer, std::size_t size) noexcept;
/// @}

} // namespace ip::detail
