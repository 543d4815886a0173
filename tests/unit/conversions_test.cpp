// Conversions between address values and the records of the system and of the classes.

#include "kvtip/winsock.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace {

const auto ipv4 = kvtip::endpoint::parse("192.0.2.1:80").value();
const auto ipv6 = kvtip::endpoint::parse("[fe80::1%4]:443").value();

sockaddr_in ipv4_record() {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = 0x5000;
    std::memcpy(&record.sin_addr, "\xC0\0\2\1", 4);
    return record;
}

sockaddr_in6 ipv6_record() {
    sockaddr_in6 record{};
    record.sin6_family = AF_INET6;
    record.sin6_port = 0xBB01;
    std::memcpy(&record.sin6_addr, "\xFE\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 16);
    record.sin6_scope_id = 4;
    return record;
}

TEST(Conversions, GoThroughTheSystemsRecords) {
    const sockaddr_in record4 = ipv4_record();
    const sockaddr_in6 record6 = ipv6_record();
    EXPECT_EQ(kvtip::to_endpoint(record4), ipv4);
    EXPECT_EQ(kvtip::to_endpoint(record6), ipv6);
    EXPECT_EQ(kvtip::to_address(record4.sin_addr), ipv4.address());
    EXPECT_EQ(kvtip::to_address(record6.sin6_addr, 4), ipv6.address());
    EXPECT_EQ(kvtip::to_address(kvtip::to_addr(ipv4.address())), ipv4.address());
    EXPECT_EQ(kvtip::to_address(kvtip::to_addr(ipv6.address())), ipv6.address().without_scope());

    const auto socket4 = kvtip::to_socket_address(ipv4), socket6 = kvtip::to_socket_address(ipv6);
    ASSERT_EQ(socket4.size(), int{sizeof record4});
    EXPECT_EQ(std::memcmp(socket4.get(), &record4, sizeof record4), 0);
    ASSERT_EQ(socket6.size(), int{sizeof record6});
    EXPECT_EQ(std::memcmp(socket6.get(), &record6, sizeof record6), 0);
    EXPECT_EQ(kvtip::to_socket_address({}).size(), 0);
}

TEST(Conversions, MakeNoEndpointOfWhatIsNone) {
    const auto expect_whole = [](const auto& record, const kvtip::endpoint& expected) {
        sockaddr_storage storage{};
        const auto* const start = reinterpret_cast<const sockaddr*>(&storage);
        std::memcpy(&storage, &record, sizeof record);
        EXPECT_EQ(kvtip::to_endpoint(storage), expected);
        EXPECT_EQ(kvtip::to_endpoint(start, sizeof record), expected);
        EXPECT_EQ(kvtip::to_endpoint(start, sizeof record - 1), kvtip::endpoint());
        EXPECT_EQ(kvtip::to_endpoint(start, 0), kvtip::endpoint());
        storage.ss_family = AF_UNIX;
        EXPECT_EQ(kvtip::to_endpoint(storage), kvtip::endpoint());
    };
    expect_whole(ipv4_record(), ipv4);
    expect_whole(ipv6_record(), ipv6);
    // A scope stands only where there can be one.
    EXPECT_EQ(kvtip::to_address(in6_addr{}, 4).scope(), 0U);
}

} // namespace
