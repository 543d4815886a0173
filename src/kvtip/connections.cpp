// Connections and listeners with their owners.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <tuple>

#include <tcpestats.h>

#include "ip/detail/helper.h"
#include "iphlp/endpoint_tables.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/kvtip.h"
#include "kvtip/options.h"
#include "kvtip/processes.h"
#include "kvtip/values.h"

using namespace kvtip::library;

namespace {

using tcp4_row = MIB_TCPROW_OWNER_PID;
using tcp6_row = MIB_TCP6ROW_OWNER_PID;
using udp4_row = MIB_UDPROW_OWNER_PID;
using udp6_row = MIB_UDP6ROW_OWNER_PID;

template <class Row>
constexpr bool is_tcp = requires(Row row) {
    row.dwState;
};
template <class Row>
constexpr bool is_ipv6 = requires(Row row) {
    row.ucLocalAddr;
};

template <class Row>
constexpr std::uint32_t protocol_of = is_tcp<Row> ? KVTIP_TCP : KVTIP_UDP;
template <class Row>
constexpr std::uint32_t family_of = is_ipv6<Row> ? 6 : 4;

/// Of a port only the low 16 bits count; they are in network order.
std::uint16_t port_of(DWORD port) {
    return to_host_order(static_cast<std::uint16_t>(port));
}

// Endpoints are written in place, over zeros: to copy them from small parts takes longer than all else.

void write_endpoint(kvtip_endpoint& to, DWORD address, DWORD port) {
    to.address.family = 4;
    std::memcpy(to.address.bytes, &address, sizeof address);
    to.port = port_of(port);
}

void write_endpoint(kvtip_endpoint& to, const UCHAR (&address)[16], DWORD scope, DWORD port) {
    to.address = ipv6_address(address, scope);
    to.port = port_of(port);
}

template <class Row>
void write_local(kvtip_endpoint& to, const Row& row) {
    if constexpr (is_ipv6<Row>) {
        write_endpoint(to, row.ucLocalAddr, row.dwLocalScopeId, row.dwLocalPort);
    } else {
        write_endpoint(to, row.dwLocalAddr, row.dwLocalPort);
    }
}

template <class Row>
std::uint32_t state_of(const Row& row) {
    if constexpr (is_tcp<Row>) {
        return row.dwState;
    } else {
        static_cast<void>(row);
        return KVTIP_STATE_NONE;
    }
}

/// Writes nothing for UDP and for listeners, whose rows may hold anything there.
template <class Row>
void write_remote(kvtip_endpoint& to, const Row& row) {
    if constexpr (is_tcp<Row>) {
        if (row.dwState == KVTIP_STATE_LISTEN) {
            return;
        }
        if constexpr (is_ipv6<Row>) {
            write_endpoint(to, row.ucRemoteAddr, row.dwRemoteScopeId, row.dwRemotePort);
        } else {
            write_endpoint(to, row.dwRemoteAddr, row.dwRemotePort);
        }
    } else {
        static_cast<void>(to);
        static_cast<void>(row);
    }
}

template <class Row>
kvtip_endpoint local_of(const Row& row) {
    kvtip_endpoint result{};
    write_local(result, row);
    return result;
}

template <class Row>
kvtip_endpoint remote_of(const Row& row) {
    kvtip_endpoint result{};
    write_remote(result, row);
    return result;
}

/// The connection by which the system's statistics know a row.
MIB_TCPROW identity_of(const tcp4_row& row) {
    MIB_TCPROW result{};
    result.dwState = row.dwState;
    result.dwLocalAddr = row.dwLocalAddr;
    result.dwLocalPort = row.dwLocalPort;
    result.dwRemoteAddr = row.dwRemoteAddr;
    result.dwRemotePort = row.dwRemotePort;
    return result;
}

MIB_TCP6ROW identity_of(const tcp6_row& row) {
    MIB_TCP6ROW result{};
    result.State = static_cast<MIB_TCP_STATE>(row.dwState);
    std::memcpy(&result.LocalAddr, row.ucLocalAddr, sizeof row.ucLocalAddr);
    result.dwLocalScopeId = row.dwLocalScopeId;
    result.dwLocalPort = row.dwLocalPort;
    std::memcpy(&result.RemoteAddr, row.ucRemoteAddr, sizeof row.ucRemoteAddr);
    result.dwRemoteScopeId = row.dwRemoteScopeId;
    result.dwRemotePort = row.dwRemotePort;
    return result;
}

/// The system's statistics of connections, by which it knows who opened one. Null where they are missing or
/// not asked for.
struct statistics {
    decltype(&::GetPerTcpConnectionEStats) of_ipv4 = nullptr;
    decltype(&::GetPerTcp6ConnectionEStats) of_ipv6 = nullptr;

