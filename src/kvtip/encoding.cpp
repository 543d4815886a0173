#include "kvtip/encoding.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <windows.h>

namespace kvtip::library {

namespace {

/// Calls `use` with each character of the text.
template <class Use>
void for_each_character(std::wstring_view wide, Use use) {
    const auto is_between = [&](std::size_t i, unsigned first, unsigned last) {
        return i < wide.size() && wide[i] >= first && wide[i] <= last;
    };
    for (std::size_t i = 0; i < wide.size(); ++i) {
        if (is_between(i, 0xD800, 0xDBFF) && is_between(i + 1, 0xDC00, 0xDFFF)) {
            use(0x10000u + ((wide[i] - 0xD800u) << 10) + (wide[i + 1] - 0xDC00u));
            ++i;
        } else {
            use(is_between(i, 0xD800, 0xDFFF) ? 0xFFFDu : static_cast<std::uint32_t>(wide[i]));
        }
    }
}

constexpr std::size_t size_of(std::uint32_t character) {
    return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

} // namespace

std::size_t utf8_size(std::wstring_view wide) noexcept {
    std::size_t size = 0;
    for_each_character(wide, [&](std::uint32_t character) { size += size_of(character); });
    return size;
}

char* write_utf8(std::wstring_view wide, char* out) noexcept {
    for_each_character(wide, [&](std::uint32_t character) {
        const std::size_t size = size_of(character);
        constexpr std::uint32_t marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
        for (std::size_t i = size; i-- > 1; character >>= 6) {
            out[i] = static_cast<char>(0x80 | (character & 0x3F));
        }
        out[0] = static_cast<char>(marks[size] | character);
        out += size;
    });
    return out;
}

std::uint32_t to_wide(const char* utf8, std::wstring& wide) {
    wide.clear();
    const std::size_t size = utf8 == nullptr ? 0 : std::strlen(utf8);
    if (size == 0) {
        return 0;
    }
    if (size > INT_MAX) {
        return ERROR_INVALID_PARAMETER;
    }
    wide.resize(size); // UTF-16 never has more units
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8, static_cast<int>(size),
                                           wide.data(), static_cast<int>(size));
    const DWORD code = length != 0 ? 0 : GetLastError();
    wide.resize(static_cast<std::size_t>(length));
    return code == ERROR_NO_UNICODE_TRANSLATION ? ERROR_INVALID_PARAMETER : code;
}

} // namespace kvtip::library
