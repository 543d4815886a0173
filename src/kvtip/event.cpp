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
    // The first one wins where both are set.
    HANDLE handles[2] = {};
    DWORD count = 0;
    if (cancel != nullptr) {
        handles[count++] = cancel->cancelled.handle();
    }
    handles[count++] = event.handle();
    const DWORD first = entries().WaitForMultipleObjects(count, handles, FALSE, milliseconds);
    switch (first) {
    case WAIT_TIMEOUT:
        return WSAETIMEDOUT;
    case WAIT_FAILED:
        return GetLastError();
    default:
        return first - WAIT_OBJECT_0 == count - 1 ? 0 : DWORD{ERROR_OPERATION_ABORTED};
    }
}

} // namespace kvtip::library
