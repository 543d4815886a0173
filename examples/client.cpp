// Connects to a host and port, by default to a port of this host at which nobody listens, sends a line, and
// prints the line that comes back: client [HOST PORT]. Shows every attempt, also when none succeeds.

#include <kvtip/kvtip.hpp>

#include <array>
#include <iostream>

using namespace std::chrono_literals;

static void exchange(kvtip::socket& socket, std::string_view line) {
    socket.send(line, 5s);
    std::array<char, 256> room;
    std::string answer;
    while (!answer.ends_with('\n')) { // a line can arrive in pieces
        const std::size_t size = socket.receive(room, 5s);
        if (size == 0) {
            break; // the other side has finished
        }
        answer.append(room.data(), size);
    }
    std::cout << answer;
}

int main(int argument_count, char** arguments) {
    const char* host = argument_count > 2 ? arguments[1] : "127.0.0.1";
    const char* service = argument_count > 2 ? arguments[2] : "1";

    std::error_code error;
    kvtip::connect_result made = kvtip::connect(host, service, {.timeout = 5s}, error);
    for (const kvtip::connect_attempt& each : made.attempts) {
        std::cout << "after " << each.start.count() << " ms: " << each.remote << ": "
                  << (each.error ? each.error.message() : "connected") << " (" << each.time.count()
                  << " ms)\n";
    }
    if (error) {
        std::cerr << "not connected: " << kvtip::error_name(error) << '\n';
        return 1;
    }
    try {
        exchange(made.socket, "hello\n");
    } catch (const std::system_error& failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
