// Player rules that other layers call.
#pragma once
#include <cstdint>

class Server_Player;

inline constexpr uint32_t kPowerupJailed = 21;

// True when an active slot of the temporary effects table holds the powerup (a slot is active
// while its time is positive or permanent).
bool AlreadyHavePowerup(const Server_Player& player, uint32_t id);
