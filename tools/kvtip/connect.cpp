#include <chrono>
#include <cmath>
#include <optional>

#include <ws2tcpip.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "ip/winsock2.h"
#include "layout.h"
#include "network_values.h"

namespace {

using ip::winsock2;

constexpr unsigned longest_timeout = 86400;

struct target {
    std::shared_ptr<const std::string> host;
    std::optional<std::uint32_t> port;
    double timeout = 0; ///< in seconds; 0 for as long as the system takes
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

value end_value(const ip::socket& s, end_operation which) {
    ip::saddr address;
    check(which(s, address), "address");
    return endpoint_value(address);
}

value attempt(ip::saddr remote, const target& to) {
    remote.port = swap_bytes(static_cast<std::uint16_t>(*to.port));
    const auto microseconds = static_cast<long long>(std::ceil(to.timeout * 1e6));
    const timeval timeout{static_cast<long>(microseconds / 1000000),
                          static_cast<long>(microseconds % 1000000)};

    const tcp_socket s(remote.family);
    const auto start = std::chrono::steady_clock::now();
    check(winsock2::connect(s.get(), remote, to.timeout > 0 ? &timeout : nullptr), "connect");
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    return {{"local", end_value(s.get(), winsock2::getsockname)},
            {"remote", end_value(s.get(), winsock2::getpeername)},
            {"milliseconds", std::round(taken.count() * 100) / 100}};
}

/// Tries one address after the other; the error is that of the last one.
value connect_to(const target& to) {
    const std::vector<ip::saddr> addresses = find_addresses(*to.host);
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

operation prepare(parameters& expected) {
    auto to = std::make_shared<target>();
    to->host = add_host(expected, "HOST", "The host's name or address");
    expected.add_number("PORT", to->port, "The TCP port", 1, 65535);
    expected.add_seconds("--timeout", to->timeout,
                         "Seconds to wait for each address, otherwise as long as the system does",
                         longest_timeout);
    return [to](const line_sink&) { return connect_to(*to); };
}

std::string text(const value& result) {
    std::string fields;
    append_field(fields, "local", endpoint_text(result["local"]));
    append_field(fields, "remote", endpoint_text(result["remote"]));
    append_field(fields, "time", plain_text(result["milliseconds"]) + " ms");
    return fields;
}

} // namespace

const command connect_command = {"connect", "Connect to a TCP port of a host, and show how it went", prepare,
                                 text};
