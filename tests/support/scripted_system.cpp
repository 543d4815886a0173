#include "scripted_system.h"

#include "address/convert.h"
#include "address/parse.h"
#include "heap.h"
#include "ip/detail/helper.h"
#include "runtime/at_exit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <mutex>
#include <string_view>

// The true functions behind the seam at the end of this file.
#define KVTIP_REAL(name) extern "C" decltype(&name) __real___imp_##name
KVTIP_REAL(LoadLibraryW);
KVTIP_REAL(FreeLibrary);
KVTIP_REAL(GetModuleHandleW);
KVTIP_REAL(GetProcAddress);
KVTIP_REAL(InitializeCriticalSection);
KVTIP_REAL(DeleteCriticalSection);
KVTIP_REAL(EnterCriticalSection);
KVTIP_REAL(LeaveCriticalSection);
KVTIP_REAL(RegOpenKeyExW);
KVTIP_REAL(RegCloseKey);
KVTIP_REAL(RegEnumKeyExW);
KVTIP_REAL(RegQueryValueExW);
KVTIP_REAL(ExpandEnvironmentStringsW);
KVTIP_REAL(MultiByteToWideChar);
KVTIP_REAL(WideCharToMultiByte);

namespace scripted {

const wchar_t* const network_class =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e972-e325-11ce-bfc1-08002be10318}";
const wchar_t* const modem_class =
    L"SYSTEM\\CurrentControlSet\\Control\\Class\\{4d36e96d-e325-11ce-bfc1-08002be10318}";

namespace {

constinit system* current = nullptr;

// The ledger: what was handed out and has not come back.
constinit std::atomic<int> starts = 0, sections = 0, locks_held = 0, keys_open = 0;
std::array<std::atomic<int>, 4> loads;
std::set<std::pair<const void*, const void*>> lock_order; // held first, then taken
std::mutex order_mutex;

/// The sections that this thread holds, the last one taken last. A plain record: one with a destructor
/// would make the compiler's runtime call the system at the thread's end.
struct held_sections {
    const void* sections[8];
    std::size_t count;
};
constinit thread_local held_sections held{};

struct module_row {
    const char* name;
    const wchar_t* wide_name;
    std::string_view entries; // those without a script of their own, which nobody may call
};

constexpr module_row modules[] = {
    {"ntdll", L"ntdll", ""},
    {"kernel32", L"kernel32", ""},
    {"Iphlpapi.dll", L"Iphlpapi.dll",
     " IcmpCreateFile IcmpCloseHandle IcmpSendEcho SendARP GetIpNetTable GetBestInterfaceEx Icmp6CreateFile"
     " Icmp6SendEcho2 ResolveIpNetEntry2 GetIpNetTable2 FreeMibTable GetExtendedTcpTable GetExtendedUdpTable"
     " GetPerTcpConnectionEStats GetPerTcp6ConnectionEStats "},
    {"Ws2_32.dll", L"Ws2_32.dll",
     " WSAEnumProtocolsW WSASocketW getsockopt setsockopt shutdown closesocket bind listen select WSAAccept"
     " send sendto recv recvfrom connect htons ntohs htonl gethostbyname gethostbyaddr getservbyname"
     " getservbyport getpeername getsockname gethostname ioctlsocket getaddrinfo freeaddrinfo getnameinfo"
     " GetNameInfoW GetAddrInfoW FreeAddrInfoW WSAConnectByNameA WSAConnectByNameW WSAPoll "},
};

std::size_t module_number(const wchar_t* name) {
    const auto same = [name](const module_row& row) { return row.wide_name == std::wstring_view(name); };
    const auto found = std::find_if(std::begin(modules), std::end(modules), same);
    EXPECT_NE(found, std::end(modules)) << "a module that nobody should ask for";
    return static_cast<std::size_t>(found - std::begin(modules));
}

/// One call in progress: writes it down, decides what it answers, and sets the last error at its end.
class call {
public:
    enum reports { in_last_error, in_result };

