// Lists the TCP connections and listeners and the UDP endpoints of this host, with their processes.

#include <cstdio>
#include <exception>

#include "common.h"

static const char* const tcp_states[] = {
    "",           "closed",     "listen",  "SYN sent", "SYN received", "established", "FIN wait 1",
    "FIN wait 2", "close wait", "closing", "last ACK", "time wait",    "delete TCB"};

static const char* state_of(const ip::hlpapi::_SIpConnection& connection) {
    return connection.state < std::size(tcp_states) ? tcp_states[connection.state] : "unknown";
}

static std::string with_port(const ip::saddr& address) {
    std::string host;
    std::string port;
    check(ip::winsock2::getnameinfo(address, &host, &port, NI_NUMERICHOST | NI_NUMERICSERV), "address");
    return host + " port " + port;
}

int main() try {
    ip::lib library;
    check(library.init(), "start");

    std::vector<ip::hlpapi::_SIpConnection> connections;
    check(ip::hlpapi::getConnections(connections, 0, 0, 0), "list"); // any protocol, family and state
    for (const ip::hlpapi::_SIpConnection& connection : connections) {
        const bool is_tcp = connection.protocol == IPPROTO_TCP;
        const bool has_remote = is_tcp && connection.state != 2;
        std::printf("%s  %-12s  process %lu  %s%s%s\n", is_tcp ? "TCP" : "UDP", state_of(connection),
                    static_cast<unsigned long>(connection.pid), with_port(connection.local).c_str(),
                    has_remote ? " to " : "", has_remote ? with_port(connection.remote).c_str() : "");
    }
    std::printf("%zu connections and endpoints\n", connections.size());
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
