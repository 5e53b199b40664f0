#include "game/GameConstants.h"

#include "world/Server_EntityKinds.h"

bool Server_Player::AlreadyHavePowerup(uint32_t id) const {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        float time = m_fEffectTimes[i];
        if (m_uiEffectIds[i] == id && (time > 0.0f || time == kEffectPermanent)) return true;
    }
    return false;
}

void Server_Player::AllKeysFalse() {
    m_uiKeyFlags = 0;
    for (PlayerFlag request :
         {kPlayerMenuButton1, kPlayerMenuButton2, kPlayerMenuButton4, kPlayerMenuLocateEnemy, kPlayerMenuLocateTopEnemy,
          kPlayerMenuButton7, kPlayerMenuToggleAFK, kPlayerMenuLocateOwn, kPlayerMenuLocateMillionaire})
        SetFlag(request, false);
    m_fThrottle = 0.0f;
}

void Server_Player::ClearEffects() {
    for (int i = 0; i < kPlayerEffectSlots; ++i) {
        m_strEffectNames[i].clear();
        m_fEffectTimes[i] = 0.0f;
        m_uiEffectIds[i] = 0;
    }
}

bool Server_Player::IsOnSameTeam(const Server_Player* other) const {
    return !m_strTeamName.empty() && !other->m_strTeamName.empty() && m_strTeamName == other->m_strTeamName;
}

// Not built yet: the powerup and economy rules fill these.
void Server_Player::RemoveCola() {}
void Server_Player::TryBuyPowerup_ShieldOfTalvy() {}
void Server_Player::TryBuyPowerup_SpiritOfIceCream() {}
void Server_Player::TryBuySolexis() {}

void Server_Player::KeepCoinsAtLimit() {
    constexpr int64_t kCoinLimit = 2'000'000'000;
    if (m_i64PocketCoins > kCoinLimit) m_i64PocketCoins = kCoinLimit;
    if (m_i64PocketCoins + m_i64PropertyValue > kCoinLimit) m_i64PocketCoins = kCoinLimit - m_i64PropertyValue;
}
