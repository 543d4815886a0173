// The address values are passed to the system without conversion. The build checks here that their layout
// is that of the system's records.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <cstddef>
#include <type_traits>

#include "ip/address.h"

namespace ip {
namespace {

template <class Ours, class Systems>
constexpr bool
    same_shape = sizeof(Ours) == sizeof(Systems) && std::alignment_of_v<Ours> == std::alignment_of_v<Systems>;

static_assert(family_none == AF_UNSPEC && family_ipv4 == AF_INET && family_ipv6 == AF_INET6);

static_assert(same_shape<saddr, SOCKADDR_IN6> && sizeof(saddr) == 28);
static_assert(offsetof(saddr, family) == offsetof(SOCKADDR_IN6, sin6_family));
static_assert(offsetof(saddr, port) == offsetof(SOCKADDR_IN6, sin6_port));
static_assert(offsetof(saddr, flow_info) == offsetof(SOCKADDR_IN6, sin6_flowinfo));
static_assert(offsetof(saddr, address6) == offsetof(SOCKADDR_IN6, sin6_addr));
static_assert(offsetof(saddr, scope_id) == offsetof(SOCKADDR_IN6, sin6_scope_id));
static_assert(offsetof(saddr, port) == offsetof(SOCKADDR_IN, sin_port));
static_assert(offsetof(saddr, address4) == offsetof(SOCKADDR_IN, sin_addr));

static_assert(same_shape<saddr4, SOCKADDR_IN> && sizeof(saddr4) == 16);
static_assert(offsetof(saddr4, family) == offsetof(SOCKADDR_IN, sin_family));
static_assert(offsetof(saddr4, port) == offsetof(SOCKADDR_IN, sin_port));
static_assert(offsetof(saddr4, address) == offsetof(SOCKADDR_IN, sin_addr));
static_assert(offsetof(saddr4, zero) == offsetof(SOCKADDR_IN, sin_zero));

static_assert(sizeof(_raw_addr4_no) == sizeof(IN_ADDR) && sizeof(_raw_addr6_no) == sizeof(IN6_ADDR));
static_assert(sizeof(socket) == sizeof(SOCKET) && socket::none == INVALID_SOCKET);
static_assert(offsetof(addr, address) == 2 && sizeof(addr) == 18);
static_assert(macaddr::max_length == IF_MAX_PHYS_ADDRESS_LENGTH);

template <class Value>
concept plain = std::is_trivially_copyable_v<Value> && std::is_standard_layout_v<Value>;
static_assert(plain<addr> && plain<saddr> && plain<saddr4> && plain<macaddr> && plain<socket>);
static_assert(plain<_raw_addr4_no> && plain<_raw_addr6_no>);

} // namespace
} // namespace ip
