// Talvy cubes, the pop princesses: they hop about at random, can be ridden and steered, and pay
// whoever shoots one down.
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

constexpr double kTalvyBudgetSeconds = 0.004166667; // 1/240 s of each server pass

constexpr float kHopSpeed = 5.0f;
constexpr float kSteerFactor = 1.5f;
constexpr float kDrivenJump = 36.0f;
constexpr float kDrivenHop = 4.0f;
constexpr uint32_t kDrunkSpread = 14; // drunk staggering: -6 to +7 per axis
constexpr float kDrunkOffset = 6.0f;
constexpr uint32_t kDrunkLeapOdds = 100; // one turn in a hundred, a drunk cube leaps
constexpr uint32_t kDrunkLeapDraw = 50;
constexpr float kDrunkLeap = 15.0f;
constexpr float kMaxLaunch = 1'000.0f; // a faster launch is a glitch: the move is undone
constexpr float kTalvyCeiling = 20'000.0f;
constexpr float kEdgePushBack = 20.0f;
constexpr float kRestingFriction = 0.6f;

// (a, 0, b) turned by the heading, as a vector along +z would be.
VUKVector Turned(float a, float b, float heading) {
    const float s = std::sin(heading), c = std::cos(heading);
    return VUKVector(a * c + b * s, 0.0f, b * c - a * s);
}

constexpr int64_t kDefeatCoins = 2'000;
constexpr int64_t kVextorDefeatCoins = 10'000;
constexpr int64_t kDefeatRankBonus = 10; // coins per rank number below the top
constexpr uint32_t kDefeatEnergy = 1'000;

constexpr uint16_t kTextureTalvyCube = 9;
constexpr uint16_t kTextureKrulmCube = 75;

const char* TalvyName(uint16_t texture) {
    return texture == kTextureTalvyCube   ? "TalvyCube"
           : texture == kTextureKrulmCube ? "KrulmCube"
                                          : "Disguised TalvyCube";
}

} // namespace

void Game::Tick_TCs() {
    // Ridden cubes answer their drivers at once, whatever the budget.
    for (uint32_t i = 0; i < m_TalvyCubes.Count(); ++i) {
        auto* cube = static_cast<Server_TalvyCube*>(m_TalvyCubes.GetEntity(i));
        if ((cube->m_ucPassFlags & kPassTickSignal) && cube->m_ReferringPlayers.Length() != 0) Tick_One_TC(cube);
    }
    const PassBudget budget(kTalvyBudgetSeconds);
    uint32_t& cursor = m_RoundRobins.m_uiTalvyCursor;
    uint32_t unsignalled = m_TalvyCubes.Count();
    while (unsignalled != 0 && !budget.Spent()) {
        if (++cursor >= m_TalvyCubes.Count()) cursor = 0;
        auto* cube = static_cast<Server_TalvyCube*>(m_TalvyCubes.GetEntity(cursor));
        if (cube->m_ucPassFlags & kPassTickSignal)
            Tick_One_TC(cube);
        else
            --unsignalled;
    }
    if (unsignalled != 0) m_RoundRobins.m_bBudgetRanOut = true;
}

void Game::Tick_One_TC(Server_TalvyCube* c) {
    if (!(c->m_ucPassFlags & kPassTickSignal)) return;
    c->m_ucPassFlags &= uint8_t(~kPassTickSignal);
    c->ClearDirty();
    VUKVector& v = c->m_vVelocity;
    VUKVector& position = c->m_vPosition;

    VUKVector push(0.0f, -kPrincessGravity, 0.0f);
    if (c->m_sCounter > 0) --c->m_sCounter;
    const float heading = RandomHeading();
    if (std::fabs(v.y) < kRestingSpeed) push += Along(heading, kHopSpeed);

    bool driven = false;
    for (size_t i = 0; i < c->m_ReferringPlayers.Length(); ++i) {
        Server_Player* rider = c->m_ReferringPlayers[i];
        if (!rider->GetMoveFlag(kMoveDriving)) continue;
        rider->DetermineDrivenTalvyVelocity(c);
        c->m_pLastPusher = nullptr;
        v.y -= kPrincessGravity;
        driven = true;
    }
    if (!driven) v += push;

    const bool drunk = (c->m_ucTalvyFlags & kTalvyDrunk) != 0;
    if (drunk) {
        const float a = float(platform::CounterModulo(kDrunkSpread)) - kDrunkOffset;
        const float b = float(platform::CounterModulo(kDrunkSpread)) - kDrunkOffset;
        v += Turned(a, b, heading);
        if (platform::CounterModulo(kDrunkLeapOdds) == kDrunkLeapDraw) v.y += kDrunkLeap;
    }

    --c->m_sCountdown;
    if (drunk || c->m_ReferringPlayers.Length() != 0) c->m_sCountdown = 0;
    if (c->m_sCountdown > 0) return;
    c->m_sCountdown = MoveInterval(m_uiPopPrincessSkip);
    m_pCurrentEntity = c;
    VC_TC();

    if (std::fabs(v.x) > kMaxLaunch || std::fabs(v.y) > kMaxLaunch || std::fabs(v.z) > kMaxLaunch) {
        position -= v;
        v = VUKVector();
    }
    if (HasVelocity(c)) c->SetDirty();
    if (LandOnGround(c)) {
        if (v.y < 0.0f) v.y = 0.0f;
        c->SetDirty();
        c->m_ucRuleFlags |= kRuleStanding;
    }
    if (position.y > kTalvyCeiling) {
        position.y = kTalvyCeiling;
        v.y = 0.0f;
        c->SetDirty();
    }

    const VUKVector half = c->m_vSize * 0.5f;
    const bool pastX = position.x + half.x > kWorldEdge, beforeX = position.x - half.x < -kWorldEdge;
    const bool pastZ = position.z + half.z > kWorldEdge, beforeZ = position.z - half.z < -kWorldEdge;
    if (pastX || beforeX || pastZ || beforeZ) {
        if (driven) {
            // The driver is turned back; a cube on its own is put home.
            if (pastX) v.x = -kEdgePushBack;
            if (beforeX) v.x = kEdgePushBack;
            if (pastZ) v.z = -kEdgePushBack;
            if (beforeZ) v.z = kEdgePushBack;
        } else {
            position = SafeHome(c->m_vHomePoint);
            v = VUKVector();
        }
        c->SetDirty();
    }
    if (!driven && std::fabs(v.y) < kRestingSpeed) {
        v.x *= kRestingFriction;
        v.z *= kRestingFriction;
    }
    if (c->IsDirty()) {
        m_pServer->InformClients_EntityUpdated(c);
        QueueEntityForUpdate(c);
    }
}

