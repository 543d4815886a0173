#include "scripted_system.h"

#include "address/convert.h"
#include "address/parse.h"
#include "ip/detail/helper.h"
#include "kvtip/lookup.h"
#include "runtime/at_exit.h"
#include "scripted_call.h"

#include <gtest/gtest.h>

#include <bit>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>

namespace scripted {

constinit system* current = nullptr;

// The ledger: what was handed out and has not come back, and which lock was taken under which.
std::mutex ledger_mutex;
std::map<std::string, int> ledger;
std::set<std::pair<const void*, const void*>> lock_order;

void enter_in_ledger(const std::string& what, int by) {
    std::unique_lock guard(ledger_mutex);
    const int left = ledger[what] += by;
    guard.unlock(); // to report a failure takes locks too
    EXPECT_GE(left, 0) << what << ": given back too often";
}

/// Begins the fake of an imported function. The linker replaces the import by one that calls the fake while
/// there is a scripted system, and the platform otherwise. The compiler's runtime always calls the platform.
#define KVTIP_FAKE(name)                                                               \
    extern "C" decltype(&::name) __real___imp_##name, __wrap___imp_##name;             \
    extern const decltype(&::name) fake_##name;                                        \
    constinit decltype(&::name) __wrap___imp_##name = [](auto... arguments) {          \
        return (current == nullptr ? __real___imp_##name : fake_##name)(arguments...); \
    };                                                                                 \
    const decltype(&::name) fake_##name

// Modules. A handle is the address of the module's name.

constexpr const char* modules[] = {"ntdll",      "kernel32",   "kernel32.dll",    "Iphlpapi.dll",
                                   "Ws2_32.dll", "Dnsapi.dll", "S:\\rasapi32.dll"};

template <bool Loads>
HMODULE WINAPI find_module(LPCWSTR wide) {
    const std::string name(wide, wide + std::wcslen(wide));
    const call now(Loads ? "LoadLibraryW" : "GetModuleHandleW", name);
    const auto* found = std::find(std::begin(modules), std::end(modules), name);
    EXPECT_NE(found, std::end(modules)) << "nobody should ask for " << name;
    enter_in_ledger(name, Loads && !now.failed());
    return now.failed() ? nullptr : std::bit_cast<HMODULE>(found);
}

KVTIP_FAKE(LoadLibraryW) = find_module<true>;
KVTIP_FAKE(GetModuleHandleW) = find_module<false>;

KVTIP_FAKE(GetSystemDirectoryW) = [](LPWSTR folder, UINT room) -> UINT {
    const call now("GetSystemDirectoryW", room);
    return now.failed() ? 0 : static_cast<UINT>(std::wstring(L"S:").copy(folder, room)); // unterminated
};

KVTIP_FAKE(FreeLibrary) = [](HMODULE module) -> BOOL {
    const char* name = *std::bit_cast<const char* const*>(module);
    const call now("FreeLibrary", name);
    enter_in_ledger(name, -1);
    return !now.failed();
};

// Entries.

INT_PTR WINAPI unexpected() {
    ADD_FAILURE() << "an entry that nobody should call";
    return 0;
}

LONG WINAPI rtl_get_version(RTL_OSVERSIONINFOEXW* version) {
    call now("RtlGetVersion");
    EXPECT_EQ(version->dwOSVersionInfoSize, 284u);
    version->dwMajorVersion = now.failed() ? 0 : current->major;
    version->dwMinorVersion = 3;
    version->dwBuildNumber = current->build;
    return now.status();
}

BOOL WINAPI get_product_info(DWORD major, DWORD minor, DWORD, DWORD, DWORD* type) {
    call now("GetProductInfo");
    EXPECT_EQ(text(major) + "." + text(minor), text(current->major) + ".3");
    *type = now.failed() ? 0 : 48;
    return now.status() == 0;
}

DWORD WINAPI format_message(DWORD flags, const void*, DWORD code, DWORD, LPWSTR text, DWORD room, va_list*) {
    call now("FormatMessageW", code);
    EXPECT_EQ(flags, DWORD{FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                           FORMAT_MESSAGE_MAX_WIDTH_MASK});
    const std::wstring& message = current->messages[code];
    if (!now.fails_if(message.empty(), ERROR_MR_MID_NOT_FOUND) &&
        !now.fails_if(message.size() >= room, ERROR_INSUFFICIENT_BUFFER)) {
        text[message.copy(text, room)] = 0;
    }
    return now.failed() ? 0 : static_cast<DWORD>(message.size());
}

/// Fills a caller's list: the first entry in its buffer, the others each at the end of a page.
template <class Entry>
ULONG fill_list(call now, std::vector<Entry>& entries, ULONG wanted, Entry* list, ULONG* size) {
    if (now.failed()) {
        std::memset(list, 0xCC, *size);
    } else if (now.fails_if(*size < wanted, ERROR_BUFFER_OVERFLOW)) {
        *size = wanted;
    } else if (!now.fails_if(entries.empty(), ERROR_NO_DATA)) {
        Entry* next = nullptr;
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
            entry->Next = next;
            next = current->keep(*entry);
        }
        *list = *next;
    }
    return static_cast<ULONG>(now.status());
}

