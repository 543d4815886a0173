// Looks hosts up, all of them within a second, by default localhost: lookups [HOST...]

#include <kvtip/kvtip.hpp>

#include <chrono>
#include <iostream>
#include <string>
#include <vector>

int main(int argument_count, char** arguments) {
    std::vector<std::string> hosts(arguments + 1, arguments + argument_count);
    if (hosts.empty()) {
        hosts = {"localhost"};
    }
    std::error_code error;
    const auto found = kvtip::resolve_all(hosts, {.timeout = std::chrono::seconds(1)}, error);
    for (const kvtip::resolved_host& each : found) {
        std::cout << each.host << ", " << each.time.count() << " ms:";
        for (const kvtip::endpoint& endpoint : each.endpoints) {
            std::cout << ' ' << endpoint.address();
        }
        if (each.error) {
            std::cout << ' ' << kvtip::error_name(each.error);
        }
        std::cout << '\n';
    }
    if (error) {
        std::cerr << "cannot resolve: " << error.message() << '\n';
        return 1;
    }
}
