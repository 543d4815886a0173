// The hosts on the same links, and their hardware addresses.

#include <winsock2.h>
#include <ws2tcpip.h>

#include <iphlpapi.h>

#include <algorithm>
#include <span>
#include <vector>

#include "address/convert.h"
#include "binding/sockaddr_inet.h"
#include "ip/adapter_enumerator.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"
#include "kvtip/block.h"
#include "kvtip/boundary.h"
#include "kvtip/mib_table.h"
#include "kvtip/options.h"
#include "kvtip/values.h"

using namespace kvtip::library;
using ip::detail::bound_iphlpapi;

namespace {

kvtip_neighbour to_row(const MIB_IPNET_ROW2& entry) {
    constexpr std::uint32_t type_other = 1;
    ip::saddr address = ip::detail::from_sockaddr(&entry.Address, sizeof entry.Address);
    if (address.scope_id == 0) {
        address.scope_id = entry.InterfaceIndex;
    }
    const auto type = static_cast<std::uint32_t>(entry.InterfaceLuid.Info.IfType);
    kvtip_neighbour row{};
    row.address = to_address(address);
    row.mac = to_mac(entry.PhysicalAddress, entry.PhysicalAddressLength);
    row.interface_index = entry.InterfaceIndex;
    row.interface_type = type == 0 ? type_other : type;
    row.state = number_of(entry.State);
    return row;
}

kvtip_neighbour to_row(const ip::hlpapi::_SIpNetRow& entry) {
    kvtip_neighbour row{};
    row.address = to_address(entry.address);
    row.mac = to_mac(entry.mac.bytes, entry.mac.length);
    row.interface_index = entry.interface_index;
    row.interface_type = entry.interface_type;
    row.state = entry.state;
    return row;
}

/// The list of those entries that belong to that interface, or to any for 0.
template <class Entry>
const kvtip_neighbour_list* make_list(std::span<const Entry> entries, std::uint32_t interface_index,
                                      std::uint32_t missing) {
    const auto is_wanted = [=](const kvtip_neighbour& row) {
        return interface_index == 0 || row.interface_index == interface_index;
    };
    const auto count = std::count_if(entries.begin(), entries.end(),
                                     [&](const Entry& entry) { return is_wanted(to_row(entry)); });
    return block::make<kvtip_neighbour_list>([&](block& out, kvtip_neighbour_list& list) {
        list.missing = missing;
        out.flat_list(list, static_cast<std::size_t>(count), [&](auto add) {
            for (const Entry& entry : entries) {
                if (const kvtip_neighbour row = to_row(entry); is_wanted(row)) {
                    add() = row;
                }
            }
        });
    });
}

/// The rows of a family, or of both, by the newer call.
std::uint32_t list_newer(std::uint32_t family, std::uint32_t interface_index, std::uint32_t missing,
                         const kvtip_neighbour_list*& list) {
    mib_table<MIB_IPNET_TABLE2> table;
    const std::uint32_t code = table.fetch(bound_iphlpapi().GetIpNetTable2, to_system_family(family));
    if (code != 0 && !is_empty_table(code)) {
        return code;
    }
    list = make_list(table.rows(), interface_index, missing);
    return 0;
}

/// The IPv4 rows by the older call.
std::uint32_t list_older(std::uint32_t interface_index, std::uint32_t missing,
                         const kvtip_neighbour_list*& list) {
    std::vector<ip::hlpapi::_SIpNetRow> rows;
    const std::uint32_t code = ip::hlpapi::getipnettable(rows, ip::family_ipv4);
    if (code != 0 && !is_empty_table(code)) {
        return code;
    }
    list = make_list(std::span<const ip::hlpapi::_SIpNetRow>(rows), interface_index, missing);
    return 0;
}

std::uint32_t list_neighbours(const kvtip_neighbour_options& wanted, const kvtip_neighbour_list*& list) {
    const std::uint32_t index = wanted.interface_index;
    const auto is_final = [](std::uint32_t code) { return code == 0 || code == ERROR_NOT_ENOUGH_MEMORY; };
    std::uint32_t code = list_newer(wanted.family, index, 0, list);
    if (is_final(code)) {
        return code;
    }
    if (wanted.family == 6) {
        if (!is_unsupported(code)) {
            return code;
        }
        list = make_list(std::span<const MIB_IPNET_ROW2>(), index, KVTIP_MISSING_IPV6);
        return 0;
    }
    const std::uint32_t missing = wanted.family == 0 ? KVTIP_MISSING_IPV6 : 0;
    if (wanted.family == 0) {
        code = list_newer(4, index, missing, list);
    }
    return is_final(code) ? code : list_older(index, missing, list);
}

/// The interface that serves the target, unless the caller or the target's scope says which.
std::uint32_t find_interface(const kvtip_address& target, std::uint32_t& index) {
    index = index != 0 ? index : target.scope;
    if (index != 0) {
        return 0;
    }
    if (target.family == 6 && bound_iphlpapi().GetBestInterfaceEx == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    return ip::getbestinterface(to_saddr(target), index);
}

std::uint32_t resolve(const kvtip_address& target, std::uint32_t index, kvtip_mac& mac) {
    if (const std::uint32_t code = find_interface(target, index)) {
        return code;
    }
    MIB_IPNET_ROW2 row{};
    row.Address = ip::detail::to_sockaddr_inet(to_saddr(target));
    row.InterfaceIndex = index;
    if (const std::uint32_t code = bound_iphlpapi().ResolveIpNetEntry2(&row, nullptr)) {
        return code;
    }
    mac = to_mac(row.PhysicalAddress, row.PhysicalAddressLength);
    return 0;
}

std::uint32_t resolve_older(const kvtip_address& target, kvtip_mac& mac) {
    ip::addr address;
    ip::detail::to_addr(to_saddr(target), address);
    ip::macaddr found;
    if (const std::uint32_t code = found.from_addr(address, nullptr)) {
        return code == ERROR_GEN_FAILURE ? ERROR_BAD_NET_NAME : code; // nobody answers, on Windows 5.2
    }
    mac = to_mac(found.bytes, found.length);
    return 0;
}

} // namespace

uint32_t kvtip_neighbours(const kvtip_neighbour_options* options,
                          const kvtip_neighbour_list** neighbours) noexcept {
    kvtip_neighbour_options wanted;
    if (!clear(neighbours) || !read_options(options, wanted) || !is_family(wanted.family)) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&] { return list_neighbours(wanted, *neighbours); });
}

uint32_t kvtip_hardware_address(const kvtip_address* target, uint32_t interface_index,
                                kvtip_mac* mac) noexcept {
    if (!clear(mac) || target == nullptr || !is_valid(*target) || target->family == 0) {
        return ERROR_INVALID_PARAMETER;
    }
    return held([&]() -> uint32_t {
        if (bound_iphlpapi().ResolveIpNetEntry2 != nullptr) {
            return to_call_code(resolve(*target, interface_index, *mac));
        }
        return target->family == 4 ? to_call_code(resolve_older(*target, *mac)) : ERROR_CALL_NOT_IMPLEMENTED;
    });
}