    explicit call(const char* function, std::string_view argument = {}, reports how = in_last_error)
        : how_(how) {
        if (current->yields) {
            Sleep(0);
        }
        if (!current->logs) {
            return;
        }
        if (current->calls.size() == current->failing_call) {
            code = system::failing_code;
        }
        const std::string name = function;
        const std::string full = argument.empty() ? name : name + "(" + std::string(argument) + ")";
        current->calls.push_back(full);
        for (const std::string& key : {name, full}) {
            const auto answer = current->answers.find(key);
            if (answer != current->answers.end() && !answer->second.empty()) {
                code = answer->second.front();
                answer->second.pop_front();
            }
        }
        if (code == 0 && current->missing.contains(std::string(argument))) {
            code = name == "GetProcAddress" ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
        }
    }
    ~call() {
        const bool told = how_ == in_last_error && failed();
        SetLastError(!told ? poison : code == system::no_reason ? 0 : code);
    }

    bool failed() const { return code != 0; }

    DWORD code = 0;

private:
    heap::pause pause_;
    reports how_;
};

// Modules. A handle is the address of the module's row.

HMODULE WINAPI load_library(LPCWSTR name) {
    const std::size_t number = module_number(name);
    const call now("LoadLibraryW", modules[number].name);
    if (now.failed()) {
        return nullptr;
    }
    ++loads[number];
    return std::bit_cast<HMODULE>(&modules[number]);
}

HMODULE WINAPI get_module_handle(LPCWSTR name) {
    const std::size_t number = module_number(name);
    const call now("GetModuleHandleW", modules[number].name);
    return now.failed() ? nullptr : std::bit_cast<HMODULE>(&modules[number]);
}

BOOL WINAPI free_library(HMODULE module) {
    const auto number = std::bit_cast<const module_row*>(module) - modules;
    const call now("FreeLibrary", modules[number].name);
    EXPECT_GE(--loads[static_cast<std::size_t>(number)], 0) << modules[number].name << " freed too often";
    return !now.failed();
}

// Entries.

INT_PTR WINAPI unexpected() {
    ADD_FAILURE() << "an entry that nobody should call";
    return 0;
}

LONG WINAPI rtl_get_version(RTL_OSVERSIONINFOEXW* version) {
    const call now("RtlGetVersion", {}, call::in_result);
    EXPECT_EQ(version->dwOSVersionInfoSize, 284u);
    if (!now.failed()) {
        *version = current->version;
    }
    return static_cast<LONG>(now.code);
}

BOOL WINAPI get_product_info(DWORD major, DWORD, DWORD, DWORD, DWORD* type) {
    const call now("GetProductInfo", {}, call::in_result);
    EXPECT_EQ(major, current->version.dwMajorVersion);
    *type = now.failed() ? 0 : 48;
    return !now.failed();
}

int WSAAPI wsa_startup(WORD version, WSADATA* data) {
    call now("WSAStartup", std::to_string(version), call::in_result);
    if ((version & 0xFF) == 0) {
        now.code = WSAVERNOTSUPPORTED;
    }
    data->wVersion = now.failed() ? 0xDEAD : version;
    starts += now.failed() ? 0 : 1;
    return static_cast<int>(now.code);
}

int WSAAPI wsa_cleanup() {
    const call now("WSACleanup");
    EXPECT_GE(--starts, 0) << "more clean-ups than starts";
    return now.failed() ? SOCKET_ERROR : 0;
}

int WSAAPI wsa_get_last_error() {
    return static_cast<int>(GetLastError());
}

/// Takes any text for the address 1.2.3.4 or 102:304:: of the family asked for.
template <class Char>
INT WSAAPI string_to_address(Char* text, INT family, WSAPROTOCOL_INFOW*, SOCKADDR* record, INT* length) {
    const call now("WSAStringToAddress", sizeof *text == 1 ? "A" : "W");
    EXPECT_EQ(record->sa_family, family);
    EXPECT_EQ(*length, family == AF_INET ? 16 : 28);
    std::memset(record, 0xCC, static_cast<std::size_t>(*length));
    constexpr char bytes[] = {1, 2, 3, 4};
    if (!now.failed()) {
        std::memset(record, 0, static_cast<std::size_t>(*length));
        std::memcpy(reinterpret_cast<char*>(record) + (family == AF_INET ? 4 : 8), bytes, sizeof bytes);
    }
    return now.failed() ? SOCKET_ERROR : 0;
}

/// Writes the record's length and the room as text: two facts that a caller can check.
template <class Char>
INT WSAAPI address_to_string(SOCKADDR* record, DWORD length, WSAPROTOCOL_INFOW*, Char* text, DWORD* room) {
    const call now("WSAAddressToString", sizeof *text == 1 ? "A" : "W");
    const std::string facts = std::to_string(length) + "/" + std::to_string(*room);
    EXPECT_EQ(record->sa_family, length == 16 ? AF_INET : AF_INET6);
    if (now.failed() || *room <= facts.size()) {
        *room = poison;
        return SOCKET_ERROR;
    }
    *std::copy(facts.begin(), facts.end(), text) = 0;
    return 0;
}

ULONG WINAPI get_adapters_addresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* list,
                                    ULONG* size) {
    call now("GetAdaptersAddresses", std::to_string(family) + "," + std::to_string(flags), call::in_result);
    if (now.failed()) {
        std::memset(list, 0xCC, *size);
    } else if (*size < current->list_size) {
        *size = current->list_size;
        now.code = ERROR_BUFFER_OVERFLOW;
    } else if (current->adapters.empty()) {
        now.code = ERROR_NO_DATA;
    } else {
        IP_ADAPTER_ADDRESSES* next = nullptr;
        for (auto entry = current->adapters.rbegin(); entry != current->adapters.rend(); ++entry) {
            entry->Next = next;
            next = current->keep(*entry);
        }
        *list = *next;
    }
    return now.code;
}

