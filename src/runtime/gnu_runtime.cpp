// Parts of the GNU C++ runtime that the DLL replaces: the linker takes these in place of the runtime's own.

#include <cstdlib>
#include <exception>
#include <windows.h>

/// Ends the process after a call of `std::terminate`. The runtime's handler also prints the exception, for
/// which it brings 47 KB of code that reads type names.
void __gnu_cxx::__verbose_terminate_handler() {
    std::abort();
}

namespace {

/// Milliseconds since some moment, which never go back.
ULONGLONG WINAPI tick_count() {
    LARGE_INTEGER now;
    LARGE_INTEGER per_second;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&per_second);
    const LONGLONG seconds = now.QuadPart / per_second.QuadPart;
    const LONGLONG rest = now.QuadPart % per_second.QuadPart;
    return static_cast<ULONGLONG>(seconds * 1000 + rest * 1000 / per_second.QuadPart);
}

} // namespace

/// The thread library in the runtime imports `GetTickCount64`, without which a system before version 6 would
/// not load the DLL. This is the import's entry, filled at build time.
extern "C" {
constinit decltype(&GetTickCount64) __imp_GetTickCount64 = tick_count;
}
