// Shows how this host reaches the network, or a destination: primary [ADDRESS]

#include <kvtip/kvtip.hpp>

#include <iostream>

int main(int argument_count, char** arguments) {
    kvtip::address destination; // none: whatever is beyond the links of this host
    if (argument_count > 1) {
        destination = kvtip::address::parse(arguments[1]).value_or(kvtip::address());
        if (!destination) {
            std::cerr << "usage: primary [ADDRESS]\n";
            return 2;
        }
    }
    std::error_code error;
    const kvtip::primary_adapter way = kvtip::primary(destination, error);
    if (error) {
        std::cerr << "no way there: " << error.message() << '\n';
        return 1;
    }
    std::cout << way.adapter << " (" << way.kind << "), " << way.address << '/' << way.prefix_length << '\n';
    if (way.next_hop) {
        std::cout << "router " << way.next_hop << '\n';
    }
    for (const kvtip::address& server : way.dns_servers) {
        std::cout << "DNS server " << server << '\n';
    }
}
