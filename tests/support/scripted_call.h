#pragma once

// What the fakes of a scripted system share.

#include "heap.h"
#include "scripted_system.h"
#include "text.h"

#include <string_view>

namespace scripted {

constexpr DWORD poison = 0xBADC0DE;
extern system* current;

/// What is handed out counts 1, what comes back -1.
void enter_in_ledger(const std::string& what, int by);

/// The fake of the socket library's entry of that name; null if it has none.
FARPROC socket_entry(std::string_view name);
/// The same of the DNS, IP Helper and remote-access libraries.
FARPROC service_entry(std::string_view name);

/// One call in progress: writes it down, decides what it answers, and sets the last error at its end.
class call {
public:
    template <class... Arguments>
    explicit call(const char* function, const Arguments&... arguments) {
        if (current->yields) {
            Sleep(0);
        }
        if (!current->logs) {
            return;
        }
        fails_if(current->calls.size() == current->failing_call, system::failing_code);
        std::string of;
        static_cast<void>(((of += (of.empty() ? "" : ",") + text(arguments)), ...));
        const std::string name = function, full = of.empty() ? name : name + "(" + of + ")";
        current->calls.push_back(full);
        for (const std::string& key : std::set{name, full}) {
            if (std::deque<DWORD>& answers = current->answers[key]; !answers.empty()) {
                code_ = answers.front();
                answers.pop_front();
            }
        }
        const bool looks_up = name == "GetProcAddress";
        fails_if(current->missing.contains(of), looks_up ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND);
    }
    ~call() { SetLastError(!failed() || returned_ ? poison : code_ == system::no_reason ? 0 : code_); }

    bool failed() const { return code_ != 0; }
    /// Whether the call fails: with this code if nothing else makes it fail.
    bool fails_if(bool condition, DWORD code) {
        code_ = condition && !failed() ? code : code_;
        return failed();
    }
    /// The code as the call's result, which is not in the last error then.
    LSTATUS status() {
        returned_ = true;
        return code();
    }
    /// The code as the call's result and in the last error.
    LSTATUS code() const { return static_cast<LSTATUS>(code_); }
    /// The result of a call that gives -1 for failure.
    int result(int on_success = 0) const { return failed() ? SOCKET_ERROR : on_success; }

private:
    heap::pause pause_;
    DWORD code_ = 0;
    bool returned_ = false;
};

} // namespace scripted
