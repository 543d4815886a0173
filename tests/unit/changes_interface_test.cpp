// Watching for changes: what is reported, when a wait ends, and the system's signals at any time.

#include "kvtip/changes.hpp"
#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using scripted::socket_address;
using scripted::text;

/// The changes that a wait reports, or its error.
std::string shown(kvtip::watcher& watcher, std::chrono::milliseconds timeout = 0ms) {
    std::error_code error;
    const kvtip::change_list changes = watcher.wait(timeout, error);
    std::string all = error                                     ? text(error.value())
                      : changes.missing == kvtip::missing::ipv6 ? "IPv4 only"
                                                                : "";
    for (const kvtip::change& each : changes) {
        all +=
            (all.empty() ? "" : ", ") + std::string(to_string(each.kind)) + " " + text(each.interface_index);
        if (each.address) {
            all += " " + each.address.to_string() + "/" + text(each.prefix_length) + " " +
                   std::string(to_string(each.address_state));
        }
        if (each.network) {
            all += " " + each.network.to_string() + " " + each.next_hop.to_string() + " " +
                   text(each.metric.value_or(0));
        }
        EXPECT_EQ(each.adapter, changes.missing == kvtip::missing::nothing ? "a friendly name" : "");
    }
    return all;
}

struct Changes : testing::Test {
    Changes() {
        system.adapters = {full_adapter(system), loopback_adapter(system)};
        system.routes = {scripted::route_row("0.0.0.0", 0, "192.0.2.1"),
                         scripted::route_row("2001:db8::", 64, "::")};
    }

    IP_ADAPTER_ADDRESSES& adapter() { return system.adapters.front(); }
    void set_addresses(const std::vector<scripted::unicast>& addresses) {
        adapter().FirstUnicastAddress =
            plain_adapter(system, 7, "{A}", IF_TYPE_ETHERNET_CSMACD, addresses).FirstUnicastAddress;
    }

    scripted::system system;
};

TEST_F(Changes, AreTheDifferencesBetweenTwoMoments) {
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[] {}, "10060"},
        {[&] { std::swap(system.adapters[0], system.adapters[1]); }, "10060"},
        {[&] { std::swap(system.adapters[0], system.adapters[1]); }, "10060"},
        {[&] {
             set_addresses({{"2001:db8::10", 64, 5}, {"192.0.2.10", 24, 9}});
         },
         "10060"}, // lifetimes
        {[&] {
             set_addresses({{"192.0.2.10", 25, 9}, {"fe80::9", 64, 9}});
         },
         "address removed 7 192.0.2.10/24 invalid, address added 7 192.0.2.10/25 invalid, "
         "address removed 7 2001:db8::10/64 invalid, address added 7 fe80::9%7/64 invalid"},
        {[&] { adapter().FirstUnicastAddress->DadState = IpDadStateDuplicate; },
         "address changed 7 192.0.2.10/25 duplicate"},
        {[&] { adapter().OperStatus = IfOperStatusDown; }, "interface down 7"},
        {[&] { adapter().OperStatus = IfOperStatusDormant; }, "interface changed 7"},
        {[&] { adapter().OperStatus = IfOperStatusUp; }, "interface up 7"},
        {[&] {
             adapter().OperStatus = IfOperStatusLowerLayerDown;
             adapter().PhysicalAddress[0] = 4;
         },
         "interface changed 7, interface down 7"},
        {[&] { adapter().Mtu = 1400; }, "interface changed 7"},
        {[&] { adapter().DnsSuffix = system.text(L"lab.example"); }, "interface changed 7"},
        {[&] { adapter().FirstGatewayAddress = nullptr; }, "10060"},
        {[&] { adapter().FirstDnsServerAddress = nullptr; }, "interface changed 7"},
        {[&] { adapter().Ipv4Metric = 26; }, "interface changed 7, route changed 7 0.0.0.0/0 192.0.2.1 26"},
        {[&] { std::swap(system.routes[0], system.routes[1]); }, "10060"},
        {[&] { system.routes[1] = scripted::route_row("0.0.0.0", 0, "192.0.2.2"); },
         "route removed 7 0.0.0.0/0 192.0.2.1 26, route added 7 0.0.0.0/0 192.0.2.2 26"},
        {[&] { system.routes[0] = scripted::route_row("2001:db8::", 64, "::", 0, 4); }, // another protocol
         "route changed 7 2001:db8::/64  35"},
        {[&] {
             system.adapters.erase(system.adapters.begin());
             system.routes.clear();
         },
         "interface removed 7, address removed 7 192.0.2.10/25 duplicate, "
         "address removed 7 fe80::9%7/64 invalid, route removed 7 0.0.0.0/0 192.0.2.2 26, "
         "route removed 7 2001:db8::/64  35"},
        {[&] { system.adapters.push_back(full_adapter(system)); },
         "interface added 7, address added 7 192.0.2.10/24 invalid, "
         "address added 7 2001:db8::10/64 invalid"},
    };
    kvtip::watcher all = kvtip::watch(), parts[] = {kvtip::watch({.addresses = false, .routes = false}),
                                                    kvtip::watch({.interfaces = false, .routes = false}),
                                                    kvtip::watch({.addresses = false, .interfaces = false})};
    for (const auto& [change, expected] : rows) {
        change();
        system.signal();
        EXPECT_EQ(shown(all), expected);
        std::string together;
        for (kvtip::watcher& part : parts) {
            const std::string found = shown(part);
            together += found == "10060" ? "" : (together.empty() ? "" : ", ") + found;
        }
        EXPECT_EQ(together.empty() ? "10060" : together, expected);
    }
}

