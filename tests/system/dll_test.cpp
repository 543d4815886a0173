// The built DLL as a client meets it: its tables, its load and unload, and what crosses its border. Also
// what the tool prints of text that is not valid.

#include "ip/ip.h"
#include "output.h"

#include <gtest/gtest.h>

#include <cxxabi.h>
#include <set>
#include <string>
#include <windows.h>
#include <winternl.h>

namespace {

/// A loaded module's image, read through the tables in its header.
class image {
public:
    explicit image(HMODULE module) : base_(reinterpret_cast<std::byte*>(module)) {}

    std::set<std::string> exports() const {
        const auto& table = *directory<IMAGE_EXPORT_DIRECTORY>(IMAGE_DIRECTORY_ENTRY_EXPORT);
        std::set<std::string> names;
        for (DWORD i = 0; i < table.NumberOfNames; ++i) {
            const char* mangled = at<char>(at<DWORD>(table.AddressOfNames)[i]);
            int status = 0;
            char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
            names.insert(status == 0 ? demangled : mangled);
            std::free(demangled);
        }
        return names;
    }

    /// "MODULE name" of every import, the module in capitals.
    std::set<std::string> imports() const {
        std::set<std::string> names;
        each_import([&](const std::string& name, ULONG_PTR&) { names.insert(name); });
        return names;
    }

    /// Puts a function in the place of an import.
    void replace_import(const std::string& import, const void* function) const {
        each_import([&](const std::string& name, ULONG_PTR& slot) {
            DWORD before = 0;
            if (name == import && VirtualProtect(&slot, sizeof slot, PAGE_READWRITE, &before)) {
                slot = reinterpret_cast<ULONG_PTR>(function);
            }
        });
    }

    const IMAGE_OPTIONAL_HEADER64& header() const {
        return at<IMAGE_NT_HEADERS64>(static_cast<DWORD>(at<IMAGE_DOS_HEADER>(0)->e_lfanew))->OptionalHeader;
    }

private:
    template <class Type>
    Type* at(DWORD offset) const {
        return reinterpret_cast<Type*>(base_ + offset);
    }
    template <class Type>
    Type* directory(int index) const {
        return at<Type>(header().DataDirectory[index].VirtualAddress);
    }
    template <class Visit>
    void each_import(Visit visit) const {
        const auto* table = directory<IMAGE_IMPORT_DESCRIPTOR>(IMAGE_DIRECTORY_ENTRY_IMPORT);
        for (; table->Name != 0; ++table) {
            std::string module = at<char>(table->Name);
            for (char& letter : module) {
                letter = static_cast<char>(std::toupper(letter));
            }
            const auto* names = at<IMAGE_THUNK_DATA64>(table->OriginalFirstThunk);
            auto* slots = at<ULONG_PTR>(table->FirstThunk);
            for (; names->u1.AddressOfData != 0; ++names, ++slots) {
                const auto* by_name = at<IMAGE_IMPORT_BY_NAME>(static_cast<DWORD>(names->u1.AddressOfData));
                visit(module + " " + by_name->Name, *slots);
            }
        }
    }

