#include "processes.h"

#include <memory>

#include <windows.h>

#include <tlhelp32.h>

#include "encoding.h"

process_names::process_names() {
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) {
        return;
    }
    const std::unique_ptr<void, decltype(&CloseHandle)> closer(snapshot, &CloseHandle);
    PROCESSENTRY32W process{};
    process.dwSize = sizeof process;
    for (BOOL found = Process32FirstW(snapshot, &process); found;
         found = Process32NextW(snapshot, &process)) {
        names_.emplace(process.th32ProcessID, to_utf8(process.szExeFile));
    }
}

value process_names::find(unsigned long pid) const {
    const auto found = pid == 0 ? names_.end() : names_.find(pid); // 0 is nobody
    return found == names_.end() ? value() : value(found->second);
}
