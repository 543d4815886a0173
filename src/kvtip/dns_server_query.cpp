#include "kvtip/dns_server_query.h"

#include "kvtip/values.h"

namespace kvtip::library {

namespace {

constexpr ip::detail::entry rows[] = {
    KVTIP_ENTRY(dns_server_entries, DnsQueryEx, "A DNS query cannot choose the server to ask (120)."),
};

constexpr ip::detail::entry_table table{L"Dnsapi.dll", false, rows};

} // namespace

dns_server::dns_server(const kvtip_address& address) {
    const ip::saddr target = to_saddr(address);
    family = static_cast<WORD>(target.family);
    std::memcpy(socket_address, &target, sizeof target);
}

dns_server_entries::dns_server_entries(const ip::detail::module_handle& module) {
    for (const ip::detail::entry& row : rows) {
        row.bind(module, this);
    }
}

std::span<const ip::detail::entry_table> dns_server_tables() {
    return {&table, 1};
}

} // namespace kvtip::library
