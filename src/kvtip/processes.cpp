#include "kvtip/processes.h"

#include <algorithm>

#include "kvtip/system_entries.h"

namespace kvtip::library {

namespace {

/// A snapshot of the processes.
class snapshot {
public:
    snapshot() : handle_(entries().CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0)) {}
    ~snapshot() {
        if (is_open()) {
            entries().CloseHandle(handle_);
        }
    }
    snapshot(const snapshot&) = delete;
    snapshot& operator=(const snapshot&) = delete;

    bool is_open() const { return handle_ != INVALID_HANDLE_VALUE; }

    /// Calls `use` with each process. False if the system has not listed them all.
    template <class Use>
    bool for_each(Use use) const {
        PROCESSENTRY32W process{};
        process.dwSize = sizeof process;
        for (BOOL found = entries().Process32FirstW(handle_, &process); found;
             found = entries().Process32NextW(handle_, &process)) {
            process.szExeFile[MAX_PATH - 1] = 0;
            use(process);
        }
        return GetLastError() == ERROR_NO_MORE_FILES;
    }

private:
    HANDLE handle_;
};

} // namespace

bool process_list::read() {
    const system_entries& bound = entries();
    if (bound.CreateToolhelp32Snapshot == nullptr || bound.Process32FirstW == nullptr ||
        bound.Process32NextW == nullptr || bound.CloseHandle == nullptr) {
        return false;
    }
    const snapshot all;
    if (!all.is_open()) {
        return false;
    }
    const bool complete = all.for_each([&](const PROCESSENTRY32W& each) {
        if (each.th32ProcessID != 0) { // which is nobody
            processes_.push_back({each.th32ProcessID, each.szExeFile, ""});
        }
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

} // namespace kvtip::library
