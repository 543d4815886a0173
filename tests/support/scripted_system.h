#pragma once

// A scripted system. While a `scripted::system` lives, it receives every call that the library makes to the
// platform. Tests decide which modules and entries there are, what they return, and which call fails. It
// behaves as Windows does, leaves nonsense in the last error after every success and in the outputs of
// failed calls, and checks at its end that everything it handed out came back.

#include "ip/ip.h"

#include "guard_page.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <ras.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace scripted {

/// The values of a device in the registry: type and text by name.
using device = std::map<std::wstring, std::pair<DWORD, std::wstring>>;

ip::addr address(const char* text);
ip::saddr socket_address(const char* text, std::uint16_t port = 0); // in host order

/// What a function writes: a value's bytes.
inline std::string bytes(const ip::saddr& address) {
    return {reinterpret_cast<const char*>(&address), address.family == ip::family_ipv4 ? 16u : 28u};
}
/// Plain text of that width, with its end.
template <class Char>
std::string bytes(const std::string& text) {
    const std::basic_string<Char> wide(text.begin(), text.end());
    return {reinterpret_cast<const char*>(wide.c_str()), (wide.size() + 1) * sizeof(Char)};
}

/// A socket address as a call writes it, with so many bytes; 0: it writes none.
struct endpoint {
    endpoint(const char* text, std::uint16_t port = 0);
    endpoint(const ip::saddr& any, int size) : address(any), length(size) {}

    ip::saddr address;
    int length;
};

/// What the name services know of a host.
struct host {
    std::vector<endpoint> addresses;    ///< none: a lookup succeeds and finds nothing
    const char* official = nullptr;     ///< if it is not the name asked for
    short family = AF_INET, length = 4; ///< in the record of `gethostbyname`
    std::uint32_t delay = 0;            ///< of the answer, where the caller does not block; `INFINITE`: none
};

/// A lookup that the system works on.
struct pending_lookup {
    std::string name;
    ADDRINFOEXW hints;
    OVERLAPPED* record;
    ADDRINFOEXW** list;
};

/// A socket, connected or on the way.
struct open_socket {
    int family = AF_INET;
    bool non_blocking = false, connected = false, connecting = false, failed = false;
    DWORD outcome = 0;                  ///< of the connect in progress
    DWORD error = 0;                    ///< `SO_ERROR`
    std::uint64_t repetition = 2000;    ///< how long the system repeats a connect that is refused
    HANDLE event = nullptr;             ///< set at the end of a connect
    bool has_ended = false;             ///< it was set, and nobody has asked yet
    std::shared_ptr<void> attempt = {}; ///< names the connect in progress
    bool silent = false;                ///< there is nothing to receive
    bool full = false;                  ///< there is no room for what is sent
};

/// What else the system says of a route than its interface and next hop.
struct route {
    ip::saddr network = socket_address("192.0.2.0");
    UINT8 prefix_length = 24;
    DWORD metric = 5;
    DWORD type = 4; ///< indirect
    ip::saddr source = socket_address("192.0.2.10");
};

/// A row of the system's table of routes, of interface 7.
inline MIB_IPFORWARD_ROW2 route_row(const char* network, UINT8 prefix_length, const char* next_hop,
                                    ULONG metric = 0, int protocol = 3) {
    MIB_IPFORWARD_ROW2 row{};
    const ip::saddr to = socket_address(network), by = socket_address(next_hop);
    std::memcpy(&row.DestinationPrefix.Prefix, &to, sizeof to);
    std::memcpy(&row.NextHop, &by, sizeof by);
    std::memcpy(&row.Protocol, &protocol, sizeof protocol);
    row.DestinationPrefix.PrefixLength = prefix_length;
    row.InterfaceIndex = 7;
    row.Metric = metric;
    return row;
}

/// A record that a DNS query is answered with, and its data: an address or names, null for none, and the bytes
/// after them.
struct dns_record {
    WORD type;
    const char* data = nullptr;
    DWORD section = 1;
    std::string bytes = {};
};

