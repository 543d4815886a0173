#include "kvtip/deadline.h"

#include "kvtip/system_entries.h"

namespace kvtip::library {

std::uint64_t milliseconds_now() noexcept {
    // By name: the import table stays as short as it is.
    LARGE_INTEGER frequency{};
    LARGE_INTEGER count{};
    const system_entries& bound = entries();
    if (bound.QueryPerformanceFrequency == nullptr || bound.QueryPerformanceCounter == nullptr ||
        !bound.QueryPerformanceFrequency(&frequency) || !bound.QueryPerformanceCounter(&count)) {
        FILETIME time;
        GetSystemTimeAsFileTime(&time);
        return (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 10000;
    }
    const auto ticks = static_cast<std::uint64_t>(count.QuadPart);
    const auto per_second = static_cast<std::uint64_t>(frequency.QuadPart);
    return ticks / per_second * 1000 + ticks % per_second * 1000 / per_second;
}

} // namespace kvtip::library
