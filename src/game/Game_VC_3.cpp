// The movers: each moves the game's current entity for one tick, one axis at a time, every sweep
// stopping just short of the first face it meets.
#include <algorithm>
#include <cmath>

#include "core/Server.h"
#include "game/Game.h"
#include "world/Server_EntityKinds.h"

namespace {

float& Axis(VUKVector& v, int a) { return a == 0 ? v.x : a == 1 ? v.y : v.z; }

// A speed beyond this crosses the whole world in one tick; only bad input gets there.
constexpr float kMaxSpeed = 100'000.0f;

float SaneSpeed(float v) { return std::isfinite(v) ? std::clamp(v, -kMaxSpeed, kMaxSpeed) : 0.0f; }

bool IsFinite(const VUKVector& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// Client-side movement and the rules may hand over any numbers; a sweep needs finite ones. A
// position put back is a change the clients must see.
void MakeMoverSane(Server_Entity* e) {
    for (int a = 0; a < 3; ++a) {
        Axis(e->m_vVelocity, a) = SaneSpeed(Axis(e->m_vVelocity, a));
        if (std::isfinite(Axis(e->m_vPosition, a))) continue;
        Axis(e->m_vPosition, a) = 0.0f;
        e->SetDirty();
    }
}

void MakePlayerSane(Server_Player* p) {
    if (!IsFinite(p->m_vPosition)) {
        p->m_vPosition = IsFinite(p->m_vStartPoint) ? p->m_vStartPoint : VUKVector();
        p->SetDirty();
    }
    MakeMoverSane(p);
    p->m_fVerticalVelocity = SaneSpeed(p->m_fVerticalVelocity);
}

float Tilt(const Server_Entity* e) { return std::fabs(e->GetPitch()) + std::fabs(e->GetRoll()); }

// A stopped mover keeps a gap of about 1% of its step from the face it met.
float UsableFraction(const VC_WorkArea& vc) {
    float f = vc.m_fFraction;
    return f < 1.0f ? std::max(0.0f, f - 0.01f) : f;
}

// Sets up and runs one sweep of the current entity along axis a by the distance d.
void Sweep(Game& game, int a, float d) {
    game.m_VC.m_vMove = VUKVector();
    Axis(game.m_VC.m_vMove, a) = d;
    if (a == 0)
        game.VC_SetMovingFace_X();
    else if (a == 1)
        game.VC_SetMovingFace_Y();
    else
        game.VC_SetMovingFace_Z();
    game.VC_ClipAll_2();
}

// Cuts the velocity component of axis a to the sweep's fraction and moves by it; returns the
// distance moved.
float Advance(Game& game, int a) {
    Server_Entity* mover = game.m_pCurrentEntity;
    float& v = Axis(mover->m_vVelocity, a);
    v *= UsableFraction(game.m_VC);
    Axis(mover->m_vPosition, a) += v;
    return v;
}

enum class Reaction : uint8_t { kNone, kPrincess, kProperty };

struct MoverRule {
    Reaction m_React[3]; // reaction to a hit on x, y, z
    bool m_bStandsOnYHit;
    bool m_bSkipIdleSideAxes; // no x or z sweep without speed on that axis
};

constexpr MoverRule kPrincessRule{{Reaction::kPrincess, Reaction::kPrincess, Reaction::kPrincess}, true, false};
constexpr MoverRule kOrisetRule{{Reaction::kNone, Reaction::kNone, Reaction::kNone}, false, false};
constexpr MoverRule kPropertyRule{{Reaction::kProperty, Reaction::kNone, Reaction::kProperty}, false, true};

void AddToRiders(const Server_Entity* mover, int a, float d) {
    for (size_t i = 0; i < mover->m_ReferringPlayers.Length(); ++i)
        Axis(mover->m_ReferringPlayers[i]->m_vPosition, a) += d;
}

// x, y, z sweeps of anything but a player, carrying the players that stand on it: along x and z
// by what it moved, and up by its full rise before its y sweep, so that they are not in its way.
void MoveCarryingRiders(Game& game, const MoverRule& rule) {
    Server_Entity* mover = game.m_pCurrentEntity;
    MakeMoverSane(mover);
    game.m_VC.m_vSavedVelocity = mover->m_vVelocity;
    for (int a = 0; a < 3; ++a) {
        float v = Axis(mover->m_vVelocity, a);
        if (a != 1 && v == 0.0f && rule.m_bSkipIdleSideAxes) continue;
        if (a == 1 && v > 0.0f) AddToRiders(mover, 1, v);
        Sweep(game, a, v);
        if (game.m_VC.m_pHit) {
            if (rule.m_React[a] == Reaction::kPrincess) game.TC_ReactToHit_General();
            if (rule.m_React[a] == Reaction::kProperty) game.NP_ReactToHit_General();
            if (a == 1 && rule.m_bStandsOnYHit) mover->m_ucRuleFlags |= kRuleStanding;
        }
        float moved = Advance(game, a);
        if (a != 1) AddToRiders(mover, a, moved);
    }
    for (size_t i = 0; i < mover->m_ReferringPlayers.Length(); ++i) {
        Server_Player* rider = mover->m_ReferringPlayers[i];
        game.m_pServer->InformClients_EntityUpdated(rider);
        rider->SetPlayerMoving(true);
        rider->m_sStillTicks = 0;
        game.QueueEntityForUpdate(rider);
    }
}

} // namespace

void Game::VC_Player() {
    auto* player = static_cast<Server_Player*>(m_pCurrentEntity);
    MakePlayerSane(player);
    player->SetFlag(kPlayerMayBuildHere, true);
    player->SetPlatform(nullptr);
    // Players always clip as boxes: the rotation is set aside for the sweeps.
    Rotation* rotation = player->m_pRotation;
    player->m_pRotation = nullptr;
    m_VC.m_vSavedVelocity = player->m_vVelocity;
    const float floor = player->m_vSize.y * 0.5f;
    VUKVector& position = player->m_vPosition;

    const float vertical = player->m_fVerticalVelocity;
    m_VC.m_vMove = VUKVector(0.0f, vertical, 0.0f);
    VC_SetMovingFace_Y_VelGravity(vertical);
    VC_ClipAll_2();
    if (m_VC.m_pHit) {
        player->SetFlag(kPlayerStandingOnEntity, true);
        player->m_fGroundTilt = Tilt(m_VC.m_pHit);
        if (vertical < 0.0f) Player_ReactToLanding();
    } else {
        player->m_fGroundTilt = 0.0f;
    }
    player->m_fVerticalVelocity *= UsableFraction(m_VC);
    if (std::fabs(player->m_fVerticalVelocity) < 0.01f) player->m_fVerticalVelocity = 0.0f;
    position.y = std::max(position.y + player->m_fVerticalVelocity, floor);

    Sweep(*this, 1, player->m_vVelocity.y);
    if (m_VC.m_pHit) {
        player->m_fGroundTilt = Tilt(m_VC.m_pHit);
        Player_ReactToHit_General();
    }
    Advance(*this, 1);
    position.y = std::max(position.y, floor);

    Sweep(*this, 2, player->m_vVelocity.z);
    if (m_VC.m_pHit) {
        player->m_fGroundTilt = Tilt(m_VC.m_pHit);
        Player_ReactToHit_General();
        if (player->m_fGroundTilt != 0.0f) position.y += 0.01f; // climbing a slope
    }
    Advance(*this, 2);

    Sweep(*this, 0, player->m_vVelocity.x);
    if (m_VC.m_pHit) {
        player->m_fGroundTilt = Tilt(m_VC.m_pHit);
        Player_ReactToHit_General();
    }
    Advance(*this, 0);

    // A record a reaction made meanwhile gives way to the one set aside.
    delete player->m_pRotation;
    player->m_pRotation = rotation;
}

void Game::VC_TC() { MoveCarryingRiders(*this, kPrincessRule); }
void Game::VC_OC_Feb_01_2003() { MoveCarryingRiders(*this, kOrisetRule); }
void Game::VC_NP() { MoveCarryingRiders(*this, kPropertyRule); }
void Game::VC_Zorbin() { MoveCarryingRiders(*this, kPropertyRule); }
