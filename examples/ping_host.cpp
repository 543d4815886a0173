// Pings a host, at most three times, and finds its hardware address.
//
//     ping_host [NAME]

#include <cstdio>
#include <exception>

#include "common.h"

int main(int argc, char** argv) try {
    const char* name = argc > 1 ? argv[1] : "127.0.0.1";
    ip::lib library;
    check(library.init(), "start");
    ip::addr host;
    check(ip::winsock2::address_from_string(host, name), name);

    // An answer may come from a router, which reports that it cannot reach the host.
    ip::hlpapi::_SPingReply reply;
    check(ip::hlpapi::ping(endpoint(host), 3, reply), "no answer");
    std::printf("answer from %s after %lu ms: ", text(reply.address).c_str(),
                static_cast<unsigned long>(reply.round_trip_time));
    if (reply.status == 0) {
        std::puts("the host is there");
    } else {
        std::printf("status %lu\n", static_cast<unsigned long>(reply.status));
    }

    // Only a neighbour, on the same link, has a hardware address.
    ip::macaddr mac;
    if (mac.from_addr(host, nullptr) == 0) {
        std::printf("hardware address:");
        for (int i = 0; i < mac.length; ++i) {
            std::printf(" %02X", mac.bytes[i]);
        }
        std::puts("");
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
