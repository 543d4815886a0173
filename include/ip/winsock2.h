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

/// The socket library. An object is an `ip::lib` handle that starts the socket library once more, with
/// a version of its own.
///
/// The static members are the socket calls. They need a started socket library, by any handle in the
/// process, and crash without one. Each rests on the system call of its name, if nothing else is said, and is
/// as thread-safe as that. Those that return `unsigned long` give 0 or the code that `getlasterror` would
/// give; those that return `int` give the system call's own result, -1 for failure, and leave the code to
/// `getlasterror`. Socket addresses keep their byte order; one whose family is neither IPv4 nor IPv6 goes to
/// the system with length 0, which refuses it (10014).
class winsock2 : public lib {
public:
    /// Decides on a caller before `accept` takes it, during that call: CF_ACCEPT (0), CF_REJECT (1) or
    /// CF_DEFER (2). The parameters are those of the system's condition function: who calls, with which data
    /// and which qualities of service, who is called, the data to answer with, the socket group, and what was
    /// given to `accept` as `callback_data`.
    using accept_condition = int (*)(_WSABUF* caller_id, _WSABUF* caller_data, _QualityOfService* socket_qos,
                                     _QualityOfService* group_qos, _WSABUF* callee_id, _WSABUF* callee_data,
                                     unsigned int* group, std::uint64_t callback_data);

    /// `wsa_version` is what `start` asks for: low byte major, high byte minor, as `WSAStartup` takes it.
    explicit winsock2(unsigned short wsa_version = 0x0202) : wsa_version_(wsa_version) {}
    /// Calls `cleanup` if the object is started.
    ~winsock2() {
        if (started_) {
            cleanup();
        }
    }

    /// Initialises the handle and calls `WSAStartup` with this object's version, which fills `data`.
    /// Returns 0, also when the object is started already (`data` is untouched then), the error of
    /// `lib::init`, or `WSAStartup`'s own code (10091, 10092); after a failure nothing stays started.
    /// A refused version may fill `data`, an earlier failure leaves it alone; a failed start ends the use of
    /// a handle that was initialised before. The first start of a process calls `WSAStartup` twice: for
    /// version 1.1, then for this one.
    KVTIP_API unsigned long start(::WSAData& data);

    /// Undoes one `start`: `WSACleanup`, release of the library, `lib::free`. Returns the first error of
    /// these, or 0. The object is not asked whether it is started: a call too many takes away somebody
    /// else's start, and crashes when nobody has the library started.
    KVTIP_API unsigned long cleanup();

    /// The calling thread's last socket error (`WSAGetLastError`). The library must be started.
    KVTIP_API static unsigned long getlasterror();

    // Sockets.

    /// Opens a socket (`WSASocketW`); family 0 means IPv4. A handle that `s` held is dropped without being
    /// closed, on failure too. From version 6 on, `dual_stack` lets an IPv6 socket serve IPv4 peers as well
    /// (`IPV6_V6ONLY` off); if that fails, the socket is closed again and the code is that of the switch.
    /// Time-outs of `send` and `recv` work only on sockets opened with `flags` 1 (`WSA_FLAG_OVERLAPPED`).
    KVTIP_API static unsigned long socket(ip::socket& s, int type, int protocol, unsigned short af = 0,
                                          ::_WSAPROTOCOL_INFOW* info = nullptr, unsigned int group = 0,
                                          unsigned long flags = 0, bool dual_stack = false);

    /// Closes the socket and empties `s`, whatever the code. An empty one is closed already: 0. Of two
    /// threads that close the same object one closes the handle, the other has nothing to do.
    KVTIP_API static unsigned long closesocket(ip::socket& s);

    KVTIP_API static unsigned long bind(const ip::socket& s, const saddr& address);

    /// `backlog`: how many callers may wait for `accept`.
    KVTIP_API static unsigned long listen(const ip::socket& s, int backlog);

