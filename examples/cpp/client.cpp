// Lists the adapters that are up, looks up a host, and exchanges a text with an echo service there:
//
//     client HOST PORT

#include <array>
#include <chrono>
#include <cstddef>
#include <exception>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

#include "kvtip/kvtip.hpp"

static void list_adapters() {
    for (const kvtip::adapter& adapter : kvtip::adapters({.up = true})) {
        std::cout << adapter.name << '\n';
        for (const kvtip::adapter_address& each : adapter.addresses) {
            std::cout << "  " << each.address << '\n';
        }
    }
}

static void look_up(const char* host, const char* port) {
    std::cout << host << '\n';
    for (const kvtip::endpoint& endpoint : kvtip::resolve(host, port).endpoints) {
        std::cout << "  " << endpoint << '\n';
    }
}

static void exchange(const char* host, const char* port) {
    constexpr std::string_view data = "hello from C++";
    constexpr std::chrono::seconds timeout{5};
    kvtip::connect_result connection = kvtip::connect(host, port);
    connection.socket.send(data, timeout);

    std::string answer;
    while (answer.size() < data.size()) {
        std::array<char, 100> part{};
        const std::size_t count = connection.socket.receive(std::as_writable_bytes(std::span(part)), timeout);
        if (count == 0) {
            break; // the other side has finished early
        }
        answer.append(part.data(), count);
    }
    std::cout << connection.remote << " returned: " << answer << '\n';
}

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: client HOST PORT\n";
        return 2;
    }
    list_adapters();
    look_up(argv[1], argv[2]);
    exchange(argv[1], argv[2]);
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
