#pragma once

// What the tests of the socket calls share on a real network.

#include "ip/ip.h"

#include <gtest/gtest.h>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <bit>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using ip::winsock2;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// Every test has the socket library started.
class real_sockets : public testing::Test {
protected:
    void SetUp() override {
        WSADATA data{};
        ASSERT_EQ(library.start(data), 0u);
    }

    winsock2 library;
};

/// Once for each family.
class each_family : public real_sockets, public testing::WithParamInterface<std::uint16_t> {
protected:
    const std::uint16_t family = GetParam();
    const bool is_ipv4 = family == ip::family_ipv4;
};
#define FOR_EACH_FAMILY(suite)                                                           \
    INSTANTIATE_TEST_SUITE_P(, suite, testing::Values(ip::family_ipv4, ip::family_ipv6), \
                             testing::PrintToStringParamName())

/// Once for each width of text.
template <class Char>
class each_width : public real_sockets {};
using widths = testing::Types<char, wchar_t>;

/// A socket that is closed when the test ends.
struct test_socket : ip::socket {
    test_socket() = default;
    test_socket(int type, std::uint16_t family, unsigned long flags = 0, bool dual_stack = false) {
        EXPECT_EQ(winsock2::socket(*this, type, 0, family, nullptr, 0, flags, dual_stack), 0u);
    }
    ~test_socket() { winsock2::closesocket(*this); }
    test_socket(const test_socket&) = delete;
    test_socket& operator=(const test_socket&) = delete;
};

template <class Char>
std::basic_string<Char> text(const char* ascii) {
    return {ascii, ascii + std::strlen(ascii)};
}

inline ip::saddr endpoint(const ip::addr& address, std::uint16_t port = 0) {
    ip::saddr result{address.family, std::rotl(port, 8), {}, {}, 0};
    const bool is_ipv4 = address.family == ip::family_ipv4;
    std::memcpy(is_ipv4 ? result.address4 : result.address6, address.address, is_ipv4 ? 4 : 16);
    return result;
}

inline ip::saddr endpoint(const char* address, std::uint16_t port = 0) {
    ip::addr parsed;
    EXPECT_EQ(winsock2::address_from_string(parsed, address), 0u) << address;
    return endpoint(parsed, port);
}

constexpr int numeric = NI_NUMERICHOST | NI_NUMERICSERV;

/// The address in numbers, empty without one, and the port behind it.
inline std::string numbers(const ip::saddr& address) {
    std::string host;
    std::string port;
    winsock2::getnameinfo(address, &host, &port, numeric);
    return host + " " + port;
}

inline std::string numbers(const ip::addr& address) {
    const std::string with_port = numbers(endpoint(address));
    return with_port.substr(0, with_port.find(' '));
}

inline timeval to_timeval(milliseconds time) {
    return {static_cast<long>(time.count() / 1000), static_cast<long>(time.count() % 1000 * 1000)};
}

inline unsigned long connect(const ip::socket& s, const ip::saddr& address, milliseconds timeout = 10s) {
    const timeval time = to_timeval(timeout);
    return winsock2::connect(s, address, &time);
}

/// Waits until the socket is ready to be read, or to be written.
inline bool is_ready(const ip::socket& s, bool write = false, milliseconds timeout = 10s) {
    const timeval time = to_timeval(timeout);
    fd_set set{1, {s.handle}};
    return winsock2::select(write ? nullptr : &set, write ? &set : nullptr, nullptr, &time) == 1 &&
           set.fd_count == 1 && set.fd_array[0] == s.handle;
}

inline std::string receive(const ip::socket& s) {
    char buffer[64];
    const int length = is_ready(s) ? winsock2::recv(s, buffer, sizeof buffer) : -1;
    return length < 0 ? "failed" : std::string(buffer, static_cast<std::size_t>(length));
}

/// For a connected socket with `WSA_FLAG_OVERLAPPED` to which nothing is sent: `recv` waits as long as it is
/// told to. Without blocking it would give 10035 at once.
inline void expect_blocking(const ip::socket& s) {
    const DWORD wait = 200;
    const char* value = reinterpret_cast<const char*>(&wait);
    EXPECT_EQ(winsock2::setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, value, sizeof wait), 0u);
    char buffer[1];
    EXPECT_EQ(winsock2::recv(s, buffer, sizeof buffer), SOCKET_ERROR);
    EXPECT_EQ(winsock2::getlasterror(), 10060u);
}
