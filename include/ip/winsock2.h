#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ip/address.h"
#include "ip/export.h"
#include "ip/lib.h"

// The socket library's records, of which this header needs the names only.
struct WSAData;
struct _QualityOfService;
struct _WSABUF;
struct _WSAPROTOCOL_INFOW;
struct addrinfo;
struct addrinfoW;
struct fd_set;
struct pollfd;
struct timeval;

namespace ip {

/// The socket library. An object is an `ip::lib` handle that starts the socket library once more, with a
/// version of its own.
///
/// The static members are the socket calls. They need the socket library started by any handle in the
/// process, and crash without it. Each rests on the system call of its name, unless its comment names
/// another, and is as thread-safe as that call. Those that return `unsigned long` return 0 or the code that
/// `getlasterror` returns after the system call. Those that return `int` return the system call's result, -1
/// for a failure, and leave the code to `getlasterror`. A socket address that is neither IPv4 nor IPv6 goes
/// to the system with length 0, which refuses it: `WSAEFAULT (10014)`.
class winsock2 : public lib {
public:
    /// Decides on a caller before `accept` takes it, during that call: `CF_ACCEPT` (0), `CF_REJECT` (1) or
    /// `CF_DEFER` (2). The parameters are those of the system's condition function: the caller, its data and
    /// the qualities of service, the callee, the data to return, the socket group, and the `callback_data` of
    /// `accept`.
    using accept_condition = int (*)(_WSABUF* caller_id, _WSABUF* caller_data, _QualityOfService* socket_qos,
                                     _QualityOfService* group_qos, _WSABUF* callee_id, _WSABUF* callee_data,
                                     unsigned int* group, std::uint64_t callback_data);

    /// `wsa_version` is the version for `start`, as `WSAStartup` takes it: low byte major, high byte minor.
    explicit winsock2(unsigned short wsa_version = 0x0202) : wsa_version_(wsa_version) {}
    /// Calls `cleanup` if this object is started.
    ~winsock2() {
        if (started_) {
            cleanup();
        }
    }

    /// Initialises the handle and calls `WSAStartup` with this object's version, which fills `data`. Returns
    /// 0, also when the object is already started (`data` is then untouched), the error of `lib::init`, or
    /// the code of `WSAStartup`: `WSASYSNOTREADY (10091)` or `WSAVERNOTSUPPORTED (10092)`. After a failure
    /// the object is not started and the handle is not initialised, even if it was before. A refused version
    /// may fill `data`; earlier failures leave it untouched. The first start of a process calls `WSAStartup`
    /// twice: for version 1.1, then for this one.
    KVTIP_API unsigned long start(::WSAData& data) noexcept;

    /// Undoes one `start`: calls `WSACleanup`, releases the library and calls `lib::free`. Returns the first
    /// error of these, or 0. It does not check that this object is started: an extra call takes back
    /// another's start, and crashes when the library is not started.
    KVTIP_API unsigned long cleanup() noexcept;

    /// Returns the calling thread's last socket error (`WSAGetLastError`).
    KVTIP_API static unsigned long getlasterror() noexcept;

    // Sockets.

    /// Opens a socket (`WSASocketW`). Family 0 means IPv4. A handle that `s` had is dropped without being
    /// closed, on failure too. From version 6 on, `dual_stack` lets an IPv6 socket serve IPv4 peers as well
    /// (`IPV6_V6ONLY` off). If that fails, the socket is closed and the code is that of `setsockopt`.
    /// Time-outs of `send` and `recv` work only on sockets opened with `flags` 1 (`WSA_FLAG_OVERLAPPED`). A
    /// raw socket without administrator rights returns `WSAEACCES (10013)`.
    KVTIP_API static unsigned long socket(ip::socket& s, int type, int protocol, unsigned short af = 0,
                                          ::_WSAPROTOCOL_INFOW* info = nullptr, unsigned int group = 0,
                                          unsigned long flags = 0, bool dual_stack = false) noexcept;

