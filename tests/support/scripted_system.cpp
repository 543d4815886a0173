#include "scripted_system.h"

#include "address/convert.h"
#include "address/parse.h"
#include "heap.h"
#include "ip/detail/helper.h"
#include "runtime/at_exit.h"

#include <gtest/gtest.h>

#include <bit>
#include <mutex>
#include <string_view>
#include <type_traits>
#include <utility>

namespace scripted {
namespace {

constexpr DWORD poison = 0xBADC0DE;
constinit system* current = nullptr;

// The ledger: what was handed out and has not come back, and which lock was taken under which.
std::mutex ledger_mutex;
std::map<std::string, int> ledger;
std::set<std::pair<const void*, const void*>> lock_order;

void enter_in_ledger(const std::string& what, int by) {
    const std::lock_guard guard(ledger_mutex);
    EXPECT_GE(ledger[what] += by, 0) << what << ": given back too often";
}

/// One call in progress: writes it down, decides what it answers, and sets the last error at its end.
class call {
public:
    explicit call(const char* function, std::string_view argument = {}, bool sets_last_error = true)
        : sets_last_error_(sets_last_error) {
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
        for (const std::string& key : std::set<std::string>{name, full}) {
            std::deque<DWORD>& answers = current->answers[key];
            if (!answers.empty()) {
                code = answers.front();
                answers.pop_front();
            }
        }
        if (code == 0 && current->missing.contains(std::string(argument))) {
            code = name == "GetProcAddress" ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND;
        }
    }
    ~call() {
        const bool told = sets_last_error_ && failed();
        SetLastError(!told ? poison : code == system::no_reason ? 0 : code);
    }

    bool failed() const { return code != 0; }
    LSTATUS status() const { return static_cast<LSTATUS>(code); }

