#pragma once

// Substitutes for the address-info routines that old socket libraries lack, with the same signatures and
// records. They rest on the binding's `gethostbyname`, `gethostbyaddr`, `getservbyname` and `getservbyport`,
// and know IPv4 only. The code of a failure is both the result and the last error.

#include <winsock2.h>
#include <ws2tcpip.h>

namespace ip::detail {

/// Lists the addresses of a host. With a service and no socket type, each address is listed for stream and
/// for datagram sockets, if the service is known for both. Returns 0 or, without a list:
/// - `WSAHOST_NOT_FOUND (11001)`: unknown name, or unknown service without a socket type;
/// - `WSATRY_AGAIN (11002)`: no answer;
/// - `WSANO_RECOVERY (11003)`: unusable hints or answer;
/// - `WSAEINVAL (10022)`: canonical name wanted without a name;
/// - `WSAESOCKTNOSUPPORT (10044)`: unknown socket type;
/// - `WSAEAFNOSUPPORT (10047)`: another family than IPv4;
/// - `WSATYPE_NOT_FOUND (10109)`: unknown service for that socket type;
/// - `ERROR_NOT_ENOUGH_MEMORY (8)`.
int WSAAPI substitute_getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                                  addrinfo** result);

/// Frees a list of `substitute_getaddrinfo`. Null does nothing.
void WSAAPI substitute_freeaddrinfo(addrinfo* list);

/// Writes the names of an address and of its port. The service may be written although the host fails.
/// Returns 0 or:
/// - `WSAHOST_NOT_FOUND (11001)`: unknown name, or neither name wanted;
/// - `WSATRY_AGAIN (11002)`: no answer;
/// - `WSANO_RECOVERY (11003)`: no address, too little room, or an error of the name server;
/// - `WSAEINVAL (10022)`: flags that exclude each other;
/// - `WSAEAFNOSUPPORT (10047)`: another family than IPv4.
int WSAAPI substitute_getnameinfo(const SOCKADDR* address, socklen_t length, char* host, DWORD host_length,
                                  char* service, DWORD service_length, int flags);

} // namespace ip::detail