ULONG WINAPI get_adapters_info(IP_ADAPTER_INFO* list, ULONG* size) {
    call now("GetAdaptersInfo", {}, call::in_result);
    if (now.failed()) {
        std::memset(list, 0xCC, *size);
    } else if (*size < current->older_list_size) {
        *size = current->older_list_size;
        now.code = ERROR_BUFFER_OVERFLOW;
    } else if (current->older_adapters.empty()) {
        now.code = ERROR_NO_DATA;
    } else {
        IP_ADAPTER_INFO* next = nullptr;
        for (auto entry = current->older_adapters.rbegin(); entry != current->older_adapters.rend();
             ++entry) {
            entry->Next = next;
            next = current->keep(*entry);
        }
        *list = *next;
    }
    return now.code;
}

template <class Function>
FARPROC entry(Function* function) {
    return std::bit_cast<FARPROC>(function);
}

FARPROC WINAPI get_proc_address(HMODULE module, LPCSTR name) {
    call now("GetProcAddress", name);
    static const std::map<std::string_view, FARPROC> scripts[std::size(modules)] = {
        {{"RtlGetVersion", entry(&rtl_get_version)}},
        {{"GetProductInfo", entry(&get_product_info)}},
        {{"GetAdaptersAddresses", entry(&get_adapters_addresses)}},
        {{"WSAStartup", entry(&wsa_startup)},
         {"WSACleanup", entry(&wsa_cleanup)},
         {"WSAGetLastError", entry(&wsa_get_last_error)},
         {"WSAStringToAddressA", entry(&string_to_address<char>)},
         {"WSAStringToAddressW", entry(&string_to_address<wchar_t>)},
         {"WSAAddressToStringA", entry(&address_to_string<char>)},
         {"WSAAddressToStringW", entry(&address_to_string<wchar_t>)}},
    };
    if (module == nullptr && !now.failed()) {
        now.code = ERROR_PROC_NOT_FOUND;
    }
    if (now.failed()) {
        return nullptr;
    }
    const auto* row = std::bit_cast<const module_row*>(module);
    const auto& scripted = scripts[row - modules];
    const auto script = scripted.find(name);
    if (script != scripted.end()) {
        return script->second;
    }
    EXPECT_NE(row->entries.find(" " + std::string(name) + " "), std::string_view::npos) << name;
    return entry(&unexpected);
}

// Critical sections: the real ones, watched.

void WINAPI initialize_section(CRITICAL_SECTION* section) {
    __real___imp_InitializeCriticalSection(section);
    ++sections;
    SetLastError(poison);
}

void WINAPI delete_section(CRITICAL_SECTION* section) {
    __real___imp_DeleteCriticalSection(section);
    EXPECT_GE(--sections, 0);
    SetLastError(poison);
}

