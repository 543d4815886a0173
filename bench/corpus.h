#pragma once

// The addresses that the benchmark reads and writes. They are the same in every run, and so many that the
// processor cannot learn to predict them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

struct sample {
    std::array<std::uint8_t, 16> bytes{}; ///< IPv4: the first 4
    std::array<char, 48> text{};          ///< what the system writes for it
    std::size_t length = 0;

    std::string_view view() const { return {text.data(), length}; }
};

using corpus = std::vector<sample>;

corpus ipv4_addresses();
/// Zero runs of any length at any place, groups of one to four digits, IPv4-mapped addresses.
corpus ipv6_mixed_addresses();
/// Eight groups of four digits.
corpus ipv6_full_addresses();
/// Both families, shuffled.
corpus mixed_family_addresses();
