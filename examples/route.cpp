// Shows the way to a host, by default to one on the Internet.

#include <kvtip/kvtip.hpp>

#include <iostream>

int main(int argument_count, char** arguments) {
    const auto destination = kvtip::address::parse(argument_count > 1 ? arguments[1] : "192.0.2.1");
    if (!destination) {
        std::cerr << "usage: route [ADDRESS]\n";
        return 2;
    }
    std::error_code error;
    const kvtip::route way = kvtip::route_to(*destination, 0, error);
    if (error) {
        std::cerr << "no way there: " << error.message() << '\n';
        return 1;
    }
    std::cout << "through " << way.adapter << ", from " << way.source;
    if (way.on_link) {
        std::cout << ", without a router\n";
    } else {
        std::cout << ", by router " << way.next_hop << '\n';
    }
}