/// An answer to a ping, from 192.0.2.9.
struct echo_answer {
    ULONG status = 0;
    WORD size = 32;   ///< of the data, as the answer says
    int data_at = 40; ///< where in the buffer the data begin; 0: at a guard page, -1: nowhere
    char last = 'E';  ///< of 32 bytes of data, which are all 'E' otherwise
};

class system {
public:
    /// A system without adapters, and on it, unless the test does that itself, a library just loaded.
    explicit system(DWORD major_version = 10, bool loaded = true);
    ~system();

    /// What the module's load and unload do.
    void load_library();
    void unload_library();

    // What the system is.
    const DWORD major;
    DWORD build = 19045;
    std::set<std::string> missing; ///< modules ("Ws2_32.dll") and entries ("WSAPoll")
    std::vector<IP_ADAPTER_ADDRESSES> adapters;
    std::vector<IP_ADAPTER_INFO> older_adapters;
    ULONG list_size = 15360;                ///< the room that `GetAdaptersAddresses` wants
    ULONG older_list_size = 3520;           ///< the room that `GetAdaptersInfo` wants
    std::map<DWORD, std::wstring> messages; ///< the sentences for codes
    std::vector<device> network_devices, modem_devices;
    std::map<std::string, DWORD> peers; ///< codes of connects by address; others fail at once, with 10065
    std::map<std::string, std::uint64_t> distances; ///< how long these take, by address
    std::map<SOCKET, open_socket> sockets;
    SOCKET next_socket = 101;
    SOCKET closed_elsewhere = INVALID_SOCKET;
    std::map<std::string, host> hosts;        ///< by name; "" is this one
    std::map<std::string, u_short> services;  ///< ports by "name/protocol", in host order
    const void* hints = nullptr;              ///< of the last lookup
    std::map<HANDLE, pending_lookup> lookups; ///< by what cancels them
    ULONG_PTR last_lookup = 0;
    std::uint32_t cancel_delay = 0; ///< until a lookup that is cancelled ends
    /// Ends the lookup that has that handle, with an answer or with a code. Returns false if there is no such
    /// lookup. Any thread may call this.
    bool end_lookup(HANDLE handle, DWORD code = 0);
    std::map<std::string, std::vector<dns_record>> dns; ///< by "type name"
    std::string echo_reply;                             ///< as the system writes it
    int echo_data_at = 0;                               ///< where in the buffer of an IPv4 reply, if above 0
    // What becomes of a request with an event.
    std::uint64_t echo_time = 0;  ///< how long its answer takes; 0: it is there before the call returns
    std::set<std::string> silent; ///< targets that never answer
    std::size_t most_echoes = 0;  ///< in flight at once so far
    std::map<std::size_t, std::function<void(bool)>>
        echoes; ///< the ends of those in flight, with an answer or not
    std::size_t echo_count = 0;
    void give(const echo_answer& answer);
    void give6(DWORD status, const std::string& data); ///< the answer from fe80::5%6
    std::vector<MIB_IPNETROW> older_neighbours;
    std::vector<MIB_IPNET_ROW2> neighbours;
    std::vector<MIB_IF_ROW2> interfaces;
    std::vector<MIB_IPFORWARD_ROW2> routes; ///< of both families
    std::vector<MIB_IPFORWARDROW> older_routes;
    MIB_IPNET_ROW2 resolved{}; ///< of which the hardware address counts
    std::vector<MIB_TCPROW_OWNER_PID> tcp4;
    std::vector<MIB_TCP6ROW_OWNER_PID> tcp6;
    std::vector<MIB_UDPROW_OWNER_PID> udp4;
    std::vector<MIB_UDP6ROW_OWNER_PID> udp6;
    std::map<DWORD, UCHAR> active; ///< whether a connection was opened here, by its first four bytes
    std::string opener_of;         ///< the record of the connection last asked about
    DWORD best_index = 7;
    ip::saddr next_hop = socket_address("192.0.2.1");
    scripted::route route;
    FIXED_INFO network{};
    std::vector<RASCONNW> dial_ups;
    std::vector<std::wstring> dial_up_addresses;
    DWORD dial_up_size = 1388; ///< of the records that the remote-access library knows
    DWORD more_rows = 0;       ///< how many more rows a table says it has
    std::deque<DWORD> wanted;  ///< the room that the next calls for a table want, whatever they get
    std::vector<std::pair<DWORD, std::wstring>> processes; ///< identifiers and names
    std::size_t next_process = 0;
    std::map<DWORD, std::wstring> paths; ///< of processes that may be opened
    DWORD opened_process = 0;
    std::uint64_t clock = 1000;                          ///< in milliseconds
    std::map<std::string, std::uint64_t> durations;      ///< how long calls take, by name
    std::map<std::string, std::function<void()>> during; ///< what others do in the next call of that name
    /// The number of starts of the socket library that come next and are never taken back.
    std::atomic<int> starts_for_good = 0;
    std::multimap<std::uint64_t, std::function<void()>> later; ///< what happens during a wait, by the clock
    /// Lets time pass until the next such event, but at most so many milliseconds, and subtracts from these what
    /// has passed. Returns whether something has happened.
    bool pass(DWORD& milliseconds);
    /// Signals that something has changed to everybody who has asked for it, as the system does.
    void signal();
    bool never_signals = false; ///< the calls that ask for signals are there in name only, as in Wine
    std::map<HANDLE, std::function<void()>> subscriptions;
    ULONG_PTR last_subscription = 0;
    std::set<OVERLAPPED*> older_subscriptions;
    bool yields = false; ///< lets other threads run inside calls

