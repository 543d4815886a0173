// Looks up the addresses of a name, or the names of an address, in the DNS.
//
//     lookup [NAME | ADDRESS]

#include <cstdio>
#include <exception>

#include "common.h"

// Whether the text is an address. With AI_NUMERICHOST, `getaddrinfo` does not use the DNS.
static bool parse(const char* text, ip::addr& address) {
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST;
    std::vector<ip::addr> found;
    if (ip::winsock2::getaddrinfo(text, found, nullptr, &hints) != 0 || found.empty()) {
        return false;
    }
    address = found.front();
    return true;
}

int main(int argc, char** argv) try {
    const char* question = argc > 1 ? argv[1] : "localhost";

    // DNS lookups need this handle. It starts everything that an `ip::lib` handle does.
    ip::dnsapi dns;
    check(dns.init(), "start");

    std::printf("%s\n", question);
    if (ip::addr address; parse(question, address)) {
        std::vector<std::string> names;
        check(ip::dnsapi::names_from_address(address, names), "cannot look up");
        for (const std::string& name : names) {
            std::printf("  %s\n", name.c_str());
        }
    } else {
        std::vector<ip::addr> addresses;
        check(ip::dnsapi::addresses_from_name(question, addresses), "cannot look up");
        for (const ip::addr& found : addresses) {
            std::printf("  %s\n", text(found).c_str());
        }
    }
    return 0;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
