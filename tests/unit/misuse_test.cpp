// What a caller can get wrong, for the functions of the C interface in one table; and callers that were built
// for another version.

#include "kvtip/block.h"
#include "kvtip/kvtip.hpp"
#include "sample_adapters.h"
#include "text.h"

#include <gtest/gtest.h>

#include <bit>
#include <string_view>
#include <tuple>
#include <windns.h>

namespace {

using scripted::socket_address;
using scripted::text;

const kvtip_address here = kvtip::library::to_address(socket_address("192.0.2.10")),
                    there = kvtip::library::to_address(socket_address("192.0.2.9"));
const kvtip_endpoint here80{here, 80, 0}, there80{there, 80, 0};
const kvtip_network network{kvtip::library::to_address(socket_address("192.0.2.0")), 24, {}};
const kvtip_mac mac{{1, 2, 3, 4, 5, 6}, 6, {}};

/// An argument, and the code of a call with it.
template <class T>
struct variant {
    T value;
    std::uint32_t code;
    std::string what;
};

/// What is not set, but made for the call.
struct any_output {
    template <class T>
    operator T*() const {
        static T output;
        std::memset(&output, 0xEE, sizeof output);
        return &output;
    }
};

/// Whether any byte there may be other than it is in the sample above.
template <class Value>
bool is_free(std::size_t at) {
    constexpr bool is_mac = std::is_same_v<Value, kvtip_mac>,
                   is_network = std::is_same_v<Value, kvtip_network>;
    const std::size_t first = is_mac ? 0 : offsetof(kvtip_address, bytes);
    const bool is_port =
        std::is_same_v<Value, kvtip_endpoint> && at / 2 == offsetof(kvtip_endpoint, port) / 2;
    return (at >= first && at < first + (is_mac ? 6 : is_network ? 3 : 4)) || is_port;
}

template <class T>
constexpr bool is_input =
    std::is_const_v<std::remove_pointer_t<T>> || std::is_void_v<std::remove_pointer_t<T>>;

struct Misuse : testing::Test {
    Misuse() {
        system.adapters = {full_adapter(system)};
        system.hosts = {{"peer", {{"192.0.2.9"}}}, {"-", {{"192.0.2.9"}}}};
        system.peers = {{"192.0.2.9", 0}};
        system.dns = {{"1 peer", {{DNS_TYPE_A, "192.0.2.9"}}}};
        system.outputs["GetNameInfoW"] = {scripted::bytes<wchar_t>("peer")};
        system.outputs["GetHostNameW"] = {scripted::bytes<wchar_t>("own")};
        system.routes = {scripted::route_row("0.0.0.0", 0, "192.0.2.1")};
        system.echo_reply = std::string(40, '\0');
        std::memset(&system.resolved, 0, sizeof system.resolved);
        system.resolved.PhysicalAddressLength = 6;
        constexpr DWORD port80 = 0x5000, here4 = 0x0A0200C0, there4 = 0x090200C0;
        system.tcp4 = {{KVTIP_STATE_ESTABLISHED, here4, port80, there4, port80, 1},
                       {KVTIP_STATE_LISTEN, here4, port80, 0, 0, 2}};
        EXPECT_EQ(kvtip_start(), 0u);
    }
    ~Misuse() override { EXPECT_EQ(kvtip_stop(), 0u); }

