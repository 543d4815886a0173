// The names of error codes, and a sentence for each.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>

#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

using namespace kvtip::library;

namespace {

struct error_text {
    std::uint32_t code;
    const char* name;
    const char* message;
};

/// By code.
constexpr error_text errors[] = {
    {0, "ERROR_SUCCESS", "No error occurred."},
    {1, "ERROR_INVALID_FUNCTION", "The system does not support this request."},
    {2, "ERROR_FILE_NOT_FOUND", "The system cannot find what was asked for."},
    {5, "ERROR_ACCESS_DENIED", "Access is denied."},
    {6, "ERROR_INVALID_HANDLE", "The handle is not valid."},
    {8, "ERROR_NOT_ENOUGH_MEMORY", "Memory is exhausted."},
    {31, "ERROR_GEN_FAILURE", "A device of the system does not work, or nobody answered."},
    {50, "ERROR_NOT_SUPPORTED", "The system does not support this protocol or request."},
    {59, "ERROR_UNEXP_NET_ERR", "The answer is not the one that was expected."},
    {67, "ERROR_BAD_NET_NAME", "Nobody on the link answered for this address."},
    {87, "ERROR_INVALID_PARAMETER", "An argument is not valid."},
    {111, "ERROR_BUFFER_OVERFLOW", "The room for the answer is too small."},
    {120, "ERROR_CALL_NOT_IMPLEMENTED", "The system lacks a function that this needs."},
    {122, "ERROR_INSUFFICIENT_BUFFER", "The room for the result is too small."},
    {123, "ERROR_INVALID_NAME", "The name has characters that are not allowed."},
    {126, "ERROR_MOD_NOT_FOUND", "A library of the system is missing."},
    {127, "ERROR_PROC_NOT_FOUND", "A library of the system lacks a function."},
    {232, "ERROR_NO_DATA", "There is no data."},
    {234, "ERROR_MORE_DATA", "There is more data than room for it."},
    {259, "ERROR_NO_MORE_ITEMS", "There are no more items."},
    {1168, "ERROR_NOT_FOUND", "There is no such item."},
    {1214, "ERROR_INVALID_NETNAME", "The address is not a possible destination."},
    {1228, "ERROR_ADDRESS_NOT_ASSOCIATED", "The adapter does not have an address yet."},
    {1231, "ERROR_NETWORK_UNREACHABLE", "There is no route to the network."},
    {1232, "ERROR_HOST_UNREACHABLE", "There is no route to the host."},
    {1359, "ERROR_INTERNAL_ERROR", "An internal error occurred."},
    {1460, "ERROR_TIMEOUT", "The time is over."},
    {1627, "ERROR_FUNCTION_FAILED", "The system lacks the function that lists this."},
    {1784, "ERROR_INVALID_USER_BUFFER", "The buffer does not fit the request."},
    {9001, "DNS_ERROR_RCODE_FORMAT_ERROR", "The DNS server could not read the query."},
    {9002, "DNS_ERROR_RCODE_SERVER_FAILURE", "The DNS server failed."},
    {9003, "DNS_ERROR_RCODE_NAME_ERROR", "The DNS knows no such name."},
    {9004, "DNS_ERROR_RCODE_NOT_IMPLEMENTED", "The DNS server does not support the query."},
    {9005, "DNS_ERROR_RCODE_REFUSED", "The DNS server refused the query."},
    {9006, "DNS_ERROR_RCODE_YXDOMAIN", "The DNS name exists although it should not."},
    {9007, "DNS_ERROR_RCODE_YXRRSET", "The DNS records exist although they should not."},
    {9008, "DNS_ERROR_RCODE_NXRRSET", "The DNS records do not exist although they should."},
    {9009, "DNS_ERROR_RCODE_NOTAUTH", "The DNS server is not responsible for the zone."},
    {9010, "DNS_ERROR_RCODE_NOTZONE", "The DNS name is not in the zone."},
    {9501, "DNS_INFO_NO_RECORDS", "The DNS name has no record of this type."},
    {9502, "DNS_ERROR_BAD_PACKET", "The DNS answer cannot be read."},
    {9503, "DNS_ERROR_NO_PACKET", "There is no DNS answer."},
    {9504, "DNS_ERROR_RCODE", "The DNS server reported an error."},
    {9505, "DNS_ERROR_UNSECURE_PACKET", "The DNS answer is not signed as it should be."},
    {9552, "DNS_ERROR_INVALID_TYPE", "The type of DNS record is not valid."},
    {9553, "DNS_ERROR_INVALID_IP_ADDRESS", "The IP address is not valid."},
    {9560, "DNS_ERROR_INVALID_NAME_CHAR", "The DNS name has characters that are not allowed."},
    {9701, "DNS_ERROR_RECORD_DOES_NOT_EXIST", "There is no such DNS record."},
    {9703, "DNS_ERROR_NODE_CREATION_FAILED", "The DNS name could not be created."},
    {9852, "DNS_ERROR_NO_DNS_SERVERS", "No DNS server is configured."},
    {10004, "WSAEINTR", "The call was interrupted."},
    {10009, "WSAEBADF", "The handle is not valid."},
    {10013, "WSAEACCES", "The system does not permit this."},
    {10014, "WSAEFAULT", "An address or its length is not valid."},
    {10022, "WSAEINVAL", "The text or the argument is not valid."},
    {10024, "WSAEMFILE", "No more sockets can be opened."},
    {10035, "WSAEWOULDBLOCK", "The socket is not ready."},
    {10036, "WSAEINPROGRESS", "Another call is still in progress."},
    {10037, "WSAEALREADY", "The socket is already connecting."},
    {10038, "WSAENOTSOCK", "This is not an open socket."},
    {10039, "WSAEDESTADDRREQ", "A destination is required."},
    {10040, "WSAEMSGSIZE", "The datagram is larger than the room for it."},
    {10041, "WSAEPROTOTYPE", "The protocol does not fit the type of socket."},
    {10042, "WSAENOPROTOOPT", "The socket has no such option."},
    {10043, "WSAEPROTONOSUPPORT", "The system does not support the protocol."},
    {10044, "WSAESOCKTNOSUPPORT", "The system does not support the type of socket."},
    {10045, "WSAEOPNOTSUPP", "The socket does not support this."},
    {10046, "WSAEPFNOSUPPORT", "The system does not support the protocol family."},
    {10047, "WSAEAFNOSUPPORT", "The address family is not supported."},
    {10048, "WSAEADDRINUSE", "The address and port are in use."},
    {10049, "WSAEADDRNOTAVAIL", "This host does not have the address, or it is no possible destination."},
    {10050, "WSAENETDOWN", "The network is down."},
    {10051, "WSAENETUNREACH", "There is no route to the network."},
    {10052, "WSAENETRESET", "The network dropped the connection."},
    {10053, "WSAECONNABORTED", "This host ended the connection."},
    {10054, "WSAECONNRESET", "The other side reset the connection."},
    {10055, "WSAENOBUFS", "The system has no room left for network data."},
    {10056, "WSAEISCONN", "The socket is already connected."},
    {10057, "WSAENOTCONN", "The socket is not connected."},
    {10058, "WSAESHUTDOWN", "This direction of the connection was shut down."},
    {10060, "WSAETIMEDOUT", "The operation did not end within its time-out."},
    {10061, "WSAECONNREFUSED", "The connection was refused: nobody listens at this port."},
    {10062, "WSAELOOP", "The name cannot be resolved."},
    {10063, "WSAENAMETOOLONG", "The name is too long."},
    {10064, "WSAEHOSTDOWN", "The host is down."},
    {10065, "WSAEHOSTUNREACH", "There is no route to the host."},
    {10067, "WSAEPROCLIM", "Too many programs use the socket library."},
    {10091, "WSASYSNOTREADY", "The network of this host is not ready."},
    {10092, "WSAVERNOTSUPPORTED", "The system lacks this version of the socket library."},
    {10093, "WSANOTINITIALISED", "The library is not started."},
    {10101, "WSAEDISCON", "The other side is ending the connection."},
    {10108, "WSASERVICE_NOT_FOUND", "There is no such service."},
    {10109, "WSATYPE_NOT_FOUND", "There is no service of this name."},
    {10110, "WSA_E_NO_MORE", "There are no more results."},
    {10111, "WSA_E_CANCELLED", "The lookup was cancelled."},
    {10112, "WSAEREFUSED", "The lookup was refused."},
    {11001, "WSAHOST_NOT_FOUND", "There is no host of this name."},
    {11002, "WSATRY_AGAIN", "No name server answered. Try again later."},
    {11003, "WSANO_RECOVERY", "The lookup failed in the name server."},
    {11004, "WSANO_DATA", "The name has no address of this family."},
};

const error_text* find(std::uint32_t code) {
    const auto* found =
        std::lower_bound(std::begin(errors), std::end(errors), code,
                         [](const error_text& each, std::uint32_t of) { return each.code < of; });
    return found == std::end(errors) || found->code != code ? nullptr : found;
}

static_assert(std::is_sorted(std::begin(errors), std::end(errors),
                             [](const error_text& one, const error_text& other) {
                                 return one.code < other.code;
                             }));

/// Writes UTF-8 text, as much as there is room for, and returns the size of all of it.
std::size_t write(std::string_view from, char* text, std::size_t capacity) {
    if (capacity != 0) {
        std::size_t size = std::min(from.size(), capacity - 1);
        while (size < from.size() && size > 0 && (from[size] & 0xC0) == 0x80) {
            --size; // not in the middle of a character
        }
        from.copy(text, size);
        text[size] = 0;
    }
    return from.size() + 1;
}

/// The system's text for a code, on one line; its length, 0 without a text.
template <std::size_t Size>
std::size_t read_system_message(std::uint32_t code, char (&text)[Size]) {
    wchar_t wide[Size / 3]; // a unit takes at most three bytes
    const entries_load bound;
    const auto format = entries().FormatMessageW;
    if (format == nullptr) {
        return 0;
    }
    DWORD length =
        format(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK,
               nullptr, code, 0, wide, static_cast<DWORD>(std::size(wide)), nullptr);
    while (length > 0 && wide[length - 1] <= L' ') {
        --length;
    }
    return static_cast<std::size_t>(write_utf8({wide, length}, text) - text);
}

} // namespace

size_t kvtip_message(uint32_t code, char* text, size_t capacity) noexcept {
    const last_error_keeper keeper;
    capacity = text == nullptr ? 0 : capacity;
    if (const error_text* known = find(code)) {
        return write(known->message, text, capacity);
    }
    char message[1536];
    std::size_t length = read_system_message(code, message);
    if (length == 0) {
        constexpr std::string_view prefix = "Error ";
        char* end = message + prefix.copy(message, prefix.size());
        length = static_cast<std::size_t>(std::to_chars(end, std::end(message), code).ptr - message);
    }
    return write({message, length}, text, capacity);
}

const char* kvtip_error_name(uint32_t code) noexcept {
    const error_text* known = find(code);
    return known == nullptr ? "" : known->name;
}