ULONG WINAPI list_adapters(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* list, ULONG* size) {
    return fill_list(call("GetAdaptersAddresses", std::to_string(family) + "," + std::to_string(flags)),
                     current->adapters, current->list_size, list, size);
}

// The platform's header does not import this one through a slot.
extern "C" ULONG WINAPI __wrap_GetAdaptersInfo(IP_ADAPTER_INFO* list, ULONG* size) {
    return fill_list(call("GetAdaptersInfo"), current->older_adapters, current->older_list_size, list, size);
}

KVTIP_FAKE(GetProcAddress) = [](HMODULE module, LPCSTR name) -> FARPROC {
    call now("GetProcAddress", name);
    static const entry_map entries = [] {
        entry_map all = {{"RtlGetVersion", fake(&rtl_get_version)},
                         {"GetProductInfo", fake(&get_product_info)},
                         {"GetAdaptersAddresses", fake(&list_adapters)},
                         {"CompareStringOrdinal", fake(&CompareStringOrdinal)},
                         {"FormatMessageW", fake(&format_message)}};
        for (const entry_map* fakes : {&socket_entries, &service_entries, &kernel_entries, &change_entries}) {
            all.insert(fakes->begin(), fakes->end());
        }
        return all;
    }();
    if (now.fails_if(module == nullptr, ERROR_PROC_NOT_FOUND)) {
        return nullptr;
    }
    const auto found = entries.find(name);
    return found == entries.end() ? fake(&unexpected) : found->second;
};

// The registry. A key's handle is the address of its class's devices, or of one of these.

KVTIP_FAKE(RegOpenKeyExW) = [](HKEY parent, LPCWSTR path, DWORD, REGSAM, HKEY* key) {
    call now("RegOpenKeyExW");
    const std::wstring folder = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
    const std::map<std::wstring, std::vector<device>*> classes = {
        {folder + L"{4d36e972-e325-11ce-bfc1-08002be10318}", &current->network_devices},
        {folder + L"{4d36e96d-e325-11ce-bfc1-08002be10318}", &current->modem_devices}};
    if (parent == HKEY_LOCAL_MACHINE) {
        *key = std::bit_cast<HKEY>(classes.at(path));
        now.fails_if(classes.at(path)->empty(), ERROR_FILE_NOT_FOUND);
    } else {
        *key = std::bit_cast<HKEY>(&std::bit_cast<std::vector<device>*>(parent)->at(std::stoul(path)));
    }
    *key = now.failed() ? std::bit_cast<HKEY>(ULONG_PTR{poison}) : *key;
    enter_in_ledger("registry keys", !now.failed());
    return now.status();
};

