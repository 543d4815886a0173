// Address values, text encoding, exceptions, the scratch block and the at-exit list.

#include "address/convert.h"
#include "address/encoding.h"
#include "heap.h"
#include "ip/ip.h"
#include "runtime/at_exit.h"
#include "scripted_system.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace {

using namespace ip::detail;

TEST(Values, SocketAddressOfAnAddressHasNoPortNoFlowAndNoScope) {
    const ip::saddr v4 = to_saddr(scripted::address("192.0.2.1"));
    EXPECT_EQ(std::memcmp(&v4, "\2\0\0\0\xC0\0\2\1\0\0\0\0\0\0\0", 16), 0);
    const ip::saddr v6 = to_saddr(scripted::address("fe80::1"));
    EXPECT_EQ(std::memcmp(&v6, "\x17\0\0\0\0\0\0\0\xFE\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0", 28), 0);
    ip::addr other = scripted::address("192.0.2.1");
    for (const std::uint16_t family : {std::uint16_t{0}, std::uint16_t{17}}) {
        other.family = family;
        EXPECT_EQ(to_saddr(other).family, ip::family_none);
        EXPECT_EQ(length_of(to_saddr(other)), 0);
    }
    EXPECT_EQ(length_of(v4), 16);
    EXPECT_EQ(length_of(v6), 28);
}

TEST(Values, AddressOfASocketAddressTakesOnlyTheBytesOfItsFamily) {
    ip::saddr other;
    other.family = 17;
    struct {
        ip::saddr from;
        std::uint16_t family;
        std::size_t written;
    } const rows[] = {{scripted::socket_address("1.2.3.4", 80), ip::family_ipv4, 4},
                      {scripted::socket_address("102:304:506:708:90a:b0c:d0e:f10"), ip::family_ipv6, 16},
                      {ip::saddr{}, ip::family_none, 0},
                      {other, ip::family_none, 0}};
    for (const auto& row : rows) {
        ip::addr address{99, {}};
        std::memset(address.address, 0xEE, sizeof address.address);
        to_addr(row.from, address);
        EXPECT_EQ(address.family, row.family);
        for (std::size_t i = 0; i < 16; ++i) {
            EXPECT_EQ(address.address[i], i < row.written ? i + 1 : 0xEE) << row.family << " byte " << i;
        }
    }
}

TEST(Values, SystemFilledBufferStartsEmptyAndGivesItsFirst28Bytes) {
    socket_address_buffer buffer;
    EXPECT_EQ(buffer.size(), 128);
    EXPECT_EQ(buffer.image().family, ip::family_none);
    std::memset(buffer.data(), 0x11, 128);
    EXPECT_EQ(buffer.image().scope_id, 0x11111111u);
}

TEST(Values, Ipv4ViewOfAnOptionalAddress) {
    const ip::addr v4 = scripted::address("1.2.3.4");
    const ip::addr mapped = scripted::address("::ffff:5.6.7.8");
    const ip::addr none;
    const auto view = [](const ip::addr* address) { return std::to_array(ipv4_view(address).bytes); };
    using bytes = std::array<std::uint8_t, 4>;
    EXPECT_EQ(view(nullptr), (bytes{0, 0, 0, 0}));
    EXPECT_EQ(view(&v4), (bytes{1, 2, 3, 4}));
    EXPECT_EQ(view(&mapped), (bytes{5, 6, 7, 8}));
    EXPECT_EQ(view(&none), (bytes{255, 255, 255, 255}));
}

TEST(Values, TwoThreadsThatTakeASocketsHandleNeverBothGetIt) {
    for (int round = 0; round < 1000; ++round) {
        ip::socket socket{42};
        std::uintptr_t other = 0;
        std::thread thread([&] { other = socket.exchange(); });
        const std::uintptr_t mine = socket.exchange();
        thread.join();
        ASSERT_EQ(std::min(mine, other), 42u);
        ASSERT_EQ(std::max(mine, other), ip::socket::none);
        ASSERT_EQ(socket.handle, ip::socket::none);
    }
}

TEST(Encoding, ConvertsByTheSystemsRules) {
    EXPECT_EQ(to_wide("\xC3\xA4"
                      "b",
                      npos, code_page_utf8),
              L"\u00E4b");
    EXPECT_EQ(to_wide("abc", 2, code_page_ansi), L"ab");
    EXPECT_EQ(to_wide("a\0b", 3, code_page_utf8), std::wstring(L"a\0b", 3));
    EXPECT_EQ(to_wide("\xFF", npos, code_page_utf8), L"\uFFFD");
    EXPECT_EQ(to_narrow(L"\u00E4b"), "\xC3\xA4"
                                     "b");
    EXPECT_EQ(to_narrow(L"\xD800"), "\xEF\xBF\xBD");
}