    // What fails: the codes of a call, one each time (0: as usual), by its name with or without arguments;
    // or one call by its number.
    std::map<std::string, std::deque<DWORD>> answers;
    static constexpr DWORD no_reason = 0xFFFFFFFF; ///< fails, and leaves 0 in the last error
    std::size_t failing_call = ~std::size_t{0};
    static constexpr DWORD failing_code = 0x5EED;

    /// What a call writes to its outputs, by its name with or without arguments, if it only writes that.
    std::map<std::string, std::vector<std::string>> outputs;

    // What was called, "Name" or "Name(argument)". Off for threads.
    std::vector<std::string> calls;
    bool logs = true;
    /// What was so when each of them was made.
    struct moment {
        std::size_t allocations;        ///< made by then
        std::vector<const void*> locks; ///< held by the thread
    };
    std::vector<moment> moments;
    /// The calls that begin with `prefix`, without it, between blanks.
    std::string called(std::string_view prefix = "") const;
    std::ptrdiff_t count(const std::string& of) const { return std::count(calls.begin(), calls.end(), of); }

    /// A copy of `value` that ends at an inaccessible page and lives as long as the system.
    template <class Value>
    Value* keep(const Value& value, std::size_t size = sizeof(Value)) {
        std::byte* data = memory_.emplace_back(std::make_unique<guarded_buffer>(size))->data();
        return static_cast<Value*>(std::memcpy(data, &value, size));
    }
    template <class Char>
    Char* text(const Char* literal) {
        return keep(*literal, (std::char_traits<Char>::length(literal) + 1) * sizeof(Char));
    }
    /// A socket address of the length that its family has; null for none.
    SOCKET_ADDRESS record(const ip::saddr& address);
    /// Closes a socket without the library. The load and the start that it had stay, and are not expected
    /// back.
    void close_elsewhere(SOCKET handle);
    /// A linked list of the platform's nodes, one for each address and each as long as its length says: if
    /// that is 0, in full.
    template <class Node>
    Node* list(const std::vector<ip::saddr>& addresses, Node node = {}) {
        node.Length = node.Length != 0 ? node.Length : sizeof node;
        for (auto address = addresses.rbegin(); address != addresses.rend(); ++address) {
            node.Address = record(*address);
            node.Next = keep(node, std::min<std::size_t>((node.Length + 7) / 8 * 8, sizeof node));
        }
        return node.Next;
    }

private:
    std::vector<std::unique_ptr<guarded_buffer>> memory_;
};

} // namespace scripted
