// Lists who listens on TCP, and how many connections there are in all.

#include <kvtip/kvtip.hpp>

#include <iomanip>
#include <iostream>

int main() {
    std::size_t count = 0;
    for (const kvtip::connection& each : kvtip::connections({.paths = true})) {
        ++count;
        if (each.state == kvtip::connection_state::listen) {
            std::cout << std::left << std::setw(20) << each.local << each.process << ' ' << each.process_name
                      << ' ';
            if (each.process_path_error) { // such as a process that may not be opened
                std::cout << each.process_path_error.message() << '\n';
            } else {
                std::cout << each.process_path << '\n';
            }
        }
    }
    std::cout << count << " connections and endpoints\n";
}
