#pragma once

// What the fakes of a scripted system share.

#include "heap.h"
#include "scripted_system.h"
#include "text.h"

#include <bit>
#include <concepts>
#include <string_view>
#include <utility>

namespace scripted {

constexpr DWORD poison = 0xBADC0DE;
extern system* current;

/// Notes that the library received something (1) or returned it (-1).
void enter_in_ledger(const std::string& what, int by);

/// The critical sections that the calling thread holds, the last one taken last.
std::vector<const void*> held_locks();

/// A fake as the system's entries are looked up.
inline FARPROC fake(auto of) {
    return std::bit_cast<FARPROC>(+of);
}

/// The fakes by their names: of the socket library, the other libraries, and the kernel library.
using entry_map = std::map<std::string_view, FARPROC>;
extern const entry_map socket_entries, service_entries, kernel_entries, change_entries;

/// A call in progress: logs it, decides whether it fails, and sets the last error at its end.
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
        const std::string name = function;
        full_ = of.empty() ? name : name + "(" + of + ")";
        current->calls.push_back(full_);
        current->moments.push_back({heap::now.asked, held_locks()});
        if (const auto duration = current->durations.find(name); duration != current->durations.end()) {
            current->clock += duration->second;
        }
        if (const auto meanwhile = current->during.extract(name)) {
            meanwhile.mapped()();
        }
        take_answer(name);
        if (!of.empty()) {
            take_answer(full_);
        }
        const bool looks_up = name == "GetProcAddress";
        fails_if(current->missing.contains(of), looks_up ? ERROR_PROC_NOT_FOUND : ERROR_MOD_NOT_FOUND);
    }
    ~call() { SetLastError(!failed() || returned_ ? poison : code_ == system::no_reason ? 0 : code_); }

    bool failed() const { return code_ != 0; }
    /// Whether the call fails; if `condition` holds, it fails with this code unless it has failed before.
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
    /// The result of a call that returns -1 for failure.
    int result(int on_success = 0) const { return failed() ? SOCKET_ERROR : on_success; }

    /// What the call writes.
    const std::vector<std::string>& outputs(const char* function) const {
        const auto found = current->outputs.find(full_);
        return found == current->outputs.end() ? current->outputs[function] : found->second;
    }

private:
    void take_answer(const std::string& key) {
        const auto answers = current->answers.find(key);
        if (answers != current->answers.end() && !answers->second.empty()) {
            code_ = answers->second.front();
            answers->second.pop_front();
        }
    }

    heap::pause pause_;
    std::string full_;
    DWORD code_ = 0;
    bool returned_ = false;
};

/// Text that goes in. A parameter of the platform's function that is plain text has this type here.
template <class Char>
struct string_in {
    const Char* text;
};

/// The arguments of a call, which their types direct. Inputs become text: a socket address or other data
/// together with the length that follows, another pointer as "+", null as "-". Of an output, which is a
/// pointer to something that is not constant, only the size of its buffer is shown.
class arguments {
public:
    template <class... All>
    explicit arguments(const All&... all) {
        static_cast<void>((add(all), ...));
    }

    const std::string& as_text() const { return shown_; }

    /// Writes one value to each output, or nonsense instead if the call fails; an empty value is not written.
    /// The call fails if a value does not fit; if `cuts`, it is cut. Returns the size of the data, input or
    /// output.
    int write(call& now, const std::vector<std::string>& values, bool cuts = false) const {
        const bool failed = now.failed();
        std::size_t count = data_size_;
        for (std::size_t i = 0; i < outputs_.size(); ++i) {
            const output& out = outputs_[i];
            const std::string value = i >= values.size() ? ""
                                      : failed           ? std::string(out.room, '\xCC')
                                                         : values[i];
            const bool fits = value.size() <= out.room;
            const std::size_t size = fits || cuts ? value.copy(out.data, out.room) : 0;
            now.fails_if(!fits, cuts ? WSAEMSGSIZE : WSAEFAULT);
            count = i == 0 ? size : count;
            if (out.length != nullptr && size != 0) {
                *out.length = static_cast<DWORD>(size / out.unit);
            }
        }
        return static_cast<int>(count);
    }

private:
    struct output {
        char* data;
        std::size_t unit;
        DWORD* length;
        std::size_t room;
    };

