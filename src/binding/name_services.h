#pragma once

// Stand-ins for the address-info routines that old socket libraries lack, with the signatures and records of
// these. They rest on the binding's `gethostbyname`, `gethostbyaddr`, `getservbyname` and `getservbyport`,
// and know IPv4 only. Codes are the result and the last error.

#include <winsock2.h>
#include <ws2tcpip.h>

namespace ip::detail {

/// 0, or: 11001 unknown name, or unknown service of no socket type, 11002 no answer, 11003 unusable hints or
/// answer, 10022 a canonical name without a name, 10044 unknown socket type, 10047 not IPv4, 10109 unknown
/// service of that type, 8 memory exhausted; there is no list then. A service without a socket type gives
/// each address for stream and for datagram sockets, as far as it is known for both.
int WSAAPI substitute_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                                  addrinfo** result);

/// Frees a list of the above; null does nothing.
void WSAAPI substitute_freeaddrinfo(addrinfo* list);

/// 0, or: 11001 unknown name or nothing asked for, 11002 no answer, 11003 no address or too little room,
/// 10022 flags that exclude each other, 10047 not IPv4. The service may be written when the host fails.
int WSAAPI substitute_getnameinfo(const SOCKADDR* address, socklen_t length, char* host, DWORD host_length,
                                  char* service, DWORD service_length, int flags);

} // namespace ip::detail