void Server_Player::DetermineDrivenTalvyVelocity(Server_Entity* cube) {
    // Holding the fly-up key is how a driver gets off.
    if (HasKey(kKeyUp)) return;
    cube->m_vVelocity += Along(m_fSteeringHeading, m_fThrottle * kSteerFactor);
    if (cube->m_ucRuleFlags & kRuleStanding) cube->m_vVelocity.y += HasKey(kKeyJump) ? kDrivenJump : kDrivenHop;
    cube->m_ucRuleFlags &= uint8_t(~kRuleStanding);
}

// Every princess cube goes back as after a defeat, nobody rewarded: Talvy cubes drop in at their
// homes, Oriset cubes hover there at full size, Quillhob cubes forget who hit them.
void Game::KillAndResetAllPrincesses() {
    auto reset = [this](Server_Entity* e) {
        e->m_vVelocity = VUKVector();
        m_pServer->InformClients_EntityUpdated(e);
        QueueEntityForUpdate(e);
    };
    for (uint32_t i = 0; i < m_TalvyCubes.Count(); ++i) {
        auto* c = static_cast<Server_TalvyCube*>(m_TalvyCubes.GetEntity(i));
        c->m_vPosition = SafeHome(c->m_vHomePoint);
        c->m_vPosition.y = kTalvyDefeatHeight;
        c->m_vSize.Set(kTalvyCubeSize, kTalvyCubeSize, kTalvyCubeSize);
        c->m_ucTalvyFlags &= uint8_t(~kTalvyDrunk);
        c->m_sCounter = kTalvyProtectionAfterDefeat;
        c->m_pLastPusher = nullptr;
        reset(c);
    }
    for (uint32_t i = 0; i < m_OrisetCubes.Count(); ++i) {
        auto* o = static_cast<Server_OrisetCube*>(m_OrisetCubes.GetEntity(i));
        o->m_vPosition = SafeHome(o->m_vHomePoint);
        o->m_vSize.Set(kOrisetCubeSize, kOrisetCubeSize, kOrisetCubeSize);
        o->m_fHoverHeight = kOrisetHoverAfterDefeat;
        reset(o);
    }
    for (uint32_t i = 0; i < m_QuillhobCubes.Count(); ++i) {
        auto* q = static_cast<Server_QuillhobCube*>(m_QuillhobCubes.GetEntity(i));
        q->m_pLastHitter = nullptr;
        q->m_sFiringCountdown = 1;
        reset(q);
    }
}

void Server_Player::HandleTalvyCubeDefeat(Server_Entity* cube) {
    char line[160];
    std::snprintf(line, sizeof line, "You have defeated a %s!\n\n", TalvyName(cube->m_usTexture));
    std::string text = line;
    if (AlreadyHavePowerup(kPowerupGlovesOfVextor)) {
        m_i64PocketCoins += kVextorDefeatCoins;
        text.append("Thanks to the Gloves of Vextor, you get 10,000 coins instead of the usual 2,000 coins.  You get "
                    "1,000 HP.");
    } else {
        m_i64PocketCoins += kDefeatCoins;
        text.append("You get 2,000 coins and 1,000 HP.");
    }
    PayRankBonus(this, text, kDefeatRankBonus);
    KeepCoinsAtLimit();
    AddEnergyCapped(this, kDefeatEnergy);
    SetPlayerMessage(this, text, kMessageTimeShort);
}

void Server_Player::HandleMadeTalvyDrunk(Server_Entity*) {
    SetPlayerMessage(this,
                     "You have made the TalvyCube super hyper and jumpy with your cola-loaded FireBlocks!  If you "
                     "thought she was dancing terribly already, you haven't seen anything yet!  Look at her now!!!",
                     kMessageTimeShort);
}
