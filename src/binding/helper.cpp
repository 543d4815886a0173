#include "ip/detail/helper.h"

#include <bit>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "kvt/exceptions/error.h"
#include "runtime/at_exit.h"

namespace ip::detail {

namespace {

HMODULE module_in_process(const wchar_t* name) {
    const HMODULE module = GetModuleHandleW(name);
    if (module == nullptr) {
        const DWORD code = GetLastError();
        // The wide name is read as narrow text, which ends at its first zero byte: clients know the message
        // with the module's first letter only.
        const std::string shown = reinterpret_cast<const char*>(name);
        throw kvt::exceptions::error(code, "GetModuleHandleW (" + shown + ")");
    }
    return module;
}

template <class Entry>
Entry entry_in_process(const wchar_t* module_name, const char* name) {
    const FARPROC found = GetProcAddress(module_in_process(module_name), name);
    if (found == nullptr) {
        const DWORD code = GetLastError();
        throw kvt::exceptions::error(code, "GetProcAddress (" + std::string(name) + ")");
    }
    return std::bit_cast<Entry>(found);
}

} // namespace

system_version::system_version() {
    using rtl_get_version = LONG(WINAPI*)(RTL_OSVERSIONINFOEXW*);
    version.dwOSVersionInfoSize = sizeof version;
    static_assert(sizeof version == 284);
    entry_in_process<rtl_get_version>(L"ntdll", "RtlGetVersion")(&version);
    probe_state = 2;
    if (is_version_6_or_later()) {
        DWORD type = 0;
        entry_in_process<decltype(&::GetProductInfo)>(L"kernel32", "GetProductInfo")(
            version.dwMajorVersion, version.dwMinorVersion, 0, 0, &type);
        product_type = type;
    }
}

helper::~helper() {
    stop();
}

unsigned long helper::drop_init() {
    const std::lock_guard guard(lock);
    return --init_count < 1 ? stop() : 0;
}

unsigned long helper::stop() {
    const unsigned long unloaded = iphlpapi.unload();
    if (winsock.WSACleanup == nullptr) {
        return unloaded;
    }
    const unsigned long cleaned = winsock.cleanup();
    return cleaned != 0 ? cleaned : unloaded;
}

namespace {

helper* helper_instance = nullptr;
std::shared_ptr<helper> helper_owner;

/// The error of a failed step. Inside the function that uses it, it would need a guard, for which the
/// compiler's runtime opens two handles at every load of the DLL and never closes them.
constinit std::optional<kvt::exceptions::error> failure;

/// Runs a step of the set-up while the loader waits: an exception makes the load of the DLL fail. On its way
/// to the loader, the exception must not pass a frame that has something to clean up, because the compiler's
/// runtime would then unwind past the loader and end the process. So the step's exception is caught here and
/// thrown again.
bool run_at_load(void (*step)()) {
    try {
        step();
        return true;
    } catch (kvt::exceptions::error& error) {
        failure = std::move(error); // a copy could throw again
    } catch (const std::bad_alloc&) {
        failure.reset();
    }
    if (failure) {
        throw kvt::exceptions::error(std::move(*failure));
    }
    throw std::bad_alloc();
}

// These run in this order while the module loads.
[[maybe_unused]] const bool created = run_at_load(create_helper);
[[maybe_unused]] const bool owned = run_at_load(own_helper);

} // namespace

void create_helper() {
    helper_instance = new helper;
}

void own_helper() {
    std::shared_ptr<helper> owner(helper_instance);
    kvt::main::at_exit([] { helper_owner.reset(); });
    helper_owner = std::move(owner);
}

helper& the_helper() noexcept {
    return *helper_instance;
}

std::shared_ptr<helper> share_helper() noexcept {
    return helper_owner;
}

} // namespace ip::detail
