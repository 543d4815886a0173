// Neighbours of the C interface.

#include "ip/detail/helper.h"
#include "results.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

namespace {

using scripted::address_of;
using scripted::result_of;
using scripted::text;
using scripted::texts;

struct Neighbours : testing::Test {
    Neighbours() {
        add("192.0.2.1", 7, NlnsReachable, 6);
        add("fe80::1", 8, NlnsStale, 33);
        add("fe80::9%9", 8, NlnsPermanent, 32);
        system.older_neighbours = {{5, 6, {2, 2, 2, 2, 2, 2}, 0x050200C0, 4}};
        std::memset(system.resolved.PhysicalAddress, 1, 32);
        system.resolved.PhysicalAddressLength = 6;
    }

    void add(const char* text, DWORD interface_index, NL_NEIGHBOR_STATE state, ULONG length) {
        const ip::saddr address = kvtip::library::to_saddr(address_of(text));
        MIB_IPNET_ROW2& row = system.neighbours.emplace_back();
        std::memcpy(&row.Address, &address, sizeof address);
        row.InterfaceIndex = interface_index;
        row.InterfaceLuid.Value = interface_index == 7 ? 6ULL << 48 | 99 : 0;
        row.State = state;
        row.PhysicalAddressLength = length;
        std::memset(row.PhysicalAddress, 3, 6);
    }
    /// The code and rows, and the calls.
    std::string list(std::uint32_t family, std::uint32_t interface_index = 0) {
        const kvtip_neighbour_options options{sizeof options, family, interface_index};
        system.calls.clear();
        const std::string result = result_of(
            [](const kvtip_neighbour& row) {
                return texts({row.address, text(row.mac.length) + ":" + text(row.mac.bytes[5]),
                              row.interface_index, row.interface_type, row.state});
            },
            kvtip_neighbours, &options);
        return result + " " + system.called("GetIpNetTable");
    }

    scripted::system system;
};

TEST_F(Neighbours, AreListedFromTheTableThatThereIs) {
    const std::string first = " 192.0.2.1|6:3|7|6|5|", older = " 192.0.2.5|6:2|5|1|7|",
                      others = " fe80::1%8|0:0|8|1|4| fe80::9%9|32:3|8|1|6|", ask = " (4096,0)";
    const struct {
        std::uint32_t family, index;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {
        {0, 0, {}, {}, "0" + first + others + " 2(0)"},
        {4, 7, {}, {}, "0" + first + " 2(2)"},
        {6, 8, {}, {}, "0" + others + " 2(23)"},
        {0, 1, {}, {}, "0 2(0)"},
        {0, 0, {}, {{"GetIpNetTable2", {1168}}}, "0 2(0)"},
        {6, 0, {}, {{"GetIpNetTable2", {232}}}, "0 2(23)"},
        {6, 0, {}, {{"GetIpNetTable2", {5}}}, "5 2(23)"},
        {6, 0, {}, {{"GetIpNetTable2", {1}}}, "0 missing 2 2(23)"},
        {6, 0, {}, {{"GetIpNetTable2", {50}}}, "0 missing 2 2(23)"},
        {0, 0, {}, {{"GetIpNetTable2", {8}}}, "8 2(0)"},
        {0, 7, {}, {{"GetIpNetTable2", {1}}}, "0 missing 2" + first + " 2(0) 2(2)"},
        {0, 0, {}, {{"GetIpNetTable2", {1, 8}}}, "8 2(0) 2(2)"},
        {0, 0, {}, {{"GetIpNetTable2", {1, 1}}}, "0 missing 2" + older + " 2(0) 2(2)" + ask},
        {4, 0, {}, {{"GetIpNetTable2", {1}}}, "0" + older + " 2(2)" + ask},
        {4, 0, {}, {{"GetIpNetTable2", {1}}, {"GetIpNetTable", {5}}}, "5 2(2)" + ask},
        {0, 0, {"FreeMibTable"}, {}, "0 missing 2" + older + ask},
        {4, 5, {"GetIpNetTable2"}, {}, "0" + older + ask},
        {4, 6, {"GetIpNetTable2"}, {}, "0" + ask},
        {4, 0, {"GetIpNetTable2"}, {{"GetIpNetTable", {232}}}, "0" + ask},
        {6, 0, {"GetIpNetTable2"}, {}, "0 missing 2 "},
        {5, 0, {}, {}, "87 "},
    };
    for (const auto& row : rows) {
        system.missing = row.missing;
        system.answers = row.answers;
        EXPECT_EQ(list(row.family, row.index), row.expected);
    }
}

TEST_F(Neighbours, SayTheirHardwareAddress) {
    const std::string arp = "SendARP(192.0.2.9,0.0.0.0,32)", interface4 = "GetBestInterfaceEx(192.0.2.9)",
                      interface6 = "GetBestInterfaceEx(2001:db8::9)";
    const auto resolve = [](const std::string& what) { return "ResolveIpNetEntry2(" + what + ")"; };
    const struct {
        const char* target;
        std::uint32_t index;
        std::set<std::string> missing;
        std::map<std::string, std::deque<DWORD>> answers;
        std::string expected;
    } rows[] = {
        {"192.0.2.9", 0, {}, {}, "0 6 " + interface4 + resolve("192.0.2.9,none,7")},
        {"192.0.2.9", 3, {}, {}, "0 6 " + resolve("192.0.2.9,none,3")},
        {"2001:db8::9", 0, {}, {}, "0 6 " + interface6 + resolve("2001:db8::9,none,7")},
        {"2001:db8::9", 0, {}, {{"GetBestInterfaceEx", {1231}}}, "1231 0 " + interface6},
        {"2001:db8::9", 0, {"GetBestInterfaceEx"}, {}, "120 0 "},
        {"fe80::9%4", 0, {}, {}, "0 6 " + resolve("fe80::9%4,none,4")},
        {"fe80::9%4", 5, {}, {}, "0 6 " + resolve("fe80::9%4,none,5")},
        {"fe80::9%4", 0, {}, {{"ResolveIpNetEntry2", {67}}}, "67 0 " + resolve("fe80::9%4,none,4")},
        {"192.0.2.9", 3, {"ResolveIpNetEntry2"}, {}, "0 6 " + arp},
        {"192.0.2.9", 0, {"ResolveIpNetEntry2"}, {{"SendARP", {31}}}, "67 0 " + arp},
        {"192.0.2.9", 0, {"ResolveIpNetEntry2"}, {{"SendARP", {50}}}, "120 0 " + arp},
    };
    for (const auto& row : rows) {
        const kvtip_address target = address_of(row.target);
        kvtip_mac mac{{9}, 9, {}};
        system.missing = row.missing;
        system.answers = row.answers;
        system.calls.clear();
        std::string result = text(kvtip_hardware_address(&target, row.index, &mac)) + " ";
        result += text(mac.length) + " ";
        EXPECT_EQ(mac.bytes[0], mac.length == 0 ? 0 : 1);
        for (const char* call : {"GetBestInterface", "ResolveIpNetEntry2(", "SendARP("}) {
            if (const std::string arguments = system.called(call); !arguments.empty()) {
                result += call + arguments;
            }
        }
        EXPECT_EQ(result, row.expected);
    }
}

} // namespace