    std::byte* base_;
};

image dll() {
    return image(GetModuleHandleW(L"kvtIP.dll"));
}

TEST(Dll, ExportsTheInterfaceAndNothingElse) {
    const std::set<std::string> expected = {
        "ip::adapter_enumerator::fill_adapter(ip::_SFindAdapter&)",
        "ip::adapter_enumerator::find_first(ip::_SFindAdapter&, unsigned int)",
        "ip::adapter_enumerator::find_next_addr(ip::_SFindAddress&)",
        "ip::detail::from_string(char const*, ip::_raw_addr4_no&)",
        "ip::detail::from_string(char const*, ip::_raw_addr6_no&)",
        "ip::detail::from_string(wchar_t const*, ip::_raw_addr4_no&)",
        "ip::detail::from_string(wchar_t const*, ip::_raw_addr6_no&)",
        "ip::detail::to_string(ip::_raw_addr4_no const&, char*, unsigned long long)",
        "ip::detail::to_string(ip::_raw_addr4_no const&, wchar_t*, unsigned long long)",
        "ip::detail::to_string(ip::_raw_addr6_no const&, char*, unsigned long long)",
        "ip::detail::to_string(ip::_raw_addr6_no const&, wchar_t*, unsigned long long)",
        "ip::hlpapi::free()",
        "ip::hlpapi::load()",
        "ip::lib::address_family_supported(unsigned short)",
        "ip::lib::free()",
        "ip::lib::init()",
        "ip::lib::is_ipv6_supported()",
        "ip::local_address(ip::addr&, unsigned short)",
        "ip::localaddresses(std::vector<ip::addr, std::allocator<ip::addr> >&, unsigned short)",
        "ip::membuffer::free()",
        "ip::membuffer::get(unsigned long long)",
        "ip::winsock2::cleanup()",
        "ip::winsock2::getlasterror()",
        "ip::winsock2::start(WSAData&)"};
    EXPECT_EQ(dll().exports(), expected);
}

TEST(Dll, ImportsOnlyWhatEverySupportedSystemHas) {
    for (const std::string& import : dll().imports()) {
        const std::string module = import.substr(0, import.find(' '));
        EXPECT_TRUE(module == "KERNEL32.DLL" || module == "MSVCRT.DLL" || module == "ADVAPI32.DLL" ||
                    import == "IPHLPAPI.DLL GetAdaptersInfo")
            << import;
    }
}

TEST(Dll, IsLinkedWithTheSystemsProtections) {
    constexpr WORD protections = IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE | IMAGE_DLLCHARACTERISTICS_NX_COMPAT |
                                 IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA;
    EXPECT_EQ(dll().header().DllCharacteristics & protections, protections);
}

TEST(Dll, GivesTheRealHostsAddresses) {
    ip::lib lib;
    ASSERT_EQ(lib.init(), 0u);
    std::vector<ip::addr> addresses; // grows inside, is freed outside
    ASSERT_EQ(ip::localaddresses(addresses, ip::family_ipv4), 0u);
    std::set<std::string> texts;
    for (const ip::addr& address : addresses) {
        ip::_raw_addr4_no raw;
        std::copy_n(address.address, sizeof raw.bytes, raw.bytes);
        char text[16] = {};
        EXPECT_TRUE(ip::detail::to_string(raw, text, sizeof text));
        texts.insert(text);
    }
    EXPECT_TRUE(texts.contains("127.0.0.1"));
    EXPECT_TRUE(ip::lib::is_ipv6_supported());
    ip::_raw_addr6_no raw6;
    EXPECT_TRUE(ip::detail::from_string(L"2001:db8::1", raw6));
    EXPECT_EQ(raw6.bytes[15], 1);
}

TEST(Dll, ItsExceptionsAndStringsCrossTheBorder) {
    ip::lib lib;
    ASSERT_EQ(lib.init(), 0u);
    ip::adapter_enumerator adapters;
    ip::_SFindAdapter adapter;
    ASSERT_TRUE(adapters.find_first(adapter, 0));
    adapter.name += " grows outside";
    const auto fails = +[](UINT, DWORD, LPCCH, int, LPWSTR, int) WINAPI {
        SetLastError(ERROR_NO_UNICODE_TRANSLATION);
        return 0;
    };
    const auto* real =
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32"), "MultiByteToWideChar"));
    dll().replace_import("KERNEL32.DLL MultiByteToWideChar", reinterpret_cast<void*>(fails));
    try {
        adapters.find_first(adapter, 0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const kvt::exceptions::error& error) {
        EXPECT_EQ(error.error_code(), 1113u);
        EXPECT_STREQ(error.what(), "to_wide<char>::MultiByteToWideChar");
        EXPECT_NE(error.origin(), 0u);
    }
    dll().replace_import("KERNEL32.DLL MultiByteToWideChar", real);
    EXPECT_TRUE(adapters.find_first(adapter, 0));
}

/// The tests above have the DLL loaded as an import; this program loads a copy of it under another name.
class Copy : public testing::Test {
protected:
    Copy() { EXPECT_TRUE(CopyFileW(L"kvtIP.dll", name, FALSE)) << GetLastError(); }
    ~Copy() override { DeleteFileW(name); }

    static constexpr const wchar_t* name = L"kvtIP-copy.dll";
};

TEST_F(Copy, LoadsAndUnloadsAThousandTimes) {
    DWORD handles_before = 0, handles_after = 0;
    for (int cycle = 0; cycle < 1000; ++cycle) {
        const HMODULE module = LoadLibraryW(name);
        ASSERT_NE(module, nullptr) << "cycle " << cycle << ": " << GetLastError();
        const auto supported = GetProcAddress(module, "_ZN2ip3lib17is_ipv6_supportedEv");
        ASSERT_NE(supported, nullptr);
        EXPECT_TRUE(reinterpret_cast<bool (*)()>(reinterpret_cast<void*>(supported))());
        ASSERT_TRUE(FreeLibrary(module));
        ASSERT_EQ(GetModuleHandleW(name), nullptr);
        GetProcessHandleCount(GetCurrentProcess(), cycle == 0 ? &handles_before : &handles_after);
    }
    EXPECT_EQ(handles_after, handles_before);
}

struct loader_notice {
    ULONG flags;
    const UNICODE_STRING *path, *file_name;
    HMODULE base;
    ULONG size;
};

HMODULE WINAPI no_module(LPCWSTR) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

void CALLBACK break_version_probe(ULONG reason, const loader_notice* notice, void*) {
    if (reason == 1 && std::wstring(notice->file_name->Buffer) == L"kvtIP-copy.dll") {
        image(notice->base)
            .replace_import("KERNEL32.DLL GetModuleHandleW", reinterpret_cast<void*>(&no_module));
    }
}

TEST_F(Copy, FailsToLoadWhenTheVersionProbeFails) {
    // Between the binding of the imports and the static initialisers the loader tells who asked for it.
    const HMODULE ntdll = GetModuleHandleW(L"ntdll");
    const auto watch = reinterpret_cast<LONG(WINAPI*)(ULONG, decltype(&break_version_probe), void*, void**)>(
        reinterpret_cast<void*>(GetProcAddress(ntdll, "LdrRegisterDllNotification")));
    const auto unwatch = reinterpret_cast<LONG(WINAPI*)(void*)>(
        reinterpret_cast<void*>(GetProcAddress(ntdll, "LdrUnregisterDllNotification")));
    void* cookie = nullptr;
    ASSERT_EQ(watch(0, &break_version_probe, nullptr, &cookie), 0);
    EXPECT_EQ(LoadLibraryW(name), nullptr);
    EXPECT_EQ(unwatch(cookie), 0);
    const HMODULE module = LoadLibraryW(name);
    EXPECT_NE(module, nullptr);
    EXPECT_TRUE(FreeLibrary(module));
}

TEST(Output, IsUtf8WhateverTheSystemsTextHolds) {
    EXPECT_EQ(to_utf8(L"\u00E4 \xD83D\xDE00"), "\xC3\xA4 \xF0\x9F\x98\x80");
    EXPECT_EQ(to_utf8(std::wstring_view(L"a\xD800z\xDC00", 4)), "a\xEF\xBF\xBDz\xEF\xBF\xBD");
    EXPECT_EQ(json_text("a\xFFz"), "\"a\xEF\xBF\xBDz\"\n");
}

} // namespace
