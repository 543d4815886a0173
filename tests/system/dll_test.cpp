// The built DLL as a client meets it: its work on the real system, its load and unload, and what crosses
// its border. Also what the tool prints of text that is not valid.

#include "ip/ip.h"
#include "output.h"

#include <gtest/gtest.h>

#include <winsock2.h>

#include <cstring>
#include <string>
#include <windows.h>

namespace {

/// Stands in for any system function that returns 0 when it fails.
std::intptr_t fail() {
    SetLastError(ERROR_NO_UNICODE_TRANSLATION);
    return 0;
}

/// While it lives, a system function fails, whoever calls it.
class failing {
public:
    explicit failing(const char* function)
        : code_(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernelbase"), function))) {
        // mov rax, target; jmp rax
        std::uint8_t jump[] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};
        const auto target = reinterpret_cast<std::uintptr_t>(&fail);
        std::memcpy(jump + 2, &target, sizeof target);
        std::memcpy(saved_, code_, sizeof saved_);
        EXPECT_TRUE(WriteProcessMemory(GetCurrentProcess(), code_, jump, sizeof jump, nullptr));
    }
    ~failing() { WriteProcessMemory(GetCurrentProcess(), code_, saved_, sizeof saved_, nullptr); }
    failing(const failing&) = delete;
    failing& operator=(const failing&) = delete;

private:
    void* code_;
    std::uint8_t saved_[12];
};

/// Reads the text as an address, and writes that again.
template <class Raw, class Char>
std::basic_string<Char> rewritten(const Char* text) {
    Raw raw;
    Char written[46] = {};
    return ip::detail::from_string(text, raw) && ip::detail::to_string(raw, written, 46) ? written : text;
}

TEST(Dll, AnswersWhileItsLibrariesAreStarted) {
    ip::lib lib;
    ip::winsock2 sockets;
    ip::hlpapi helper;
    WSADATA data{};
    ASSERT_EQ(lib.init(), 0u);
    ASSERT_EQ(sockets.start(data), 0u);
    EXPECT_EQ(data.wVersion, 0x0202);
    ASSERT_EQ(helper.load(), 0u);

    EXPECT_EQ(rewritten<ip::_raw_addr4_no>("10.1"), "10.0.0.1");
    EXPECT_EQ(rewritten<ip::_raw_addr4_no>(L"10.1"), L"10.0.0.1");
    EXPECT_EQ(rewritten<ip::_raw_addr6_no>("2001:DB8::1"), "2001:db8::1");
    EXPECT_EQ(rewritten<ip::_raw_addr6_no>(L"2001:DB8::1"), L"2001:db8::1");
    std::vector<ip::addr> addresses; // grows inside, is freed outside
    EXPECT_EQ(ip::localaddresses(addresses, ip::family_ipv4), 0u);
    ip::addr address;
    EXPECT_EQ(ip::local_address(address, ip::family_ipv4), 0u);
    ASSERT_FALSE(addresses.empty());
    EXPECT_EQ(std::memcmp(&address, &addresses.front(), 6), 0); // the family and four bytes
    std::uint16_t family = ip::family_none;
    ip::winsock2::ensure_af(family);
    EXPECT_EQ(family, ip::family_ipv4);
    EXPECT_FALSE(lib.address_family_supported(99));

    SetLastError(WSAECONNREFUSED);
    EXPECT_EQ(ip::winsock2::getlasterror(), 10061u);
    EXPECT_EQ(helper.free(), 0u);
    EXPECT_EQ(sockets.cleanup(), 0u);
    EXPECT_EQ(lib.free(), 0u);
    EXPECT_EQ(rewritten<ip::_raw_addr4_no>("10.1"), "10.1");
}

TEST(Dll, ItsExceptionsAndRecordsCrossTheBorder) {
    ip::lib lib;
    ASSERT_EQ(lib.init(), 0u);
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    ASSERT_TRUE(adapters.find_first(adapter, 0));
    adapter.name += " grows outside";
    adapter.dns_servers.resize(100);
    try {
        const failing conversion("MultiByteToWideChar");
        adapters.find_first(adapter, 0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const kvt::exceptions::error& error) {
        EXPECT_EQ(error.error_code(), 1113u);
        EXPECT_STREQ(error.what(), "to_wide<char>::MultiByteToWideChar");
        EXPECT_NE(error.origin(), 0u);
    }
    EXPECT_TRUE(adapters.find_first(adapter, 0));
}

/// The system gives out low numbers first: the next one grows as handles are left open. (Wine does not count
/// a process's handles.)
std::intptr_t next_handle() {
    const HANDLE handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(handle);
    return reinterpret_cast<std::intptr_t>(handle);
}

TEST(Dll, LoadsAndUnloadsAThousandTimesButNotWithoutTheVersionProbe) {
    const wchar_t* const name = L"kvtIP-copy.dll"; // this program has the DLL itself as an import
    ASSERT_TRUE(CopyFileW(L"kvtIP.dll", name, FALSE)) << GetLastError();
    {
        const failing probe("GetModuleHandleW");
        EXPECT_EQ(LoadLibraryW(name), nullptr);
    }
    const std::intptr_t handle_before = next_handle();
    for (int cycle = 0; cycle < 1000; ++cycle) {
        const HMODULE module = LoadLibraryW(name);
        ASSERT_NE(module, nullptr) << "cycle " << cycle << ": " << GetLastError();
        const auto supported = GetProcAddress(module, "_ZN2ip3lib17is_ipv6_supportedEv");
        ASSERT_NE(supported, nullptr);
        EXPECT_TRUE(reinterpret_cast<bool (*)()>(reinterpret_cast<void*>(supported))());
        ASSERT_TRUE(FreeLibrary(module));
        ASSERT_EQ(GetModuleHandleW(name), nullptr);
    }
    EXPECT_LT(next_handle(), handle_before + 1000);
    DeleteFileW(name);
}

TEST(Output, IsUtf8WhateverTheSystemsTextHolds) {
    EXPECT_EQ(to_utf8(L"\u00E4 \xD83D\xDE00"), "\xC3\xA4 \xF0\x9F\x98\x80");
    EXPECT_EQ(to_utf8(std::wstring_view(L"a\xD800z\xDC00", 4)), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(json_text("a\xFFz"), "\"a\xEF\xBF\xBDz\"\n");
}

TEST(Output, ShowsControlCharactersAsEscapes) {
    const wchar_t first_and_last[] = {1, 0x1F, 0x7F, 0x9F, 0x202A, 0x202E, 0x2066, 0x2069, 0};
    const wchar_t beside[] = {0x20, 0x7E, 0xA0, 0x2029, 0x202F, 0x2065, 0x206A, 0};
    const std::string shown = "\\u0001\\u001F\\u007F\\u009F\\u202A\\u202E\\u2066\\u2069";
    EXPECT_EQ(printable(to_utf8(first_and_last)), shown);
    EXPECT_EQ(printable(to_utf8(beside)), to_utf8(beside));
    EXPECT_EQ(with_printable_text(json{{"a", {"\t"}}}), (json{{"a", {"\\u0009"}}}));
}

} // namespace