    /// Waits for a caller (`WSAAccept`) and puts its socket into `accepted`, its address without port into
    /// `peer`. On failure `accepted` is empty and `peer` untouched. A handle that `accepted` held is dropped
    /// without being closed. A caller that `condition` rejects gives 10061, a deferred one 11002.
    KVTIP_API static unsigned long accept(const ip::socket& listener, ip::socket& accepted, addr& peer,
                                          accept_condition condition = nullptr,
                                          std::uint64_t callback_data = 0);

    /// Connects, for as long as the system takes: about 21 s to a host that does not answer.
    KVTIP_API static unsigned long connect(const ip::socket& s, const saddr& address);

    /// Connects, waiting for `timeout` at most; null waits as long as the system does. Returns 1460 when time
    /// runs out, otherwise as the plain `connect`. The socket is switched to non-blocking for the call
    /// (`ioctlsocket`, `select`) and is blocking afterwards; where the switch fails, the connect blocks
    /// instead. After 1460 the attempt goes on in the background: a further connect on the socket gives
    /// 10037. A refusal takes Windows about 2 s, so a shorter time-out gives 1460, not 10061.
    KVTIP_API static unsigned long connect(const ip::socket& s, const saddr& address,
                                           const ::timeval* timeout);

    /// Connects to a host given by name or address text, at a service given by name or port number
    /// (`WSAConnectByNameA/W`; 11001 unknown name, 10109 unknown service, 10060 no answer in time). `local`
    /// and `remote`, each null if not wanted, are filled on success with the addresses without port. The
    /// socket stays half set up: before other calls on it, such as `getpeername` and `shutdown`, set
    /// `SO_UPDATE_CONNECT_CONTEXT` (0x7010).
    ///
    /// Systems before version 6 lack that call. There the library looks the name up, as `getaddrinfo` does
    /// without hints, and tries address by address with `connect` and the time-out for each, on the same
    /// socket: after 1460 the addresses left give 10037. The code is that of the last address, 10049 without
    /// one, or that of the look-up. There `remote` must not be null, `local` is not filled, and a service
    /// that is no number is port 0. The wide form then takes addresses of any family; where `GetAddrInfoW` is
    /// missing too, it takes address text only, and a name is 120.
    KVTIP_API static unsigned long connectbyname(const ip::socket& s, const char* node, const char* service,
                                                 addr* local, addr* remote, const ::timeval* timeout);
    KVTIP_API static unsigned long connectbyname(const ip::socket& s, const wchar_t* node,
                                                 const wchar_t* service, addr* local, addr* remote,
                                                 const ::timeval* timeout);

    /// `how`: 0 no more to receive, 1 no more to send, 2 both.
    KVTIP_API static unsigned long shutdown(const ip::socket& s, int how);

    /// Sends or receives on a connected socket; lengths and results are in bytes. `recv` gives 0 when the
    /// peer has closed the connection.
    KVTIP_API static int send(const ip::socket& s, const char* buffer, int length, int flags = 0);
    KVTIP_API static int recv(const ip::socket& s, char* buffer, int length, int flags = 0);

    /// Sends or receives a datagram. `from` gets the sender, or family 0: on failure (also when the datagram
    /// was longer than the buffer, 10040) and on a stream connection. Its other members are then unspecified.
    KVTIP_API static int sendto(const ip::socket& s, const char* buffer, int length, const saddr& to,
                                int flags = 0);
    KVTIP_API static int recvfrom(const ip::socket& s, char* buffer, int length, saddr& from, int flags = 0);

    /// Waits until one of the sockets in the sets is ready, and leaves the ready ones in them. Gives their
    /// number, 0 when time ran out; a null time-out waits without limit. The system ignores `nfds`.
    KVTIP_API static int select(::fd_set* read, ::fd_set* write, ::fd_set* except, const ::timeval* timeout,
                                int nfds = 0);

    /// Waits for events on `count` sockets (`WSAPoll`), `timeout` in milliseconds, negative for ever. For
    /// systems of version 6 or later: without the system call it crashes.
    KVTIP_API static int poll(::pollfd* fds, unsigned long count, int timeout);

    KVTIP_API static unsigned long ioctlsocket(const ip::socket& s, long command, unsigned long* argument);
    /// `length`: the room in bytes, then what was written.
    KVTIP_API static unsigned long getsockopt(const ip::socket& s, int level, int name, char* value,
                                              int* length);
    KVTIP_API static unsigned long setsockopt(const ip::socket& s, int level, int name, const char* value,
                                              int length);