    /// Closes the socket and empties `s`, whatever the code. Returns 0 if `s` is empty. Of two concurrent
    /// closes of one object, only one reaches the system.
    KVTIP_API static unsigned long closesocket(ip::socket& s) noexcept;

    /// Gives the socket a local address and port. Port 0 lets the system choose a free one, which
    /// `getsockname` returns; the all-zero address of a family stands for all local addresses.
    KVTIP_API static unsigned long bind(const ip::socket& s, const saddr& address) noexcept;

    /// Lets a bound socket take connections. Up to `backlog` callers wait for `accept`.
    KVTIP_API static unsigned long listen(const ip::socket& s, int backlog) noexcept;

    /// Waits for a caller (`WSAAccept`), and stores its socket in `accepted` and its address without port in
    /// `peer`. A handle that `accepted` had is dropped without being closed. On failure `accepted` is empty
    /// and `peer` is untouched. A caller that `condition` rejects returns `WSAECONNREFUSED (10061)`, a
    /// deferred one `WSATRY_AGAIN (11002)`.
    KVTIP_API static unsigned long accept(const ip::socket& listener, ip::socket& accepted, addr& peer,
                                          accept_condition condition = nullptr,
                                          std::uint64_t callback_data = 0);

    /// Connects, and waits as long as the system does: about 21 s for a host that does not answer.
    KVTIP_API static unsigned long connect(const ip::socket& s, const saddr& address) noexcept;

    /// Connects, and waits at most for `timeout`; null waits as long as the system does. The socket is
    /// switched to non-blocking for the call (`ioctlsocket`, `select`) and is blocking afterwards. Where the
    /// switch fails, the call waits as long as the system does. Returns 0, a code of the plain `connect`, or:
    /// - `ERROR_TIMEOUT (1460)`: time ran out. The attempt goes on in the background: a further connect on
    ///   the socket returns `WSAEALREADY (10037)`. Windows needs about 2 s to report a refusal, so that a
    ///   shorter time-out returns this code instead of `WSAECONNREFUSED (10061)`;
    /// - `WSAEWOULDBLOCK (10035)`: the attempt failed, and the system did not return the reason.
    ///
    /// A failure for which the system has no code returns 0.
    KVTIP_API static unsigned long connect(const ip::socket& s, const saddr& address,
                                           const ::timeval* timeout) noexcept;

    /// @{
    /// Connects to a host, given by name or address text, at a service, given by name or port number
    /// (`WSAConnectByNameA/W`). `local` and `remote`, each null if not wanted, are filled on success with the
    /// addresses without port. Set `SO_UPDATE_CONNECT_CONTEXT` (0x7010) before other calls on the socket,
    /// such as `getpeername` and `shutdown`. Returns 0 or the system's code, such as:
    /// - `WSAHOST_NOT_FOUND (11001)`: unknown name;
    /// - `WSATYPE_NOT_FOUND (10109)`: unknown service;
    /// - `WSAETIMEDOUT (10060)`: no answer in time;
    /// - `ERROR_NOT_ENOUGH_MEMORY (8)`.
    ///
    /// Systems before version 6 lack that call. There the library looks the name up, as `getaddrinfo` does
    /// without hints, and tries one address after the other on the same socket, each by `connect` with the
    /// time-out. After `ERROR_TIMEOUT (1460)` the remaining addresses return `WSAEALREADY (10037)`. The code
    /// is that of the last address, `WSAEADDRNOTAVAIL (10049)` without an address, or that of the lookup.
    /// `remote` must not be null there, `local` is not filled, and the port of a service that is not a number
    /// is 0. The wide form tries addresses of any family. Where the system lacks `GetAddrInfoW` too, it takes
    /// address text only, and returns `ERROR_CALL_NOT_IMPLEMENTED (120)` for a name.
    KVTIP_API static unsigned long connectbyname(const ip::socket& s, const char* node, const char* service,
                                                 addr* local, addr* remote,
                                                 const ::timeval* timeout) noexcept;
    KVTIP_API static unsigned long connectbyname(const ip::socket& s, const wchar_t* node,
                                                 const wchar_t* service, addr* local, addr* remote,
                                                 const ::timeval* timeout) noexcept;
    /// @}

