#include "interruption.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <utility>

#include <windows.h>

namespace {

std::mutex mutex;
std::function<void()> end_of_work; ///< empty once what it ends may be gone

HANDLE interruption() {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

BOOL WINAPI on_control(DWORD /*kind*/) {
    if (WaitForSingleObject(interruption(), 0) == WAIT_OBJECT_0) {
        return FALSE; // the second one: the system ends the program
    }
    const std::lock_guard guard(mutex);
    if (end_of_work) {
        end_of_work();
    }
    return SetEvent(interruption());
}

void handle_control() {
    [[maybe_unused]] static const BOOL handled = SetConsoleCtrlHandler(on_control, TRUE);
}

} // namespace

bool wait_until(std::chrono::steady_clock::time_point time) {
    handle_control();
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now()).count();
    const auto wait = std::clamp<std::int64_t>(left, 0, INFINITE - 1);
    return WaitForSingleObject(interruption(), static_cast<DWORD>(wait)) != WAIT_OBJECT_0;
}

on_interruption::on_interruption(std::function<void()> end) {
    const std::lock_guard guard(mutex);
    end_of_work = std::move(end);
    handle_control();
}

on_interruption::~on_interruption() {
    const std::lock_guard guard(mutex);
    end_of_work = nullptr;
}
