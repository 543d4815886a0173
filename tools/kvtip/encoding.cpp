#include "encoding.h"

#include <windows.h>

namespace {

bool is_control(wchar_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || (unit >= 0x202A && unit <= 0x202E) ||
           (unit >= 0x2066 && unit <= 0x2069);
}

} // namespace

std::wstring to_wide(std::string_view text) {
    const int size = static_cast<int>(text.size());
    std::wstring wide(text.size(), L'\0');
    wide.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), static_cast<int>(wide.size()))));
    return wide;
}

std::string to_utf8(std::wstring_view text) {
    const int size = static_cast<int>(text.size());
    std::string utf8(text.size() * 3, '\0'); // the most that a unit becomes
    utf8.resize(static_cast<std::size_t>(WideCharToMultiByte(
        CP_UTF8, 0, text.data(), size, utf8.data(), static_cast<int>(utf8.size()), nullptr, nullptr)));
    return utf8;
}

std::string unit_escape(wchar_t unit) {
    constexpr char digits[] = "0123456789ABCDEF";
    return {'\\',
            'u',
            digits[unit >> 12 & 15],
            digits[unit >> 8 & 15],
            digits[unit >> 4 & 15],
            digits[unit & 15]};
}

std::string printable(std::string_view text) {
    std::wstring escaped;
    for (const wchar_t unit : to_wide(text)) {
        if (is_control(unit)) {
            escaped += to_wide(unit_escape(unit));
        } else {
            escaped += unit;
        }
    }
    return to_utf8(escaped);
}