KVTIP_FAKE(RegCloseKey) = [](HKEY) {
    call now("RegCloseKey");
    enter_in_ledger("registry keys", -1);
    return now.status();
};

KVTIP_FAKE(RegEnumKeyExW) = [](HKEY key, DWORD index, LPWSTR name, LPDWORD length, auto...) {
    call now("RegEnumKeyExW");
    if (!now.fails_if(index >= std::bit_cast<std::vector<device>*>(key)->size(), ERROR_NO_MORE_ITEMS)) {
        *length = static_cast<DWORD>(std::swprintf(name, *length, L"%lu", index));
    }
    return now.status();
};

KVTIP_FAKE(RegQueryValueExW) = [](HKEY key, LPCWSTR name, auto, LPDWORD type, LPBYTE data, LPDWORD size) {
    call now("RegQueryValueExW");
    const auto& values = *std::bit_cast<const device*>(key);
    const auto value = values.find(name);
    if (now.failed()) {
        *size += sizeof(wchar_t); // a value that has grown, if the code says so
    } else if (!now.fails_if(value == values.end(), ERROR_FILE_NOT_FOUND)) {
        const std::wstring& text = value->second.second; // without terminator, as a stored one may be
        const DWORD room = std::exchange(*size, static_cast<DWORD>(text.size() * sizeof(wchar_t)));
        *type = value->second.first;
        now.fails_if(room < *size, ERROR_MORE_DATA);
        std::memcpy(data, text.data(), std::min(room, *size));
    }
    return now.status();
};

/// Repeats the text ten times instead of replacing variables in it.
KVTIP_FAKE(ExpandEnvironmentStringsW) = [](LPCWSTR text, LPWSTR out, DWORD capacity) {
    const call now("ExpandEnvironmentStringsW");
    std::wstring expanded;
    for (int i = 0; i < 10; ++i) {
        expanded += text;
    }
    if (!now.failed() && expanded.size() < capacity) {
        *std::copy(expanded.begin(), expanded.end(), out) = 0;
    }
    if (now.failed()) {
        return now.code() == ERROR_MORE_DATA ? capacity + 1 : DWORD{0}; // a text that grows, or no text
    }
    return static_cast<DWORD>(expanded.size() + 1);
};

// Critical sections and text conversions: the true ones, watched.

/// The sections that a thread holds, the last one taken last. Plain: with a destructor they would make the
/// compiler's runtime call the system at the thread's end.
constinit thread_local const void* held[8] = {};
constinit thread_local std::size_t held_count = 0;

std::vector<const void*> held_locks() {
    return std::vector<const void*>(held, held + held_count);
}

template <auto Real, auto Note>
void watched(CRITICAL_SECTION* section) {
    const heap::pause pause;
    Note(section);
    (*Real)(section);
    SetLastError(poison);
}

template <int By>
constexpr auto count_section = [](auto*) { enter_in_ledger("critical sections", By); };

constexpr auto take = [](const void* section) {
    enter_in_ledger("locks", 1);
    for (const void* other : std::span(held, held_count)) {
        std::unique_lock guard(ledger_mutex);
        lock_order.emplace(other, section);
        const bool reversed = other != section && lock_order.contains({section, other});
        guard.unlock();
        EXPECT_FALSE(reversed) << "lock order reversed";
    }
    held[held_count++] = section;
};

constexpr auto give_back = [](const void* section) {
    enter_in_ledger("locks", -1);
    EXPECT_EQ(held[--held_count], section);
};

KVTIP_FAKE(InitializeCriticalSection) = watched<&__real___imp_InitializeCriticalSection, count_section<1>>;
KVTIP_FAKE(DeleteCriticalSection) = watched<&__real___imp_DeleteCriticalSection, count_section<-1>>;
KVTIP_FAKE(EnterCriticalSection) = watched<&__real___imp_EnterCriticalSection, take>;
KVTIP_FAKE(LeaveCriticalSection) = watched<&__real___imp_LeaveCriticalSection, give_back>;

