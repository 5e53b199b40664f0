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

void Server_Player::KeepCoinsAtLimit() {
    constexpr int64_t kCoinLimit = 2'000'000'000;
    if (m_i64PocketCoins > kCoinLimit) m_i64PocketCoins = kCoinLimit;
    const int64_t worth = NetWorth();
    if (worth <= kCoinLimit) return;
    // The excess is taken as a 32-bit amount, and never more than the pocket holds.
    const int64_t excess = int64_t(uint32_t(uint64_t(worth) - uint64_t(kCoinLimit)));
    const int64_t held = m_i64PocketCoins > 0 ? m_i64PocketCoins : 0;
    m_i64PocketCoins -= excess < held ? excess : held;
}
