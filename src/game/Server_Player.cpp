#include "game/Server_Player.h"

#include "world/Server_Entity.h"

bool Server_Player::AlreadyHavePowerup(uint32_t id) const {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        float time = m_fEffectTimes[i];
        if (m_uiEffectIds[i] == id && (time > 0.0f || time == kEffectPermanent)) return true;
    }
    return false;
}
