#include <algorithm>
#include <winsock2.h>

#include "kvtip/canceller.h"
#include "kvtip/event.h"
#include "kvtip/system_entries.h"

namespace kvtip::library {

event::~event() {
    if (handle_ != nullptr) {
        entries().CloseHandle(handle_);
    }
}

std::uint32_t event::open(reset how) noexcept {
    const system_entries& bound = entries();
    if (bound.CreateEventW == nullptr || bound.SetEvent == nullptr ||
        bound.WaitForMultipleObjects == nullptr || bound.CloseHandle == nullptr) {
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
    handle_ = bound.CreateEventW(nullptr, how == reset::manual, FALSE, nullptr);
    return handle_ != nullptr ? 0 : GetLastError();
}

void event::set() const noexcept {
    entries().SetEvent(handle_);
}

std::uint32_t wait_for(const event& event, const kvtip_canceller* cancel,
                       std::uint32_t milliseconds) noexcept {
    const HANDLE handle = event.handle();
    std::size_t unused = 0;
    return wait_for_any({&handle, 1}, cancel, milliseconds, unused);
}

std::uint32_t wait_for_any(std::span<const HANDLE> events, const kvtip_canceller* cancel,
                           std::uint32_t milliseconds, std::size_t& first) noexcept {
    // The canceller wins where both are set.
    HANDLE handles[MAXIMUM_WAIT_OBJECTS] = {cancel == nullptr ? nullptr : cancel->cancelled.handle()};
    const std::size_t before = cancel == nullptr ? 0 : 1;
    std::copy(events.begin(), events.end(), handles + before);
    const DWORD set = entries().WaitForMultipleObjects(static_cast<DWORD>(before + events.size()), handles,
                                                       FALSE, milliseconds);
    if (set == WAIT_FAILED) {
        return GetLastError();
    }
    if (set == WAIT_TIMEOUT) {
        return WSAETIMEDOUT;
    }
    if (set - WAIT_OBJECT_0 < before) {
        return ERROR_OPERATION_ABORTED;
    }
    first = set - WAIT_OBJECT_0 - before;
    return 0;
}

} // namespace kvtip::library
