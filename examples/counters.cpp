// Shows what the adapters that are up are, how fast they are, and what they have received and sent.

#include <kvtip/kvtip.hpp>

#include <iostream>

int main() {
    const kvtip::adapter_list found = kvtip::adapters({.up = true, .details = true});
    for (const kvtip::adapter& each : found) {
        std::cout << each.name << ": " << each.kind;
        if (each.transmit_speed != 0) {
            std::cout << ", " << each.transmit_speed / 1000000 << " Mbit/s";
        }
        if (each.counters) {
            std::cout << ", received " << each.counters->received.bytes << " bytes, sent "
                      << each.counters->sent.bytes << " bytes";
        }
        std::cout << '\n';
    }
    if (has(found.missing, kvtip::missing::counters)) {
        std::cout << "this system has no counters\n";
    }
}
