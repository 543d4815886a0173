// Shows the addresses of a host, each with the name that the system finds for it.
//
//     resolve [NAME]

#include <cstdio>
#include <exception>

#include "common.h"

int main(int argc, char** argv) try {
    const char* name = argc > 1 ? argv[1] : "localhost";
    ip::lib library;
    check(library.init(), "start");

    char local_name[256];
    check(ip::winsock2::gethostname(local_name, sizeof local_name), "local name");
    std::printf("%s looks up %s\n", local_name, name);

    // Any family: without hints, this operation returns IPv6 addresses only for a name without IPv4 ones.
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM; // otherwise each address is listed once for every socket type
    std::vector<ip::addr> addresses;
    check(ip::winsock2::getaddrinfo(name, addresses, nullptr, &hints), name);

    for (const ip::addr& address : addresses) {
        std::string host;
        ip::winsock2::address_to_string(host, address); // the numbers if there is no name
        std::printf("  %s  %s\n", text(address).c_str(), host.c_str());
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