void WINAPI enter_section(CRITICAL_SECTION* section) {
    __real___imp_EnterCriticalSection(section);
    const heap::pause pause;
    for (std::size_t i = 0; i < held.count; ++i) {
        const void* other = held.sections[i];
        const std::lock_guard guard(order_mutex);
        lock_order.emplace(other, section);
        EXPECT_TRUE(other == section || !lock_order.contains({section, other})) << "lock order reversed";
    }
    held.sections[held.count++] = section;
    ++locks_held;
    SetLastError(poison);
}

void WINAPI leave_section(CRITICAL_SECTION* section) {
    EXPECT_EQ(held.sections[--held.count], section);
    --locks_held;
    __real___imp_LeaveCriticalSection(section);
    SetLastError(poison);
}

// The registry. A key's handle is the address of its class's devices, or of its device.

LSTATUS WINAPI open_key(HKEY parent, LPCWSTR path, DWORD, REGSAM, HKEY* key) {
    call now("RegOpenKeyExW", {}, call::in_result);
    const auto found = current->devices.find(parent == HKEY_LOCAL_MACHINE ? path : L"");
    *key = std::bit_cast<HKEY>(ULONG_PTR{poison});
    if (!now.failed() && parent != HKEY_LOCAL_MACHINE) {
        *key = std::bit_cast<HKEY>(&(*std::bit_cast<std::vector<device>*>(parent))[std::stoul(path)]);
    } else if (!now.failed() && found != current->devices.end()) {
        *key = std::bit_cast<HKEY>(&found->second);
    } else if (!now.failed()) {
        now.code = ERROR_FILE_NOT_FOUND;
    }
    keys_open += now.failed() ? 0 : 1;
    return static_cast<LSTATUS>(now.code);
}

LSTATUS WINAPI close_key(HKEY) {
    const call now("RegCloseKey", {}, call::in_result);
    EXPECT_GE(--keys_open, 0);
    return static_cast<LSTATUS>(now.code);
}

LSTATUS WINAPI enum_key(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD,
                        FILETIME*) {
    call now("RegEnumKeyExW", {}, call::in_result);
    if (!now.failed() && index >= std::bit_cast<std::vector<device>*>(key)->size()) {
        now.code = ERROR_NO_MORE_ITEMS;
    }
    if (!now.failed()) {
        const std::wstring text = std::to_wstring(index);
        *std::copy(text.begin(), text.end(), name) = 0;
        *length = static_cast<DWORD>(text.size());
    }
    return static_cast<LSTATUS>(now.code);
}

LSTATUS WINAPI query_value(HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
    call now("RegQueryValueExW", {}, call::in_result);
    const auto* values = std::bit_cast<const device*>(key);
    const auto value = values->find(name);
    if (!now.failed() && value == values->end()) {
        now.code = ERROR_FILE_NOT_FOUND;
    }
    if (!now.failed()) {
        // Without terminator, as a stored string may be.
        const std::wstring& text = value->second.text;
        const DWORD needed = static_cast<DWORD>(text.size() * sizeof(wchar_t));
        now.code = *size < needed ? ERROR_MORE_DATA : 0;
        *size = needed;
        *type = value->second.type;
        if (!now.failed()) {
            std::memcpy(data, text.data(), needed);
        }
    }
    return static_cast<LSTATUS>(now.code);
}

/// Makes the text ten times as long instead of looking for variables in it.
DWORD WINAPI expand_strings(LPCWSTR text, LPWSTR out, DWORD capacity) {
    const call now("ExpandEnvironmentStringsW");
    const std::size_t needed = std::wcslen(text) * 10 + 1;
    if (!now.failed() && needed <= capacity) {
        for (int i = 0; i < 10; ++i) {
            out = std::copy_n(text, std::wcslen(text), out);
        }
        *out = 0;
    }
    return now.failed() ? 0 : static_cast<DWORD>(needed);
}

// Text conversions: the real ones, watched.

int WINAPI to_wide_char(UINT page, DWORD flags, LPCCH text, int length, LPWSTR out, int capacity) {
    const call now("MultiByteToWideChar", std::to_string(page));
    return now.failed() ? 0 : __real___imp_MultiByteToWideChar(page, flags, text, length, out, capacity);
}