TEST_F(Changes, EndAWait) {
    const auto go_down = [&] {
        adapter().OperStatus = IfOperStatusDown;
        system.signal();
    };
    kvtip::watcher watcher = kvtip::watch({.merge_time = 40ms});
    system.calls.clear();
    EXPECT_EQ(shown(watcher, 500ms), "10060");
    EXPECT_EQ(system.called(), "WaitForMultipleObjects(500)"); // without a signal nothing is listed
    system.calls.clear();
    system.during = {{"WaitForMultipleObjects", go_down}};
    EXPECT_EQ(shown(watcher, kvtip::forever), "interface down 7");
    EXPECT_EQ(system.called("WaitForMultipleObjects"), "(4294967295) (40)");
    // Signals that change nothing do not end a wait, nor make it longer.
    for (int i = 0; i < 5; ++i) {
        system.signal();
        EXPECT_EQ(shown(watcher, 30ms), "10060");
    }
    watcher.cancel();
    EXPECT_EQ(shown(watcher, kvtip::forever) + " " + shown(watcher), "995 995");
}

TEST_F(Changes, AreLookedForAtAnInterval) {
    system.never_signals = true;
    std::error_code error;
    EXPECT_FALSE(kvtip::watch({}, error));
    EXPECT_EQ(error.value(), ERROR_CALL_NOT_IMPLEMENTED);
    kvtip::watcher watcher = kvtip::watch({.poll_interval = 300ms}, error);
    adapter().OperStatus = IfOperStatusDown;
    system.calls.clear();
    EXPECT_EQ(shown(watcher, 100ms), "10060");
    EXPECT_EQ(shown(watcher, kvtip::forever), "interface down 7");
    EXPECT_EQ(shown(watcher, 700ms), "10060");
    EXPECT_EQ(system.called("WaitForMultipleObjects"), "(100) (200) (300) (300) (100)");
}

TEST_F(Changes, AreNotLostByAFailure) {
    kvtip::watcher watcher = kvtip::watch();
    set_addresses({});
    system.signal();
    system.answers["GetAdaptersAddresses"] = {5};
    EXPECT_EQ(shown(watcher), "5"); // the older list has no IPv6 addresses, which would seem to be gone
    EXPECT_NE(shown(watcher).find("2001:db8::10/64"), std::string::npos);
}

TEST_F(Changes, AreSignalledWhileTheWatcherIsClosed) {
    kvtip_watcher* watcher = nullptr;
    ASSERT_EQ(kvtip_watch(nullptr, &watcher), 0u);
    system.during = {{"CancelMibChangeNotify2", [&] { system.signal(); }}};
    SetLastError(7);
    kvtip_watcher_close(watcher);
    EXPECT_EQ(GetLastError(), 7u);
    system.signal();
    EXPECT_EQ(system.called().substr(system.called().rfind("FreeLibrary")), "FreeLibrary(kvtIP.dll)");
}

TEST(OlderChanges, AreSignalledOnceAndAskedForAgain) {
    scripted::system system(5);
    system.older_adapters = {scripted::older_adapter()};
    std::error_code error;
    EXPECT_FALSE(kvtip::watch({}, error));
    EXPECT_EQ(error.value(), ERROR_CALL_NOT_IMPLEMENTED) << "changes of routes are not signalled";
    kvtip::watcher watcher = kvtip::watch({.routes = false});
    for (const char* address : {"192.0.2.11", "192.0.2.12"}) {
        std::strcpy(system.older_adapters[0].IpAddressList.IpAddress.String, address);
        system.signal();
        EXPECT_EQ(shown(watcher).substr(0, 9), "IPv4 only");
    }
    EXPECT_EQ(system.count("NotifyAddrChange"), 1 + 3);
    system.answers["NotifyAddrChange"] = {5};
    system.signal();
    EXPECT_EQ(shown(watcher), "5");
    EXPECT_EQ(shown(watcher), "10060");
    EXPECT_EQ(system.older_subscriptions.size(), 1u);
}

TEST_F(Changes, MayBeWaitedForByOneThreadAtATime) {
    kvtip::watcher watcher = kvtip::watch();
    system.during = {{"WaitForMultipleObjects", [&] { EXPECT_EQ(shown(watcher), "170"); }}};
    EXPECT_EQ(shown(watcher), "10060");
    const kvtip_change_list* changes = nullptr;
    EXPECT_EQ(kvtip_watcher_wait(nullptr, 0, &changes), 87u);
    EXPECT_EQ(kvtip_watcher_wait(watcher.native_handle(), 0, nullptr), 87u);
    kvtip_watcher_cancel(nullptr);
    kvtip_watcher_close(nullptr);
    std::error_code error;
    EXPECT_FALSE(kvtip::watch({.addresses = false, .interfaces = false, .routes = false}, error));
    EXPECT_EQ(error.value(), 87);
    EXPECT_FALSE(kvtip::watch({.merge_time = 61s}, error));
    EXPECT_EQ(error.value(), 87);
}

TEST_F(Changes, AreSignalledAndCancelledOnAnyThread) {
    system.logs = false;
    std::atomic<bool> ends = false;
    std::thread others([&] {
        while (!ends) {
            system.signal();
        }
    });
    for (int round = 0; round < 200; ++round) {
        kvtip::watcher watcher = kvtip::watch({.merge_time = 1ms});
        std::thread waiter([&] { EXPECT_EQ(shown(watcher, kvtip::forever), "995"); });
        watcher.cancel();
        waiter.join();
    }
    ends = true;
    others.join();
}

} // namespace
