// Lists who listens on TCP, and how many connections there are in all.

#include <kvtip/kvtip.hpp>

#include <iomanip>
#include <iostream>

int main() {
    std::size_t count = 0;
    for (const kvtip::connection& each : kvtip::connections()) {
        ++count;
        if (each.state == kvtip::connection_state::listen) {
            std::cout << std::left << std::setw(28) << each.local << each.process << ' ' << each.process_name
                      << '\n';
        }
    }
    std::cout << count << " connections and endpoints\n";
}
