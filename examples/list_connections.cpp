// Lists the TCP connections and listeners and the UDP endpoints of this host, with their processes.

#include <cstdio>
#include <exception>
#include <map>

#include "common.h"

static const std::map<std::uint32_t, const char*> state_names = {
    {ip::tcp_state_closed, "closed"},           {ip::tcp_state_listen, "listen"},
    {ip::tcp_state_syn_sent, "SYN sent"},       {ip::tcp_state_syn_received, "SYN received"},
    {ip::tcp_state_established, "established"}, {ip::tcp_state_fin_wait_1, "FIN wait 1"},
    {ip::tcp_state_fin_wait_2, "FIN wait 2"},   {ip::tcp_state_close_wait, "close wait"},
    {ip::tcp_state_closing, "closing"},         {ip::tcp_state_last_ack, "last ACK"},
    {ip::tcp_state_time_wait, "time wait"},     {ip::tcp_state_delete_tcb, "delete TCB"}};

// A UDP endpoint has no state.
static const char* state_name(const ip::hlpapi::_SIpConnection& connection) {
    const auto found = state_names.find(connection.state);
    return found == state_names.end() ? "" : found->second;
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
        const bool has_remote = is_tcp && connection.state != ip::tcp_state_listen;
        std::printf("%s  %-12s  process %lu  %s%s%s\n", is_tcp ? "TCP" : "UDP", state_name(connection),
                    static_cast<unsigned long>(connection.pid), with_port(connection.local).c_str(),
                    has_remote ? " to " : "", has_remote ? with_port(connection.remote).c_str() : "");
    }
    std::printf("%zu connections and endpoints\n", connections.size());
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