    DWORD code = 0;

private:
    heap::pause pause_;
    bool sets_last_error_;
};

/// A call that returns its code and leaves nothing in the last error.
struct coded_call : call {
    explicit coded_call(const char* function, std::string_view argument = {})
        : call(function, argument, false) {}
};

// Modules. A handle is the address of the module's row.

struct module_row {
    const char* name;
};
constexpr module_row modules[] = {{"ntdll"}, {"kernel32"}, {"Iphlpapi.dll"}, {"Ws2_32.dll"}};

const module_row& module_named(const wchar_t* wide) {
    const std::string name(wide, wide + std::wcslen(wide));
    const auto found = std::find_if(std::begin(modules), std::end(modules),
                                    [&](const module_row& row) { return row.name == name; });
    EXPECT_NE(found, std::end(modules)) << "nobody should ask for " << name;
    return *found;
}

HMODULE WINAPI load_library(LPCWSTR name) {
    const module_row& row = module_named(name);
    const call now("LoadLibraryW", row.name);
    if (now.failed()) {
        return nullptr;
    }
    enter_in_ledger(row.name, 1);
    return std::bit_cast<HMODULE>(&row);
}

HMODULE WINAPI get_module_handle(LPCWSTR name) {
    const module_row& row = module_named(name);
    const call now("GetModuleHandleW", row.name);
    return now.failed() ? nullptr : std::bit_cast<HMODULE>(&row);
}

BOOL WINAPI free_library(HMODULE module) {
    const auto* row = std::bit_cast<const module_row*>(module);
    const call now("FreeLibrary", row->name);
    enter_in_ledger(row->name, -1);
    return !now.failed();
}

// Entries.

INT_PTR WINAPI unexpected() {
    ADD_FAILURE() << "an entry that nobody should call";
    return 0;
}

LONG WINAPI rtl_get_version(RTL_OSVERSIONINFOEXW* version) {
    const coded_call now("RtlGetVersion");
    EXPECT_EQ(version->dwOSVersionInfoSize, 284u);
    if (!now.failed()) {
        *version = current->version;
    }
    return now.status();
}

BOOL WINAPI get_product_info(DWORD major, DWORD, DWORD, DWORD, DWORD* type) {
    const coded_call now("GetProductInfo");
    EXPECT_EQ(major, current->version.dwMajorVersion);
    *type = now.failed() ? 0 : 48;
    return !now.failed();
}

int WSAAPI wsa_startup(WORD version, WSADATA* data) {
    coded_call now("WSAStartup", std::to_string(version));
    if ((version & 0xFF) == 0) {
        now.code = WSAVERNOTSUPPORTED;
    }
    data->wVersion = now.failed() ? 0xDEAD : version;
    enter_in_ledger("starts", now.failed() ? 0 : 1);
    return now.status();
}

int WSAAPI wsa_cleanup() {
    const call now("WSACleanup");
    enter_in_ledger("starts", -1);
    return now.failed() ? SOCKET_ERROR : 0;
}

int WSAAPI wsa_get_last_error() {
    return static_cast<int>(GetLastError());
}

/// Takes any text for the address 1.2.3.4 or 102:304:: of the family asked for.
template <class Char>
INT WSAAPI string_to_address(Char*, INT family, WSAPROTOCOL_INFOW*, SOCKADDR* record, INT* length) {
    const call now("WSAStringToAddress", sizeof(Char) == 1 ? "A" : "W");
    EXPECT_EQ(record->sa_family, family);
    EXPECT_EQ(*length, family == AF_INET ? 16 : 28);
    std::memset(record, now.failed() ? 0xCC : 0, static_cast<std::size_t>(*length));
    if (!now.failed()) {
        std::memcpy(reinterpret_cast<char*>(record) + (family == AF_INET ? 4 : 8), "\1\2\3\4", 4);
    }
    return now.failed() ? SOCKET_ERROR : 0;
}

/// Writes the record's length and the room as text: two facts that a caller can check.
template <class Char>
INT WSAAPI address_to_string(SOCKADDR* record, DWORD length, WSAPROTOCOL_INFOW*, Char* text, DWORD* room) {
    const call now("WSAAddressToString", sizeof(Char) == 1 ? "A" : "W");
    const std::string facts = std::to_string(length) + "/" + std::to_string(*room);
    EXPECT_EQ(record->sa_family, length == 16 ? AF_INET : AF_INET6);
    if (now.failed() || *room <= facts.size()) {
        *room = poison;
        return SOCKET_ERROR;
    }
    *std::copy(facts.begin(), facts.end(), text) = 0;
    return 0;
}

/// Fills a caller's list: the first entry in its buffer, the others each at the end of a page.
template <class Entry>
ULONG fill_list(coded_call& now, std::vector<Entry>& entries, ULONG wanted, Entry* list, ULONG* size) {
    if (now.failed()) {
        std::memset(list, 0xCC, *size);
    } else if (*size < wanted) {
        *size = wanted;
        now.code = ERROR_BUFFER_OVERFLOW;
    } else if (entries.empty()) {
        now.code = ERROR_NO_DATA;
    } else {
        Entry* next = nullptr;
        for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
            entry->Next = next;
            next = current->keep(*entry);
        }
        *list = *next;
    }
    return now.code;
}

ULONG WINAPI get_adapters_addresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* list,
                                    ULONG* size) {
    coded_call now("GetAdaptersAddresses", std::to_string(family) + "," + std::to_string(flags));
    return fill_list(now, current->adapters, current->list_size, list, size);
}

ULONG WINAPI get_adapters_info(IP_ADAPTER_INFO* list, ULONG* size) {
    coded_call now("GetAdaptersInfo");
    return fill_list(now, current->older_adapters, current->older_list_size, list, size);
}

template <class Function>
FARPROC entry(Function* function) {
    return std::bit_cast<FARPROC>(function);
}

