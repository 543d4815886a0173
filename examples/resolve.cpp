// Looks the addresses of a host up, by default those of localhost, and their names.

#include <kvtip/kvtip.hpp>

#include <iostream>

int main(int argument_count, char** arguments) {
    std::error_code error;
    const kvtip::resolution found =
        kvtip::resolve(argument_count > 1 ? arguments[1] : "localhost", "", {}, error);
    if (error) {
        std::cerr << "cannot resolve: " << error.message() << '\n';
        return 1;
    }
    for (const kvtip::endpoint& each : found.endpoints) {
        std::cout << each.address();
        for (const std::string& name : kvtip::reverse(each.address(), error)) {
            std::cout << "  " << name;
        }
        std::cout << '\n';
    }
}
