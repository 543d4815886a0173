// Adapters where GetAdaptersAddresses is not to be had: the records that the classes make of the older list.

#include <winsock2.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include "address/convert.h"
#include "ip/adapter_enumerator.h"
#include "kvtip/adapter_sources.h"
#include "kvtip/values.h"

namespace kvtip::library {

namespace {

/// An adapter and its addresses, as the enumerator reports them.
struct older_adapter {
    ip::_SFindAdapter record;
    std::vector<ip::_SFindAddress> addresses;
};

std::uint32_t walk_enumerator(std::vector<older_adapter>& found) {
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter record;
    for (bool more = adapters.find_first(record, ip::family_none); more; more = adapters.find_next(record)) {
        older_adapter& adapter = found.emplace_back();
        adapter.record = std::exchange(record, {});
        for (ip::_SFindAddress address; adapters.find_next_addr(address); address = {}) {
            adapter.addresses.push_back(address);
        }
    }
    const std::uint32_t code = GetLastError();
    return code == ERROR_NO_MORE_ITEMS || code == ERROR_NO_DATA ? 0 : code;
}

/// The address. The older list writes 0.0.0.0 for none, and 255.255.255.255 for a DHCP server that it does
/// not reach.
kvtip_address to_known_address(const ip::saddr& given) {
    const kvtip_address address = to_address(given);
    const auto is_all = [&](std::uint8_t value) {
        return std::all_of(address.bytes, address.bytes + 4, [=](auto byte) { return byte == value; });
    };
    return address.family == 4 && (is_all(0) || is_all(255)) ? kvtip_address{} : address;
}

kvtip_address to_known_address(const ip::_SFindAddress& given) {
    return to_known_address(ip::detail::to_saddr(given.address));
}

/// Passes the wanted addresses to `use`, each with what it comes from.
template <class Given>
auto walk_of(const selection& wanted, const std::vector<Given>& addresses) {
    return [&](auto use) {
        std::size_t count = 0;
        for (const Given& each : addresses) {
            if (const kvtip_address address = to_known_address(each); wanted.has(address)) {
                ++count;
                use(address, each);
            }
        }
        return count;
    };
}

kvtip_adapter_address to_row(const kvtip_address& address, const ip::_SFindAddress& given) {
    kvtip_adapter_address row{};
    row.address = address;
    row.prefix_length = KVTIP_UNKNOWN_PREFIX;
    row.state = KVTIP_ADDRESS_UNKNOWN;
    row.preferred_lifetime = row.valid_lifetime = KVTIP_UNKNOWN_LIFETIME;
    if (given.mask.family == ip::family_ipv4) {
        std::uint32_t bits = 0;
        for (int i = 0; i < 4; ++i) {
            bits = bits << 8 | given.mask.address[i];
        }
        if (const int length = std::countl_one(bits); length + std::countr_zero(bits) >= 32) {
            row.prefix_length = static_cast<std::uint32_t>(length);
        }
    }
    return row;
}

void write_state(kvtip_adapter& row, const ip::_SFindAdapter& record) {
    row.index = record.index;
    row.status = record.oper_status;
    row.ipv4_metric = row.ipv6_metric = KVTIP_UNKNOWN_METRIC;
}

/// Of all adapters what decides between the routes through them.
std::vector<kvtip_adapter> states_of(const std::vector<older_adapter>& adapters) {
    std::vector<kvtip_adapter> all;
    for (const older_adapter& each : adapters) {
        write_state(all.emplace_back(), each.record);
    }
    return all;
}

void write(block& out, kvtip_adapter& row, const older_adapter& adapter, const selection& wanted) {
    const ip::_SFindAdapter& record = adapter.record;
    row.name = out.text(record.friendly_name);
    row.guid = out.text(record.name);
    row.description = out.text(record.description);
    row.dns_suffix = row.device_id = "";
    write_state(row, record);
    row.type = record.type;
    row.mac = to_mac(record.hw_address, record.hw_address_length, sizeof record.hw_address);
    row.dhcp_enabled = record.dhcp_enabled ? 1 : 0;
    row.dhcp_server =
        to_known_address(ip::detail::from_sockaddr(&record.dhcp_server, sizeof record.dhcp_server));
    row.dhcpv6_duid = out.array<std::uint8_t>(0);
    write_addresses(out, row.addresses, walk_of(wanted, adapter.addresses), to_row);
    write_addresses(out, row.gateways, row.gateway_count, walk_of(wanted, record.gateways));
    write_addresses(out, row.dns_servers, row.dns_server_count, walk_of(wanted, record.dns_servers));
}

} // namespace

std::uint32_t list_older_adapters(const selection& wanted, adapter_rows& rows) {
    std::vector<older_adapter> adapters;
    if (const std::uint32_t code = walk_enumerator(adapters)) {
        return code;
    }
    if (const std::uint32_t code =
            wanted.details == nullptr ? 0 : wanted.details->fetch(states_of(adapters))) {
        return code;
    }
    const auto walk = [&](auto use) {
        std::size_t count = 0;
        for (const older_adapter& each : adapters) {
            if (wanted.family != 6 && (!wanted.up || each.record.oper_status == KVTIP_ADAPTER_UP)) {
                ++count;
                use(each);
            }
        }
        return count;
    };
    rows.reset(make_rows(wanted, KVTIP_MISSING_IPV6, walk,
                         [&](block& out, kvtip_adapter& row, const older_adapter& adapter) {
                             write(out, row, adapter, wanted);
                         }));
    return 0;
}

} // namespace kvtip::library