    template <class Row>
    auto entry() const {
        if constexpr (is_ipv6<Row>) {
            return of_ipv6;
        } else {
            return of_ipv4;
        }
    }
};

/// Who opened the connection. Listeners have no direction.
template <class Row>
std::uint32_t direction_of(const Row& row, const statistics& known) {
    if constexpr (is_tcp<Row>) {
        const auto ask = known.entry<Row>();
        if (ask == nullptr || row.dwState == KVTIP_STATE_LISTEN) {
            return KVTIP_DIRECTION_UNKNOWN;
        }
        auto identity = identity_of(row);
        TCP_ESTATS_SYN_OPTS_ROS_v0 options{};
        if (ask(&identity, TcpConnectionEstatsSynOpts, nullptr, 0, 0, reinterpret_cast<UCHAR*>(&options), 0,
                sizeof options, nullptr, 0, 0) != 0) {
            return KVTIP_DIRECTION_UNKNOWN;
        }
        return options.ActiveOpen ? KVTIP_DIRECTION_OUT : KVTIP_DIRECTION_IN;
    } else {
        static_cast<void>(row);
        static_cast<void>(known);
        return KVTIP_DIRECTION_UNKNOWN;
    }
}

/// A table of the system.
template <class Row>
struct table {
    ip::detail::table_bytes bytes;

    std::span<const Row> rows() const { return ip::detail::rows_of<Row>(bytes); }

    /// Returns 0, also where the system has no such family, which sets a bit in `missing`; 120 without the
    /// system call; or the system's code.
    std::uint32_t fetch(std::uint32_t& missing) {
        const auto& bound = ip::detail::the_helper().iphlpapi;
        const std::uint16_t family = to_system_family(family_of<Row>);
        unsigned long code = ERROR_CALL_NOT_IMPLEMENTED;
        if constexpr (is_tcp<Row>) {
            if (bound.GetExtendedTcpTable != nullptr) {
                code = ip::detail::fetch_table(bound.GetExtendedTcpTable, TCP_TABLE_OWNER_PID_ALL, family,
                                               bytes);
            }
        } else if (bound.GetExtendedUdpTable != nullptr) {
            code = ip::detail::fetch_table(bound.GetExtendedUdpTable, UDP_TABLE_OWNER_PID, family, bytes);
        }
        if (code == ERROR_NOT_SUPPORTED || (is_ipv6<Row> && code == ERROR_INVALID_PARAMETER)) {
            missing |= is_ipv6<Row> ? KVTIP_MISSING_IPV6 : KVTIP_MISSING_IPV4;
            return 0;
        }
        return code;
    }
};

/// The four tables, in the order in which they are listed.
struct tables {
    std::tuple<table<tcp4_row>, table<tcp6_row>, table<udp4_row>, table<udp6_row>> all;
    std::uint32_t missing = 0;

    /// Fetches those of a protocol and a family, 0 for both.
    std::uint32_t fetch(std::uint32_t protocol, std::uint32_t family) {
        std::uint32_t code = 0;
        const auto fetch_one = [&]<class Row>(table<Row>& each) {
            if (code == 0 &&
                (protocol == 0 || protocol == protocol_of<Row>)&&(family == 0 || family == family_of<Row>)) {
                code = each.fetch(missing);
            }
        };
        std::apply([&](auto&... each) { (fetch_one(each), ...); }, all);
        return code;
    }

