// The machine's name and IPv4 addresses, for the operator's start-up banner.
#pragma once
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

std::string GetHostName(); // at most 33 characters
std::vector<std::array<uint8_t, 4>> GetIPv4Addresses();

} // namespace platform