FARPROC WINAPI get_proc_address(HMODULE module, LPCSTR name) {
    call now("GetProcAddress", name);
    static const std::map<std::string_view, FARPROC> scripted = {
        {"RtlGetVersion", entry(&rtl_get_version)},
        {"GetProductInfo", entry(&get_product_info)},
        {"GetAdaptersAddresses", entry(&get_adapters_addresses)},
        {"WSAStartup", entry(&wsa_startup)},
        {"WSACleanup", entry(&wsa_cleanup)},
        {"WSAGetLastError", entry(&wsa_get_last_error)},
        {"WSAStringToAddressA", entry(&string_to_address<char>)},
        {"WSAStringToAddressW", entry(&string_to_address<wchar_t>)},
        {"WSAAddressToStringA", entry(&address_to_string<char>)},
        {"WSAAddressToStringW", entry(&address_to_string<wchar_t>)},
    };
    if (module == nullptr && !now.failed()) {
        now.code = ERROR_PROC_NOT_FOUND;
    }
    if (now.failed()) {
        return nullptr;
    }
    const auto script = scripted.find(name);
    return script == scripted.end() ? entry(&unexpected) : script->second;
}

// The registry. A key's handle is the address of its class's devices, or of one of these.

LSTATUS WINAPI open_key(HKEY parent, LPCWSTR path, DWORD, REGSAM, HKEY* key) {
    coded_call now("RegOpenKeyExW");
    *key = std::bit_cast<HKEY>(ULONG_PTR{poison});
    if (!now.failed() && parent != HKEY_LOCAL_MACHINE) {
        *key = std::bit_cast<HKEY>(&(*std::bit_cast<std::vector<device>*>(parent))[std::stoul(path)]);
    } else if (!now.failed()) {
        const bool modems = std::wcsstr(path, L"Class\\{4d36e96d-e325-11ce-bfc1-08002be10318}") != nullptr;
        const bool network = std::wcsstr(path, L"Class\\{4d36e972-e325-11ce-bfc1-08002be10318}") != nullptr;
        EXPECT_TRUE(std::wcsstr(path, L"SYSTEM\\CurrentControlSet\\Control\\") == path && modems != network);
        auto& devices = modems ? current->modem_devices : current->network_devices;
        *key = std::bit_cast<HKEY>(&devices);
        now.code = devices.empty() ? ERROR_FILE_NOT_FOUND : 0;
    }
    enter_in_ledger("registry keys", now.failed() ? 0 : 1);
    return now.status();
}

LSTATUS WINAPI close_key(HKEY) {
    const coded_call now("RegCloseKey");
    enter_in_ledger("registry keys", -1);
    return now.status();
}

LSTATUS WINAPI enum_key(HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD,
                        FILETIME*) {
    coded_call now("RegEnumKeyExW");
    if (!now.failed() && index >= std::bit_cast<std::vector<device>*>(key)->size()) {
        now.code = ERROR_NO_MORE_ITEMS;
    }
    if (!now.failed()) {
        const std::wstring text = std::to_wstring(index);
        *std::copy(text.begin(), text.end(), name) = 0;
        *length = static_cast<DWORD>(text.size());
    }
    return now.status();
}

LSTATUS WINAPI query_value(HKEY key, LPCWSTR name, LPDWORD, LPDWORD type, LPBYTE data, LPDWORD size) {
    coded_call now("RegQueryValueExW");
    const auto& values = *std::bit_cast<const device*>(key);
    const auto value = values.find(name);
    if (!now.failed() && value == values.end()) {
        now.code = ERROR_FILE_NOT_FOUND;
    }
    if (!now.failed()) {
        const std::wstring& text = value->second.second; // without terminator, as a stored one may be
        const DWORD room = std::exchange(*size, static_cast<DWORD>(text.size() * sizeof(wchar_t)));
        *type = value->second.first;
        now.code = room < *size ? ERROR_MORE_DATA : 0;
        std::memcpy(data, text.data(), std::min(room, *size));
    }
    return now.status();
}

