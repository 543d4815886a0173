// The built DLL in a client's process: its load and unload, and the exceptions and records that it shares
// with the client. Also how the tool writes what it found.

#include "encoding.h"
#include "ip/ip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <span>
#include <string_view>
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

/// The bytes that the process has allocated in all of its heaps.
std::size_t heap_bytes() {
    HANDLE heaps[64];
    const DWORD count = GetProcessHeaps(64, heaps);
    EXPECT_LE(count, 64u);
    std::size_t total = 0;
    for (const HANDLE heap : std::span(heaps, count)) {
        PROCESS_HEAP_ENTRY entry{};
        while (HeapWalk(heap, &entry)) {
            total += entry.wFlags & PROCESS_HEAP_ENTRY_BUSY ? entry.cbData : 0;
        }
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NO_MORE_ITEMS});
    }
    return total;
}

void load_and_unload(const wchar_t* name) {
    const HMODULE module = LoadLibraryW(name);
    ASSERT_NE(module, nullptr) << GetLastError();
    const auto supported = GetProcAddress(module, "_ZN2ip3lib17is_ipv6_supportedEv");
    ASSERT_NE(supported, nullptr);
    EXPECT_TRUE(reinterpret_cast<bool (*)()>(reinterpret_cast<void*>(supported))());
    ASSERT_TRUE(FreeLibrary(module));
    ASSERT_EQ(GetModuleHandleW(name), nullptr);
}

TEST(Dll, UnloadGivesBackMemoryAndHandles) {
    const wchar_t* const name = L"kvtIP-copy.dll"; // this program has the DLL itself as an import
    ASSERT_TRUE(CopyFileW(L"kvtIP.dll", name, FALSE)) << GetLastError();
    {
        const failing probe("GetModuleHandleW");
        EXPECT_EQ(LoadLibraryW(name), nullptr);
    }
    const auto run = [&](int cycles) {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            ASSERT_NO_FATAL_FAILURE(load_and_unload(name)) << "cycle " << cycle;
        }
    };
    constexpr int cycles = 40, batches = 5;
    ASSERT_NO_FATAL_FAILURE(run(10)); // the system allocates what it keeps
    const std::intptr_t handle_before = next_handle();
    // The system's heaps grow by whole pools at times. What each cycle leaves behind is there in every batch.
    auto least_growth = std::numeric_limits<std::intptr_t>::max();
    for (int batch = 0; batch < batches; ++batch) {
        const std::size_t bytes_before = heap_bytes();
        ASSERT_NO_FATAL_FAILURE(run(cycles));
        least_growth = std::min(least_growth, static_cast<std::intptr_t>(heap_bytes() - bytes_before));
    }
    EXPECT_LT(next_handle(), handle_before + batches * cycles);
    EXPECT_LT(least_growth, cycles); // less than one byte a cycle
    DeleteFileW(name);
}

TEST(Output, IsUtf8WhateverTheSystemsTextHolds) {
    EXPECT_EQ(to_utf8(L"\u00E4 \xD83D\xDE00"), "\xC3\xA4 \xF0\x9F\x98\x80");
    EXPECT_EQ(to_utf8(std::wstring_view(L"a\xD800z\xDC00", 4)), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(printable("a\xFFz"), "a\xEF\xBF\xBDz");
}

} // namespace