    /// An argument's variants, by its type.
    template <class T>
    std::vector<variant<T>> variants([[maybe_unused]] T sample) {
        std::vector<variant<T>> all;
        if constexpr (requires { sample->size; }) {
            add_options(all);
        } else if constexpr (std::is_pointer_v<T>) {
            all.push_back({nullptr, 87, "null"});
            if constexpr (std::is_same_v<T, const char*>) {
                for (const char* bad : {"\xFF", "peer\xC3", "\xC0\xB1", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
                    all.push_back({system.text(bad), is_reader ? WSAEINVAL : 87u, "no UTF-8"});
                }
            } else if constexpr (is_input<T> && std::is_class_v<std::remove_pointer_t<T>>) {
                add_spoilt(all, *sample);
            }
        }
        return all;
    }

    /// Options of other sizes, of which no more can be read.
    template <class Options>
    void add_options(std::vector<variant<const Options*>>& all) {
        const auto add = [&](std::uint32_t size, std::size_t readable, std::uint32_t code, char last = 0) {
            char bytes[4096] = {};
            std::memcpy(bytes, &size, sizeof size);
            bytes[readable - 1] = last != 0 ? last : bytes[readable - 1];
            const void* kept = system.keep(bytes[0], readable);
            all.push_back({static_cast<const Options*>(kept), code, "size " + text(size)});
        };
        for (const std::uint32_t absurd : {0u, 3u, 4097u, 0x7FFFFFFFu, 0xCCCCCCCCu, 0xFFFFFFFFu}) {
            add(absurd, sizeof absurd, 87);
        }
        constexpr std::uint32_t known = sizeof(Options);
        for (std::uint32_t size = sizeof size; size <= known + 4; size += 4) {
            add(size, size, 0); // of an earlier version, and of a later one
        }
        add(4096, 4096, 0);
        add(known + 4, known + 4, 87, 1);
        add(4096, 4096, 87, 1);
    }

    /// A value with one byte changed that must be as it is.
    template <class Value>
    void add_spoilt(std::vector<variant<const Value*>>& all, const Value& sample) {
        for (std::size_t at = 0; at < sizeof sample; ++at) {
            if (!is_free<Value>(at)) {
                Value* spoilt = system.keep(sample);
                char& byte = reinterpret_cast<char*>(spoilt)[at];
                byte = static_cast<char>(byte ^ 0x40);
                all.push_back({spoilt, 87, "byte " + text(at)});
            }
        }
        if (!is_writer) {
            all.push_back({system.keep(Value{}), 87, "no address"});
        }
    }

    /// Looks at an argument after a call. An output must be zero after a failure; a result is freed.
    template <class T>
    static void settle([[maybe_unused]] T output, [[maybe_unused]] std::uint32_t code) {
        if constexpr (std::is_pointer_v<T> && !is_input<T>) {
            using value = std::remove_pointer_t<T>;
            const value zero{};
            EXPECT_TRUE(output == nullptr || code == 0 || std::memcmp(output, &zero, sizeof zero) == 0);
            if constexpr (std::is_pointer_v<value>) {
                code == 0 ? free(**output) : void();
            }
        }
    }
    static void free(kvtip_canceller& canceller) { kvtip_canceller_close(&canceller); }
    static void free(kvtip_watcher& watcher) { kvtip_watcher_close(&watcher); }
    template <class Result>
    static void free(const Result& result) {
        if constexpr (requires { result.row_size; }) {
            EXPECT_EQ(result.row_size, sizeof **result.rows);
            EXPECT_EQ(result.reserved, 0u);
        } else if constexpr (requires { result.size; }) {
            EXPECT_EQ(result.size, sizeof result);
        }
        if constexpr (requires { result.socket; }) {
            EXPECT_EQ(kvtip_close(result.socket), 0u);
        }
        kvtip_free(&result);
    }

    /// Calls the function with valid arguments, and then with each of them replaced. Those in `optional`, by
    /// number, may be null.
    template <class... Parameters>
    void test(const char* function_name, std::uint32_t (*function)(Parameters...),
              const std::set<std::size_t>& optional, std::type_identity_t<Parameters>... valid) {
        SCOPED_TRACE(function_name);
        is_reader = std::string(function_name).starts_with("parse");
        is_writer = std::string(function_name).starts_with("format");
        const auto call = [&](std::tuple<Parameters...> arguments, std::uint32_t expected) {
            system.calls.clear();
            const std::uint32_t code = std::apply(function, arguments);
            EXPECT_EQ(code, expected);
            const std::string calls = system.called(), conversion = "MultiByteToWideChar(65001)";
            EXPECT_TRUE(expected == 0 || calls.empty() || calls.starts_with(conversion)) << calls;
            std::apply([&](auto... each) { (settle(each, code), ...); }, arguments);
        };
        call({valid...}, 0);
        const auto replace = [&]<std::size_t At>(std::integral_constant<std::size_t, At>) {
            const std::tuple<Parameters...> all(valid...);
            for (const auto& [value, code, what] : variants(std::get<At>(all))) {
                SCOPED_TRACE("argument " + text(At) + ": " + what);
                auto arguments = all;
                std::get<At>(arguments) = value;
                call(arguments, optional.contains(At) && what == "null" ? 0 : code);
            }
        };
        [&]<std::size_t... At>(std::index_sequence<At...>) {
            (replace(std::integral_constant<std::size_t, At>()), ...);
        }
        (std::index_sequence_for<Parameters...>());
    }

    scripted::system system;
    bool is_reader = false, is_writer = false;
};

TEST_F(Misuse, IsRefusedBeforeTheSystemIsAsked) {
    const any_output out;
    char room[96];
    test("entries", kvtip_entries, {}, out);
    test("parse_address", kvtip_parse_address, {}, "192.0.2.1", out);
    test("parse_endpoint", kvtip_parse_endpoint, {}, "192.0.2.1:80", out);
    test("parse_network", kvtip_parse_network, {}, "192.0.2.0/24", out);
    test("parse_mac", kvtip_parse_mac, {}, "02-00", out);
    test("format_address", kvtip_format_address, {}, &here, room, sizeof room);
    test("format_endpoint", kvtip_format_endpoint, {}, &here80, room, sizeof room);
    test("format_network", kvtip_format_network, {}, &network, room, sizeof room);
    test("format_mac", kvtip_format_mac, {}, &mac, room, sizeof room);
    test("scope", kvtip_scope, {}, "{a}", out);
    test("adapters", kvtip_adapters, {}, nullptr, out);
    test("dns_servers", kvtip_dns_servers, {}, nullptr, out);
    test("route_to", kvtip_route_to, {}, &there, 0, out);
    test("routes", kvtip_routes, {}, nullptr, out);
    test("primary", kvtip_primary, {0}, &there, out);
    test("neighbours", kvtip_neighbours, {}, nullptr, out);
    test("hardware_address", kvtip_hardware_address, {}, &there, 0, out);
    test("connections", kvtip_connections, {}, nullptr, out);
    test("owner", kvtip_owner, {2}, KVTIP_TCP, &here80, &there80, out);
    test("resolve", kvtip_resolve, {0, 1}, "peer", "80", nullptr, out);
    const char* const hosts[] = {"peer"};
    test("resolve_all", kvtip_resolve_all, {2}, hosts, 1, "80", nullptr, out);
    test("reverse", kvtip_reverse, {}, &there, out);
    test("host_name", kvtip_host_name, {}, out);
    test("dns_query", kvtip_dns_query, {}, "peer", KVTIP_DNS_A, nullptr, out);
    test("ping", kvtip_ping, {}, &there, nullptr, out);
    test("ping_all", kvtip_ping_all, {}, &there, 1, nullptr, out);
    test("connect", kvtip_connect, {1}, "peer", "80", nullptr, out);
    test("connect_endpoint", kvtip_connect_endpoint, {}, &there80, nullptr, out);
    test("canceller_create", kvtip_canceller_create, {}, out);
    test("watch", kvtip_watch, {}, nullptr, out);
    const kvtip_connect_result* made = nullptr;
    ASSERT_EQ(kvtip_connect_endpoint(&there80, nullptr, &made), 0u);
    test("send", kvtip_send, {}, made->socket, "data", 4, 1, out);
    test("receive", kvtip_receive, {}, made->socket, room, 4, 1, out);
    std::size_t size = 0;
    EXPECT_EQ(kvtip_send(made->socket, nullptr, 0, 0, &size), 0u);
    EXPECT_EQ(kvtip_receive(made->socket, room, 0, 0, &size), 87u);
    EXPECT_EQ(kvtip_close(made->socket), 0u);
    EXPECT_EQ(kvtip_close(KVTIP_NO_SOCKET), 0u);
    kvtip_free(made);
    kvtip_free(nullptr);
}

TEST_F(Misuse, IsTextWithAZeroByteInIt) {
    using namespace std::string_view_literals;
    static constexpr std::string_view cut = "peer\0.lab.test"sv;
    const std::pair<const char*, void (*)(std::error_code&)> rows[] = {
        {"host", [](auto& error) { kvtip::resolve(cut, "80", {}, error); }},
        {"service", [](auto& error) { kvtip::resolve("peer", cut, {}, error); }},
        {"one of several hosts",
         [](auto& error) {
             kvtip::resolve_all({"peer", std::string(cut)}, "80", {}, error);
         }},
        {"service of several hosts", [](auto& error) { kvtip::resolve_all({"peer"}, cut, {}, error); }},
        {"name", [](auto& error) { kvtip::dns_query(cut, kvtip::dns_type::a, {}, error); }},
        {"scope", [](auto& error) { kvtip::scope("1\0"sv, error); }},
        {"host to connect to", [](auto& error) { kvtip::connect(cut, "80", {}, error); }},
        {"service to connect to", [](auto& error) { kvtip::connect("peer", cut, {}, error); }},
    };
    for (const auto& [what, call] : rows) {
        std::error_code error;
        call(error);
        EXPECT_EQ(error.value(), 87) << what;
    }
    EXPECT_FALSE(kvtip::address::parse("::1\0"sv) || kvtip::endpoint::parse("[::1]:1\0"sv) ||
                 kvtip::network::parse("::/0\0"sv) || kvtip::mac::parse("02-00\0"sv));
}

/// A row as a later version may have it, and its list.
template <class Row>
struct grown : Row {
    std::uint64_t later[5];
};
template <class Row>
struct list_of {
    const Row* const* rows;
    std::size_t count, row_size;
    std::uint32_t missing, reserved;
};

TEST(Rows, MayGrowWithoutHarmToEarlierCallers) {
    using adapter = grown<kvtip_adapter>;
    using address = grown<kvtip_adapter_address>;
    const auto* list = kvtip::library::block::make<list_of<adapter>>([](auto& out, auto& made) {
        out.list(made, 2, [&](auto add) {
            for (std::uint32_t i = 1; i <= 2; ++i) {
                adapter& row = add();
                list_of<address> addresses{};
                out.flat_list(addresses, 2, [&](auto add_address) {
                    add_address() = {{here, i, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {~0ULL}};
                    add_address() = {{there, i + 1, 0, 0, 0, 0, 0, 0, 0, 0, 0}, {~0ULL}};
                });
                row.addresses = std::bit_cast<kvtip_adapter_address_list>(addresses);
                row.name = out.text(std::wstring(i, L'x'));
                row.guid = row.description = row.dns_suffix = row.device_id = "";
                row.later[0] = ~0ULL;
            }
        });
    });
    EXPECT_GT(list->row_size, sizeof(kvtip_adapter));
    const auto* known = reinterpret_cast<const kvtip_adapter_list*>(list);
    std::string shown;
    for (const auto& row : kvtip::detail::listing_of<kvtip::adapter>(known, kvtip::detail::to_adapter)) {
        shown += row.name;
        for (const kvtip::adapter_address& each : row.addresses) {
            shown += " " + each.address.to_string() + "/" + text(each.prefix_length);
        }
        shown += "\n";
    }
    EXPECT_EQ(shown, "x 192.0.2.10/1 192.0.2.9/2\nxx 192.0.2.10/2 192.0.2.9/3\n");
    kvtip_free(list);
}

} // namespace
