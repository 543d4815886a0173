// What it costs to list a table of TCP connections, by its length, with and without a filter that all rows
// pass. The table is made by hand and replaces the system's, so that only the library's work is measured.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "ip/detail/helper.h"
#include "ip/hlpapi.h"

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

struct measurement {
    double nanoseconds_per_row;
    std::size_t calls;
    std::size_t allocations;
};

measurement list(std::size_t count, unsigned long state) {
    row connection{};
    connection.dwState = ip::tcp_state_established;
    rows.assign(count, connection);
    std::vector<ip::hlpapi::_SIpConnection> connections;
    calls = allocations = 0;
    const auto start = std::chrono::steady_clock::now();
    const unsigned long code = ip::hlpapi::getConnections(connections, IPPROTO_TCP, ip::family_ipv4, state);
    const std::chrono::duration<double, std::nano> time = std::chrono::steady_clock::now() - start;
    if (code != 0 || connections.size() != count) {
        std::fprintf(stderr, "listed %zu of %zu rows, code %lu\n", connections.size(), count, code);
        std::exit(1);
    }
    return {time.count() / static_cast<double>(count), calls, allocations};
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

    std::printf("%8s %8s %12s %6s %12s\n", "rows", "state", "ns per row", "calls", "allocations");
    for (const std::uint32_t state : {0u, ip::tcp_state_established}) {
        for (const std::size_t count : {1'000u, 10'000u, 100'000u}) {
            std::vector<measurement> runs(31);
            std::generate(runs.begin(), runs.end(), [=] { return list(count, state); });
            // The least depends least on what else the machine does.
            const measurement& least = *std::min_element(runs.begin(), runs.end(), [](auto& a, auto& b) {
                return a.nanoseconds_per_row < b.nanoseconds_per_row;
            });
            std::printf("%8zu %8u %12.1f %6zu %12zu\n", count, state, least.nanoseconds_per_row, least.calls,
                        least.allocations);
        }
    }
    return 0;
}