    /// Ends one or both directions of a connection. `how`: 0 nothing more to receive, 1 nothing more to send,
    /// 2 both.
    KVTIP_API static unsigned long shutdown(const ip::socket& s, int how) noexcept;

    /// Sends on a connected socket. `length` is in bytes. Returns the number of bytes sent.
    KVTIP_API static int send(const ip::socket& s, const char* buffer, int length, int flags = 0) noexcept;

    /// Receives on a connected socket. `length` is the room in bytes. Returns the number of bytes received, 0
    /// when the peer has closed the connection.
    KVTIP_API static int recv(const ip::socket& s, char* buffer, int length, int flags = 0) noexcept;

    /// Sends a datagram. Returns the number of bytes sent.
    KVTIP_API static int sendto(const ip::socket& s, const char* buffer, int length, const saddr& to,
                                int flags = 0) noexcept;

    /// Receives a datagram. Returns its number of bytes. `from` gets the sender. It has family 0, with its
    /// other members unspecified, after a failure, on a stream connection, and for a truncated datagram,
    /// which is a failure too: `WSAEMSGSIZE (10040)`.
    KVTIP_API static int recvfrom(const ip::socket& s, char* buffer, int length, saddr& from,
                                  int flags = 0) noexcept;

    /// Waits until one of the sockets in the sets is ready, and leaves only the ready ones in them. Returns
    /// their number, 0 when time ran out. A null time-out waits without limit. The system ignores `nfds`.
    KVTIP_API static int select(::fd_set* read, ::fd_set* write, ::fd_set* except, const ::timeval* timeout,
                                int nfds = 0) noexcept;

    /// Waits for events on `count` sockets (`WSAPoll`), for `timeout` milliseconds; a negative value waits
    /// without limit. Crashes on systems before version 6, which lack the system call.
    KVTIP_API static int poll(::pollfd* fds, unsigned long count, int timeout) noexcept;

    /// Controls a socket, such as its non-blocking mode: `command` `FIONBIO` with `argument` 1 or 0. The
    /// system reads or writes `argument`, as the command requires.
    KVTIP_API static unsigned long ioctlsocket(const ip::socket& s, long command,
                                               unsigned long* argument) noexcept;

    /// Reads an option. `length` is the room in bytes, and then the number of bytes written.
    KVTIP_API static unsigned long getsockopt(const ip::socket& s, int level, int name, char* value,
                                              int* length) noexcept;

    /// Sets an option to the `length` bytes at `value`.
    KVTIP_API static unsigned long setsockopt(const ip::socket& s, int level, int name, const char* value,
                                              int length) noexcept;

    /// Returns the remote address of a connected socket in `address`, which is untouched on failure.
    KVTIP_API static unsigned long getpeername(const ip::socket& s, saddr& address) noexcept;

    /// Returns the local address of a bound socket in `address`, which is untouched on failure.
    KVTIP_API static unsigned long getsockname(const ip::socket& s, saddr& address) noexcept;

    /// Replaces family 0 by IPv4.
    KVTIP_API static void ensure_af(unsigned short& af) noexcept;

    // Names. Narrow text is in the system's ANSI code page. A lookup can take the system 10 s and more.
    // Operations that return a code return `ERROR_NOT_ENOUGH_MEMORY (8)` when memory is exhausted. Where the
    // system lacks a wide call, the wide form goes through the narrow one: names go in as UTF-8 and come back
    // in the ANSI code page, and a conversion that fails throws `kvt::exceptions::error`.

