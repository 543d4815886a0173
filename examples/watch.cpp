// Prints what changes on this host's network: watch [SECONDS]

#include <kvtip/kvtip.hpp>

#include <cstdlib>
#include <iostream>

using namespace std::chrono_literals;

namespace {

void print(const kvtip::change& change) {
    std::cout << change.kind << "  " << change.adapter;
    if (change.address) {
        std::cout << "  " << change.address << '/' << change.prefix_length;
    }
    if (change.network) {
        std::cout << "  " << change.network;
    }
    if (change.next_hop) {
        std::cout << " by " << change.next_hop;
    }
    std::cout << std::endl;
}

} // namespace

int main(int argc, char** argv) try {
    const std::chrono::seconds time(argc > 1 ? std::strtol(argv[1], nullptr, 10) : 1);
    // The system signals changes; Wine does not, so look every second as well.
    kvtip::watcher watcher = kvtip::watch({.poll_interval = 1s});
    for (;;) {
        std::error_code error;
        const kvtip::change_list changes = watcher.wait(time, error);
        if (error == std::errc::timed_out) {
            std::cout << "nothing more has changed in " << time.count() << " s\n";
            return 0;
        }
        if (error) {
            throw std::system_error(error, "watch");
        }
        for (const kvtip::change& change : changes) {
            print(change);
        }
    }
} catch (const std::system_error& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
