#include <chrono>
#include <cmath>
#include <cstdlib>

#include <CLI/CLI.hpp>
#include <ws2tcpip.h>

#include "arguments.h"
#include "check.h"
#include "command.h"
#include "ip/winsock2.h"
#include "output.h"

namespace {

using ip::winsock2;

constexpr int longest_timeout = 86400;

struct target {
    std::shared_ptr<const std::string> host;
    std::uint16_t port = 0;
    double timeout = 0; ///< seconds; 0 for as long as the system takes
};

/// A TCP socket, closed with the object.
class tcp_socket {
public:
    explicit tcp_socket(unsigned short family) {
        check(winsock2::socket(socket_, SOCK_STREAM, IPPROTO_TCP, family), "socket");
    }
    ~tcp_socket() { winsock2::closesocket(socket_); }
    tcp_socket(const tcp_socket&) = delete;
    tcp_socket& operator=(const tcp_socket&) = delete;

    const ip::socket& get() const { return socket_; }

private:
    ip::socket socket_;
};

using end_operation = unsigned long (*)(const ip::socket&, ip::saddr&);

json end_json(const ip::socket& s, end_operation which) {
    ip::saddr address;
    check(which(s, address), "address");
    return endpoint_json(address);
}

json attempt(ip::saddr remote, const target& to) {
    remote.port = swap_bytes(to.port);
    const auto microseconds = static_cast<long long>(std::ceil(to.timeout * 1e6));
    const timeval timeout{static_cast<long>(microseconds / 1000000),
                          static_cast<long>(microseconds % 1000000)};

    const tcp_socket s(remote.family);
    const auto start = std::chrono::steady_clock::now();
    check(winsock2::connect(s.get(), remote, to.timeout > 0 ? &timeout : nullptr), "connect");
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    return {{"local", end_json(s.get(), winsock2::getsockname)},
            {"remote", end_json(s.get(), winsock2::getpeername)},
            {"milliseconds", std::round(taken.count() * 100) / 100}};
}

/// Tries address by address; the error is that of the last one.
json connect_to(const target& to) {
    const std::vector<ip::saddr> addresses = look_up(*to.host);
    for (std::size_t i = 0;; ++i) {
        try {
            return attempt(addresses[i], to);
        } catch (const kvt::exceptions::error&) {
            if (i + 1 == addresses.size()) {
                throw;
            }
        }
    }
}

operation prepare(CLI::App& options) {
    auto to = std::make_shared<target>();
    to->host = add_host(options, "HOST", "The host's name or address");
    options.add_option("PORT", to->port, "The TCP port")->required()->check(CLI::Range(1, 65535));
    options
        .add_option("--timeout", to->timeout,
                    "Seconds to wait for each address, else as long as the system does")
        ->check([](const std::string& text) {
            const double seconds = std::strtod(text.c_str(), nullptr); // the parser finds what is no number
            const bool usable = seconds > 0 && seconds <= longest_timeout; // which a NaN is not
            return usable ? std::string()
                          : text + " is not above 0 and up to " + std::to_string(longest_timeout);
        });
    return [to](const line_sink&) { return connect_to(*to); };
}

std::string text(const json& result) {
    std::string fields;
    append_field(fields, "local", endpoint_text(result["local"]));
    append_field(fields, "remote", endpoint_text(result["remote"]));
    append_field(fields, "time", result["milliseconds"].dump() + " ms");
    return fields;
}

} // namespace

const command connect_command = {"connect", "Connect to a TCP port of a host, and show how it went", prepare,
                                 text};
