// Decides from which addresses a service may fetch what its users ask for.

#include <iostream>
#include <optional>

#include "kvtip/address.hpp"

// Read at compile time: a typing error here does not compile.
constexpr kvtip::network office = kvtip::network::parse("203.0.113.0/24").value();

static bool is_allowed(const kvtip::address& address) {
    // The questions look through an IPv4-mapped address; for a network it is converted.
    return office.contains(address.unmapped()) ||
           !(address.is_unspecified() || address.is_loopback() || address.is_private() ||
             address.is_link_local() || address.is_multicast());
}

int main() {
    for (const char* text : {"203.0.113.7", "::ffff:203.0.113.7", "2001:db8::1", "10.1.2.3",
                             "::ffff:127.0.0.1", "fe80::1%4", "0177.0.0.1"}) {
        const std::optional<kvtip::address> address = kvtip::address::parse(text);
        std::cout << text << ": "
                  << (!address               ? "no address"
                      : is_allowed(*address) ? "allowed"
                                             : "refused")
                  << '\n';
    }
}
