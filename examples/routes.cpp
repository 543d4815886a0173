// Lists the routes of this host, with the metric by which the system chooses among several to one destination.

#include <kvtip/kvtip.hpp>

#include <iomanip>
#include <iostream>

int main() {
    try {
        const kvtip::route_list table = kvtip::routes();
        for (const kvtip::route_entry& each : table) {
            std::cout << std::left << std::setw(20) << each.network << std::setw(16);
            each.on_link ? std::cout << "on the link" : std::cout << each.next_hop;
            std::cout << each.adapter << (each.is_default() ? "  default route" : "");
            if (each.metric) {
                std::cout << "  metric " << *each.metric;
            }
            std::cout << '\n';
        }
        std::cout << table.size() << " routes\n";
    } catch (const std::system_error& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
