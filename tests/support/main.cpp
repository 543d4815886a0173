// The entry of the test programs. A crash must be seen: under Wine a trap or a stack overflow can end a
// program with exit code 0, and without a word.

#include "heap.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <windows.h>

namespace {

LONG CALLBACK report_crash(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    if (record.ExceptionCode >> 28 == 0xC) { // a system error: C++ exceptions come this way too
        char line[64];
        const int length = std::snprintf(line, sizeof line, "\n[  FAILED  ] crash %08lx at %p\n",
                                         record.ExceptionCode, record.ExceptionAddress);
        DWORD written;
        WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line, static_cast<DWORD>(length), &written, nullptr);
        TerminateProcess(GetCurrentProcess(), 97);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

} // namespace

int main(int argc, char** argv) {
    AddVectoredExceptionHandler(1, report_crash);
    testing::InitGoogleTest(&argc, argv);
    { SCOPED_TRACE("makes what the test framework keeps for traces"); }
    try {
        const heap::watch one_denied(0); // what the compiler's runtime keeps for such a case, it makes now
        throw 0;
    } catch (int) {
    }
    return RUN_ALL_TESTS();
}
