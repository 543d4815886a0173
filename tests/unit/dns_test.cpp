// DNS lookups, and the loads of the DNS library.

#include "ip/detail/helper.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <windns.h>

namespace {

using ip::detail::the_helper;
using scripted::address;
using scripted::text;
using scripted::texts;

TEST(DnsBinding, CountsLoadsEvenThoseThatFail) {
    // What two handles do; "?" is a lookup. In front of a step stands what goes wrong in it.
    const struct {
        const char* steps;
        std::string codes;
        DWORD count; ///< of loads, in the end
    } rows[] = {{"? a.init ? a.init a.free ? a.free", "120 0 0 0 0 0 0 ", 1},
                {"a.init b.init ? a.free ? b.free ?", "0 0 0 0 0 0 120 ", 0},
                {"no_entry a.init ? a.free b.init ? b.free ?", "127 120 0 0 120 0 120 ", 1},
                {"no_reason a.init b.init ?", "127 0 120 ", 2},
                {"no_library a.init b.init ?", "126 0 120 ", 2},
                {"a.init stuck a.free ? a.init ?", "0 5 120 0 0 ", 1}};
    for (const auto& row : rows) {
        scripted::system system;
        system.dns["1 n"] = system.dns["28 n"] = {{DNS_TYPE_CNAME}};
        ip::dnsapi a, b;
        std::vector<ip::addr> found;
        std::string step, codes;
        for (std::istringstream words(row.steps); words >> step;) {
            if (step == "no_entry" || step == "no_library") {
                system.missing = {step == "no_entry" ? "DnsQuery_W" : "Dnsapi.dll"};
            } else if (step == "no_reason" || step == "stuck") {
                system.answers = {{"LoadLibraryW(Dnsapi.dll)", {step == "stuck" ? 0 : system.no_reason}},
                                  {"FreeLibrary(Dnsapi.dll)", {5}}};
            } else {
                ip::dnsapi& handle = step.starts_with("a.") ? a : b;
                codes += text(step == "?"               ? ip::dnsapi::addresses_from_name("n", found)
                              : step.ends_with(".init") ? handle.init()
                                                        : handle.free()) +
                         " ";
                system.missing = {};
            }
        }
        EXPECT_EQ(codes, row.codes) << row.steps;
        EXPECT_EQ(the_helper().dnsapi.load_count, row.count) << row.steps;
    }
}

template <class Char>
struct Dns : testing::Test {
    Dns() { EXPECT_EQ(dns.init(), 0u); }
    std::basic_string<Char> name(std::string_view of) { return {of.begin(), of.end()}; }
    /// The code, the output and the calls, without "Dns" and their width, when the queries give these codes.
    template <class Output, class Operation>
    std::string ask(const std::deque<DWORD>& codes, Output& output, Operation operation) {
        const std::string width = sizeof(Char) == 1 ? "_A" : "_W";
        system.answers = {{"DnsQuery" + width, codes}};
        system.calls.clear();
        return texts({operation(), output, std::regex_replace(system.called("Dns"), std::regex(width), "")});
    }
    scripted::system system;
    ip::dnsapi dns;
};
using widths = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Dns, widths, );

TYPED_TEST(Dns, GiveTheAddressesInTheAnswerSection) {
    constexpr WORD a = DNS_TYPE_A, aaaa = DNS_TYPE_AAAA, alias = DNS_TYPE_CNAME, option = DNS_TYPE_OPT;
    this->system.dns = {{"1 n", {{alias, "x"}, {a, "1.2.3.4"}, {a, "9.9.9.9", 0}, {a, "1.2.3.4"}, {option}}},
                        {"28 n", {{aaaa, "9::", 2}, {aaaa, "::5"}, {aaaa, "9::", 3}, {a, "5.6.7.8"}}}};
    const std::string four = "Query(n,1,7) RecordListFree(1)", six = "Query(n,28,7) RecordListFree(1)",
                      all4 = "1.2.3.4,1.2.3.4", all6 = "::5,5.6.7.8", both = "|" + four + " " + six + "|";
    const std::tuple<unsigned short, std::deque<DWORD>, std::string> rows[] = {
        {2, {}, "0|" + all4 + "|" + four + "|"},   {23, {}, "0|" + all6 + "|" + six + "|"},
        {17, {}, "0|" + all4 + "," + all6 + both}, {0, {9003}, "9003|" + all6 + both},
        {0, {0, 9501}, "0|" + all4 + both},        {0, {9501, 9002}, "9002|" + both},
        {0, {9002, 9501}, "9002|" + both},         {0, {9002, 9003}, "9003|" + both}};
    for (const auto& [family, codes, expected] : rows) {
        std::vector<ip::addr> found(3);
        EXPECT_EQ(this->ask(codes, found,
                            [&, of = family] {
                                return ip::dnsapi::addresses_from_name(this->name("n").c_str(), found, of, 7);
                            }),
                  expected);
    }
}

TYPED_TEST(Dns, AppendTheNamesOfAnAddress) {
    std::string zeros = "0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.", end = "ip6.arpa";
    const std::string local = "1.0.0.127.IN-ADDR.ARPA", one = "1.0.0.0.0.0.0.0." + zeros + end;
    constexpr WORD ptr = DNS_TYPE_PTR;
    this->system.dns = {{"12 " + local, {{ptr, "a"}, {DNS_TYPE_CNAME, "x"}, {ptr}, {ptr, "b", 3}}},
                        {"12 " + one, {{ptr, "c"}}}};
    const std::tuple<ip::addr, std::deque<DWORD>, std::string> rows[] = {
        {address("127.0.0.1"), {}, "0|kept,a,b|Query(" + local + ",12,7) RecordListFree(1)|"},
        {address("127.0.0.1"), {9002}, "9002|kept,a,b|Query(" + local + ",12,7) RecordListFree(1)|"},
        {address("::1"), {}, "0|kept,a,b,c|Query(" + one + ",12,7) RecordListFree(1)|"},
        {{17, {1}}, {}, "9501|kept,a,b,c|Query(0.0.0.0.0.0.0.0." + zeros + end + ",12,7)|"},
        {address("ba98::7654:3210"),
         {}, // each half of a byte has its place
         "9501|kept,a,b,c|Query(0.1.2.3.4.5.6.7." + zeros.substr(8) + "8.9.a.b." + end + ",12,7)|"}};
    std::vector<std::basic_string<TypeParam>> names{this->name("kept")};
    for (const auto& [of, codes, expected] : rows) {
        const auto look_up = [&, asked = of] { return ip::dnsapi::names_from_address(asked, names, 7); };
        EXPECT_EQ(this->ask(codes, names, look_up), expected);
    }
}

} // namespace
