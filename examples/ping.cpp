// Pings hosts by their addresses, by default this one, and says what became of each ping.

#include <kvtip/kvtip.hpp>

#include <iostream>
#include <string_view>
#include <vector>

int main(int argument_count, char** arguments) {
    std::vector<std::string_view> hosts(arguments + 1, arguments + argument_count);
    if (hosts.empty()) {
        hosts = {"127.0.0.1"};
    }
    const kvtip::started library = kvtip::start(); // once for all of them
    for (const std::string_view host : hosts) {
        const auto address = kvtip::address::parse(host);
        if (!address) {
            std::cout << host << ": this is no address\n";
            continue;
        }
        std::error_code error;
        const kvtip::ping_result result =
            kvtip::ping(*address, {.timeout = std::chrono::milliseconds(500)}, error);
        std::cout << host << ": ";
        if (error) {
            std::cout << "could not ping: " << error.message() << '\n';
        } else if (result.outcome == kvtip::ping_outcome::answered) {
            std::cout << "answered after " << result.round_trip_time.count() << " ms\n";
        } else {
            std::cout << result.message() << '\n';
        }
    }
}
