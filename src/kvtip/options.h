#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kvtip::library {

/// Copies a caller's options over the defaults, which are all zero; null leaves these. Options of an older
/// version are shorter. Those of a newer one are taken if whatever lies beyond what is known here is zero.
/// False for misuse.
template <class Options>
bool read_options(const Options* given, Options& options) noexcept {
    constexpr std::uint32_t most = 4096; // no version is that long: the size was forgotten
    options = {};
    if (given == nullptr) {
        return true;
    }
    // Those of an older version may be less aligned.
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(given);
    std::uint32_t size = 0;
    std::memcpy(&size, bytes, sizeof size);
    if (size < sizeof size || size > most) {
        return false;
    }
    std::memcpy(&options, bytes, std::min<std::size_t>(size, sizeof options));
    return size <= sizeof options ||
           std::all_of(bytes + sizeof options, bytes + size, [](std::uint8_t each) { return each == 0; });
}

/// Whether options name a family that there is, or both (0).
constexpr bool is_family(std::uint32_t family) {
    return family == 0 || family == 4 || family == 6;
}

/// Whether only known bits are set.
constexpr bool has_only(std::uint32_t flags, std::uint32_t known) {
    return (flags & ~known) == 0;
}

} // namespace kvtip::library