int WINAPI to_multi_byte(UINT page, DWORD flags, LPCWCH text, int length, LPSTR out, int capacity,
                         LPCCH fallback, LPBOOL used) {
    const call now("WideCharToMultiByte", std::to_string(page));
    return now.failed()
               ? 0
               : __real___imp_WideCharToMultiByte(page, flags, text, length, out, capacity, fallback, used);
}

/// A function that asks the scripted system, if there is one, and else the platform, as the calls of
/// the compiler's own runtime always do.
template <auto Real, auto Scripted>
struct seam;
template <class Result, class... Arguments, Result (**Real)(Arguments...), Result (*Scripted)(Arguments...)>
struct seam<Real, Scripted> {
    static Result WINAPI function(Arguments... arguments) {
        return current != nullptr ? Scripted(arguments...) : (*Real)(arguments...);
    }
};

} // namespace

ip::addr address(const char* text) {
    ip::addr result;
    EXPECT_TRUE(ip::detail::parse_address(text, result)) << text;
    return result;
}

ip::saddr socket_address(const char* text, std::uint16_t port) {
    ip::saddr result = ip::detail::to_saddr(address(text));
    result.port = port;
    return result;
}

SOCKET_ADDRESS system::record(const ip::saddr& address) {
    const int length = ip::detail::length_of(address);
    auto* kept = keep(address, static_cast<std::size_t>(length));
    return {length == 0 ? nullptr : reinterpret_cast<SOCKADDR*>(kept), length};
}

std::ptrdiff_t system::count(const std::string& call) const {
    return std::count(calls.begin(), calls.end(), call);
}

void system::load_library() {
    ip::detail::create_helper();
    ip::detail::own_helper();
}

void system::unload_library() {
    kvt::main::run_at_exit_actions([](const auto& failure) { ADD_FAILURE() << failure.what(); });
}

system::system(DWORD major, bool loaded) {
    version.dwOSVersionInfoSize = sizeof version;
    version.dwMajorVersion = major;
    current = this;
    if (loaded) {
        load_library();
    }
}

system::~system() {
    unload_library();
    current = nullptr;
    lock_order.clear();
    for (std::size_t i = 0; i < loads.size(); ++i) {
        EXPECT_EQ(loads[i].exchange(0), 0) << modules[i].name << " stays loaded";
    }
    EXPECT_EQ(starts.exchange(0), 0) << "starts without clean-up";
    EXPECT_EQ(sections.exchange(0), 0) << "critical sections that were not deleted";
    EXPECT_EQ(locks_held.exchange(0), 0) << "locks still held";
    EXPECT_EQ(keys_open.exchange(0), 0) << "registry keys still open";
}

} // namespace scripted

// The seam: the linker puts these in the place of the library's import slots.
extern "C" {
#define KVTIP_SEAM(name, scripted_function)         \
    constinit decltype(&name) __wrap___imp_##name = \
        &scripted::seam<&__real___imp_##name, &scripted::scripted_function>::function
KVTIP_SEAM(LoadLibraryW, load_library);
KVTIP_SEAM(FreeLibrary, free_library);
KVTIP_SEAM(GetModuleHandleW, get_module_handle);
KVTIP_SEAM(GetProcAddress, get_proc_address);
KVTIP_SEAM(InitializeCriticalSection, initialize_section);
KVTIP_SEAM(DeleteCriticalSection, delete_section);
KVTIP_SEAM(EnterCriticalSection, enter_section);
KVTIP_SEAM(LeaveCriticalSection, leave_section);
KVTIP_SEAM(RegOpenKeyExW, open_key);
KVTIP_SEAM(RegCloseKey, close_key);
KVTIP_SEAM(RegEnumKeyExW, enum_key);
KVTIP_SEAM(RegQueryValueExW, query_value);
KVTIP_SEAM(ExpandEnvironmentStringsW, expand_strings);
KVTIP_SEAM(MultiByteToWideChar, to_wide_char);
KVTIP_SEAM(WideCharToMultiByte, to_multi_byte);

// The platform's header does not import this one through a slot.
ULONG WINAPI __real_GetAdaptersInfo(IP_ADAPTER_INFO*, ULONG*);
ULONG WINAPI __wrap_GetAdaptersInfo(IP_ADAPTER_INFO* list, ULONG* size) {
    return (scripted::current != nullptr ? scripted::get_adapters_info : __real_GetAdaptersInfo)(list, size);
}
}
