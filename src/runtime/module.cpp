// The entry of the DLL. Static initialisers have run when it is called for the first time; when the
// module leaves the process, the at-exit actions undo what they set up.

#include <windows.h>

#include "runtime/at_exit.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_DETACH) {
        // Nobody is left to catch anything: a failed action is told to a debugger.
        kvt::main::run_at_exit_actions([](const auto& failure) { OutputDebugStringA(failure.what()); });
    }
    return TRUE;
}
