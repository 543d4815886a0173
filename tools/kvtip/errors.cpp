#include "errors.h"

#include <iterator>

#include <windows.h>

#include "encoding.h"

std::string system_message(unsigned long code) {
    wchar_t text[512];
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                      FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                  nullptr, code, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && text[length - 1] <= L' ') {
        --length;
    }
    return length == 0 ? "unknown error" : to_utf8({text, length});
}

std::string code_text(unsigned long code, const std::string& meaning) {
    return std::to_string(code) + ": " + meaning;
}

std::string code_text(unsigned long code) {
    return code_text(code, system_message(code));
}
