#include <algorithm>
#include <cstddef>
#include <cstring>

#include "address/convert.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"

#include <tcpestats.h>

namespace ip {

using namespace detail;
using connection = hlpapi::_SIpConnection;

namespace {

const iphlpapi_impl& bound() {
    return the_helper().iphlpapi;
}

// Of a port only the low 16 bits count; they are in network order.

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

/// Who opened a TCP connection, asked of the statistics of that family: 2 this host, 1 the other, 0 unknown.
template <class Ask, class Identity>
std::uint32_t direction(Ask ask, Identity* identity) {
    if (bound().GetPerTcpConnectionEStats == nullptr || ask == nullptr) {
        return 0;
    }
    TCP_ESTATS_SYN_OPTS_ROS_v0 options{};
    static_assert(sizeof options == 12);
    if (ask(identity, TcpConnectionEstatsSynOpts, nullptr, 0, 0, reinterpret_cast<UCHAR*>(&options), 0,
            sizeof options, nullptr, 0, 0) != 0) {
        return 0;
    }
    return options.ActiveOpen ? 2 : 1;
}

// A row begins with the members by which the statistics know a connection.
std::uint32_t direction_of(MIB_TCPROW_OWNER_PID row) {
    static_assert(offsetof(MIB_TCPROW_OWNER_PID, dwOwningPid) == sizeof(MIB_TCPROW));
    return direction(bound().GetPerTcpConnectionEStats, reinterpret_cast<MIB_TCPROW*>(&row));
}

// For IPv6 it does not: the state is elsewhere, so that the system normally knows no such connection.
std::uint32_t direction_of(MIB_TCP6ROW_OWNER_PID row) {
    static_assert(sizeof(MIB_TCP6ROW) <= sizeof row);
    return direction(bound().GetPerTcp6ConnectionEStats, reinterpret_cast<MIB_TCP6ROW*>(&row));
}

connection to_connection(const MIB_TCPROW_OWNER_PID& row) {
    return {row.dwState,
            IPPROTO_TCP,
            direction_of(row),
            endpoint(row.dwLocalAddr, row.dwLocalPort),
            endpoint(row.dwRemoteAddr, row.dwRemotePort),
            row.dwOwningPid};
}

connection to_connection(const MIB_TCP6ROW_OWNER_PID& row) {
    return {row.dwState,
            IPPROTO_TCP,
            direction_of(row),
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

template <class Row>
bool is_in_state([[maybe_unused]] const Row& row, [[maybe_unused]] unsigned long state) {
    if constexpr (requires { row.dwState; }) {
        return state == 0 || row.dwState == state;
    } else {
        return true;
    }
}

/// A table is a count of 4 bytes and the rows behind it.
template <class Row>
void append_rows(const std::vector<std::uint8_t>& table, unsigned long state,
                 std::vector<connection>& connections) {
    DWORD said = 0;
    std::memcpy(&said, table.data(), sizeof said);
    // No more rows than the buffer can hold, whatever the count says.
    const std::size_t count = std::min<std::size_t>(said, (table.size() - sizeof said) / sizeof(Row));
    if (state == 0) {
        connections.reserve(connections.size() + count);
    }
    const std::uint8_t* next = table.data() + sizeof said;
    for (std::size_t i = 0; i < count; ++i, next += sizeof(Row)) {
        Row row;
        std::memcpy(&row, next, sizeof row);
        if (is_in_state(row, state)) {
            connections.push_back(to_connection(row));
        }
    }
}

static_assert(sizeof(MIB_TCPROW_OWNER_PID) == 24 && sizeof(MIB_TCP6ROW_OWNER_PID) == 56);
static_assert(sizeof(MIB_UDPROW_OWNER_PID) == 12 && sizeof(MIB_UDP6ROW_OWNER_PID) == 28);

/// Lists a table of TCP or UDP.
template <class Row4, class Row6, class Ask, class Table>
unsigned long list(Ask ask, Table table_class, unsigned short family, unsigned long state,
                   std::vector<connection>& connections) {
    if (ask == nullptr) {
        return ERROR_FUNCTION_FAILED;
    }
    std::vector<std::uint8_t> table(1024);
    auto size = static_cast<DWORD>(table.size());
    unsigned long code = 0;
    while ((code = ask(table.data(), &size, TRUE, family, table_class, 0)) == ERROR_INSUFFICIENT_BUFFER) {
        table.resize(std::max<std::size_t>(table.size(), size)); // the system may ask for less than there is
        size = static_cast<DWORD>(table.size());
    }
    if (code != 0) {
        return code;
    }
    if (family == family_ipv4) {
        append_rows<Row4>(table, state, connections);
    } else if (family == family_ipv6) {
        append_rows<Row6>(table, state, connections);
    }
    return 0;
}

bool is_same_address(const saddr& one, const saddr& other) {
    return one.family == other.family &&
           std::memcmp(address_of(one), address_of(other), address_size(one.family)) == 0;
}

} // namespace

unsigned long hlpapi::getTcpConnections(std::vector<_SIpConnection>& connections, unsigned short family,
                                        unsigned long state) {
    return list<MIB_TCPROW_OWNER_PID, MIB_TCP6ROW_OWNER_PID>(
        bound().GetExtendedTcpTable, TCP_TABLE_OWNER_PID_ALL, family, state, connections);
}

unsigned long hlpapi::getUdpConnections(std::vector<_SIpConnection>& connections, unsigned short family) {
    return list<MIB_UDPROW_OWNER_PID, MIB_UDP6ROW_OWNER_PID>(bound().GetExtendedUdpTable, UDP_TABLE_OWNER_PID,
                                                             family, 0, connections);
}

unsigned long hlpapi::getConnections(std::vector<_SIpConnection>& connections, unsigned long protocol,
                                     unsigned short family, unsigned long state) {
    connections.clear();
    const bool wants_ipv4 = family == family_none || family == family_ipv4;
    const bool wants_ipv6 = family == family_none || family == family_ipv6;
    unsigned long code = 0;
    if (protocol == 0 || protocol == IPPROTO_TCP) {
        if (wants_ipv4) {
            code = getTcpConnections(connections, family_ipv4, state);
        }
        if (code == 0 && wants_ipv6) {
            code = getTcpConnections(connections, family_ipv6, state);
        }
    }
    if (code != 0 || state != 0 || (protocol != 0 && protocol != IPPROTO_UDP)) {
        return code;
    }
    if (wants_ipv4) {
        code = getUdpConnections(connections, family_ipv4);
    }
    if (code == 0 && wants_ipv6) {
        code = getUdpConnections(connections, family_ipv6);
    }
    return code;
}

unsigned long hlpapi::findPid(unsigned long protocol, const saddr& local, const saddr& remote,
                              unsigned long& pid) {
    std::vector<_SIpConnection> connections;
    if (const unsigned long code = getConnections(connections, protocol, local.family, 0)) {
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