/// Makes the text ten times as long instead of looking for variables in it.
DWORD WINAPI expand_strings(LPCWSTR text, LPWSTR out, DWORD capacity) {
    const call now("ExpandEnvironmentStringsW");
    const std::size_t length = std::wcslen(text);
    if (!now.failed() && length * 10 < capacity) {
        for (int i = 0; i < 10; ++i) {
            out = std::copy_n(text, length, out);
        }
        *out = 0;
    }
    return now.failed() ? 0 : static_cast<DWORD>(length * 10 + 1);
}

/// What the linker puts in the place of an import: asks the scripted system if there is one, and else the
/// platform, as the calls of the compiler's own runtime always do. `Scripted` gets the true function too
/// if it takes it.
template <auto Real, auto Scripted>
struct seam;
template <class Result, class... Arguments, Result (**Real)(Arguments...), auto Scripted>
struct seam<Real, Scripted> {
    static Result WINAPI function(Arguments... arguments) {
        if (current == nullptr) {
            return (*Real)(arguments...);
        }
        if constexpr (std::is_invocable_v<decltype(Scripted), decltype(*Real), Arguments...>) {
            return Scripted(*Real, arguments...);
        } else {
            return Scripted(arguments...);
        }
    }
};

// Critical sections and text conversions: the true ones, watched.

/// The sections that a thread holds, the last one taken last. A plain record: one with a destructor would
/// make the compiler's runtime call the system at the thread's end.
struct held_sections {
    const void* sections[8];
    std::size_t count;
};
constinit thread_local held_sections held{};

constexpr auto initialize_section = [](auto real, CRITICAL_SECTION* section) {
    const heap::pause pause;
    enter_in_ledger("critical sections", 1);
    real(section);
    SetLastError(poison);
};

constexpr auto delete_section = [](auto real, CRITICAL_SECTION* section) {
    const heap::pause pause;
    enter_in_ledger("critical sections", -1);
    real(section);
    SetLastError(poison);
};

constexpr auto enter_section = [](auto real, CRITICAL_SECTION* section) {
    const heap::pause pause;
    real(section);
    enter_in_ledger("locks", 1);
    for (std::size_t i = 0; i < held.count; ++i) {
        const std::lock_guard guard(ledger_mutex);
        lock_order.emplace(held.sections[i], section);
        EXPECT_TRUE(held.sections[i] == section || !lock_order.contains({section, held.sections[i]}))
            << "lock order reversed";
    }
    held.sections[held.count++] = section;
    SetLastError(poison);
};

constexpr auto leave_section = [](auto real, CRITICAL_SECTION* section) {
    const heap::pause pause;
    EXPECT_EQ(held.sections[--held.count], section);
    enter_in_ledger("locks", -1);
    real(section);
    SetLastError(poison);
};

constexpr auto to_wide = [](auto real, UINT page, auto... arguments) {
    const call now("MultiByteToWideChar", std::to_string(page));
    return now.failed() ? 0 : real(page, arguments...);
};

constexpr auto to_narrow = [](auto real, UINT page, auto... arguments) {
    const call now("WideCharToMultiByte", std::to_string(page));
    return now.failed() ? 0 : real(page, arguments...);
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
    for (const auto& [what, left] : ledger) {
        EXPECT_EQ(left, 0) << what << " not given back";
    }
    ledger.clear();
    lock_order.clear();
}

} // namespace scripted

extern "C" {
#define KVTIP_SEAM(name, scripted_function)         \
    extern decltype(&name) __real___imp_##name;     \
    constinit decltype(&name) __wrap___imp_##name = \
        &scripted::seam<&__real___imp_##name, scripted::scripted_function>::function
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
KVTIP_SEAM(MultiByteToWideChar, to_wide);
KVTIP_SEAM(WideCharToMultiByte, to_narrow);

// The platform's header does not import this one through a slot.
ULONG WINAPI __real_GetAdaptersInfo(IP_ADAPTER_INFO*, ULONG*);
ULONG WINAPI __wrap_GetAdaptersInfo(IP_ADAPTER_INFO* list, ULONG* size) {
    return (scripted::current != nullptr ? scripted::get_adapters_info : __real_GetAdaptersInfo)(list, size);
}
}