    /// @{
    /// Returns the addresses of a host in `out`, in the order of the system: one for each of its entries, so
    /// that an address may be there twice. Entries of other families have family 0; entries without an
    /// address are skipped. `out` is emptied first, and is empty after a failure. `service` may be null.
    /// `node` may be null if `service` is not, and then stands for this host. Returns 0 or the system's code,
    /// such as:
    /// - `WSAHOST_NOT_FOUND (11001)`: unknown name;
    /// - `WSANO_DATA (11004)`: the name has no such address;
    /// - `WSATRY_AGAIN (11002)`: no answer;
    /// - `WSATYPE_NOT_FOUND (10109)`: unknown service.
    ///
    /// Without hints, the narrow form returns IPv4 addresses or, for a name that has none, IPv6 ones. The
    /// wide form (`GetAddrInfoW`) then returns those of any family. Where the system lacks `getaddrinfo` or
    /// `freeaddrinfo`, the library uses `gethostbyname` and `getservbyname`, and finds IPv4 only: an unknown
    /// name without hints returns `WSAEAFNOSUPPORT (10047)` there.
    KVTIP_API static unsigned long getaddrinfo(const char* node, std::vector<addr>& out,
                                               const char* service = nullptr,
                                               ::addrinfo* hints = nullptr) noexcept;
    KVTIP_API static unsigned long getaddrinfo(const wchar_t* node, std::vector<addr>& out,
                                               const wchar_t* service = nullptr,
                                               ::addrinfoW* hints = nullptr);
    /// @}

    /// @{
    /// Returns the names of an address and of its port (`getnameinfo`, `GetNameInfoW`). Pass null for a name
    /// that is not wanted. Both are untouched on failure. An address or port without a name returns its
    /// number, but with `NI_NAMEREQD` in `flags` an address without a name returns `WSAHOST_NOT_FOUND
    /// (11001)`. Where the system lacks `getnameinfo`, the library uses `gethostbyaddr` and `getservbyport`,
    /// and finds IPv4 only.
    KVTIP_API static unsigned long getnameinfo(const saddr& address, std::string* host, std::string* service,
                                               int flags) noexcept;
    KVTIP_API static unsigned long getnameinfo(const saddr& address, std::wstring* host,
                                               std::wstring* service, int flags);
    /// @}

    /// @{
    /// Returns this host's name, zero-terminated. `length` is the room in characters, of which 256 always
    /// suffice; too little room returns `WSAEFAULT (10014)`. The narrow form empties `name` first, so that it
    /// needs room for one character whatever the length. The wide form writes on success only. It converts no
    /// code page: bytes above 0x7F become U+FF80 to U+FFFF. If the system returns a name of exactly `length`
    /// characters, the wide form does not terminate it.
    KVTIP_API static unsigned long gethostname(char* name, int length) noexcept;
    KVTIP_API static unsigned long gethostname(wchar_t* name, int length) noexcept;
    /// @}

    /// @{
    /// Returns the name of an address if the system finds one (`getnameinfo`), otherwise its numbers; empty
    /// text for an address of family 0. Throws `std::bad_alloc` when there is no memory even for the numbers.
    /// The wide form also throws when a name cannot be converted.
    KVTIP_API static void address_to_string(std::string& out, const addr& address);
    KVTIP_API static void address_to_string(std::wstring& out, const addr& address);
    /// @}

    /// @{
    /// Returns the address that the text denotes. If it denotes none, returns the first one that
    /// `getaddrinfo` finds for it as a name. Returns 0, the code of `getaddrinfo`, or `DNS_INFO_NO_RECORDS
    /// (9501)` when that finds none; `out` then has family 0 and unspecified bytes. If `family` is 0, the
    /// narrow form looks for IPv4 before IPv6. Any other value accepts every family.
    KVTIP_API static unsigned long address_from_string(addr& out, const char* text,
                                                       unsigned short family = 0) noexcept;
    KVTIP_API static unsigned long address_from_string(addr& out, const wchar_t* text);
    /// @}

private:
    unsigned short wsa_version_;
    bool started_ = false;
};

} // namespace ip
