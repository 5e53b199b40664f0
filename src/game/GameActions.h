// Helpers shared by the player action rules (shooting, building, locating, the admin editor).
#pragma once
#include <algorithm>
#include <cstdint>
#include <string>

#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"
#include "world/ZoneGridHolder.h"

class VUK_Grid;

// Message times: how long the status line stays up, long after a success, short after a
// refusal or a passing notice.
inline constexpr float kMessageTimeLong = 1.0f;
inline constexpr float kMessageTimeShort = 0.25f;

// The zones of the box from low to high, each bound rounded, low y not below the ground, and the
// upper corner extended by kZoneLimit.
ZoneQuery ActionZoneBox(const VUK_Grid& grid, const VUKVector& low, const VUKVector& high);

// Raises the client-side-movement hold-off and hands the player's movement back to the server.
void EndClientSideMovement(Server_Player* player, uint8_t holdOff);

inline void SetPlayerMessage(Server_Player* player, const std::string& text, float time) {
    player->m_strMessageText = text;
    player->m_fMessageTime = time;
}

// Energy a reward may raise a player to: the Spirit of Cookie holds it at 9,999, the Spirit of Ice
// Cream lets it reach 20,000, and anyone else stops at 5,000. The two spirits also refill up to
// their caps each tick.
inline constexpr uint32_t kCookieEnergyCap = 9'999;
inline constexpr uint32_t kIceCreamEnergyCap = 20'000;
inline constexpr uint32_t kPlainEnergyCap = 5'000;
inline void AddEnergyCapped(Server_Player* p, uint32_t amount) {
    const uint32_t cap = p->GetFlag(kPlayerSpiritOfCookie)     ? kCookieEnergyCap
                         : p->GetFlag(kPlayerSpiritOfIceCream) ? kIceCreamEnergyCap
                                                               : kPlainEnergyCap;
    p->m_uiEnergy = std::min(p->m_uiEnergy + amount, cap);
}

// A message that halts the player where it stands until ENTER.
inline void SetPlayerModal(Server_Player* player, const std::string& text) {
    player->m_strModalText = text;
    player->SetFlag(kPlayerMessageWindow, true);
    player->SetFlag(kPlayerHalted, true);
    player->m_vRespawnPoint = player->m_vPosition;
}
