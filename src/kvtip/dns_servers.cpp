// The DNS servers of adapters.

#include "kvtip/dns_servers.h"

#include <windows.h>

#include <algorithm>
#include <string_view>
#include <tuple>
#include <utility>

#include "kvtip/adapter_rows.h"
#include "kvtip/address.hpp"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/options.h"

namespace kvtip::library {

std::vector<adapter_server> servers_of(std::span<const kvtip_adapter* const> adapters) {
    std::vector<adapter_server> servers;
    for (const kvtip_adapter* adapter : adapters) {
        for (const kvtip_address& address : std::span(adapter->dns_servers, adapter->dns_server_count)) {
            servers.push_back({adapter, &address});
        }
    }
    return servers;
}

void keep_usable(std::vector<adapter_server>& servers) {
    // Rows and addresses lie in the block in their order.
    const auto place = [](const adapter_server& each) {
        return std::tuple(std::min(each.adapter->ipv4_metric, each.adapter->ipv6_metric), each.adapter,
                          each.address);
    };
    std::sort(servers.begin(), servers.end(),
              [&](const auto& one, const auto& other) { return place(one) < place(other); });
    std::vector<adapter_server> kept;
    for (const adapter_server& each : servers) {
        const kvtip::address address(*each.address);
        const bool is_known = std::any_of(kept.begin(), kept.end(), [&](const adapter_server& other) {
            return kvtip::address(*other.address) == address;
        });
        if (!is_known && !address.is_dns_placeholder()) {
            kept.push_back(each);
        }
    }
    servers = std::move(kept);
}

namespace {

const kvtip_dns_server_list* make_list(const std::vector<adapter_server>& servers, std::uint32_t missing) {
    return block::make<kvtip_dns_server_list>([&](block& out, kvtip_dns_server_list& list) {
        list.missing = missing;
        out.list(list, servers.size(), [&](auto add) {
            std::string_view last; // rows share the name of their adapter
            const char* name = "";
            for (const adapter_server& each : servers) {
                if (last.data() != each.adapter->name) {
                    last = each.adapter->name;
                    name = out.text(last);
                }
                add() = {*each.address, index_for(*each.adapter, each.address->family),
                         kvtip::address(*each.address).is_dns_placeholder(), name};
            }
        });
    });
}

} // namespace

} // namespace kvtip::library

using namespace kvtip::library;

uint32_t kvtip_dns_servers(const kvtip_dns_server_options* options,
                           const kvtip_dns_server_list** servers) noexcept {
    kvtip_dns_server_options wanted;
    if (!clear(servers) || !read_options(options, wanted) || !is_family(wanted.family) || wanted.usable > 1) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] {
        const kvtip_adapter_options which{sizeof which, wanted.family, wanted.usable, 0};
        adapter_rows adapters;
        const uint32_t code = list_adapters(which, false, adapters);
        if (code == 0) {
            std::vector<adapter_server> found = servers_of(std::span(adapters->rows, adapters->count));
            if (wanted.usable != 0) {
                keep_usable(found);
            }
            *servers = make_list(found, adapters->missing);
        }
        return code;
    });
}
