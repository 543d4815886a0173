// Lists the neighbours whose hardware addresses are known, or asks one for its: neighbours [ADDRESS]

#include <kvtip/kvtip.hpp>

#include <iomanip>
#include <iostream>

static void list() {
    const kvtip::neighbour_list known = kvtip::neighbours();
    for (const kvtip::neighbour& each : known) {
        if (each.mac) {
            std::cout << std::left << std::setw(28) << each.address << each.mac << "  "
                      << to_string(each.state) << '\n';
        }
    }
    std::cout << known.size() << " entries"
              << (has(known.missing, kvtip::missing::ipv6) ? ", IPv4 only\n" : "\n");
}

int main(int argument_count, char** arguments) {
    try {
        if (argument_count == 1) {
            list();
        } else if (const auto target = kvtip::address::parse(arguments[1])) {
            std::cout << *target << ": " << kvtip::hardware_address(*target) << '\n';
        } else {
            std::cerr << "usage: neighbours [ADDRESS]\n";
            return 2;
        }
    } catch (const std::system_error& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
