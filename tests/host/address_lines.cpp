// Reads each line as an address, a network and an endpoint, and writes a line with what it read, in columns.

#include "kvtip/address.hpp"

#include <iostream>
#include <string>

int main() {
    std::ios::sync_with_stdio(false);
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << kvtip::address::parse(line).value_or(kvtip::address()) << '\t'
                  << kvtip::network::parse(line).value_or(kvtip::network()) << '\t'
                  << kvtip::endpoint::parse(line).value_or(kvtip::endpoint()) << '\n';
    }
}