KVTIP_FAKE(MultiByteToWideChar) = [](UINT page, auto... arguments) {
    call now("MultiByteToWideChar", std::to_string(page));
    const int length = now.failed() ? 0 : __real___imp_MultiByteToWideChar(page, arguments...);
    now.fails_if(length == 0, GetLastError());
    return length;
};

KVTIP_FAKE(WideCharToMultiByte) = [](UINT page, auto... arguments) {
    const call now("WideCharToMultiByte", std::to_string(page));
    return now.failed() ? 0 : __real___imp_WideCharToMultiByte(page, arguments...);
};

ip::addr address(const char* text) {
    ip::addr result;
    EXPECT_TRUE(ip::detail::parse_address(text, result)) << text;
    return result;
}

ip::saddr socket_address(const char* text, std::uint16_t port) {
    ip::saddr result = ip::detail::to_saddr(address(text));
    result.port = __builtin_bswap16(port);
    return result;
}

SOCKET_ADDRESS system::record(const ip::saddr& address) {
    const int length = ip::detail::length_of(address);
    auto* kept = keep(address, static_cast<std::size_t>(length));
    return {length == 0 ? nullptr : reinterpret_cast<SOCKADDR*>(kept), length};
}

std::string system::called(std::string_view prefix) const {
    std::string result;
    for (const std::string& call : calls) {
        if (call.starts_with(prefix)) {
            result += (result.empty() ? "" : " ") + call.substr(prefix.size());
        }
    }
    return result;
}

endpoint::endpoint(const char* text, std::uint16_t port)
    : address(socket_address(text, port)), length(ip::detail::length_of(address)) {}

void system::load_library() {
    ip::detail::create_helper();
    ip::detail::own_helper();
}

void system::unload_library() {
    kvt::main::run_at_exit_actions([](const auto& failure) { ADD_FAILURE() << failure.what(); });
}

void system::close_elsewhere(SOCKET handle) {
    enter_in_ledger("sockets", sockets.erase(handle) == 0 ? 0 : -1);
    closed_elsewhere = handle;
    for (const char* what : {"starts", "Ws2_32.dll"}) {
        enter_in_ledger(what, -1);
    }
}

system::system(DWORD major_version, bool loaded) : major(major_version) {
    kvtip::library::sockets_are_kept = false;
    if (major < 6) {
        missing = {"WSAConnectByNameA",
                   "WSAConnectByNameW",
                   "WSAPoll",
                   "GetAddrInfoExW",
                   "FreeAddrInfoExW",
                   "GetAddrInfoExCancel",
                   "GetAddrInfoExOverlappedResult",
                   "NotifyIpInterfaceChange",
                   "NotifyUnicastIpAddressChange",
                   "NotifyRouteChange2",
                   "CancelMibChangeNotify2"};
    }
    if (major < 5) {
        missing.insert(
            {"getaddrinfo", "freeaddrinfo", "getnameinfo", "GetNameInfoW", "GetAddrInfoW", "FreeAddrInfoW"});
    }
    const std::string local = bytes(socket_address("192.0.2.10", 1)),
                      peer = bytes(socket_address("192.0.2.9", 2));
    outputs = {{"gethostname", {bytes<char>("own")}},
               {"WSAAccept", {peer}},
               {"getpeername", {peer}},
               {"getsockname", {local}},
               {"recv", {"data"}},
               {"recvfrom", {"data", peer}},
               {"WSAConnectByNameA", {local, peer}},
               {"WSAConnectByNameW", {local, peer}}};
    unload_library(); // at first the one of this program, which was set up on the real system
    current = this;
    if (loaded) {
        load_library();
    }
}

system::~system() {
    unload_library();
    current = nullptr;
    for (const auto& [what, left] : std::exchange(ledger, {})) {
        EXPECT_EQ(left, 0) << what << " not given back";
    }
    lock_order.clear();
}

} // namespace scripted