TEST(Encoding, EmptyTextNeedsNoSystemCall) {
    scripted::system system;
    system.calls.clear();
    EXPECT_EQ(to_wide<char>(nullptr, npos, code_page_utf8) + to_wide<char>(nullptr, 0, code_page_ansi), L"");
    EXPECT_EQ(to_wide("", npos, code_page_utf8) + to_wide("abc", 0, code_page_utf8), L"");
    EXPECT_EQ(to_narrow<wchar_t>(nullptr) + to_narrow(L""), "");
    EXPECT_TRUE(system.calls.empty());
}

/// The exception that `action` throws, checked to be an `Exception` and what that derives from.
template <class Exception, class Action>
Exception thrown_by(Action action) {
    try {
        action();
    } catch (const std::exception& caught) {
        EXPECT_NE(dynamic_cast<const kvt::exceptions::detail::base*>(&caught), nullptr);
        return dynamic_cast<const Exception&>(caught);
    }
    throw std::logic_error("nothing was thrown");
}

TEST(Encoding, FailuresCarryTheRoutinesNameAndTheSystemsCode) {
    const auto misuse = thrown_by<kvt::exceptions::fatal>([] { to_wide<char>(nullptr, 5, code_page_utf8); });
    EXPECT_STREQ(misuse.what(), "to_wide<char> invalid arguments");
    EXPECT_EQ(misuse.error_code(), 0xFFFFFFFFu);
    EXPECT_NE(misuse.origin(), 0u);
    for (const std::deque<DWORD>& answers : {std::deque<DWORD>{1113}, {0, 1113}}) { // first and second call
        scripted::system system;
        system.answers = {{"MultiByteToWideChar", answers}, {"WideCharToMultiByte", answers}};
        const auto wide = thrown_by<kvt::exceptions::error>([] { to_wide("a", npos, code_page_utf8); });
        EXPECT_STREQ(wide.what(), "to_wide<char>::MultiByteToWideChar");
        const auto narrow = thrown_by<kvt::exceptions::error>([] { to_narrow(L"a"); });
        EXPECT_STREQ(narrow.what(), "to_narrow<wchar_t>::WideCharToMultiByte");
        EXPECT_EQ(wide.error_code(), 1113u);
        EXPECT_EQ(narrow.error_code(), 1113u);
    }
}

TEST(Membuffer, GrowsInStepsOf128AndKeepsABlockThatSuffices) {
    heap::watch heap;
    ip::membuffer buffer;
    EXPECT_EQ(buffer.get(~std::size_t{0}), nullptr); // wraps to 0, and there is no block
    EXPECT_EQ(heap.allocations(), 0u);
    std::memset(buffer.get(0), 1, 128);
    std::memset(buffer.get(129), 2, 256);
    EXPECT_EQ(heap.live(), 1u);
    const auto* kept = static_cast<const char*>(buffer.get(200));
    EXPECT_EQ(kept[255], 2);
    EXPECT_EQ(buffer.get(256), kept);
    EXPECT_EQ(buffer.get(~std::size_t{0} - 126), kept);
    EXPECT_EQ(heap.allocations(), 2u);
    buffer.free();
    buffer.free();
    EXPECT_EQ(heap.live(), 0u);
}

TEST(Membuffer, ExhaustedMemoryLeavesNoBlock) {
    ip::membuffer buffer;
    buffer.get(1);
    heap::watch heap(0);
    EXPECT_EQ(buffer.get(1000), nullptr);
    EXPECT_NE(buffer.get(1), nullptr);
    EXPECT_EQ(heap.live(), 1u);
    buffer.free();
}

std::string told; // by the actions below, in their order

TEST(AtExit, RunsNewestFirstAndReportsAnActionThatThrows) {
    told.clear();
    kvt::main::at_exit([] { told += "oldest "; });
    kvt::main::at_exit([] { throw std::runtime_error("cause"); });
    kvt::main::at_exit([] {
        told += "newest ";
        kvt::main::at_exit([] { told += "late "; });
    });
    kvt::main::run_at_exit_actions([](const auto& failure) {
        EXPECT_STREQ(failure.what(), "kvt::main::impl::at_exit_action_node::action_failed_exception::"
                                     "action_failed_exception: atexit action throws exception!");
        EXPECT_EQ(failure.error_code(), 0xFFFFFFFFu);
        EXPECT_THROW(std::rethrow_exception(failure.cause()), std::runtime_error);
        told += "failed ";
    });
    EXPECT_EQ(told, "newest late failed oldest ");
}

} // namespace
