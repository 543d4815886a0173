// The entry of the test programs. A crash must be seen: under Wine a trap or a stack overflow can end a
// program with exit code 0, and without a word.

#include <gtest/gtest.h>

#include <cstdio>
#include <windows.h>

#if defined(KVTIP_STATIC)
#include "heap.h"
#include "runtime/at_exit.h"
#endif

namespace {

LONG CALLBACK report_crash(EXCEPTION_POINTERS* exception) {
    const DWORD code = exception->ExceptionRecord->ExceptionCode;
    if (code != EXCEPTION_ACCESS_VIOLATION && code != EXCEPTION_STACK_OVERFLOW &&
        code != EXCEPTION_ILLEGAL_INSTRUCTION && code != 0xC0000409) {
        return EXCEPTION_CONTINUE_SEARCH; // C++ exceptions come this way too
    }
    char line[64];
    const int length = std::snprintf(line, sizeof line, "\n[  FAILED  ] crash %08lx at %p\n", code,
                                     exception->ExceptionRecord->ExceptionAddress);
    DWORD written;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line, static_cast<DWORD>(length), &written, nullptr);
    TerminateProcess(GetCurrentProcess(), 97);
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

int main(int argc, char** argv) {
    AddVectoredExceptionHandler(1, report_crash);
    testing::InitGoogleTest(&argc, argv);
#if defined(KVTIP_STATIC)
    // The library in this program was set up on the real system: each test sets it up on its own.
    kvt::main::run_at_exit_actions([](const auto&) {});
    heap::warm_up_exceptions();
#endif
    return RUN_ALL_TESTS();
}
