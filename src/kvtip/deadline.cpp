#include "kvtip/deadline.h"

#include "kvtip/system_entries.h"

namespace kvtip::library {

std::uint64_t milliseconds_now() noexcept {
    // By name: the import table stays as short as it is.
    const system_entries& bound = entries();
    if (bound.QueryPerformanceFrequency == nullptr || bound.QueryPerformanceCounter == nullptr) {
        FILETIME time;
        GetSystemTimeAsFileTime(&time);
        return (std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / 10000;
    }
    LARGE_INTEGER frequency;
    LARGE_INTEGER count;
    bound.QueryPerformanceFrequency(&frequency); // where there are these calls, they succeed
    bound.QueryPerformanceCounter(&count);
    const auto ticks = static_cast<std::uint64_t>(count.QuadPart);
    const auto per_second = static_cast<std::uint64_t>(frequency.QuadPart);
    return ticks / per_second * 1000 + ticks % per_second * 1000 / per_second;
}

} // namespace kvtip::library