    /// Calls `use` with each row of all tables.
    template <class Use>
    void for_each_row(Use use) const {
        const auto show = [&](const auto& each) {
            for (const auto& row : each.rows()) {
                use(row);
            }
        };
        std::apply([&](const auto&... each) { (show(each), ...); }, all);
    }
};

template <class Row>
bool is_wanted(const Row& row, const kvtip_connection_options& options) {
    return (options.state == 0 || state_of(row) == options.state) &&
           ((options.flags & KVTIP_CONNECTIONS_OF_PROCESS) == 0 || row.dwOwningPid == options.process) &&
           (options.local_port == 0 || port_of(row.dwLocalPort) == options.local_port) &&
           (options.remote_port == 0 || remote_of(row).port == options.remote_port);
}

template <class Row>
void fill(kvtip_connection& to, const Row& from, const process_list& processes, const process_paths& paths,
          const statistics& known) {
    write_local(to.local, from);
    write_remote(to.remote, from);
    to.protocol = protocol_of<Row>;
    to.state = state_of(from);
    to.direction = direction_of(from, known);
    to.process = from.dwOwningPid;
    to.process_name = processes.name_of(from.dwOwningPid);
    const process_paths::answer path = paths.of(from.dwOwningPid);
    to.process_path = path.text;
    to.process_path_code = path.code;
}

bool are_valid(const kvtip_connection_options& options) {
    return has_only(options.flags, KVTIP_CONNECTIONS_OF_PROCESS | KVTIP_CONNECTIONS_NO_NAMES |
                                       KVTIP_CONNECTIONS_NO_DIRECTION | KVTIP_CONNECTIONS_PATHS) &&
           (options.protocol == 0 || options.protocol == KVTIP_TCP || options.protocol == KVTIP_UDP) &&
           is_family(options.family) && options.state <= KVTIP_STATE_DELETE_TCB &&
           (options.state == 0 || options.protocol != KVTIP_UDP) &&
           (options.process == 0 || (options.flags & KVTIP_CONNECTIONS_OF_PROCESS) != 0);
}

std::uint32_t list_connections(const kvtip_connection_options& options,
                               const kvtip_connection_list** connections) {
    tables found;
    // A state is one of TCP.
    const std::uint32_t protocol = options.state == 0 ? options.protocol : std::uint32_t{KVTIP_TCP};
    if (const std::uint32_t code = found.fetch(protocol, options.family)) {
        return code;
    }
    std::size_t count = 0;
    found.for_each_row([&](const auto& row) { count += is_wanted(row, options); });
    process_list processes;
    if ((options.flags & KVTIP_CONNECTIONS_NO_NAMES) == 0 && !processes.read()) {
        found.missing |= KVTIP_MISSING_PROCESS_NAMES;
    }
    process_paths paths;
    if ((options.flags & KVTIP_CONNECTIONS_PATHS) != 0) {
        found.for_each_row([&](const auto& row) {
            if (is_wanted(row, options)) {
                paths.add(row.dwOwningPid);
            }
        });
        if (!paths.read()) {
            found.missing |= KVTIP_MISSING_PROCESS_PATHS;
        }
    }
    statistics known;
    if ((options.flags & KVTIP_CONNECTIONS_NO_DIRECTION) == 0 && protocol != KVTIP_UDP) {
        const auto& bound = ip::detail::the_helper().iphlpapi;
        known = {bound.GetPerTcpConnectionEStats, bound.GetPerTcp6ConnectionEStats};
        if ((options.family != 6 && known.of_ipv4 == nullptr) ||
            (options.family != 4 && known.of_ipv6 == nullptr)) {
            found.missing |= KVTIP_MISSING_DIRECTION;
        }
    }
    *connections = block::make<kvtip_connection_list>([&](block& out, kvtip_connection_list& list) {
        list.missing = found.missing;
        processes.lay_out(out);
        paths.lay_out(out);
        out.flat_list(list, count, [&](auto add) {
            found.for_each_row([&](const auto& row) {
                if (is_wanted(row, options)) {
                    fill(add(), row, processes, paths, known);
                }
            });
        });
    });
    return 0;
}

/// Scope 0 stands for any.
bool is_same(kvtip_endpoint one, kvtip_endpoint other) {
    if (one.address.scope == 0 || other.address.scope == 0) {
        one.address.scope = other.address.scope = 0;
    }
    return std::memcmp(&one, &other, sizeof one) == 0;
}

/// How well a row fits: 2 exactly, 1 as a listener or UDP endpoint at the wildcard address, 0 not.
template <class Row>
int fit_of(const Row& row, const kvtip_endpoint& local, const kvtip_endpoint* remote) {
    if (remote != nullptr) {
        return is_same(local_of(row), local) && is_same(remote_of(row), *remote) ? 2 : 0;
    }
    if (is_tcp<Row> && state_of(row) != KVTIP_STATE_LISTEN) {
        return 0;
    }
    if (is_same(local_of(row), local)) {
        return 2;
    }
    kvtip_endpoint wildcard{};
    wildcard.address.family = local.address.family;
    wildcard.port = local.port;
    return is_same(local_of(row), wildcard) ? 1 : 0;
}

std::uint32_t find_owner(std::uint32_t protocol, const kvtip_endpoint& local, const kvtip_endpoint* remote,
                         const kvtip_process** process) {
    tables found;
    if (const std::uint32_t code = found.fetch(protocol, local.address.family)) {
        return code;
    }
    int best = 0;
    std::uint32_t id = 0;
    found.for_each_row([&](const auto& row) {
        const int fit = row.dwOwningPid == 0 ? 0 : fit_of(row, local, remote); // 0 is nobody
        if (fit > best) {
            best = fit;
            id = row.dwOwningPid;
        }
    });
    if (best == 0) {
        return ERROR_NOT_FOUND;
    }
    process_list processes;
    processes.read(); // without it the name stays empty
    std::wstring path;
    const std::uint32_t path_code = find_path(id, path);
    *process = block::make<kvtip_process>([&](block& out, kvtip_process& result) {
        result.size = sizeof result;
        result.id = id;
        result.name = out.text(processes.find(id));
        result.path = out.text(std::wstring_view(path));
        result.path_code = path_code;
    });
    return 0;
}

} // namespace

uint32_t kvtip_connections(const kvtip_connection_options* options,
                           const kvtip_connection_list** connections) noexcept {
    kvtip_connection_options wanted;
    if (!clear(connections) || !read_options(options, wanted) || !are_valid(wanted)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] { return list_connections(wanted, connections); });
}

uint32_t kvtip_owner(uint32_t protocol, const kvtip_endpoint* local, const kvtip_endpoint* remote,
                     const kvtip_process** process) noexcept {
    if (!clear(process) || local == nullptr || !is_valid(*local) || local->address.family == 0 ||
        (protocol != KVTIP_TCP && protocol != KVTIP_UDP)) {
        return ERROR_INVALID_PARAMETER;
    }
    if (remote != nullptr &&
        (!is_valid(*remote) || remote->address.family != local->address.family || protocol != KVTIP_TCP)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] { return find_owner(protocol, *local, remote, process); });
}
