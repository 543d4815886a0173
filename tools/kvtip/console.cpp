#include "console.h"

#include <algorithm>

#include <windows.h>

#include "encoding.h"
#include "kvtip/error.hpp"

namespace {

/// Hands `text` piece by piece to `write(data, count, &written)`.
template <class Text, class Write>
void write_all(Text text, Write write) {
    constexpr std::size_t piece = 8192; // consoles refuse to take much at once
    while (!text.empty()) {
        DWORD written = 0;
        SetLastError(ERROR_WRITE_FAULT); // for a write that succeeds without writing anything
        if (!write(text.data(), static_cast<DWORD>(std::min(text.size(), piece)), &written) || written == 0) {
            throw output_error(static_cast<int>(GetLastError()), kvtip::category());
        }
        text.remove_prefix(written);
    }
}

/// A console gets UTF-16, which it shows correctly in any code page; a file or a pipe gets the bytes.
void write(DWORD stream, std::string_view text) {
    const HANDLE handle = GetStdHandle(stream);
    DWORD mode = 0;
    if (GetConsoleMode(handle, &mode)) {
        const std::wstring wide = to_wide(text);
        write_all(std::wstring_view(wide), [=](const wchar_t* data, DWORD count, DWORD* written) {
            return WriteConsoleW(handle, data, count, written, nullptr);
        });
    } else {
        write_all(text, [=](const char* data, DWORD count, DWORD* written) {
            return WriteFile(handle, data, count, written, nullptr);
        });
    }
}

} // namespace

bool output_error::is_closed_pipe() const {
    const int value = code().value();
    return value == ERROR_BROKEN_PIPE || value == ERROR_NO_DATA || value == ERROR_PIPE_NOT_CONNECTED;
}

void print(std::string_view text) {
    write(STD_OUTPUT_HANDLE, text);
}

void print_error(std::string_view line) noexcept {
    try {
        write(STD_ERROR_HANDLE, printable(line) + "\n");
    } catch (...) {
    }
}
