// The names of error codes, and a sentence for each.

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <numeric>
#include <string_view>

#include "kvtip/boundary.h"
#include "kvtip/encoding.h"
#include "kvtip/kvtip.h"
#include "kvtip/system_entries.h"

using namespace kvtip::library;

namespace {

struct error_text {
    std::uint32_t code;
    std::string_view name;
    std::string_view message;
};

// A code's name is that of the system's macro.
#define KNOWN(code, message) \
    { code, #code, message }

/// By code.
constexpr error_text errors[] = {
    KNOWN(ERROR_SUCCESS, "No error occurred."),
    KNOWN(ERROR_INVALID_FUNCTION, "The system does not support this request."),
    KNOWN(ERROR_FILE_NOT_FOUND, "The system cannot find what was asked for."),
    KNOWN(ERROR_PATH_NOT_FOUND, "The system cannot find the path."),
    KNOWN(ERROR_ACCESS_DENIED, "Access is denied."),
    KNOWN(ERROR_INVALID_HANDLE, "The handle is not valid."),
    KNOWN(ERROR_NOT_ENOUGH_MEMORY, "Memory is exhausted."),
    KNOWN(ERROR_INVALID_DATA, "The data is not valid."),
    KNOWN(ERROR_OUTOFMEMORY, "Memory is exhausted."),
    KNOWN(ERROR_NOT_READY, "The device is not ready."),
    KNOWN(ERROR_WRITE_FAULT, "The output cannot be written."),
    KNOWN(ERROR_GEN_FAILURE, "A device of the system does not work, or nobody answered."),
    KNOWN(ERROR_NOT_SUPPORTED, "The system does not support this protocol or request."),
    KNOWN(ERROR_BAD_NETPATH, "The network path was not found."),
    KNOWN(ERROR_NETWORK_BUSY, "The network is busy."),
    KNOWN(ERROR_UNEXP_NET_ERR, "The answer is not the one that was expected."),
    KNOWN(ERROR_NETNAME_DELETED, "The connection is no longer there."),
    KNOWN(ERROR_NETWORK_ACCESS_DENIED, "Access to the network is denied."),
    KNOWN(ERROR_BAD_NET_NAME, "Nobody on the link answered for this address."),
    KNOWN(ERROR_INVALID_PARAMETER, "An argument is not valid."),
    KNOWN(ERROR_BROKEN_PIPE, "The other end of the pipe is closed."),
    KNOWN(ERROR_BUFFER_OVERFLOW, "The room for the answer is too small."),
    KNOWN(ERROR_DISK_FULL, "The disk is full."),
    KNOWN(ERROR_CALL_NOT_IMPLEMENTED, "The system lacks a function that this needs."),
    KNOWN(ERROR_SEM_TIMEOUT, "The system did not finish this in its time."),
    KNOWN(ERROR_INSUFFICIENT_BUFFER, "The room for the result is too small."),
    KNOWN(ERROR_INVALID_NAME, "The name has characters that are not allowed."),
    KNOWN(ERROR_MOD_NOT_FOUND, "A library of the system is missing."),
    KNOWN(ERROR_PROC_NOT_FOUND, "A library of the system lacks a function."),
    KNOWN(ERROR_BUSY, "What was asked for is in use."),
    KNOWN(ERROR_BAD_EXE_FORMAT, "A library of the system is not of a form that this program can load."),
    KNOWN(ERROR_NO_DATA, "There is no data."),
    KNOWN(ERROR_PIPE_NOT_CONNECTED, "Nobody is at the other end of the pipe."),
    KNOWN(ERROR_MORE_DATA, "There is more data than room for it."),
    KNOWN(ERROR_NO_MORE_ITEMS, "There are no more items."),
    KNOWN(ERROR_OPERATION_ABORTED, "The operation was cancelled."),
    KNOWN(ERROR_IO_INCOMPLETE, "The operation has not finished yet."),
    KNOWN(ERROR_IO_PENDING, "The operation goes on in the background."),
    KNOWN(ERROR_NOACCESS, "A memory address is not valid."),
    KNOWN(ERROR_SERVICE_NOT_ACTIVE, "A service of the system that this needs is not running."),
    KNOWN(ERROR_DLL_INIT_FAILED, "A library of the system did not start."),
    KNOWN(ERROR_SHUTDOWN_IN_PROGRESS, "The system is shutting down."),
    KNOWN(ERROR_OLD_WIN_VERSION, "This needs a newer version of Windows."),
    KNOWN(ERROR_NOT_FOUND, "There is no such item."),
    KNOWN(ERROR_INVALID_NETNAME, "The address is not a possible destination."),
    KNOWN(ERROR_NO_NETWORK, "There is no network."),
    KNOWN(ERROR_CANCELLED, "The user cancelled the operation."),
    KNOWN(ERROR_CONNECTION_REFUSED, "The other side refused the connection."),
    KNOWN(ERROR_GRACEFUL_DISCONNECT, "The other side closed the connection."),
    KNOWN(ERROR_ADDRESS_ALREADY_ASSOCIATED, "The address is in use already."),
    KNOWN(ERROR_ADDRESS_NOT_ASSOCIATED, "The adapter does not have an address yet."),
    KNOWN(ERROR_CONNECTION_INVALID, "There is no such connection."),
    KNOWN(ERROR_CONNECTION_ACTIVE, "The connection is in use."),
    KNOWN(ERROR_NETWORK_UNREACHABLE, "There is no route to the network."),
    KNOWN(ERROR_HOST_UNREACHABLE, "There is no route to the host."),
    KNOWN(ERROR_PROTOCOL_UNREACHABLE, "The destination does not support the protocol."),
    KNOWN(ERROR_PORT_UNREACHABLE, "Nobody listens at the destination's port."),
    KNOWN(ERROR_REQUEST_ABORTED, "The request was cancelled."),
    KNOWN(ERROR_CONNECTION_ABORTED, "This host ended the connection."),
    KNOWN(ERROR_RETRY, "The operation did not succeed. Try again."),
    KNOWN(ERROR_INTERNAL_ERROR, "An internal error occurred."),
    KNOWN(ERROR_NO_SYSTEM_RESOURCES, "The system has too few resources left for this."),
    KNOWN(ERROR_TIMEOUT, "The time is over."),
    KNOWN(ERROR_FUNCTION_FAILED, "The system lacks the function that lists this."),
    KNOWN(RPC_S_SERVER_UNAVAILABLE, "A service of the system, such as its DNS client, cannot be reached."),
    KNOWN(RPC_S_CALL_FAILED, "A call to a service of the system failed."),
    KNOWN(EPT_S_NOT_REGISTERED, "A service of the system that this needs has not started."),
    KNOWN(ERROR_INVALID_USER_BUFFER, "The buffer does not fit the request."),
    KNOWN(ERROR_NOT_ENOUGH_QUOTA, "This program has used up what the system allots to it."),
    KNOWN(ERROR_NOT_CONNECTED, "There is no such network connection."),
    KNOWN(ERROR_INVALID_OPERATION, "The operation is not valid here."),
    KNOWN(ERROR_OBJECT_ALREADY_EXISTS, "There is such an item already."),
    KNOWN(DNS_ERROR_RCODE_FORMAT_ERROR, "The DNS server could not read the query."),
    KNOWN(DNS_ERROR_RCODE_SERVER_FAILURE, "The DNS server failed."),
    KNOWN(DNS_ERROR_RCODE_NAME_ERROR, "The DNS knows no such name."),
    KNOWN(DNS_ERROR_RCODE_NOT_IMPLEMENTED, "The DNS server does not support the query."),
    KNOWN(DNS_ERROR_RCODE_REFUSED, "The DNS server refused the query."),
    KNOWN(DNS_ERROR_RCODE_YXDOMAIN, "The DNS name exists although it should not."),
    KNOWN(DNS_ERROR_RCODE_YXRRSET, "The DNS records exist although they should not."),
    KNOWN(DNS_ERROR_RCODE_NXRRSET, "The DNS records do not exist although they should."),
    KNOWN(DNS_ERROR_RCODE_NOTAUTH, "The DNS server is not responsible for the zone."),
    KNOWN(DNS_ERROR_RCODE_NOTZONE, "The DNS name is not in the zone."),
    KNOWN(DNS_ERROR_RCODE_BADSIG, "The signature of the DNS message is not valid."),
    KNOWN(DNS_ERROR_RCODE_BADKEY, "The DNS server does not know the key of the signature."),
    KNOWN(DNS_ERROR_RCODE_BADTIME, "The signature of the DNS message has expired, or the clocks differ."),
    KNOWN(DNS_INFO_NO_RECORDS, "The DNS name has no record of this type."),
    KNOWN(DNS_ERROR_BAD_PACKET, "The DNS answer cannot be read."),
    KNOWN(DNS_ERROR_NO_PACKET, "There is no DNS answer."),
    KNOWN(DNS_ERROR_RCODE, "The DNS server reported an error."),
    KNOWN(DNS_ERROR_UNSECURE_PACKET, "The DNS answer is not signed as it should be."),
    {9506, "DNS_REQUEST_PENDING", "The DNS query goes on in the background."}, // not in all headers
    KNOWN(DNS_ERROR_INVALID_TYPE, "The type of DNS record is not valid."),
    KNOWN(DNS_ERROR_INVALID_IP_ADDRESS, "The IP address is not valid."),
    KNOWN(DNS_ERROR_INVALID_PROPERTY, "The property is not valid."),
    KNOWN(DNS_ERROR_TRY_AGAIN_LATER, "The DNS cannot do this now. Try again later."),
    KNOWN(DNS_ERROR_NOT_UNIQUE, "The DNS has more than one record of this name and type."),
    KNOWN(DNS_ERROR_NON_RFC_NAME, "The DNS name does not keep to the rules for names."),
    KNOWN(DNS_STATUS_FQDN, "The DNS name is a complete one that ends in a dot."),
    KNOWN(DNS_STATUS_DOTTED_NAME, "The DNS name has several parts."),
    KNOWN(DNS_STATUS_SINGLE_PART_NAME, "The DNS name has one part only."),
    KNOWN(DNS_ERROR_INVALID_NAME_CHAR, "The DNS name has characters that are not allowed."),
    KNOWN(DNS_ERROR_NUMERIC_NAME, "The DNS name consists of digits only."),
    KNOWN(DNS_ERROR_NOT_ALLOWED_ON_ROOT_SERVER, "A DNS root server does not do this."),
    KNOWN(DNS_ERROR_NOT_ALLOWED_UNDER_DELEGATION,
          "Another DNS server is responsible for this part of the zone."),
    KNOWN(DNS_ERROR_CANNOT_FIND_ROOT_HINTS, "The DNS server does not know any root server."),
    KNOWN(DNS_ERROR_INCONSISTENT_ROOT_HINTS, "What the DNS server knows of root servers is inconsistent."),
    KNOWN(DNS_ERROR_ZONE_DOES_NOT_EXIST, "There is no such DNS zone."),
    KNOWN(DNS_ERROR_NO_ZONE_INFO, "There is no information on the DNS zone."),
    KNOWN(DNS_ERROR_RECORD_DOES_NOT_EXIST, "There is no such DNS record."),
    KNOWN(DNS_ERROR_RECORD_FORMAT, "The form of the DNS record is not valid."),
    KNOWN(DNS_ERROR_NODE_CREATION_FAILED, "The DNS name could not be created."),
    KNOWN(DNS_ERROR_UNKNOWN_RECORD_TYPE, "The type of DNS record is not known."),
    KNOWN(DNS_ERROR_RECORD_TIMED_OUT, "The DNS record has expired."),
    KNOWN(DNS_ERROR_NAME_NOT_IN_ZONE, "The DNS name is not in the zone."),
    KNOWN(DNS_ERROR_CNAME_LOOP, "The aliases of the DNS name lead in a circle."),
    KNOWN(DNS_ERROR_NODE_IS_CNAME, "The DNS name is an alias."),
    KNOWN(DNS_ERROR_CNAME_COLLISION, "An alias cannot have other DNS records."),
    KNOWN(DNS_ERROR_RECORD_ALREADY_EXISTS, "There is such a DNS record already."),
    KNOWN(DNS_ERROR_NAME_DOES_NOT_EXIST, "There is no such DNS name."),
    KNOWN(DNS_ERROR_DS_UNAVAILABLE, "The directory service that holds the DNS data cannot be reached."),
    KNOWN(DNS_ERROR_NO_TCPIP, "TCP/IP is not installed."),
    KNOWN(DNS_ERROR_NO_DNS_SERVERS, "No DNS server is configured."),
    KNOWN(WSAEINTR, "The call was interrupted."),
    KNOWN(WSAEBADF, "The handle is not valid."),
    KNOWN(WSAEACCES, "The system does not permit this."),
    KNOWN(WSAEFAULT, "An address or its length is not valid."),
    KNOWN(WSAEINVAL, "The text or the argument is not valid."),
    KNOWN(WSAEMFILE, "No more sockets can be opened."),
    KNOWN(WSAEWOULDBLOCK, "The socket is not ready."),
    KNOWN(WSAEINPROGRESS, "Another call is still in progress."),
    KNOWN(WSAEALREADY, "The socket is already connecting."),
    KNOWN(WSAENOTSOCK, "This is not an open socket."),
    KNOWN(WSAEDESTADDRREQ, "A destination is required."),
    KNOWN(WSAEMSGSIZE, "The datagram is larger than the room for it."),
    KNOWN(WSAEPROTOTYPE, "The protocol does not fit the type of socket."),
    KNOWN(WSAENOPROTOOPT, "The socket has no such option."),
    KNOWN(WSAEPROTONOSUPPORT, "The system does not support the protocol."),
    KNOWN(WSAESOCKTNOSUPPORT, "The system does not support the type of socket."),
    KNOWN(WSAEOPNOTSUPP, "The socket does not support this."),
    KNOWN(WSAEPFNOSUPPORT, "The system does not support the protocol family."),
    KNOWN(WSAEAFNOSUPPORT, "The address family is not supported."),
    KNOWN(WSAEADDRINUSE, "The address and port are in use."),
    KNOWN(WSAEADDRNOTAVAIL, "This host does not have the address, or it is no possible destination."),
    KNOWN(WSAENETDOWN, "The network is down."),
    KNOWN(WSAENETUNREACH, "There is no route to the network."),
    KNOWN(WSAENETRESET, "The network dropped the connection."),
    KNOWN(WSAECONNABORTED, "This host ended the connection."),
    KNOWN(WSAECONNRESET, "The other side reset the connection."),
    KNOWN(WSAENOBUFS, "The system has no room left for network data."),
    KNOWN(WSAEISCONN, "The socket is already connected."),
    KNOWN(WSAENOTCONN, "The socket is not connected."),
    KNOWN(WSAESHUTDOWN, "This direction of the connection was shut down."),
    KNOWN(WSAETOOMANYREFS, "The system refers to this too often."),
    KNOWN(WSAETIMEDOUT, "The operation did not end within its time-out."),
    KNOWN(WSAECONNREFUSED, "The connection was refused: nobody listens at this port."),
    KNOWN(WSAELOOP, "The name cannot be resolved."),
    KNOWN(WSAENAMETOOLONG, "The name is too long."),
    KNOWN(WSAEHOSTDOWN, "The host is down."),
    KNOWN(WSAEHOSTUNREACH, "There is no route to the host."),
    KNOWN(WSAENOTEMPTY, "The folder is not empty."),
    KNOWN(WSAEPROCLIM, "Too many programs use the socket library."),
    KNOWN(WSAEUSERS, "Too many users are active."),
    KNOWN(WSAEDQUOT, "The user has no disk space left."),
    KNOWN(WSAESTALE, "The file is no longer there."),
    KNOWN(WSAEREMOTE, "The file is on another host."),
    KNOWN(WSASYSNOTREADY, "The network of this host is not ready."),
    KNOWN(WSAVERNOTSUPPORTED, "The system lacks this version of the socket library."),
    KNOWN(WSANOTINITIALISED, "The library is not started."),
    KNOWN(WSAEDISCON, "The other side is ending the connection."),
    KNOWN(WSAENOMORE, "There are no more results."),
    KNOWN(WSAECANCELLED, "The call was cancelled."),
    KNOWN(WSAEINVALIDPROCTABLE, "A provider of the socket library has a table of calls that is not valid."),
    KNOWN(WSAEINVALIDPROVIDER, "A provider of the socket library is not valid."),
    KNOWN(WSAEPROVIDERFAILEDINIT, "A provider of the socket library cannot be loaded or started."),
    KNOWN(WSASYSCALLFAILURE, "A system call that should never fail has failed."),
    KNOWN(WSASERVICE_NOT_FOUND, "There is no such service."),
    KNOWN(WSATYPE_NOT_FOUND, "There is no service of this name."),
    KNOWN(WSA_E_NO_MORE, "There are no more results."),
    KNOWN(WSA_E_CANCELLED, "The lookup was cancelled."),
    KNOWN(WSAEREFUSED, "The lookup was refused."),
    KNOWN(WSAHOST_NOT_FOUND, "There is no host of this name."),
    KNOWN(WSATRY_AGAIN, "No name server answered. Try again later."),
    KNOWN(WSANO_RECOVERY, "The lookup failed in the name server."),
    KNOWN(WSANO_DATA, "The name has no address of this family."),
    {11032, "WSA_SECURE_HOST_NOT_FOUND",
     "There is no host of this name that could be verified."}, // not in all headers
    {11033, "WSA_IPSEC_NAME_POLICY_ERROR",
     "The name policy of this host does not allow the lookup."}, // not in all headers
};

#undef KNOWN

static_assert(std::is_sorted(std::begin(errors), std::end(errors),
                             [](const error_text& one, const error_text& other) {
                                 return one.code < other.code;
                             }));

constexpr std::size_t text_size = std::accumulate(
    std::begin(errors), std::end(errors), std::size_t{0}, [](std::size_t size, const error_text& each) {
        return size + each.name.size() + each.message.size() + 2; // with their terminating zeros
    });

/// The table as it is in the DLL: all texts in one, and the place of each name in it, after which the message
/// follows. Pointers would need more room, and relocations too.
struct packed_errors {
    constexpr packed_errors() {
        std::size_t end = 0;
        for (std::size_t i = 0; i < std::size(errors); ++i) {
            codes[i] = static_cast<std::uint16_t>(errors[i].code);
            places[i] = static_cast<std::uint16_t>(end);
            end += errors[i].name.copy(&text[end], errors[i].name.size()) + 1;
            end += errors[i].message.copy(&text[end], errors[i].message.size()) + 1;
        }
    }

    std::uint16_t codes[std::size(errors)]{};
    std::uint16_t places[std::size(errors)]{};
    char text[text_size]{};
};

constexpr packed_errors packed;
static_assert(text_size <= 0xFFFF && std::rbegin(errors)->code <= 0xFFFF);

/// The name, after whose terminating zero the message follows; null for an unknown code.
const char* find_error(std::uint32_t code) {
    const auto* found = std::lower_bound(std::begin(packed.codes), std::end(packed.codes), code);
    return found == std::end(packed.codes) || *found != code
               ? nullptr
               : &packed.text[packed.places[found - packed.codes]];
}

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
    if (const char* known = find_error(code)) {
        return write(known + std::strlen(known) + 1, text, capacity);
    }
    if (const char* status = kvtip_ping_status_message(code); *status != 0) {
        return write(status, text, capacity);
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
    const char* known = find_error(code);
    return known == nullptr ? kvtip_ping_status_name(code) : known;
}
