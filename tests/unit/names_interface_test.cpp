// Names and DNS queries of the C interface.

#include "kvtip/names.hpp"
#include "results.h"
#include "sample_adapters.h"

#include <gtest/gtest.h>

#include <windns.h>

namespace {

using scripted::address_of;
using scripted::result_of;
using scripted::text;
using scripted::texts;

struct wanted {
    std::uint32_t family = 0, socket_type = 0, flags = 0;
};

struct NameRows : testing::Test {
    NameRows() {
        system.adapters = {full_adapter(system)};
        const ip::saddr scoped = kvtip::library::to_saddr(address_of("fe80::9%7"), 80);
        system.hosts = {{"peer", {{{"192.0.2.9", 80}, {scoped, 28}}}},
                        {"-", {{{"127.0.0.1", 80}}}},
                        {"nowhere", {{{ip::saddr{}, 0}}}},
                        {"odd", {{{ip::saddr{99, 0, {}, {}, 0}, 28}, {"192.0.2.9", 80}}}},
                        {"fe80::9%7", {{{scoped, 28}}}}};
    }

    std::string resolve(const char* host, const char* service, const wanted& of = {}) {
        const kvtip_resolve_options options{sizeof options, of.family, of.socket_type, of.flags, 0, 0,
                                            nullptr};
        system.calls.clear();
        return result_of(
            [](const kvtip_resolution& found) {
                std::string result = found.canonical_name;
                for (const auto& each : std::span(found.endpoints, found.endpoint_count)) {
                    result += " " + text(each);
                }
                return result;
            },
            kvtip_resolve, host, service, &options);
    }
    std::string reverse(const char* address) {
        const kvtip_address of = address_of(address);
        return result_of([](const kvtip_name& row) { return std::string(row.name); }, kvtip_reverse, &of);
    }
    std::string host_name() {
        return result_of([](const char& first) { return std::string(&first); }, kvtip_host_name);
    }

