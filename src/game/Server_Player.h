// Player rules that other layers call.
#pragma once
#include <cstdint>

inline constexpr uint32_t kPowerupJailed = 21;
