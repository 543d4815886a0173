#include "kvtip/processes.h"

#include <algorithm>
#include <memory>

#include "kvtip/system_entries.h"

namespace kvtip::library {

namespace {

constexpr std::uint32_t idle_process = 0, system_process = 4;

struct handle_closer {
    void operator()(void* handle) const noexcept { entries().CloseHandle(handle); }
};
using owned_handle = std::unique_ptr<void, handle_closer>;

/// A snapshot of the processes; null if the system makes none.
owned_handle take_snapshot() {
    const HANDLE handle = entries().CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    return owned_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

/// Calls `use` with each process. False if the system has not listed them all.
template <class Use>
bool for_each_process(const owned_handle& snapshot, Use use) {
    PROCESSENTRY32W process{};
    process.dwSize = sizeof process;
    for (BOOL found = entries().Process32FirstW(snapshot.get(), &process); found;
         found = entries().Process32NextW(snapshot.get(), &process)) {
        process.szExeFile[MAX_PATH - 1] = 0;
        use(process);
    }
    return GetLastError() == ERROR_NO_MORE_FILES;
}

bool can_know_paths() {
    const system_entries& bound = entries();
    return bound.OpenProcess != nullptr && bound.QueryFullProcessImageNameW != nullptr &&
           bound.CloseHandle != nullptr;
}

} // namespace

bool process_list::read() {
    const system_entries& bound = entries();
    if (bound.CreateToolhelp32Snapshot == nullptr || bound.Process32FirstW == nullptr ||
        bound.Process32NextW == nullptr || bound.CloseHandle == nullptr) {
        return false;
    }
    const owned_handle snapshot = take_snapshot();
    if (snapshot == nullptr) {
        return false;
    }
    const bool complete = for_each_process(snapshot, [&](const PROCESSENTRY32W& each) {
        // The system's own word for it, "[System Process]", is easily taken for that of process 4.
        const wchar_t* name = each.th32ProcessID == idle_process ? L"Idle" : each.szExeFile;
        processes_.push_back({each.th32ProcessID, name, ""});
    });
    std::sort(processes_.begin(), processes_.end(),
              [](const process& one, const process& other) { return one.id < other.id; });
    return complete;
}

void process_list::lay_out(block& out) {
    for (process& each : processes_) {
        each.text = out.text(each.name);
    }
}

const process_list::process* process_list::record_of(std::uint32_t id) const {
    const auto found = std::lower_bound(processes_.begin(), processes_.end(), id,
                                        [](const process& each, std::uint32_t of) { return each.id < of; });
    return found == processes_.end() || found->id != id ? nullptr : &*found;
}

std::wstring_view process_list::find(std::uint32_t id) const {
    const process* found = record_of(id);
    return found == nullptr ? std::wstring_view() : found->name;
}

const char* process_list::known_name_of(std::uint32_t id) const {
    const process* found = record_of(id);
    return found == nullptr ? "" : found->text;
}

std::uint32_t find_path(std::uint32_t process, std::wstring& path) {
    path.clear();
    if (process == idle_process || process == system_process) {
        return 0;
    }
    if (!can_know_paths()) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    const owned_handle opened(entries().OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process));
    std::uint32_t code = opened == nullptr ? GetLastError() : ERROR_INSUFFICIENT_BUFFER;
    for (DWORD room = 512; code == ERROR_INSUFFICIENT_BUFFER && room <= 0x8000; room *= 8) {
        DWORD length = room;
        path.resize(room);
        code =
            entries().QueryFullProcessImageNameW(opened.get(), 0, path.data(), &length) ? 0 : GetLastError();
        path.resize(code == 0 ? std::min(length, room) : 0);
    }
    return code;
}

bool process_paths::read() {
    const auto by_process = [](const path& one, const path& other) { return one.process < other.process; };
    const auto same = [](const path& one, const path& other) { return one.process == other.process; };
    std::sort(paths_.begin(), paths_.end(), by_process);
    paths_.erase(std::unique(paths_.begin(), paths_.end(), same), paths_.end());
    for (path& each : paths_) {
        each.shown.code = find_path(each.process, each.found);
    }
    return can_know_paths();
}

void process_paths::lay_out(block& out) {
    for (path& each : paths_) {
        each.shown.text = out.text(std::wstring_view(each.found));
    }
}

process_paths::answer process_paths::known_answer_of(std::uint32_t process) const {
    const auto found = std::lower_bound(paths_.begin(), paths_.end(), process,
                                        [](const path& each, std::uint32_t of) { return each.process < of; });
    return found->shown;
}

} // namespace kvtip::library
