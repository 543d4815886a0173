// Connects to a host and port, by default to a port of this host at which nobody listens, sends a line, and
// prints what comes back. Shows every attempt, also when none succeeds.

#include <kvtip/kvtip.hpp>

#include <array>
#include <iostream>

int main(int argument_count, char** arguments) {
    using namespace std::chrono_literals;
    const char* host = argument_count > 2 ? arguments[1] : "127.0.0.1";
    const char* service = argument_count > 2 ? arguments[2] : "1";

    std::error_code error;
    kvtip::connect_result made = kvtip::connect(host, service, {.timeout = 5s}, error);
    for (const kvtip::connect_attempt& each : made.attempts) {
        std::cout << each.remote << ": " << each.error.message() << '\n';
    }
    if (error) {
        std::cout << "not connected: " << kvtip::error_name(error) << '\n';
        return 0;
    }
    made.socket.send("hello\n", 5s);
    std::array<std::byte, 256> room;
    const std::size_t size = made.socket.receive(room, 5s);
    std::cout << std::string_view(reinterpret_cast<const char*>(room.data()), size);
}
