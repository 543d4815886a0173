#pragma once

// What both sources of adapters need to copy the system's fields.

#include <winsock2.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "ip/adapter_enumerator.h"

namespace ip::detail {

/// The text, or empty text for null.
inline const wchar_t* text_or_empty(const wchar_t* text) {
    return text == nullptr ? L"" : text;
}

/// The text in a buffer of the system's, with a terminator even if the system left it out.
template <class Char, std::size_t Size>
class terminated {
public:
    explicit terminated(const Char (&buffer)[Size]) { std::copy_n(buffer, Size, text_); }
    const Char* c_str() const { return text_; }

private:
    Char text_[Size + 1] = {};
};

/// Copies the hardware address at `Offset` in the entry; one of more than 32 bytes counts as none. The
/// system declares 8 bytes for it, and a longer address continues in the members that follow.
template <std::size_t Offset, class Entry>
void copy_hw_address(_SFindAdapter& adapter, const Entry* entry, DWORD length) {
    static_assert(Offset + sizeof adapter.hw_address <= sizeof(Entry));
    adapter.hw_address_length = length <= sizeof adapter.hw_address ? length : 0;
    std::memcpy(adapter.hw_address, reinterpret_cast<const BYTE*>(entry) + Offset, adapter.hw_address_length);
}

} // namespace ip::detail
