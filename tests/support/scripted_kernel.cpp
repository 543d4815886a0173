// The kernel library of a scripted system: its processes, its clock, and the handles that it hands out.

#include "scripted_call.h"

#include <gtest/gtest.h>

#include <bit>

#include <tlhelp32.h>

namespace scripted {

namespace {

/// Writes the next process of the list.
BOOL next_process(call now, PROCESSENTRY32W* out) {
    EXPECT_EQ(out->dwSize, sizeof *out);
    if (!now.fails_if(current->next_process == current->processes.size(), ERROR_NO_MORE_FILES)) {
        const auto& [id, name] = current->processes[current->next_process++];
        out->th32ProcessID = id;
        std::memset(out->szExeFile, 0xCC, sizeof out->szExeFile);
        out->szExeFile[name.copy(out->szExeFile, MAX_PATH)] = 0;
    }
    return !now.failed();
}

/// The clock counts milliseconds. From version 5.1 on, these calls cannot fail.
BOOL tell(LARGE_INTEGER* out, std::uint64_t value) {
    out->QuadPart = static_cast<LONGLONG>(value);
    return TRUE;
}

} // namespace

const entry_map kernel_entries = {
    {"CreateToolhelp32Snapshot", fake([](DWORD what, DWORD process) -> HANDLE {
         const call now("CreateToolhelp32Snapshot", what, process);
         enter_in_ledger("kernel handles", !now.failed());
         current->next_process = 0;
         return now.failed() ? INVALID_HANDLE_VALUE : current;
     })},
    {"Process32FirstW",
     fake([](HANDLE, PROCESSENTRY32W* out) { return next_process(call("Process32FirstW"), out); })},
    {"Process32NextW",
     fake([](HANDLE, PROCESSENTRY32W* out) { return next_process(call("Process32NextW"), out); })},
    {"OpenProcess", fake([](DWORD access, BOOL inherits, DWORD process) -> HANDLE {
         call now("OpenProcess", process);
         EXPECT_TRUE(access == PROCESS_QUERY_LIMITED_INFORMATION && !inherits);
         now.fails_if(!current->paths.contains(process), ERROR_INVALID_PARAMETER);
         enter_in_ledger("kernel handles", !now.failed());
         current->opened_process = process;
         return now.failed() ? nullptr : current;
     })},
    {"QueryFullProcessImageNameW", fake([](HANDLE, DWORD flags, LPWSTR out, DWORD* length) -> BOOL {
         call now("QueryFullProcessImageNameW", flags, *length);
         const std::wstring& path = current->paths[current->opened_process];
         if (!now.fails_if(path.size() >= *length, ERROR_INSUFFICIENT_BUFFER)) {
             out[path.copy(out, *length)] = 0;
             *length = static_cast<DWORD>(path.size());
         }
         return !now.failed();
     })},
    {"CloseHandle", fake([](HANDLE handle) -> BOOL {
         EXPECT_TRUE(handle == current || CloseHandle(handle)); // events are those of the platform
         return close_handle<"CloseHandle", "kernel handles">(handle);
     })},
    {"SetHandleInformation", fake([](HANDLE handle, DWORD mask, DWORD flags) -> BOOL {
         return !call("SetHandleInformation", std::bit_cast<ULONG_PTR>(handle), mask, flags).failed();
     })},
    {"QueryPerformanceCounter", fake([](LARGE_INTEGER* out) { return tell(out, current->clock); })},
    {"QueryPerformanceFrequency", fake([](LARGE_INTEGER* out) { return tell(out, 1000); })}};

} // namespace scripted
