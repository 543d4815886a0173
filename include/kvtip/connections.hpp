#pragma once

// Connections and listeners with the processes that own them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvtip/address.hpp"
#include "kvtip/detail/call.hpp"
#include "kvtip/detail/named.hpp"
#include "kvtip/missing.hpp"

namespace kvtip {
inline namespace v1 {

enum class protocol : std::uint32_t { any = 0, tcp = KVTIP_TCP, udp = KVTIP_UDP };

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<protocol> protocol_names[] = {{protocol::tcp, "TCP"}, {protocol::udp, "UDP"}};
constexpr std::string_view to_string(protocol value) noexcept {
    return detail::name_in<protocol>(protocol_names, value);
}

/// The state of a TCP connection.
enum class connection_state : std::uint32_t {
    none = KVTIP_STATE_NONE, ///< UDP; in options: any
    closed = KVTIP_STATE_CLOSED,
    listen = KVTIP_STATE_LISTEN,
    syn_sent = KVTIP_STATE_SYN_SENT,
    syn_received = KVTIP_STATE_SYN_RECEIVED,
    established = KVTIP_STATE_ESTABLISHED,
    fin_wait_1 = KVTIP_STATE_FIN_WAIT_1,
    fin_wait_2 = KVTIP_STATE_FIN_WAIT_2,
    close_wait = KVTIP_STATE_CLOSE_WAIT,
    closing = KVTIP_STATE_CLOSING,
    last_ack = KVTIP_STATE_LAST_ACK,
    time_wait = KVTIP_STATE_TIME_WAIT,
    delete_tcb = KVTIP_STATE_DELETE_TCB
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<connection_state> connection_state_names[] = {
    {connection_state::closed, "closed"},           {connection_state::listen, "listen"},
    {connection_state::syn_sent, "syn-sent"},       {connection_state::syn_received, "syn-received"},
    {connection_state::established, "established"}, {connection_state::fin_wait_1, "fin-wait-1"},
    {connection_state::fin_wait_2, "fin-wait-2"},   {connection_state::close_wait, "close-wait"},
    {connection_state::closing, "closing"},         {connection_state::last_ack, "last-ack"},
    {connection_state::time_wait, "time-wait"},     {connection_state::delete_tcb, "delete-tcb"}};
constexpr std::string_view to_string(connection_state value) noexcept {
    return detail::name_in<connection_state>(connection_state_names, value);
}

/// Who opened a TCP connection.
enum class direction : std::uint32_t {
    unknown = KVTIP_DIRECTION_UNKNOWN,
    in = KVTIP_DIRECTION_IN,
    out = KVTIP_DIRECTION_OUT
};

/// The names of these values; `to_string` is empty for any other.
inline constexpr detail::named<direction> direction_names[] = {
    {direction::unknown, "unknown"}, {direction::in, "accepted"}, {direction::out, "opened"}};
constexpr std::string_view to_string(direction value) noexcept {
    return detail::name_in<direction>(direction_names, value);
}

/// A TCP connection or listener, or a UDP endpoint.
struct connection {
    endpoint local;
    endpoint remote; ///< none for listeners and UDP
    kvtip::protocol protocol = protocol::any;
    connection_state state = connection_state::none;
    kvtip::direction direction = direction::unknown;
    std::uint32_t process = 0; ///< 0 if it has ended, or if the system does not report it
    /// The file name of its program, "Idle" for 0 and "System" for 4 where the system lists these two; empty
    /// if it is not known.
    std::string process_name;
    std::string process_path; ///< the full path of its program; empty if not asked for, or not known
    /// Why the path is empty: `ERROR_ACCESS_DENIED (5)` if the process may not be opened, ...
    std::error_code process_path_error;
};

/// Which connections to list, and what of them.
struct connection_options {
    kvtip::protocol protocol = protocol::any;
    kvtip::family family = family::none; ///< none: both
    connection_state state = connection_state::none;
    std::uint16_t local_port = 0;  ///< 0: any
    std::uint16_t remote_port = 0; ///< 0: any
    std::optional<std::uint32_t> process = std::nullopt;
    bool names = true;      ///< of processes, which cost a walk of their list
    bool directions = true; ///< which cost a system call a connection
    bool paths = false;     ///< of processes' programs, which cost three system calls a process

    kvtip_connection_options native() const noexcept {
        kvtip_connection_options result{};
        result.size = sizeof result;
        result.flags = (process ? std::uint32_t{KVTIP_CONNECTIONS_OF_PROCESS} : 0u) |
                       (names ? 0u : std::uint32_t{KVTIP_CONNECTIONS_NO_NAMES}) |
                       (directions ? 0u : std::uint32_t{KVTIP_CONNECTIONS_NO_DIRECTION}) |
                       (paths ? std::uint32_t{KVTIP_CONNECTIONS_PATHS} : 0u);
        result.protocol = static_cast<std::uint32_t>(protocol);
        result.family = static_cast<std::uint32_t>(family);
        result.state = static_cast<std::uint32_t>(state);
        result.process = process.value_or(0);
        result.local_port = local_port;
        result.remote_port = remote_port;
        return result;
    }
};

using connection_list = listing<connection>;

/// Lists connections: `kvtip_connections`.
inline connection_list connections(const connection_options& options, std::error_code& error) {
    const kvtip_connection_options native = options.native();
    const auto list = detail::fetch<kvtip_connection_list>(
        error, [&](auto** out) { return kvtip_connections(&native, out); });
    return detail::listing_of<connection>(list.get(), [](const kvtip_connection& row) {
        return connection{endpoint(row.local),
                          endpoint(row.remote),
                          static_cast<kvtip::protocol>(row.protocol),
                          static_cast<connection_state>(row.state),
                          static_cast<kvtip::direction>(row.direction),
                          row.process,
                          row.process_name,
                          row.process_path,
                          {static_cast<int>(row.process_path_code), category()}};
    });
}

/// A process.
struct process {
    std::uint32_t id = 0;
    std::string name; ///< the file name of its program, "System" for 4; empty if it is not known
    std::string path; ///< the full path of its program; empty if it is not known
    /// Why the path is empty: `ERROR_ACCESS_DENIED (5)` if the process may not be opened, ...
    std::error_code path_error;
};

namespace detail {

inline kvtip::process owner_of(kvtip::protocol protocol, const endpoint& local, const kvtip_endpoint* remote,
                               std::error_code& error) {
    const auto found = fetch<kvtip_process>(error, [&](auto** out) {
        return kvtip_owner(static_cast<std::uint32_t>(protocol), &local.native(), remote, out);
    });
    return found ? kvtip::process{found->id,
                                  found->name,
                                  found->path,
                                  {static_cast<int>(found->path_code), category()}}
                 : kvtip::process{};
}

} // namespace detail

/// Finds the process that owns exactly this TCP connection, as seen from its end: `kvtip_owner`.
/// `ERROR_NOT_FOUND (1168)` without such a connection, or if the system does not report its owner.
inline process owner(const endpoint& local, const endpoint& remote, std::error_code& error) {
    return detail::owner_of(protocol::tcp, local, &remote.native(), error);
}

/// Finds the process that listens at an endpoint, or to which a UDP endpoint belongs: `kvtip_owner`. One at
/// exactly that address comes first, then one at the wildcard address of its family. The protocol is `tcp` or
/// `udp`.
inline process listener(protocol protocol, const endpoint& local, std::error_code& error) {
    return detail::owner_of(protocol, local, nullptr, error);
}

#if KVTIP_HAS_EXCEPTIONS
inline connection_list connections(const connection_options& options = {}) {
    return detail::or_throw("kvtip::connections",
                            [&](std::error_code& error) { return connections(options, error); });
}

inline process owner(const endpoint& local, const endpoint& remote) {
    return detail::or_throw("kvtip::owner",
                            [&](std::error_code& error) { return owner(local, remote, error); });
}

inline process listener(protocol protocol, const endpoint& local) {
    return detail::or_throw("kvtip::listener",
                            [&](std::error_code& error) { return listener(protocol, local, error); });
}
#endif

} // namespace v1
} // namespace kvtip
