#include <algorithm>
#include <cstddef>
#include <cstring>

#include "address/convert.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"
#include "iphlp/endpoint_tables.h"

#include <tcpestats.h>

namespace ip {

using namespace detail;
using connection = hlpapi::_SIpConnection;

namespace {

// The low 16 bits of a port are the port in network byte order.

saddr endpoint(DWORD address, DWORD port) {
    saddr result;
    result.family = family_ipv4;
    result.port = static_cast<std::uint16_t>(port);
    std::memcpy(result.address4, &address, sizeof result.address4);
    return result;
}

saddr endpoint(const UCHAR (&address)[16], DWORD port) {
    saddr result;
    result.family = family_ipv6;
    result.port = static_cast<std::uint16_t>(port);
    std::memcpy(result.address6, address, sizeof result.address6);
    return result;
}

/// Which end opened a TCP connection, from the statistics for its family.
template <class GetStatistics, class Identity>
std::uint32_t opened_by(GetStatistics get_statistics, Identity* identity) {
    if (bound_iphlpapi().GetPerTcpConnectionEStats == nullptr || get_statistics == nullptr) {
        return direction_unknown;
    }
    TCP_ESTATS_SYN_OPTS_ROS_v0 options{};
    static_assert(sizeof options == 12);
    if (get_statistics(identity, TcpConnectionEstatsSynOpts, nullptr, 0, 0,
                       reinterpret_cast<UCHAR*>(&options), 0, sizeof options, nullptr, 0, 0) != 0) {
        return direction_unknown;
    }
    return options.ActiveOpen ? direction_opened : direction_accepted;
}

// A row begins with the members that identify a connection in the statistics.
std::uint32_t direction_of(MIB_TCPROW_OWNER_PID row) {
    static_assert(offsetof(MIB_TCPROW_OWNER_PID, dwOwningPid) == sizeof(MIB_TCPROW));
    return opened_by(bound_iphlpapi().GetPerTcpConnectionEStats, reinterpret_cast<MIB_TCPROW*>(&row));
}

// A row of IPv6 has its state elsewhere, so that the system normally knows no such connection.
std::uint32_t direction_of(MIB_TCP6ROW_OWNER_PID row) {
    static_assert(sizeof(MIB_TCP6ROW) <= sizeof row);
    return opened_by(bound_iphlpapi().GetPerTcp6ConnectionEStats, reinterpret_cast<MIB_TCP6ROW*>(&row));
}

// These set everything except the direction.

connection to_connection(const MIB_TCPROW_OWNER_PID& row) {
    return {row.dwState,
            IPPROTO_TCP,
            0,
            endpoint(row.dwLocalAddr, row.dwLocalPort),
            endpoint(row.dwRemoteAddr, row.dwRemotePort),
            row.dwOwningPid};
}

connection to_connection(const MIB_TCP6ROW_OWNER_PID& row) {
    return {row.dwState,
            IPPROTO_TCP,
            0,
            endpoint(row.ucLocalAddr, row.dwLocalPort),
            endpoint(row.ucRemoteAddr, row.dwRemotePort),
            row.dwOwningPid};
}

connection to_connection(const MIB_UDPROW_OWNER_PID& row) {
    return {0, IPPROTO_UDP, 0, endpoint(row.dwLocalAddr, row.dwLocalPort), endpoint(0, 0), row.dwOwningPid};
}

connection to_connection(const MIB_UDP6ROW_OWNER_PID& row) {
    constexpr UCHAR unset[16] = {};
    return {
        0, IPPROTO_UDP, 0, endpoint(row.ucLocalAddr, row.dwLocalPort), endpoint(unset, 0), row.dwOwningPid};
}

/// What a caller wants to know about TCP connections. UDP endpoints have neither state nor direction.
struct tcp_query {
    unsigned long state; ///< 0 for any
    bool directions;
};

template <class Row>
void append_rows(const table_bytes& table, const tcp_query& wanted, std::vector<connection>& connections) {
    constexpr bool is_tcp = requires(Row row) {
        row.dwState;
    };
    const auto is_wanted = [&]([[maybe_unused]] const Row& row) {
        if constexpr (is_tcp) {
            return wanted.state == 0 || row.dwState == wanted.state;
        } else {
            return true;
        }
    };
    const std::span<const Row> rows = rows_of<Row>(table);
    connections.reserve(connections.size() +
                        static_cast<std::size_t>(std::count_if(rows.begin(), rows.end(), is_wanted)));
    for (const Row& row : rows) {
        if (is_wanted(row)) {
            connections.push_back(to_connection(row));
            if constexpr (is_tcp) {
                connections.back().direction = wanted.directions ? direction_of(row) : direction_unknown;
            }
        }
    }
}

static_assert(sizeof(MIB_TCPROW_OWNER_PID) == 24 && sizeof(MIB_TCP6ROW_OWNER_PID) == 56);
static_assert(sizeof(MIB_UDPROW_OWNER_PID) == 12 && sizeof(MIB_UDP6ROW_OWNER_PID) == 28);

/// Lists one table, of TCP or UDP.
template <class Row4, class Row6, class GetTable, class Table>
unsigned long list_table(GetTable get_table, Table table_class, unsigned short family,
                         const tcp_query& wanted, std::vector<connection>& connections) {
    if (get_table == nullptr) {
        return ERROR_FUNCTION_FAILED;
    }
    table_bytes table;
    if (const unsigned long code = fetch_table(get_table, table_class, family, table)) {
        return code;
    }
    if (family == family_ipv4) {
        append_rows<Row4>(table, wanted, connections);
    } else if (family == family_ipv6) {
        append_rows<Row6>(table, wanted, connections);
    }
    return 0;
}

unsigned long list_tcp(unsigned short family, const tcp_query& wanted, std::vector<connection>& connections) {
    return list_table<MIB_TCPROW_OWNER_PID, MIB_TCP6ROW_OWNER_PID>(
        bound_iphlpapi().GetExtendedTcpTable, TCP_TABLE_OWNER_PID_ALL, family, wanted, connections);
}

unsigned long list_udp(unsigned short family, std::vector<connection>& connections) {
    return list_table<MIB_UDPROW_OWNER_PID, MIB_UDP6ROW_OWNER_PID>(
        bound_iphlpapi().GetExtendedUdpTable, UDP_TABLE_OWNER_PID, family, {}, connections);
}

/// Lists the tables of the protocols and families, up to the first failure.
unsigned long list_tables(unsigned long protocol, unsigned short family, const tcp_query& wanted,
                          std::vector<connection>& connections) {
    const bool wants_tcp = protocol == 0 || protocol == IPPROTO_TCP;
    const bool wants_udp = (protocol == 0 || protocol == IPPROTO_UDP) && wanted.state == 0;
    const auto wants_family = [=](unsigned short of) { return family == family_none || family == of; };
    unsigned long code = 0;
    for (const unsigned short each : {family_ipv4, family_ipv6}) {
        if (code == 0 && wants_tcp && wants_family(each)) {
            code = list_tcp(each, wanted, connections);
        }
    }
    for (const unsigned short each : {family_ipv4, family_ipv6}) {
        if (code == 0 && wants_udp && wants_family(each)) {
            code = list_udp(each, connections);
        }
    }
    return code;
}

} // namespace

unsigned long hlpapi::getTcpConnections(std::vector<_SIpConnection>& connections, unsigned short family,
                                        unsigned long state) {
    return list_tcp(family, {state, true}, connections);
}

unsigned long hlpapi::getUdpConnections(std::vector<_SIpConnection>& connections, unsigned short family) {
    return list_udp(family, connections);
}

unsigned long hlpapi::getConnections(std::vector<_SIpConnection>& connections, unsigned long protocol,
                                     unsigned short family, unsigned long state) {
    connections.clear();
    return list_tables(protocol, family, {state, true}, connections);
}

unsigned long hlpapi::findPid(unsigned long protocol, const saddr& local, const saddr& remote,
                              unsigned long& pid) {
    std::vector<_SIpConnection> connections;
    if (const unsigned long code = list_tables(protocol, local.family, {0, false}, connections)) {
        return code;
    }
    const auto found = std::find_if(connections.begin(), connections.end(), [&](const _SIpConnection& each) {
        return is_same_address(each.local, local) && is_same_address(each.remote, remote);
    });
    if (found == connections.end()) {
        return ERROR_FILE_NOT_FOUND;
    }
    pid = found->pid;
    return 0;
}

} // namespace ip
