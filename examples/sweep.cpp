// Pings the 254 hosts of a network at the same time, by default this host's loopback network, and counts those that
// answer: sweep [NETWORK]. Ctrl-C shows what is known by then.

#include <kvtip/kvtip.hpp>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <vector>

namespace {

kvtip::canceller* canceller = nullptr;

void on_interrupt(int) {
    canceller->cancel();
}

} // namespace

int main(int argument_count, char** arguments) {
    const auto network = kvtip::network::parse(argument_count > 1 ? arguments[1] : "127.0.0.0/24");
    if (!network || !network->address().is_ipv4() || network->prefix_length() != 24) {
        std::cout << "this is no IPv4 network of 256 addresses\n";
        return 1;
    }
    std::vector<kvtip::address> hosts;
    for (std::uint8_t last = 1; last <= 254; ++last) {
        kvtip_address host = network->address().native();
        host.bytes[3] = last;
        hosts.emplace_back(host);
    }
    kvtip::canceller until_ctrl_c;
    canceller = &until_ctrl_c;
    std::signal(SIGINT, on_interrupt);
    const kvtip::ping_options options{.timeout = std::chrono::milliseconds(500), .cancel = canceller};
    std::error_code error;
    kvtip::ping_statistics all;
    for (const kvtip::ping_reply& reply : kvtip::ping_all(hosts, options, error)) {
        if (reply.error) { // also for those that had not ended when it was cancelled
            error = reply.error;
            continue;
        }
        all.add(reply.result);
        if (reply.result.outcome == kvtip::ping_outcome::answered) {
            std::cout << reply.target << '\n';
        }
    }
    if (error) {
        std::cout << "not all were pinged: " << error.message() << '\n';
    }
    std::cout << all.answered() << " of " << all.sent() << " hosts answered, maximum "
              << all.maximum().count() << " ms\n";
    std::signal(SIGINT, SIG_IGN); // nobody may use the canceller from here on
    return error ? 1 : 0;
}