    /// The address of the other or of the own end; `address` is untouched on failure.
    KVTIP_API static unsigned long getpeername(const ip::socket& s, saddr& address);
    KVTIP_API static unsigned long getsockname(const ip::socket& s, saddr& address);

    /// Makes IPv4 of family 0.
    KVTIP_API static void ensure_af(unsigned short& af);

    // Names. Narrow text is in the system's ANSI code page. A look-up can take the system 10 s and more.
    // Memory exhausted is 8 where a code is returned. Where the system lacks the wide call, the wide form
    // goes through the narrow one: names go in as UTF-8 and come back in the ANSI code page, and a conversion
    // that fails throws `kvt::exceptions::error`.

    /// The addresses of a host, one for each entry of the system's answer, in its order: an address may be
    /// there twice, and entries of other families have family 0. `out` is emptied first and stays so on
    /// failure (11001 unknown name, 11004 no such address, 11002 no answer, 10109 unknown service).
    /// `service` may be null, `node` too if `service` is not: for the own host.
    ///
    /// Narrow: without hints the answer is IPv4 or, for a name that has no IPv4 address, IPv6. Wide: without
    /// hints any family (`GetAddrInfoW`). Where the system lacks `getaddrinfo` or `freeaddrinfo`, the library
    /// asks `gethostbyname` and `getservbyname` itself and knows IPv4 only: an unknown name without hints is
    /// 10047 there.
    KVTIP_API static unsigned long getaddrinfo(const char* node, std::vector<addr>& out,
                                               const char* service = nullptr, ::addrinfo* hints = nullptr);
    KVTIP_API static unsigned long getaddrinfo(const wchar_t* node, std::vector<addr>& out,
                                               const wchar_t* service = nullptr,
                                               ::addrinfoW* hints = nullptr);

    /// The names of an address and of its port (wide: `GetNameInfoW`); null for one that is not wanted. Both
    /// are untouched on failure. Without a name the numbers are given, unless `flags` has `NI_NAMEREQD`
    /// (then 11001). Where the system lacks `getnameinfo`, the library asks `gethostbyaddr` and
    /// `getservbyport` itself and knows IPv4 only.
    KVTIP_API static unsigned long getnameinfo(const saddr& address, std::string* host, std::string* service,
                                               int flags);
    KVTIP_API static unsigned long getnameinfo(const saddr& address, std::wstring* host,
                                               std::wstring* service, int flags);

    /// The own host's name, zero-terminated; `length` is the room in characters, of which 256 always
    /// suffice; 10014 when too short. The narrow form empties `name` first, so it needs room for one
    /// character whatever `length` says. The wide form writes on success only; it converts no code page:
    /// bytes above 0x7F become U+FF80 to U+FFFF. It leaves a name of exactly `length` characters, where the
    /// system gives one, without terminator.
    KVTIP_API static unsigned long gethostname(char* name, int length);
    KVTIP_API static unsigned long gethostname(wchar_t* name, int length);

    /// The name of an address where the system finds one (`getnameinfo`), else its numbers; empty for an
    /// address of family 0. Throws `std::bad_alloc` when even the numbers find no memory, and the wide form
    /// where a name cannot be converted.
    KVTIP_API static void address_to_string(std::string& out, const addr& address);
    KVTIP_API static void address_to_string(std::wstring& out, const addr& address);

    /// The address that the text writes, or failing that the first one that `getaddrinfo` finds for it as a
    /// name; 9501 when it finds none. On failure `out` has family 0 and unspecified bytes. The narrow form
    /// looks for IPv4 before IPv6 if `family` is 0; any other value asks for any family, whichever it names.
    KVTIP_API static unsigned long address_from_string(addr& out, const char* text,
                                                       unsigned short family = 0);
    KVTIP_API static unsigned long address_from_string(addr& out, const wchar_t* text);

private:
    unsigned short wsa_version_;
    bool started_ = false;
};

} // namespace ip
