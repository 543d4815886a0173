#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

#include "address/convert.h"
#include "binding/exhaustion.h"
#include "binding/sockaddr_inet.h"
#include "binding/system_list.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"

namespace ip {

using namespace detail;

namespace {

/// Copies a hardware address of the system, at most `room` bytes of it. Only the low byte of `length` is
/// used. A length above 32 means that there is no address, and leaves the bytes untouched.
void copy_mac(macaddr& mac, const void* bytes, std::size_t room, unsigned long length) {
    const auto size = static_cast<std::uint8_t>(length);
    mac.length = size > macaddr::max_length ? 0 : size;
    std::memcpy(mac.bytes, bytes, std::min<std::size_t>(mac.length, room));
}

unsigned long list_newer_table(std::vector<hlpapi::_SIpNetRow>& rows, unsigned short family) {
    static_assert(offsetof(MIB_IPNET_TABLE2, Table) == 8 && sizeof(MIB_IPNET_ROW2) == 88 &&
                  sizeof(NL_NEIGHBOR_STATE) == 4);
    const iphlpapi_impl& bound = bound_iphlpapi();
    MIB_IPNET_TABLE2* found = nullptr;
    if (const unsigned long code = bound.GetIpNetTable2(family, &found)) {
        return code;
    }
    const std::unique_ptr<MIB_IPNET_TABLE2, decltype(bound.FreeMibTable)> table(found, bound.FreeMibTable);
    rows.reserve(table->NumEntries);
    for (const MIB_IPNET_ROW2& entry : std::span(table->Table, table->NumEntries)) {
        hlpapi::_SIpNetRow& row = rows.emplace_back();
        row.interface_index = entry.InterfaceIndex;
        std::memcpy(&row.state, &entry.State, sizeof row.state); // a newer system may have other states
        row.interface_type = static_cast<std::uint32_t>(entry.InterfaceLuid.Info.IfType);
        row.address = from_sockaddr(&entry.Address, sizeof entry.Address);
        copy_mac(row.mac, entry.PhysicalAddress, sizeof entry.PhysicalAddress, entry.PhysicalAddressLength);
    }
    return 0;
}

unsigned long list_older_table(std::vector<hlpapi::_SIpNetRow>& rows) {
    static_assert(offsetof(MIB_IPNETTABLE, table) == 4 && sizeof(MIB_IPNETROW) == 24);
    const auto get_table = bound_iphlpapi().GetIpNetTable;
    if (get_table == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    membuffer buffer;
    std::size_t capacity = 0;
    if (const unsigned long code = get_list<MIB_IPNETTABLE>(buffer, 4096, ERROR_INSUFFICIENT_BUFFER,
                                                            [&](MIB_IPNETTABLE* table, ULONG* size) {
                                                                capacity = *size;
                                                                return get_table(table, size, FALSE);
                                                            })) {
        return code;
    }
    const auto* table = static_cast<const MIB_IPNETTABLE*>(buffer.get(0));
    // The count is limited to the rows that the buffer can hold.
    constexpr std::size_t head = offsetof(MIB_IPNETTABLE, table);
    const std::size_t most = (std::max(capacity, head) - head) / sizeof(MIB_IPNETROW);
    const std::size_t count = std::min<std::size_t>(table->dwNumEntries, most);
    rows.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const MIB_IPNETROW& entry = table->table[i];
        hlpapi::_SIpNetRow& row = rows.emplace_back();
        row.interface_index = entry.dwIndex;
        row.state = neighbour_unknown;
        row.interface_type = interface_type_other;
        row.address.family = family_ipv4;
        std::memcpy(row.address.address4, &entry.dwAddr, ipv4_size);
        copy_mac(row.mac, entry.bPhysAddr, sizeof entry.bPhysAddr, entry.dwPhysAddrLen);
    }
    return 0;
}

unsigned long resolve_ipv4(const addr& target, const addr* source, macaddr& mac) {
    const auto send_arp = bound_iphlpapi().SendARP;
    if (send_arp == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    std::uint8_t bytes[macaddr::max_length] = {};
    ULONG length = sizeof bytes;
    if (const unsigned long code =
            send_arp(ipv4_number(target.address), ipv4_number(ipv4_view(source).bytes), bytes, &length)) {
        return code;
    }
    copy_mac(mac, bytes, sizeof bytes, length);
    return 0;
}

unsigned long resolve_ipv6(const addr& target, const addr* source, macaddr& mac) {
    const auto resolve = bound_iphlpapi().ResolveIpNetEntry2;
    if (resolve == nullptr) {
        mac.length = 0;
        return ERROR_INVALID_PARAMETER;
    }
    MIB_IPNET_ROW2 row{};
    row.Address = to_sockaddr_inet(to_saddr(target));
    SOCKADDR_INET from{};
    if (source != nullptr) {
        from = to_sockaddr_inet(to_saddr(*source));
    }
    if (const unsigned long code = resolve(&row, source == nullptr ? nullptr : &from)) {
        return code;
    }
    copy_mac(mac, row.PhysicalAddress, sizeof row.PhysicalAddress, row.PhysicalAddressLength);
    return 0;
}

} // namespace

unsigned long hlpapi::getipnettable(std::vector<_SIpNetRow>& rows, unsigned short family) noexcept {
    rows.clear();
    const iphlpapi_impl& bound = bound_iphlpapi();
    if (family != family_ipv4 && bound.GetIpNetTable2 != nullptr && bound.FreeMibTable != nullptr) {
        return report_exhaustion([&] { return list_newer_table(rows, family); });
    }
    return family == family_ipv6 ? 0 : report_exhaustion([&] { return list_older_table(rows); });
}

unsigned long hlpapi::sendARP(const saddr4& source, const saddr4& destination, macaddr& mac) noexcept {
    const auto send_arp = bound_iphlpapi().SendARP;
    if (send_arp == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    constexpr std::uint8_t mac_size = 6;
    std::uint8_t bytes[8] = {};
    ULONG length = mac_size;
    if (const unsigned long code =
            send_arp(ipv4_number(destination.address), ipv4_number(source.address), bytes, &length)) {
        return code;
    }
    std::memcpy(mac.bytes, bytes, sizeof bytes);
    mac.length = mac_size; // also if the system reports another length
    return 0;
}

unsigned long macaddr::from_addr(const addr& target, const addr* source) noexcept {
    switch (target.family) {
    case family_ipv4:
        return resolve_ipv4(target, source, *this);
    case family_ipv6:
        return resolve_ipv6(target, source, *this);
    default:
        length = 0;
        return ERROR_INVALID_PARAMETER;
    }
}

} // namespace ip