    scripted::system system;
};

TEST_F(NameRows, AreResolved) {
    const std::string both = "0  192.0.2.9@80 fe80::9@80%7", local = "0  127.0.0.1@80";
    const struct {
        const char *what, *host, *service;
        wanted options;
        std::string expected, call;
    } rows[] = {
        {"both families", "peer", "http", {}, both, "(peer,http,0,0,1,0)"},
        {"one family", "peer", "http", {.family = 6}, "0  fe80::9@80%7", "(peer,http,0,23,1,0)"},
        {"no service", "peer", nullptr, {.family = 4}, "0  192.0.2.9@80", "(peer,0,0,2,1,0)"},
        {"an empty service", "peer", "", {.socket_type = KVTIP_DATAGRAM}, both, "(peer,0,0,0,2,0)"},
        {"all flags", "peer", "1", {.flags = 15}, "0 peer 192.0.2.9@80 fe80::9@80%7", "(peer,1,1031,0,1,0)"},
        {"this host", nullptr, "80", {.flags = KVTIP_RESOLVE_PASSIVE}, local, "(-,80,1,0,1,0)"},
        {"an empty host", "", "80", {}, local, "(-,80,0,0,1,0)"},
        {"a numeric scope", "fe80::9%7", "80", {}, "0  fe80::9@80%7", "(fe80::9%7,80,0,0,1,0)"},
        {"a named scope", "fe80::9%a friendly name", "80", {}, "0  fe80::9@80%7", "(fe80::9%7,80,0,0,1,0)"},
        {"an unknown scope", "fe80::9%no such name", "80", {}, "1168", ""},
        {"no address before the scope", "peer%name", "80", {}, "11001", "(peer%name,80,0,0,1,0)"},
        {"an unknown name", "nobody", "80", {}, "11001", "(nobody,80,0,0,1,0)"},
        {"a name without address", "nowhere", "80", {}, "11004", "(nowhere,80,0,0,1,0)"},
        {"an address of another family", "odd", "80", {}, "0  192.0.2.9@80", "(odd,80,0,0,1,0)"},
        {"an unknown flag", "peer", "80", {.flags = 16}, "87", ""},
        {"an unknown family", "peer", "80", {.family = 2}, "87", ""},
        {"an unknown type", "peer", "80", {.socket_type = 3}, "87", ""},
        {"this host's canonical name", "", "80", {.flags = KVTIP_RESOLVE_CANONICAL_NAME}, "87", ""},
        {"no UTF-8 in a scope", "fe80::9%\xff", "80", {}, "87", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(resolve(row.host, row.service, row.options), row.expected) << row.what;
        EXPECT_EQ(system.called("GetAddrInfoW"), row.call) << row.what;
    }
    system.answers["GetAddrInfoW"] = {0xFFFFFFF7}; // -9
    EXPECT_EQ(resolve("peer", "80"), "11004");
    system.missing = {"GetAddrInfoW"};
    EXPECT_EQ(resolve("peer", "80", {.flags = KVTIP_RESOLVE_CANONICAL_NAME}),
              "0 peer 192.0.2.9@80 fe80::9@80%7");
    EXPECT_EQ(system.called("getaddrinfo"), "(peer,80,2,0,1,0)");
}

TEST_F(NameRows, BelongToAddresses) {
    system.outputs["GetNameInfoW"] = {scripted::bytes<wchar_t>("wide.lab.test")};
    system.outputs["getnameinfo"] = {scripted::bytes<char>("narrow.lab.test")};
    EXPECT_EQ(reverse("192.0.2.9"), "0 wide.lab.test");
    EXPECT_EQ(system.called("GetNameInfoW"), "(192.0.2.9,16,1025,-,0,4)");
    system.answers["GetNameInfoW"] = {11001};
    EXPECT_EQ(reverse("fe80::9"), "11001");
    system.outputs["GetNameInfoW"] = {scripted::bytes<wchar_t>("")};
    EXPECT_EQ(reverse("192.0.2.9"), "11001");
    system.missing = {"GetNameInfoW"};
    EXPECT_EQ(reverse("192.0.2.9"), "0 narrow.lab.test");
}

TEST_F(NameRows, AreTheHosts) {
    const wchar_t name[] = L"h\u00f6st \xd83d\xde00";
    system.outputs["GetHostNameW"] = {{reinterpret_cast<const char*>(name), sizeof name}};
    EXPECT_EQ(host_name(), "0 h\u00f6st \U0001F600");
    system.missing = {"GetHostNameW"};
    EXPECT_EQ(host_name(), "0 own");
}

struct DnsRecords : testing::Test {
    std::string query(const char* name, std::uint32_t type, std::uint32_t flags = 0) {
        const kvtip_dns_options options{sizeof options, flags, {}};
        system.calls.clear();
        return result_of(
            [](const kvtip_dns_record& row) {
                return texts({row.name, row.type, row.time_to_live, row.address, row.target});
            },
            kvtip_dns_query, name, type, &options);
    }

    scripted::system system;
};

TEST_F(DnsRecords, ListsTheRecordsOfTheAnswer) {
    const std::string reverse6 = "9.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.arpa";
    system.dns = {{"1 www",
                   {{DNS_TYPE_CNAME, "alias"},
                    {DNS_TYPE_A, "192.0.2.1"},
                    {DNS_TYPE_A, "192.0.2.2"},
                    {DNS_TYPE_A, "192.0.2.3", 2},
                    {DNS_TYPE_A, "192.0.2.4", 3},
                    {DNS_TYPE_OPT}}},
                  {"1 192.0.2.7", {{DNS_TYPE_A, "192.0.2.7", 0}}},
                  {"28 www", {{DNS_TYPE_AAAA, "2001:db8::1"}}},
                  {"1 alias", {{DNS_TYPE_CNAME, "www"}}},
                  {"12 name", {{DNS_TYPE_PTR, "target"}, {DNS_TYPE_PTR}}},
                  {"12 9.2.0.192.in-addr.arpa", {{DNS_TYPE_PTR, "nine"}, {DNS_TYPE_PTR, "neuf"}}},
                  {"12 " + reverse6, {{DNS_TYPE_PTR, "six"}}}};
    const struct {
        const char *what, *name;
        std::uint32_t type, flags;
        std::string expected, call;
    } rows[] = {
        {"A", "www", 1, 0, "0 www|1|300|192.0.2.1|| www|1|300|192.0.2.2||", "(www,1,2176)"},
        {"AAAA", "www", 28, 0, "0 www|28|300|2001:db8::1||", "(www,28,2176)"},
        {"a numeric name", "192.0.2.7", 1, 0, "0 192.0.2.7|1|300|192.0.2.7||", "(192.0.2.7,1,2176)"},
        {"an alias alone", "alias", 1, 0, "9501", "(alias,1,2176)"},
        {"PTR of a name", "name", 12, 0, "0 name|12|300|-|target|", "(name,12,2176)"},
        {"PTR of an address", "192.0.2.9", 12, 0,
         "0 9.2.0.192.in-addr.arpa|12|300|-|nine| 9.2.0.192.in-addr.arpa|12|300|-|neuf|",
         "(9.2.0.192.in-addr.arpa,12,2176)"},
        {"PTR of an IPv6 address", "2001:db8::9", 12, 0, "0 " + reverse6 + "|12|300|-|six|",
         "(" + reverse6 + ",12,2176)"},
        {"past the cache, by TCP", "www", 28, 3, "0 www|28|300|2001:db8::1||", "(www,28,2186)"},
        {"no records", "nobody", 1, 0, "9501", "(nobody,1,2176)"},
        {"another type", "www", 255, 0, "87", ""},
        {"an unknown flag", "www", 1, 4, "87", ""},
        {"no name", "", 1, 0, "87", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(query(row.name, row.type, row.flags), row.expected) << row.what;
        EXPECT_EQ(system.called("DnsQuery_W"), row.call) << row.what;
    }
    for (const auto& [code, expected] : {std::pair<DWORD, const char*>{1460, "10060"}, {9003, "9003"}}) {
        system.answers["DnsQuery_W"] = {code}; // beside a list
        EXPECT_EQ(query("www", 1), expected);
    }
}

TEST_F(DnsRecords, ComeFromTheServerThatIsChosen) {
    system.dns = {{"1 www", {{DNS_TYPE_A, "192.0.2.1"}}}};
    const auto ask = [&](const char* server) {
        system.calls.clear();
        std::error_code error;
        const auto found = kvtip::dns_query("www", kvtip::dns_type::a,
                                            {.server = kvtip::address(address_of(server))}, error);
        return found.empty() ? text(error.value()) : text(found[0].address.to_string());
    };
    EXPECT_EQ(ask("192.0.2.53"), "192.0.2.1");
    EXPECT_EQ(system.called("DnsQuery"), "Ex(www,1,2184,192.0.2.53)");
    EXPECT_EQ(ask("fe80::53%4"), "192.0.2.1");
    EXPECT_EQ(system.called("DnsQuery"), "Ex(www,1,2184,fe80::53%4)");
    for (const auto& [code, expected] : {std::pair<DWORD, const char*>{1460, "10060"}, {50, "120"}}) {
        system.answers["DnsQueryEx"] = {code};
        EXPECT_EQ(ask("192.0.2.53"), expected);
    }
    system.missing = {"DnsQueryEx"};
    EXPECT_EQ(ask("192.0.2.53"), "120");
}

TEST_F(DnsRecords, HaveTheMembersOfTheirType) {
    const std::string caa("\x80\5issue"
                          "ca.test; \xE9",
                          17);
    const auto bytes = []<class Number>(std::initializer_list<Number> numbers) {
        return std::string(reinterpret_cast<const char*>(numbers.begin()), numbers.size() * sizeof(Number));
    };
    const auto sized = [&](DWORD size, const std::string& data) { return bytes({size}) + data; };
    system.dns = {{"2 zone", {{DNS_TYPE_NS, "ns1"}}},
                  {"5 alias", {{DNS_TYPE_CNAME, "www"}}},
                  {"6 zone", {{DNS_TYPE_SOA, "ns1 admin", 1, bytes({5u, 4u, 3u, 2u, 1u, 0u})}}},
                  {"15 zone", {{DNS_TYPE_MX, "mail", 1, bytes({10u, 0u})}}},
                  {"16 zone", {{DNS_TYPE_TEXT, "v=spf1 -all"}, {DNS_TYPE_TEXT}}},
                  {"33 _sip", {{DNS_TYPE_SRV, "sip", 1, bytes({WORD{1}, WORD{2}, WORD{5060}, WORD{0}})}}},
                  {"257 zone",
                   {{KVTIP_DNS_CAA, nullptr, 1, sized(17, caa)},
                    {KVTIP_DNS_CAA, nullptr, 1, sized(1, "\x80")},
                    {KVTIP_DNS_CAA, nullptr, 1, sized(3, {"\0\2x", 3})}}}};
    const struct {
        const char* name;
        kvtip::dns_type type;
        std::string expected;
    } rows[] = {
        {"zone", kvtip::dns_type::ns, "NS ns1|0|0|0|0|||||0|0|0|0|0|"},
        {"alias", kvtip::dns_type::cname, "CNAME www|0|0|0|0|||||0|0|0|0|0|"},
        {"zone", kvtip::dns_type::soa, "SOA ns1|0|0|0|0||||admin|5|4|3|2|1|"},
        {"zone", kvtip::dns_type::mx, "MX mail|10|0|0|0|||||0|0|0|0|0|"},
        {"zone", kvtip::dns_type::txt, "TXT |0|0|0|0|||v=spf1,-all||0|0|0|0|0|TXT |0|0|0|0|||||0|0|0|0|0|"},
        {"_sip", kvtip::dns_type::srv, "SRV sip|1|2|5060|0|||||0|0|0|0|0|"},
        {"zone", kvtip::dns_type::caa, "CAA |0|0|0|128|issue|ca.test; \u00E9|||0|0|0|0|0|"},
    };
    for (const auto& row : rows) {
        std::string found;
        for (const kvtip::dns_record& each : kvtip::dns_query(row.name, row.type)) {
            found += std::string(to_string(each.type)) + " " +
                     texts({each.target, each.priority, each.weight, each.port, unsigned{each.flags},
                            each.tag, each.value, each.texts, each.mailbox, each.serial, each.refresh.count(),
                            each.retry.count(), each.expire.count(), each.minimum.count()});
        }
        EXPECT_EQ(found, row.expected);
    }
}

} // namespace
