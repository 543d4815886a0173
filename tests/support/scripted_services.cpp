// The DNS, IP Helper and remote-access libraries of a scripted system.

#include "scripted_call.h"

#include "iphlp/echo_calls.h"
#include "kvtip/dns_server_query.h"

#include <gtest/gtest.h>

#include <bit>
#include <sstream>

#include <icmpapi.h>
#include <raserror.h>
#include <tcpestats.h>
#include <windns.h>

namespace scripted {

namespace {

ip::saddr ipv4(DWORD bytes) {
    ip::saddr result = socket_address("0.0.0.0");
    return std::memcpy(result.address4, &bytes, sizeof bytes), result;
}

/// A socket address of the length that its family has.
ip::saddr image(const void* from) {
    const bool is_ipv4 = from != nullptr && *static_cast<const short*>(from) == AF_INET;
    return from == nullptr ? ip::saddr{} : ip::detail::from_sockaddr(from, is_ipv4 ? 16 : 28);
}

/// Writes what a call gives, or nonsense if it fails, and returns its status.
DWORD give(call&& now, void* out, const void* from, std::size_t size) {
    now.failed() ? std::memset(out, 0xCC, size) : std::memcpy(out, from, size);
    return static_cast<DWORD>(now.status());
}

/// Fills a caller's table with rows behind a head.
template <class Row>
DWORD fill(call&& now, const std::vector<Row>& rows, DWORD too_small, std::size_t head, void* table,
           DWORD* size, DWORD* count) {
    const bool grows = !current->wanted.empty();
    const std::size_t needed = head + rows.size() * sizeof(Row);
    char* out = static_cast<char*>(std::memset(table, 0xCC, *size));
    if (now.fails_if(grows || *size < needed, too_small)) {
        *size = grows ? current->wanted.front() : static_cast<DWORD>(needed);
        current->wanted.erase(current->wanted.begin(), current->wanted.begin() + grows);
    } else if (!rows.empty()) {
        std::memcpy(out + head, rows.data(), needed - head);
    }
    *count = now.failed() ? poison : static_cast<DWORD>(rows.size()) + current->more_rows;
    return static_cast<DWORD>(now.status());
}

/// Allocates a table of rows.
template <class Row>
DWORD allocate(call&& now, const std::vector<Row>& rows, void** table) {
    std::string bytes(8 + rows.size() * sizeof(Row), '\0');
    bytes[0] = static_cast<char>(rows.size());
    std::copy_n(reinterpret_cast<const char*>(rows.data()), bytes.size() - 8, bytes.begin() + 8);
    void* kept = now.failed() ? nullptr : current->keep(*bytes.data(), bytes.size());
    enter_in_ledger("tables", !now.failed());
    return give(std::move(now), table, &kept, sizeof kept);
}

/// A record's data as the system lays them out: pointers to the names, or to the texts after their number.
template <class Char>
std::string data_of(const dns_record& record) {
    if (record.type == DNS_TYPE_A || record.type == DNS_TYPE_AAAA) {
        const ip::addr source = address(record.data);
        return {reinterpret_cast<const char*>(source.address), record.type == DNS_TYPE_A ? 8u : 16u};
    }
    std::vector<Char*> names;
    std::istringstream words(record.data == nullptr ? "" : record.data);
    const bool has_many = record.type == DNS_TYPE_TEXT || record.type == DNS_TYPE_SOA;
    for (std::string word; std::getline(words, word, has_many ? ' ' : '\0');) {
        names.push_back(current->text(std::basic_string<Char>(word.begin(), word.end()).c_str()));
    }
    names.resize(std::max<std::size_t>(names.size(), record.type == DNS_TYPE_PTR));
    const std::size_t count = names.size();
    return (record.type == DNS_TYPE_TEXT ? std::string(reinterpret_cast<const char*>(&count), 8) : "") +
           std::string(reinterpret_cast<const char*>(names.data()), count * sizeof(Char*)) + record.bytes;
}

/// Answers with a list beside a failure too, if the system knows one.
template <class Char>
int answer_query(call&& now, const Char* name, WORD type, DNS_RECORD** list) {
    const std::vector<dns_record> known = current->dns[text(type) + " " + text(name)];
    now.fails_if(known.empty(), DNS_INFO_NO_RECORDS);
    enter_in_ledger("DNS lists", !known.empty());
    for (auto each = known.rbegin(); each != known.rend(); ++each) {
        DNS_RECORD record{};
        record.pNext = *list;
        record.pName = reinterpret_cast<decltype(record.pName)>(current->text(name));
        record.dwTtl = 300;
        record.wType = each->type;
        record.Flags.DW = each->section | 0x2008;
        std::string data = data_of<Char>(*each);
        data.resize((data.size() + 7) / 8 * 8); // records are aligned
        EXPECT_LE(data.size(), sizeof record.Data);
        std::memcpy(&record.Data, data.data(), std::min(data.size(), sizeof record.Data));
        *list = current->keep(record, offsetof(DNS_RECORD, Data) + data.size());
    }
    return now.status();
}

template <class Char>
int query(const Char* name, WORD type, DWORD options, void* extra, DNS_RECORD** list, void* reserved) {
    EXPECT_TRUE(extra == nullptr && reserved == nullptr && *list == nullptr);
    return answer_query(call(sizeof(Char) == 1 ? "DnsQuery_A" : "DnsQuery_W", name, type, options), name,
                        type, list);
}

template <bool Ipv6>
HANDLE open_echo() {
    const call now(Ipv6 ? "Icmp6CreateFile" : "IcmpCreateFile");
    enter_in_ledger("echo handles", !now.failed());
    return now.failed() ? INVALID_HANDLE_VALUE : current;
}

/// A request's data and header as text.
text request(const void* data, WORD size, const IP_OPTION_INFORMATION* o) {
    EXPECT_NE(data, nullptr); // the system refuses it even for no data
    EXPECT_TRUE(o->OptionsSize == 0 && o->OptionsData == nullptr);
    const std::string sent(static_cast<const char*>(data), size);
    return (sent == std::string(size, 'E') ? text(size) + "E" : sent) + "/" + text(o->Ttl) + "/" +
           text(o->Tos) + "/" + text(o->Flags);
}

/// An answer as the system writes it. It leaves the pointer to the data to a later call, if there is one.
void write_reply(void* reply, DWORD room) {
    std::memset(reply, 0xCC, room);
    current->echo_reply.copy(static_cast<char*>(reply), room);
}

void point_to_data(void* reply) {
    if (current->echo_data_at > 0) {
        static_cast<ICMP_ECHO_REPLY*>(reply)->Data = static_cast<char*>(reply) + current->echo_data_at;
    }
}

/// Ends an echo request: with an answer of its target, or as after its time.
template <class Reply>
void end_echo(HANDLE event, Reply* reply, DWORD room, bool answered, DWORD to) {
    if (answered) {
        write_reply(reply, room);
    } else {
        std::memset(reply, 0, room);
    }
    if constexpr (std::is_same_v<Reply, ICMP_ECHO_REPLY>) {
        reply->Address = to;
        reply->Reserved = answered; // the number of answers
        reply->Status = answered ? reply->Status : DWORD{IP_REQ_TIMED_OUT};
    } else {
        reply->status = answered ? reply->status : DWORD{IP_REQ_TIMED_OUT};
    }
    EXPECT_TRUE(SetEvent(event)) << "the library has freed what the system writes to";
    enter_in_ledger("echo requests", -1);
}

/// Writes the answer at once, or, with an event, later.
template <class Reply>
DWORD answer_echo(call&& now, HANDLE event, const ip::saddr& to, void* reply, DWORD room, DWORD limit) {
    std::memset(reply, 0xCC, room);
    if (!now.failed() && event == nullptr) {
        write_reply(reply, room);
        std::is_same_v<Reply, ICMP_ECHO_REPLY> ? point_to_data(reply) : void();
    } else if (!now.failed()) {
        enter_in_ledger("echo requests", 1);
        ResetEvent(event);
        const std::size_t number = ++current->echo_count;
        const bool answers = !current->silent.contains(text(to));
        current->echoes[number] = [=](bool answered) {
            end_echo(event, static_cast<Reply*>(reply), room, answered, ip::detail::ipv4_number(to.address4));
        };
        current->most_echoes = std::max(current->most_echoes, current->echoes.size());
        const auto end = [=] {
            if (const auto echo = current->echoes.extract(number)) {
                echo.mapped()(answers);
            }
        };
        const std::uint64_t time = answers ? current->echo_time : limit;
        time == 0 ? end() : void(current->later.emplace(current->clock + time, end));
        now.fails_if(true, ERROR_IO_PENDING);
    }
    return !now.failed();
}

/// The number of answers, of which there is one or none. The pointers in it become valid.
template <class Reply>
DWORD parse_echo(call now, Reply* reply) {
    if constexpr (std::is_same_v<Reply, ICMP_ECHO_REPLY>) {
        now.fails_if(std::exchange(reply->Reserved, 0) == 0, reply->Status);
        point_to_data(reply);
    } else {
        now.fails_if(reply->status == IP_REQ_TIMED_OUT, reply->status);
    }
    return !now.failed();
}

template <auto Rows4, auto Rows6>
DWORD list_endpoints(void* table, DWORD* size, BOOL sorted, ULONG family, int kind, ULONG reserved) {
    constexpr bool is_tcp = std::is_same_v<decltype(Rows4), decltype(&system::tcp4)>;
    const auto list = [&](const auto& rows) {
        return fill(call(is_tcp ? "TCP" : "UDP", family, *size, sorted, kind, reserved), rows,
                    ERROR_INSUFFICIENT_BUFFER, sizeof(DWORD), table, size, static_cast<DWORD*>(table));
    };
    return family == AF_INET ? list(current->*Rows4) : list(current->*Rows6);
}

template <class Row>
DWORD tell_opener(const Row* row, int type, void* rw, ULONG rw_version, ULONG rw_size, UCHAR* fixed,
                  ULONG version, ULONG size, void* rod, ULONG rod_version, ULONG rod_size) {
    call now(std::is_same_v<Row, MIB_TCPROW> ? "EStats" : "EStats6", row->dwLocalPort, row->dwRemotePort,
             type, version, size);
    EXPECT_TRUE(rw == nullptr && rod == nullptr && rw_version + rw_size + rod_version + rod_size == 0);
    current->opener_of.assign(reinterpret_cast<const char*>(row), sizeof *row);
    const auto found = current->active.find(*reinterpret_cast<const DWORD*>(row));
    now.fails_if(found == current->active.end(), ERROR_NOT_FOUND);
    return give(std::move(now), fixed, &found->second, 1);
}

} // namespace

void system::give(const echo_answer& answer) {
    const std::string data = std::string(31, 'E') + answer.last;
    void* outside = answer.data_at == 0 ? keep(data[0], data.size()) : nullptr;
    const ICMP_ECHO_REPLY reply{0x090200C0, answer.status,         7, answer.size, 0,
                                outside,    {64, 0, 0, 0, nullptr}};
    echo_reply.assign(reinterpret_cast<const char*>(&reply), sizeof reply);
    echo_reply.append(static_cast<std::size_t>(std::max(answer.data_at, 40) - 40), '?') += data;
    echo_data_at = answer.data_at;
}

void system::give6(DWORD status, const std::string& data) {
    echo_reply = std::string(6, 9) + std::string(30, '\0') + data; // neither port nor flow counts
    echo_reply.replace(6, 2, "\xfe\x80");
    echo_reply[21] = 5;
    echo_reply[22] = 6;
    std::memcpy(&echo_reply[28], &status, sizeof status);
    echo_reply[32] = 7;
}

// The platform's header does not import these through slots.

extern "C" DWORD WINAPI __wrap_GetBestInterface(IPAddr to, DWORD* index) {
    return give(call("GetBestInterface", ipv4(to)), index, &current->best_index, sizeof *index);
}

extern "C" DWORD WINAPI __wrap_GetBestRoute(DWORD to, DWORD source, MIB_IPFORWARDROW* route) {
    const auto number = [](const ip::saddr& address) { return ip::detail::ipv4_number(address.address4); };
    const scripted::route& known = current->route;
    MIB_IPFORWARDROW row{};
    row.dwForwardDest = number(known.network);
    row.dwForwardMask = known.prefix_length == 0 ? 0 : _byteswap_ulong(~0U << (32 - known.prefix_length));
    row.dwForwardNextHop = number(current->next_hop);
    row.dwForwardIfIndex = current->best_index;
    row.dwForwardType = known.type;
    row.dwForwardMetric1 = known.metric;
    return give(call("GetBestRoute", ipv4(to), ipv4(source)), route, &row, sizeof row);
}

extern "C" DWORD WINAPI __wrap_GetNetworkParams(FIXED_INFO* info, ULONG* size) {
    DWORD count;
    return fill(call("GetNetworkParams", *size), std::vector{current->network}, ERROR_BUFFER_OVERFLOW, 0,
                info, size, &count);
}

const entry_map service_entries = {
    {"DnsQuery_A", fake(query<char>)},
    {"DnsQuery_W", fake(query<wchar_t>)},
    {"DnsQueryEx",
     fake([](const kvtip::library::dns_request* asked, kvtip::library::dns_result* result, void* cancel) {
         EXPECT_TRUE(asked->version == 1 && asked->at_end == nullptr && result->version == 1 &&
                     cancel == nullptr);
         EXPECT_TRUE(asked->server->count == 1 && asked->server->room == 1);
         return answer_query(call("DnsQueryEx", asked->name, asked->type, static_cast<DWORD>(asked->flags),
                                  image(asked->server->socket_address)),
                             asked->name, asked->type, &result->records);
     })},
    {"DnsRecordListFree", fake([](DNS_RECORD* list, int type) {
         const call now("DnsRecordListFree", type);
         enter_in_ledger("DNS lists", -1);
         std::memset(list, 0xCC, offsetof(DNS_RECORD, Data));
     })},
    {"IcmpCreateFile", fake(open_echo<false>)},
    {"Icmp6CreateFile", fake(open_echo<true>)},
    {"IcmpCloseHandle", fake([](HANDLE handle) -> BOOL {
         const BOOL closed = close_handle<"IcmpCloseHandle", "echo handles">(handle);
         EXPECT_TRUE(current->echoes.empty()) << "this waits until they have ended";
         return closed;
     })},
    {"IcmpSendEcho", fake([](HANDLE, IPAddr to, void* data, WORD size, IP_OPTION_INFORMATION* options,
                             void* reply, DWORD room, DWORD limit) {
         return answer_echo<ICMP_ECHO_REPLY>(
             call("IcmpSendEcho", ipv4(to), request(data, size, options), room, limit), nullptr, ipv4(to),
             reply, room, limit);
     })},
    {"IcmpSendEcho2",
     fake([](HANDLE, HANDLE event, void* routine, void* context, IPAddr to, void* data, WORD size,
             IP_OPTION_INFORMATION* options, void* reply, DWORD room, DWORD limit) {
         EXPECT_TRUE(routine == nullptr && context == nullptr);
         return answer_echo<ICMP_ECHO_REPLY>(
             call("IcmpSendEcho2", ipv4(to), request(data, size, options), room, limit), event, ipv4(to),
             reply, room, limit);
     })},
    {"IcmpSendEcho2Ex",
     fake([](HANDLE, HANDLE event, void* routine, void* context, IPAddr from, IPAddr to, void* data,
             WORD size, IP_OPTION_INFORMATION* options, void* reply, DWORD room, DWORD limit) {
         EXPECT_TRUE(routine == nullptr && context == nullptr);
         return answer_echo<ICMP_ECHO_REPLY>(
             call("IcmpSendEcho2Ex", ipv4(from), ipv4(to), request(data, size, options), room, limit), event,
             ipv4(to), reply, room, limit);
     })},
    {"IcmpParseReplies", fake([](ICMP_ECHO_REPLY* reply, DWORD room) {
         return parse_echo(call("IcmpParseReplies", room), reply);
     })},
    {"Icmp6SendEcho2",
     fake([](HANDLE, HANDLE event, void* routine, void* context, void* from, void* to, void* data, WORD size,
             IP_OPTION_INFORMATION* options, void* reply, DWORD room, DWORD limit) {
         EXPECT_TRUE(routine == nullptr && context == nullptr);
         return answer_echo<ip::detail::icmpv6_echo_reply>(
             call("Icmp6SendEcho2", image(from), image(to), request(data, size, options), room, limit), event,
             image(to), reply, room, limit);
     })},
    {"Icmp6ParseReplies", fake([](ip::detail::icmpv6_echo_reply* reply, DWORD room) {
         return parse_echo(call("Icmp6ParseReplies", room), reply);
     })},
    {"GetIpNetTable", fake([](void* table, ULONG* size, BOOL sorted) {
         return fill(call("GetIpNetTable", *size, sorted), current->older_neighbours,
                     ERROR_INSUFFICIENT_BUFFER, sizeof(DWORD), table, size, static_cast<DWORD*>(table));
     })},
    {"GetIpNetTable2", fake([](ADDRESS_FAMILY family, void** table) {
         return allocate(call("GetIpNetTable2", family), current->neighbours, table);
     })},
    {"GetIpForwardTable", fake([](void* table, ULONG* size, BOOL sorted) {
         return fill(call("GetIpForwardTable", *size, sorted), current->older_routes,
                     ERROR_INSUFFICIENT_BUFFER, sizeof(DWORD), table, size, static_cast<DWORD*>(table));
     })},
    {"GetIpForwardTable2", fake([](ADDRESS_FAMILY family, void** table) {
         call now("GetIpForwardTable2", family);
         const heap::pause pause;
         std::vector<MIB_IPFORWARD_ROW2> rows;
         std::copy_if(current->routes.begin(), current->routes.end(), std::back_inserter(rows),
                      [=](const auto& row) { return row.DestinationPrefix.Prefix.si_family == family; });
         now.fails_if(rows.empty(), ERROR_NOT_FOUND);
         return allocate(std::move(now), rows, table);
     })},
    {"GetIfTable2",
     fake([](void** table) { return allocate(call("GetIfTable2"), current->interfaces, table); })},
    {"FreeMibTable", fake([](void*) {
         const call now("FreeMibTable");
         enter_in_ledger("tables", -1);
     })},
    {"SendARP", fake([](IPAddr to, IPAddr from, void* mac, ULONG* length) {
         call now("SendARP", ipv4(to), ipv4(from), *length);
         const DWORD room = std::exchange(*length, current->resolved.PhysicalAddressLength);
         return give(std::move(now), mac, current->resolved.PhysicalAddress, room);
     })},
    {"ResolveIpNetEntry2", fake([](MIB_IPNET_ROW2* row, const SOCKADDR_INET* source) {
         return give(call("ResolveIpNetEntry2", image(&row->Address),
                          source == nullptr ? "none" : text(image(source)),
                          row->InterfaceIndex + row->InterfaceLuid.Value),
                     row, &current->resolved, sizeof *row);
     })},
    {"GetExtendedTcpTable", fake(list_endpoints<&system::tcp4, &system::tcp6>)},
    {"GetExtendedUdpTable", fake(list_endpoints<&system::udp4, &system::udp6>)},
    {"GetPerTcpConnectionEStats", fake(tell_opener<MIB_TCPROW>)},
    {"GetPerTcp6ConnectionEStats", fake(tell_opener<MIB_TCP6ROW>)},
    {"GetBestInterfaceEx", fake([](const SOCKADDR* to, DWORD* index) {
         return give(call("GetBestInterfaceEx", image(to)), index, &current->best_index, sizeof *index);
     })},
    {"GetBestRoute2", fake([](void* luid, ULONG index, void* from, const SOCKADDR_INET* to, ULONG options,
                              MIB_IPFORWARD_ROW2* route, SOCKADDR_INET* own) {
         EXPECT_TRUE(luid == nullptr && from == nullptr && own != nullptr);
         const scripted::route& known = current->route;
         MIB_IPFORWARD_ROW2 row{};
         row.InterfaceIndex = index == 0 ? current->best_index : index;
         std::memcpy(&row.DestinationPrefix.Prefix, &known.network, sizeof known.network);
         row.DestinationPrefix.PrefixLength = known.prefix_length;
         std::memcpy(&row.NextHop, &current->next_hop, sizeof row.NextHop);
         row.Metric = known.metric;
         std::memcpy(own, &known.source, sizeof *own);
         return give(call("GetBestRoute2", index, image(to), options), route, &row, sizeof row);
     })},
    {"RasEnumConnectionsW", fake([](RASCONNW* list, DWORD* size, DWORD* count) {
         const DWORD record = current->dial_up_size;
         call now("RasEnumConnectionsW", list->dwSize);
         now.fails_if(list->dwSize != record, ERROR_INVALID_SIZE);
         std::vector<char> rows;
         for (const RASCONNW& row : current->dial_ups) {
             const char* bytes = reinterpret_cast<const char*>(&row);
             rows.insert(rows.end(), bytes, bytes + std::min<std::size_t>(record, sizeof row));
             rows.resize((rows.size() + record - 1) / record * record);
         }
         const DWORD code = fill(std::move(now), rows, ERROR_BUFFER_TOO_SMALL, 0, list, size, count);
         return *count /= record, code;
     })},
    {"RasGetProjectionInfoW", fake([](HRASCONN connection, int kind, RASPPPIPW* out, DWORD* size) {
         const std::wstring& address = current->dial_up_addresses.at(std::bit_cast<std::size_t>(connection));
         return give(call("RasGetProjectionInfoW", kind, *size - out->dwSize), out->szIpAddress,
                     address.c_str(), (address.size() + 1) * sizeof(wchar_t));
     })}};

} // namespace scripted