    void show(const text& value) { shown_ += (shown_.empty() ? "" : ",") + value; }

    template <class Value>
    void add(const Value& value) {
        using target = std::remove_pointer_t<Value>;
        constexpr bool is_length = std::same_as<target, int> || std::same_as<target, DWORD>;
        if constexpr (std::integral<Value>) {
            add_number(value);
        } else if constexpr (requires { value.text; }) {
            show(value.text);
        } else if (value == nullptr) {
            show("-");
        } else if constexpr (std::same_as<target, const timeval>) {
            show(value->tv_sec);
        } else if constexpr (is_length) {
            show(*value);
            length_ = reinterpret_cast<DWORD*>(value);
            if (wants_room_) {
                give_room(static_cast<std::size_t>(*value));
            }
        } else if constexpr (std::same_as<target, const SOCKADDR> || std::same_as<target, const char>) {
            (std::same_as<target, const char> ? data_ : address_) = value;
        } else if constexpr (std::same_as<target, SOCKADDR> || std::same_as<target, char> ||
                             std::same_as<target, wchar_t>) {
            constexpr std::size_t unit = std::same_as<target, wchar_t> ? sizeof(wchar_t) : 1;
            outputs_.push_back({reinterpret_cast<char*>(value), unit, nullptr, 0});
            wants_room_ = true;
            if (length_ != nullptr) { // stands before it
                give_room(*length_);
            }
        } else {
            show("+");
        }
    }

    template <class Number>
    void add_number(Number number) {
        const auto size = static_cast<std::size_t>(number);
        if (address_ != nullptr) {
            show(record_at(std::exchange(address_, nullptr), size));
        } else if (data_ != nullptr) {
            show(std::string(static_cast<const char*>(std::exchange(data_, nullptr)), data_size_ = size));
        } else if (wants_room_) {
            give_room(size);
        }
        show(number);
    }

    void give_room(std::size_t units) {
        outputs_.back().room = units * outputs_.back().unit;
        outputs_.back().length = std::exchange(length_, nullptr);
        wants_room_ = false;
    }

    heap::pause pause_;
    std::string shown_;
    std::vector<output> outputs_;
    const void* address_ = nullptr; ///< shown with the length that follows, like the next one
    const void* data_ = nullptr;
    std::size_t data_size_ = 0;
    DWORD* length_ = nullptr; ///< of an output that has not come yet
    bool wants_room_ = false; ///< the last output does
};

/// What a function returns.
enum class outcome {
    minus_one, ///< -1 for a failure, 0 for success
    count,     ///< -1 for a failure, the size of the data for success
    truth,     ///< 0 for a failure, 1 for success
    code,      ///< the error code, which is in the last error too
};

template <std::size_t Size>
struct literal {
    constexpr literal(const char (&from)[Size]) { std::copy(from, from + Size, text); }
    char text[Size];
};

template <literal Name, outcome Outcome, class Function>
struct recorder;

template <literal Name, outcome Outcome, class Result, class... Arguments>
struct recorder<Name, Outcome, Result(Arguments...)> {
    static Result WINAPI fake(Arguments... all) {
        const arguments given(all...);
        call now(Name.text, given.as_text());
        const int count = given.write(now, now.outputs(Name.text), Outcome == outcome::count);
        return Outcome == outcome::truth  ? !now.failed()
               : Outcome == outcome::code ? now.code()
                                          : now.result(Outcome == outcome::count ? count : 0);
    }
};

/// The fake of a function that takes back the only handle of that kind.
template <literal Name, literal What>
BOOL WINAPI close_handle(HANDLE handle) {
    const call now(Name.text, handle == current);
    enter_in_ledger(What.text, -1);
    return !now.failed();
}

/// The name and the fake of a function of that type. It logs its inputs and writes what `system::outputs`
/// holds for it.
template <literal Name, outcome Outcome, class Function>
entry_map::value_type recorded() {
    return {Name.text, fake(&recorder<Name, Outcome, Function>::fake)};
}

} // namespace scripted
