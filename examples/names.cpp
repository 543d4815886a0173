// Shows this host's name, and the name of an address, by default of 127.0.0.1: names [ADDRESS]

#include <kvtip/kvtip.hpp>

#include <iostream>

int main(int argument_count, char** arguments) {
    const auto address = kvtip::address::parse(argument_count > 1 ? arguments[1] : "127.0.0.1");
    if (!address) {
        std::cerr << "usage: names [ADDRESS]\n";
        return 2;
    }
    try {
        std::cout << "this host: " << kvtip::host_name() << '\n';
        for (const std::string& name : kvtip::reverse(*address)) {
            std::cout << *address << ": " << name << '\n';
        }
    } catch (const std::system_error& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
