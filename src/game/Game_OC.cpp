// Oriset cubes, which wander at their hover height, and the rewards of the players who push
// Talvy cubes onto pyramids and into Oriset cubes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"
#include "game/PrincessRules.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr double kOrisetBudgetSeconds = 0.008333334; // 1/120 s of each server pass
constexpr uint8_t kHeadingTurns = 2;                 // turns between two new headings
constexpr float kWanderSpeed = 5.0f;
constexpr float kHoverSpeed = 5.0f;
constexpr float kOrisetCeiling = 10'000.0f;
constexpr float kWanderFriction = 0.7f;

constexpr uint16_t kTextureOrisetCube = 19;
constexpr uint16_t kTextureDrevoCube = 76;
constexpr int64_t kOrisetDefeatCoins = 60'000;
constexpr int64_t kOrisetRankBonus = 50; // coins per rank number below the top
constexpr float kOrisetSpiritTime = 10.0f;
constexpr const char* kSpiritOfZorbinName = "Spirit of Zorbin";

const char* OrisetName(uint16_t texture) {
    return texture == kTextureOrisetCube  ? "OrisetCube"
           : texture == kTextureDrevoCube ? "DrevoCube"
                                          : "Disguised OrisetCube";
}

// The Spirit of Zorbin for the time: an active entry gets the time, else the first free slot takes
// it; a full list gets nothing.
void GiveSpiritOfZorbin(Server_Player* p, float time) {
    int slot = -1;
    for (int i = 0; i < kPlayerEffectSlots && slot < 0; ++i) {
        const float t = p->m_fEffectTimes[i];
        if (p->m_uiEffectIds[i] == kPowerupSpiritOfZorbin && (t > 0.0f || t == kEffectPermanent)) slot = i;
    }
    for (int i = 0; i < kPlayerEffectSlots && slot < 0; ++i) {
        const float t = p->m_fEffectTimes[i];
        if (t <= 0.0f && t != kEffectPermanent) slot = i;
    }
    if (slot < 0) return;
    p->m_uiEffectIds[slot] = kPowerupSpiritOfZorbin;
    p->m_strEffectNames[slot] = kSpiritOfZorbinName;
    p->m_fEffectTimes[slot] = time;
}

} // namespace

void Game::Tick_OCs() {
    const PassBudget budget(kOrisetBudgetSeconds);
    uint32_t& cursor = m_RoundRobins.m_uiOrisetCursor;
    bool allHadTurn = false;
    while (m_OrisetCubes.Count() != 0 && !budget.Spent()) {
        if (++cursor >= m_OrisetCubes.Count()) cursor = 0;
        auto* o = static_cast<Server_OrisetCube*>(m_OrisetCubes.GetEntity(cursor));
        // The cubes are signalled together, so the first one without signal means all had their turn.
        if (!(o->m_ucPassFlags & kPassTickSignal)) {
            allHadTurn = true;
            break;
        }
        o->m_ucPassFlags &= uint8_t(~kPassTickSignal);
        o->ClearDirty();
        VUKVector& v = o->m_vVelocity;
        VUKVector& position = o->m_vPosition;

        if (o->m_ucHeadingCountdown > 0) --o->m_ucHeadingCountdown;
        if (o->m_ucHeadingCountdown == 0) {
            o->m_ucHeadingCountdown = kHeadingTurns;
            o->m_fHeading = RandomHeading();
        }
        v += Along(o->m_fHeading, kWanderSpeed);

        --o->m_sCountdown;
        if (o->m_ReferringPlayers.Length() != 0) o->m_sCountdown = 0;
        if (o->m_sCountdown >= 1) continue;
        o->m_sCountdown = MoveInterval(m_uiPopPrincessSkip);
        v.y = position.y > o->m_fHoverHeight ? -kHoverSpeed : position.y < o->m_fHoverHeight ? kHoverSpeed : 0.0f;
        m_pCurrentEntity = o;
        VC_OC_Feb_01_2003();
        if (HasVelocity(o)) o->SetDirty();
        if (LandOnGround(o)) {
            v.y = 0.0f;
            o->SetDirty();
        }
        if (position.y > kOrisetCeiling) {
            position.y = kOrisetCeiling;
            o->SetDirty();
        }
        if (std::fabs(position.x) > kWorldEdge || std::fabs(position.z) > kWorldEdge) {
            position = SafeHome(o->m_vHomePoint);
            v = VUKVector();
            o->SetDirty();
        }
        v.x *= kWanderFriction;
        v.z *= kWanderFriction;
        if (o->IsDirty()) {
            m_pServer->InformClients_EntityUpdated(o);
            QueueEntityForUpdate(o);
        }
    }
    if (!allHadTurn && m_OrisetCubes.Count() != 0) m_RoundRobins.m_bBudgetRanOut = true;
}

void Server_Player::HandleTalvyCubeOnPyramid(unsigned reward) {
    if (GetFlag(kPlayerPyramidRewardUsed)) {
        SetPlayerModal(this, "We're sorry, but you cannot collect money from kicking a Talvy on top of a sacred object "
                             "until the MEAN TAX WARRIOR has come along.  He should come along within the next "
                             "hour.\n\nPress ENTER to continue.");
        return;
    }
    SetFlag(kPlayerPyramidRewardUsed, true);
    m_i64PocketCoins += reward;
    KeepCoinsAtLimit();
    std::string text = "The TalvyCube has landed on a sacred object!  The Smiley Sun gods defeated her!  You touched "
                       "her last, so you win ";
    text.append(std::to_string(reward));
    text.append(" coins!  Congraulations!  YOU CAN'T COLLECT COINS FROM KICKING TALVY ON A SACRED OBJECT AGAIN UNTIL "
                "THE MEAN TAX WARRIOR SHOWS UP!!!\n\nPress ENTER to continue.");
    SetPlayerModal(this, text);
}

void Server_Player::HandleOrisetCubeDefeat(Server_Entity* cube) {
    char line[160];
    std::snprintf(line, sizeof line, "You have defeated a %s!\n\n", OrisetName(cube->m_usTexture));
    std::string text = line;
    text.append("You get 60,000 coins and a 10 minute Spirit of Zorbin.");
    m_i64PocketCoins += kOrisetDefeatCoins;
    PayRankBonus(this, text, kOrisetRankBonus);
    KeepCoinsAtLimit();
    GiveSpiritOfZorbin(this, kOrisetSpiritTime);
    SetPlayerMessage(this, text, kMessageTimeShort);
}
