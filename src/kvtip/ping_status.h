#pragma once

#include <cstdint>

namespace kvtip::library {

/// Whether a number is a status of the echo calls (IP_STATUS).
bool is_ping_status(std::uint32_t status) noexcept;

/// What became of a ping with that status: enum kvtip_ping_outcome.
std::uint32_t outcome_of(std::uint32_t status) noexcept;

} // namespace kvtip::library
