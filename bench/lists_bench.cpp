// What the library's own work costs when it lists connections and adapters, in the classes and in the C
// interface. The table of connections is made by hand and replaces the system's; adapters are the host's.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ip/adapter_enumerator.h"
#include "ip/detail/helper.h"
#include "ip/hlpapi.h"
#include "kvtip/kvtip.h"

namespace {

using row = MIB_TCPROW_OWNER_PID;

std::vector<row> rows;
std::size_t calls = 0;
std::size_t allocations = 0;

DWORD WINAPI answer(void* table, DWORD* size, BOOL, ULONG, TCP_TABLE_CLASS, ULONG) {
    ++calls;
    const auto count = static_cast<DWORD>(rows.size());
    const auto wanted = static_cast<DWORD>(sizeof count + count * sizeof(row));
    if (*size < wanted) {
        *size = wanted;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(table, &count, sizeof count);
    std::memcpy(static_cast<char*>(table) + sizeof count, rows.data(), count * sizeof(row));
    return 0;
}

/// Ends the program unless the list has as many rows as were made.
void expect_rows(std::size_t listed, std::size_t made, unsigned long code) {
    if (code != 0 || listed != made) {
        std::fprintf(stderr, "listed %zu of %zu rows, code %lu\n", listed, made, code);
        std::exit(1);
    }
}

void list_with_class(std::size_t count, std::uint32_t state) {
    std::vector<ip::hlpapi::_SIpConnection> found;
    const unsigned long code = ip::hlpapi::getConnections(found, IPPROTO_TCP, ip::family_ipv4, state);
    expect_rows(found.size(), count, code);
}

/// The names of processes are a walk of their list, which is not the work for a row.
void list_with_interface(std::size_t count, std::uint32_t state) {
    kvtip_connection_options options{};
    options.size = sizeof options;
    options.flags = KVTIP_CONNECTIONS_NO_NAMES;
    options.protocol = KVTIP_TCP;
    options.family = 4;
    options.state = state;
    const kvtip_connection_list* found = nullptr;
    const std::uint32_t code = kvtip_connections(&options, &found);
    expect_rows(found == nullptr ? 0 : found->count, count, code);
    kvtip_free(found);
}

void walk_adapters_with_class() {
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    ip::_SFindAddress address;
    for (bool found = adapters.find_first(adapter, 0); found; found = adapters.find_next(adapter)) {
        while (adapters.find_next_addr(address)) {
        }
    }
}

void list_adapters_with_interface() {
    const kvtip_adapter_list* adapters = nullptr;
    kvtip_adapters(nullptr, &adapters);
    kvtip_free(adapters);
}

struct measurement {
    double nanoseconds;
    std::size_t calls;
    std::size_t allocations;
};

/// The least of several runs, which depends least on what else the machine does.
template <class Operation>
measurement measure(Operation operation) {
    measurement least{1e18, 0, 0};
    for (int run = 0; run < 31; ++run) {
        calls = allocations = 0;
        const auto start = std::chrono::steady_clock::now();
        operation();
        const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
        if (time.count() < least.nanoseconds) {
            least = {time.count(), calls, allocations};
        }
    }
    return least;
}

void report_connections(const char* name, void (*list)(std::size_t, std::uint32_t)) {
    for (const std::uint32_t state : {0u, ip::tcp_state_established}) {
        for (const std::size_t count : {1'000u, 10'000u, 100'000u}) {
            row connection{};
            connection.dwState = ip::tcp_state_established;
            rows.assign(count, connection);
            const measurement least = measure([=] { list(count, state); });
            std::printf("%-16s %8zu %6u %11.1f %6zu %12zu\n", name, count, state,
                        least.nanoseconds / static_cast<double>(count), least.calls, least.allocations);
        }
    }
}

} // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* block = std::malloc(size)) {
        return block;
    }
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}

int main() {
    ip::lib library;
    if (const unsigned long code = library.init()) {
        std::fprintf(stderr, "cannot start: error %lu\n", code);
        return 1;
    }
    ip::detail::iphlpapi_impl& bound = ip::detail::the_helper().iphlpapi;
    bound.GetExtendedTcpTable = answer;
    bound.GetPerTcpConnectionEStats = nullptr; // a system call for each row, which is not the library's work

    if (const std::uint32_t code = kvtip_start()) {
        std::fprintf(stderr, "cannot start: error %u\n", code);
        return 1;
    }
    std::printf("%-16s %8s %6s %11s %6s %12s\n", "connections by", "rows", "state", "ns per row", "calls",
                "allocations");
    report_connections("getConnections", list_with_class);
    report_connections("kvtip_connections", list_with_interface);

    const double walk = measure(walk_adapters_with_class).nanoseconds;
    const double list = measure(list_adapters_with_interface).nanoseconds;
    std::printf("adapters: the classes' walk %.0f us, kvtip_adapters %.0f us, %.2f times as long\n",
                walk / 1000, list / 1000, list / walk);
    kvtip_stop();
    return 0;
}
