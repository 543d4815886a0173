#include <kvtip/kvtip.hpp>

#include <iostream>

int main() {
    for (const kvtip::adapter& each : kvtip::adapters({.up = true})) {
        std::cout << each.name << '\n';
        for (const kvtip::adapter_address& local : each.addresses) {
            std::cout << "  " << local.address << '/' << local.prefix_length << '\n';
        }
    }
}
