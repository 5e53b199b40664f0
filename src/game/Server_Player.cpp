#include "game/Server_Player.h"

#include "world/Server_Entity.h"

bool AlreadyHavePowerup(const Server_Player& player, uint32_t id) {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        float time = player.m_fEffectTimes[i];
        if (player.m_uiEffectIds[i] == id && (time > 0.0f || time == kEffectPermanent)) return true;
    }
    return false;
}
