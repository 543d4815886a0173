#include "interruption.h"

#include <algorithm>
#include <cstdint>

#include <windows.h>

namespace {

HANDLE interruption() {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

BOOL WINAPI on_control(DWORD /*kind*/) {
    return SetEvent(interruption());
}

} // namespace

bool wait_until(std::chrono::steady_clock::time_point time) {
    [[maybe_unused]] static const BOOL handled = SetConsoleCtrlHandler(on_control, TRUE);
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(time - std::chrono::steady_clock::now()).count();
    const auto wait = std::clamp<std::int64_t>(left, 0, INFINITE - 1);
    return WaitForSingleObject(interruption(), static_cast<DWORD>(wait)) != WAIT_OBJECT_0;
}
