// Address values, text encoding, the scratch block and the at-exit list.

#include "address/convert.h"
#include "address/encoding.h"
#include "heap.h"
#include "runtime/at_exit.h"
#include "scripted_system.h"
#include "text.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace ip::detail;
using scripted::socket_address;

TEST(Values, AddressOfASocketAddressTakesOnlyTheBytesOfItsFamily) {
    ip::addr to{99, {}};
    std::memset(to.address, 0xEE, sizeof to.address);
    to_addr({17, 0, {1}}, to);
    EXPECT_EQ(to.family, ip::family_none);
    EXPECT_EQ(std::ranges::count(to.address, 0xEE), 16);
    to_addr(socket_address("1.2.3.4", 80), to);
    EXPECT_EQ(scripted::text(to), "1.2.3.4");
    EXPECT_EQ(std::ranges::count(to.address, 0xEE), 12);
}

TEST(Encoding, ConvertsByTheSystemsRules) {
    EXPECT_EQ(to_wide("\xC3\xA4|", npos, code_page_utf8), L"\u00E4|");
    EXPECT_EQ(to_wide("abc", 2, code_page_ansi), L"ab");
    EXPECT_EQ(to_wide("a\0b\xFF", 4, code_page_utf8), std::wstring(L"a\0b\uFFFD", 4));
    EXPECT_EQ(to_narrow(L"\u00E4|\xD800"), "\xC3\xA4|\xEF\xBF\xBD");
    EXPECT_EQ(to_wide<char>(nullptr, npos, 0) + to_wide<char>(nullptr, 0, 0) + to_wide("abc", 0, 0), L"");
    EXPECT_EQ(to_narrow<wchar_t>(nullptr) + to_narrow(L""), "");
}

TEST(Membuffer, GrowsInStepsOf128AndKeepsABlockThatSuffices) {
    const heap::watch heap(2);
    ip::membuffer buffer;
    EXPECT_EQ(buffer.get(~std::size_t{0}), nullptr); // wraps to 0, and there is no block
    std::memset(buffer.get(0), 1, 128);
    std::memset(buffer.get(129), 2, 256);
    const auto* kept = static_cast<const char*>(buffer.get(200));
    EXPECT_EQ(kept[255], 2);
    EXPECT_EQ(buffer.get(256), kept);
    EXPECT_EQ(buffer.get(~std::size_t{0} - 126), kept);
    EXPECT_EQ(heap.allocations(), 2u);
    EXPECT_EQ(heap.live(), 1u);
    EXPECT_EQ(buffer.get(257), nullptr); // memory is exhausted: no block is left
    EXPECT_EQ(heap.live(), 0u);
    EXPECT_NE(buffer.get(1), nullptr);
    buffer.free();
    buffer.free();
    EXPECT_EQ(heap.live(), 0u);
}

std::string told; // by the actions below, in their order

TEST(AtExit, RunsNewestFirstAndReportsAnActionThatThrows) {
    kvt::main::at_exit([] { told += "oldest "; });
    kvt::main::at_exit([] { throw std::runtime_error("cause"); });
    kvt::main::at_exit([] {
        told += "newest ";
        kvt::main::at_exit([] { told += "late "; });
    });
    kvt::main::run_at_exit_actions([](const auto& failure) {
        EXPECT_THROW(std::rethrow_exception(failure.cause()), std::runtime_error);
        told += failure.what() + std::string(" ");
        throw std::bad_alloc(); // a report that fails does not stop the others either
    });
    EXPECT_EQ(told, "newest late kvt::main::impl::at_exit_action_node::action_failed_exception::"
                    "action_failed_exception: atexit action throws exception! oldest ");
}

} // namespace
