// The events of a scripted system, and its signals that something has changed.

#include "scripted_call.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

namespace scripted {

namespace {

/// Held while signals are given, so that a cancellation waits for them as on Windows.
std::mutex signal_mutex;
constexpr ULONG_PTR pending = 0x103, cancelled = 0xC0000120;

template <literal Name, class Row>
DWORD subscribe(ADDRESS_FAMILY family, void(WINAPI* callback)(void*, Row*, MIB_NOTIFICATION_TYPE),
                void* context, BOOLEAN initial, HANDLE* handle) {
    call now(Name.text, family, initial);
    if (now.failed() || current->never_signals) {
        *handle = nullptr;
    } else {
        const std::lock_guard guard(signal_mutex);
        *handle = std::bit_cast<HANDLE>(++current->last_subscription);
        current->subscriptions[*handle] = [=] {
            Row row{};
            callback(context, &row, MibParameterNotification);
        };
        enter_in_ledger("subscriptions", 1);
    }
    return static_cast<DWORD>(now.status());
}

/// Completes what asked for an older signal.
bool complete(OVERLAPPED* record, ULONG_PTR status) {
    if (current->older_subscriptions.erase(record) != 0) {
        record->Internal = status;
        SetEvent(record->hEvent);
        enter_in_ledger("subscriptions", -1);
        return true;
    }
    return false;
}

} // namespace

void system::signal() {
    const heap::pause pause;
    const std::lock_guard guard(signal_mutex);
    for (const auto& [handle, tell] : subscriptions) {
        tell();
    }
    while (!older_subscriptions.empty()) {
        complete(*older_subscriptions.begin(), 0);
    }
}

bool system::pass(DWORD& milliseconds) {
    const auto first = later.begin();
    const bool happens =
        first != later.end() && (milliseconds == INFINITE || first->first <= clock + milliseconds);
    const std::uint64_t passed = !happens ? milliseconds : first->first - std::min(clock, first->first);
    clock += passed;
    milliseconds -= milliseconds == INFINITE ? 0 : static_cast<DWORD>(passed);
    if (happens) {
        later.extract(first).mapped()();
    }
    return happens;
}

const entry_map change_entries = {
    {"CreateEventW", fake([](SECURITY_ATTRIBUTES* security, BOOL manual, BOOL set, LPCWSTR name) -> HANDLE {
         const call now("CreateEventW", manual, set);
         EXPECT_TRUE(security == nullptr && name == nullptr);
         enter_in_ledger("kernel handles", !now.failed());
         return now.failed() ? nullptr : CreateEventW(security, manual, set, name);
     })},
    {"SetEvent", fake([](HANDLE event) -> BOOL { return SetEvent(event); })},
    // Time passes on the scripted clock, unless there are threads to wait for.
    {"WaitForMultipleObjects",
     fake([](DWORD count, const HANDLE* events, BOOL all, DWORD milliseconds) -> DWORD {
         call now("WaitForMultipleObjects", milliseconds);
         EXPECT_FALSE(all);
         if (now.failed()) {
             return WAIT_FAILED;
         }
         DWORD result = WaitForMultipleObjects(count, events, all, current->logs ? 0 : milliseconds);
         while (result == WAIT_TIMEOUT && current->logs && current->pass(milliseconds)) {
             result = WaitForMultipleObjects(count, events, all, 0);
         }
         EXPECT_TRUE(result != WAIT_TIMEOUT || milliseconds != INFINITE) << "waits for ever";
         return result;
     })},
    {"GetModuleHandleExW", fake([](DWORD flags, LPCWSTR inside, HMODULE* module) -> BOOL {
         const call now("GetModuleHandleExW", flags);
         if (flags == GET_MODULE_HANDLE_EX_FLAG_PIN) {
             EXPECT_STREQ(inside, L"Ws2_32.dll");
             current->starts_for_good += !now.failed();
             return !now.failed();
         }
         HMODULE here = nullptr;
         EXPECT_EQ(flags, DWORD{GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS});
         EXPECT_TRUE(GetModuleHandleExW(flags | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, inside, &here));
         static const char* const name = "kvtIP.dll";
         *module = now.failed() ? nullptr : std::bit_cast<HMODULE>(&name);
         enter_in_ledger(name, !now.failed());
         return !now.failed();
     })},
    {"NotifyIpInterfaceChange", fake(&subscribe<"NotifyIpInterfaceChange", MIB_IPINTERFACE_ROW>)},
    {"NotifyUnicastIpAddressChange",
     fake(&subscribe<"NotifyUnicastIpAddressChange", MIB_UNICASTIPADDRESS_ROW>)},
    {"NotifyRouteChange2", fake(&subscribe<"NotifyRouteChange2", MIB_IPFORWARD_ROW2>)},
    {"CancelMibChangeNotify2", fake([](HANDLE handle) -> DWORD {
         EXPECT_TRUE(held_locks().empty()) << "a signal may wait for them";
         call now("CancelMibChangeNotify2");
         const std::lock_guard guard(signal_mutex);
         enter_in_ledger("subscriptions", -static_cast<int>(current->subscriptions.erase(handle)));
         return static_cast<DWORD>(now.status());
     })},
    {"NotifyAddrChange", fake([](HANDLE*, OVERLAPPED* record) -> DWORD {
         call now("NotifyAddrChange");
         if (!now.failed()) {
             const std::lock_guard guard(signal_mutex);
             record->Internal = pending;
             EXPECT_TRUE(current->older_subscriptions.insert(record).second) << "asked for twice";
             enter_in_ledger("subscriptions", 1);
         }
         return now.failed() ? static_cast<DWORD>(now.status()) : ERROR_IO_PENDING;
     })},
    {"CancelIPChangeNotify", fake([](OVERLAPPED* record) -> BOOL {
         const call now("CancelIPChangeNotify");
         const std::lock_guard guard(signal_mutex);
         return complete(record, cancelled) && !now.failed();
     })}};

} // namespace scripted
