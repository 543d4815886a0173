// A TCP echo server and its client in one program, on the loopback: the server returns what the client sends.

#include <cstdio>
#include <exception>

#include "common.h"

// An `ip::socket` does not close its handle. This one does.
struct open_socket : ip::socket {
    open_socket() = default;
    ~open_socket() { ip::winsock2::closesocket(*this); }
    open_socket(const open_socket&) = delete;
    open_socket& operator=(const open_socket&) = delete;

    void open_tcp() {
        check(ip::winsock2::socket(*this, SOCK_STREAM, IPPROTO_TCP, ip::family_ipv4), "socket");
    }
};

static void send(const ip::socket& s, const std::string& bytes) {
    const int length = static_cast<int>(bytes.size());
    if (ip::winsock2::send(s, bytes.data(), length) != length) {
        check(ip::winsock2::getlasterror(), "send");
    }
}

// Receives one piece of what the other end sends. A longer message comes in several pieces.
static std::string receive(const ip::socket& s) {
    char buffer[100];
    const int length = ip::winsock2::recv(s, buffer, sizeof buffer);
    if (length < 0) {
        check(ip::winsock2::getlasterror(), "receive");
    }
    return {buffer, buffer + length};
}

int main(int argc, char**) try {
    ip::lib library;
    check(library.init(), "start");
    ip::addr loopback;
    check(ip::winsock2::address_from_string(loopback, "127.0.0.1"), "address");

    open_socket listener;
    listener.open_tcp();
    check(ip::winsock2::bind(listener, endpoint(loopback)), "bind"); // port 0: a free one
    check(ip::winsock2::listen(listener, 1), "listen");
    ip::saddr server_address;
    check(ip::winsock2::getsockname(listener, server_address), "server's address");

    open_socket client;
    client.open_tcp();
    const timeval timeout{2, 0};
    check(ip::winsock2::connect(client, server_address, &timeout), "connect");
    send(client, "hello");

    open_socket server;
    ip::addr peer;
    check(ip::winsock2::accept(listener, server, peer), "accept");
    send(server, receive(server));

    const std::string answer = receive(client);
    std::printf("%s sent and received: %s\n", text(peer).c_str(), answer.c_str());
    if (argc > 1) {
        std::fflush(stdout);
        std::getchar();
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
