// The entry point of the DLL. Static initialisers have run before its first call. When the DLL is unloaded or
// the process ends, the at-exit actions undo what they set up.

#include <windows.h>

#include "runtime/at_exit.h"

#ifdef __GLIBCXX__
namespace __gnu_cxx {
void __freeres(); // frees the memory that the C++ runtime keeps for exceptions when the heap is exhausted
} // namespace __gnu_cxx
#endif

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, [[maybe_unused]] LPVOID process_ends) {
    if (reason == DLL_PROCESS_DETACH) {
        // Nobody is left to catch anything: a debugger sees why an action failed.
        kvt::main::run_at_exit_actions([](const auto& failure) { OutputDebugStringA(failure.what()); });
#ifdef __GLIBCXX__
        if (process_ends == nullptr) {
            __gnu_cxx::__freeres();
        }
#endif
    }
    return TRUE;
}
