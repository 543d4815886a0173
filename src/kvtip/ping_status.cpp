#include "kvtip/ping_status.h"

#include <algorithm>
#include <iterator>

#include "kvtip/kvtip.h"

namespace kvtip::library {

namespace {

struct ping_status {
    std::uint32_t status;
    kvtip_ping_outcome outcome;
    const char* name;
    const char* message;
};

constexpr ping_status statuses[] = {
    {0, KVTIP_PING_ANSWERED, "IP_SUCCESS", "The host answered."},
    {11001, KVTIP_PING_FAILED, "IP_BUF_TOO_SMALL", "The room for the answer was too small."},
    {11002, KVTIP_PING_UNREACHABLE, "IP_DEST_NET_UNREACHABLE", "The destination network cannot be reached."},
    {11003, KVTIP_PING_UNREACHABLE, "IP_DEST_HOST_UNREACHABLE", "The destination host cannot be reached."},
    {11004, KVTIP_PING_UNREACHABLE, "IP_DEST_PROT_UNREACHABLE",
     "The destination does not know the protocol, or it is prohibited on the way."},
    {11005, KVTIP_PING_UNREACHABLE, "IP_DEST_PORT_UNREACHABLE", "The destination port cannot be reached."},
    {11006, KVTIP_PING_FAILED, "IP_NO_RESOURCES", "The system has no resources left to ping with."},
    {11007, KVTIP_PING_FAILED, "IP_BAD_OPTION", "An option of the packet is not valid."},
    {11008, KVTIP_PING_FAILED, "IP_HW_ERROR", "The hardware failed."},
    {11009, KVTIP_PING_TOO_BIG, "IP_PACKET_TOO_BIG",
     "The packet is too big for the way and must not be split."},
    {11010, KVTIP_PING_TIMED_OUT, "IP_REQ_TIMED_OUT", "Nobody answered in time."},
    {11011, KVTIP_PING_FAILED, "IP_BAD_REQ", "The request is not valid."},
    {11012, KVTIP_PING_FAILED, "IP_BAD_ROUTE", "The route is not valid."},
    {11013, KVTIP_PING_HOPS_EXCEEDED, "IP_TTL_EXPIRED_TRANSIT", "The time to live was used up on the way."},
    {11014, KVTIP_PING_HOPS_EXCEEDED, "IP_TTL_EXPIRED_REASSEM",
     "The time to live was used up while the packet was put together."},
    {11015, KVTIP_PING_FAILED, "IP_PARAM_PROBLEM", "A header of the packet is not valid."},
    {11016, KVTIP_PING_FAILED, "IP_SOURCE_QUENCH", "Packets arrive too fast and are discarded."},
    {11017, KVTIP_PING_FAILED, "IP_OPTION_TOO_BIG", "An option of the packet is too big."},
    {11018, KVTIP_PING_FAILED, "IP_BAD_DESTINATION", "The destination is not valid."},
    {11040, KVTIP_PING_UNREACHABLE, "IP_DEST_UNREACHABLE", "The destination cannot be reached."},
    {11041, KVTIP_PING_HOPS_EXCEEDED, "IP_TIME_EXCEEDED", "The hop limit was used up on the way."},
    {11042, KVTIP_PING_FAILED, "IP_BAD_HEADER", "A header of the packet is not valid."},
    {11043, KVTIP_PING_FAILED, "IP_UNRECOGNIZED_NEXT_HEADER", "The destination does not know a header."},
    {11044, KVTIP_PING_FAILED, "IP_ICMP_ERROR", "An ICMP error arrived."},
    {11045, KVTIP_PING_UNREACHABLE, "IP_DEST_SCOPE_MISMATCH",
     "The source address is not valid in the network of the destination."},
    {11050, KVTIP_PING_FAILED, "IP_GENERAL_FAILURE", "The ping failed without a reason."},
};

const ping_status* find(std::uint32_t status) noexcept {
    const auto* found = std::find_if(std::begin(statuses), std::end(statuses),
                                     [=](const ping_status& each) { return each.status == status; });
    return found == std::end(statuses) ? nullptr : found;
}

} // namespace

bool is_ping_status(std::uint32_t status) noexcept {
    return status >= 11000 && status <= 11050;
}

std::uint32_t outcome_of(std::uint32_t status) noexcept {
    const ping_status* known = find(status);
    return known == nullptr ? KVTIP_PING_FAILED : known->outcome;
}

} // namespace kvtip::library

const char* kvtip_ping_status_name(uint32_t status) noexcept {
    const auto* known = kvtip::library::find(status);
    return known == nullptr ? "" : known->name;
}

const char* kvtip_ping_status_message(uint32_t status) noexcept {
    const auto* known = kvtip::library::find(status);
    return known == nullptr ? "" : known->message;
}
