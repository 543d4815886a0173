#include "address/encoding.h"

#include <cstring>
#include <cwchar>
#include <windows.h>

#include "kvt/exceptions/error.h"
#include "kvt/exceptions/fatal.h"

namespace ip::detail {

namespace {

/// The result of a system conversion, as a length. Throws when it is 0, which only a failure returns.
std::size_t checked(int converted, const char* routine) {
    if (converted == 0) {
        const DWORD code = GetLastError();
        throw kvt::exceptions::error(code, routine);
    }
    return static_cast<std::size_t>(converted);
}

} // namespace

template <>
std::wstring to_wide<char>(const char* text, std::size_t length, unsigned code_page) {
    if (length == npos) {
        length = text == nullptr ? 0 : std::strlen(text);
    }
    if (text == nullptr && length != 0) {
        throw kvt::exceptions::fatal("to_wide<char> invalid arguments");
    }
    std::wstring wide;
    if (length == 0) {
        return wide;
    }
    const auto convert = [&](wchar_t* out, std::size_t capacity) {
        return checked(MultiByteToWideChar(code_page, 0, text, static_cast<int>(length), out,
                                           static_cast<int>(capacity)),
                       "to_wide<char>::MultiByteToWideChar");
    };
    wide.resize(convert(nullptr, 0));
    convert(wide.data(), wide.size());
    return wide;
}

template <>
std::string to_narrow<wchar_t>(const wchar_t* text) {
    std::string narrow;
    const std::size_t length = text == nullptr ? 0 : std::wcslen(text);
    if (length == 0) {
        return narrow;
    }
    const auto convert = [&](char* out, std::size_t capacity) {
        return checked(WideCharToMultiByte(code_page_utf8, 0, text, static_cast<int>(length), out,
                                           static_cast<int>(capacity), nullptr, nullptr),
                       "to_narrow<wchar_t>::WideCharToMultiByte");
    };
    narrow.resize(convert(nullptr, 0));
    convert(narrow.data(), narrow.size());
    return narrow;
}

} // namespace ip::detail
