// What happens when a sweep stops: a landing player bounces, burns or scores on the pad, a kicked
// block or cube flies off, a princess cube pushed onto a pyramid or into an Oriset cube scores.
// The mover is the game's current entity and what it met is the work area's hit.
#include <algorithm>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr float kPyramidLift = 50'000.0f;
constexpr float kOrisetShrink = 100.0f;
constexpr float kOrisetDefeatHeight = 200.0f;
constexpr uint32_t kPyramidDefaultReward = 10'000;

bool IsPropertyBlock(const Server_Entity* e) { return e->GetKind() == kKindNormalPad && e->IsPlayerBuilt(); }

bool IsStone(const Server_Entity* e) {
    return IsPropertyBlock(e) && (e->m_usTexture == kTextureStoneBlock || e->m_usTexture == kTextureFlatStone);
}

bool IsBuildingBlock(const Server_Entity* e) { return IsPropertyBlock(e) && e->m_usTexture == kTextureBuildingBlock; }

// A plain warp a client in its own movement steps onto is its client's to carry out.
bool IsPlainWarp(const Server_Entity* pad) {
    const GoalPadStuff* goal = pad->m_pGoalPad;
    return goal->m_sType == 0 && goal->m_iCoinReward == 0 && goal->m_iSolexis == 0 &&
           (pad->m_ucSurfaceFlags & (kSurfaceNoFly | kSurfaceFlyAgain)) == 0;
}

// Pushes e by the given amounts and makes it moving property, to be re-filed at the end of the tick.
void Kick(Game& game, Server_Entity* e, float vx, float vy, float vz) {
    e->m_vVelocity += VUKVector(vx, vy, vz);
    e->SetMoving(true);
    e->m_ucMoveState = 0; // its still-ticks counter
    game.QueueEntityForUpdate(e);
}

// The surface rules that landing on and bumping into a block or pad share.
void FlyingAndGoalRules(Game& game, Server_Player* player, Server_Entity* e) {
    if (e->m_ucSurfaceFlags & kSurfaceNoFly) {
        player->HandleFlyingDisallow();
        game.m_pServer->InformClients_EntityUpdated(player);
    }
    if (e->m_ucSurfaceFlags & kSurfaceFlyAgain) {
        player->HandleFlyingReallow();
        game.m_pServer->InformClients_EntityUpdated(player);
    }
    if (!e->m_pGoalPad || player->IsMessageWindowOpen()) return;
    if (player->GetFlag(kPlayerClientSideMovement) && player->GetFlag(kPlayerClientSideWarp) && IsPlainWarp(e)) return;
    player->HandleGoalPadLand(e);
    if (!e->IsDestroyed()) return;
    if (e->m_pGoalPad->m_sType != 0) game.DeselectEntityFromAllAdmins(e);
    game.QueueEntityForRemoval(e);
}

} // namespace

void Game::Player_ReactToLanding() {
    auto* player = static_cast<Server_Player*>(m_pCurrentEntity);
    Server_Entity* e = m_VC.m_pHit;
    if (player->IsMessageWindowOpen()) return;
    player->SetFlag(kPlayerMayBuildHere, true);
    player->SetMoveFlag(kMoveFast, false);
    if (e->GetKind() == kKindNormalPad) {
        if (e->m_usTexture == kTextureSpeedSurface) player->SetMoveFlag(kMoveFast, true);
        player->m_fVerticalVelocity += float(e->GetEEA(kEEABounce));
        if (!(e->m_ucRuleFlags & kRuleZorbinBuildAllowed)) player->SetFlag(kPlayerMayBuildHere, false);
        if (e->m_usTexture == kTextureFireBlock && player->IsLoggedIn() && player->m_uiEnergy > 0) {
            --player->m_uiEnergy;
            player->SetDirty();
            if (player->m_uiEnergy == 0) player->SetDead();
        }
        struct SurfaceRule {
            uint8_t m_ucFlag;
            void (Server_Player::*m_Handle)();
        };
        static constexpr SurfaceRule kJailRules[] = {{kSurfaceJail, &Server_Player::HandleJail},
                                                     {kSurfaceJailRelease, &Server_Player::HandleJailRelease}};
        FlyingAndGoalRules(*this, player, e);
        for (const SurfaceRule& rule : kJailRules) {
            if (!(e->m_ucSurfaceFlags & rule.m_ucFlag)) continue;
            (player->*rule.m_Handle)();
            m_pServer->InformClients_EntityUpdated(player);
        }
        if (e->IsTagPad() && player->HandleTagPadLand(e)) {
            m_pServer->InformClients_EntityUpdated(e);
            m_pServer->InformClients_EntityUpdated(player);
        }
    } else if (e->GetKind() == kKindPalaceCube) {
        player->m_fVerticalVelocity += float(e->GetEEA(kEEABounce));
    }
    player->SetPlatform(e);
}

void Game::Player_ReactToHit_General() {
    auto* player = static_cast<Server_Player*>(m_pCurrentEntity);
    Server_Entity* e = m_VC.m_pHit;
    if (player->IsMessageWindowOpen()) return;
    const VUKVector& v = player->m_vVelocity;
    const bool kicksOwn = !player->GetFlag(kPlayerNoKickOwnProperty);
    switch (e->GetKind()) {
    case kKindTalvyCube: {
        auto* cube = static_cast<Server_TalvyCube*>(e);
        cube->m_vVelocity += VUKVector(2.0f * v.x, 20.0f, 2.0f * v.z);
        cube->m_pLastPusher = player;
        break;
    }
    case kKindZorbinCube:
        if (e->m_pOwner == player && kicksOwn) Kick(*this, e, 1.1f * v.x, 0.1f, 1.1f * v.z);
        break;
    case kKindNormalPad: {
        const bool own = e->m_pOwner == player;
        const bool friends = e->m_pOwner && !own && e->m_pOwner->IsOnSameTeam(player);
        if (IsPropertyBlock(e) && !friends) {
            if (IsStone(e) && own && kicksOwn)
                Kick(*this, e, 1.1f * v.x, 0.1f, 1.1f * v.z);
            else if (IsBuildingBlock(e) && (kicksOwn || !own))
                Kick(*this, e, 1.3f * v.x, 6.0f, 1.3f * v.z);
        }
        FlyingAndGoalRules(*this, player, e);
        break;
    }
    default:
        break;
    }
}

void Game::NP_ReactToHit_General() {
    const Server_Entity* mover = m_pCurrentEntity;
    Server_Entity* e = m_VC.m_pHit;
    const VUKVector& v = mover->m_vVelocity;
    if (e->GetKind() == kKindTalvyCube)
        e->m_vVelocity += VUKVector(1.1f * v.x, 2.0f, 1.1f * v.z);
    else if (IsBuildingBlock(e))
        Kick(*this, e, 1.5f * v.x, 8.0f, 1.5f * v.z);
    // A lift grinds stones and Zorbin cubes in its way.
    if (mover->m_pLift && (IsStone(e) || e->GetKind() == kKindZorbinCube)) QueueEntityForRemoval(e);
}

void Game::TC_ReactToHit_General() {
    Server_Entity* e = m_VC.m_pHit;
    const VUKVector& saved = m_VC.m_vSavedVelocity;
    if (e->GetKind() == kKindTalvyCube) {
        e->m_vVelocity += VUKVector(2.0f * saved.x, 20.0f, 2.0f * saved.z);
        return;
    }
    // Quillhob cubes move the same way but have no home to go back to.
    if (m_pCurrentEntity->GetKind() != kKindTalvyCube) return;
    if (e->GetKind() == kKindNormalPad && (e->m_ucRuleFlags & kRulePyramid))
        Tick_TC_HandleConflict_NormalPad();
    else if (e->GetKind() == kKindOrisetCube)
        Tick_TC_HandleConflict_OC();
}

void Game::Tick_TC_HandleConflict_NormalPad() {
    auto* cube = static_cast<Server_TalvyCube*>(m_pCurrentEntity);
    const Server_Entity* pyramid = m_VC.m_pHit;
    cube->m_vPosition = cube->m_vHomePoint + VUKVector(0.0f, kPyramidLift, 0.0f);
    cube->m_vSize.Set(kTalvyCubeSize, kTalvyCubeSize, kTalvyCubeSize);
    cube->SetDirty();
    if (Server_Player* pusher = cube->m_pLastPusher) {
        m_pServer->InformClients_EntityUpdated(pusher);
        const bool custom = (pyramid->m_ucRuleFlags & kRulePrincessReward) != 0;
        pusher->HandleTalvyCubeOnPyramid(custom ? pyramid->GetEEA(kEEAPrincessReward) : kPyramidDefaultReward);
    }
}

void Game::Tick_TC_HandleConflict_OC() {
    auto* cube = static_cast<Server_TalvyCube*>(m_pCurrentEntity);
    auto* oriset = static_cast<Server_OrisetCube*>(m_VC.m_pHit);
    cube->m_vVelocity.x = -0.1f * m_VC.m_vSavedVelocity.x;
    cube->m_vVelocity.z = -0.1f * m_VC.m_vSavedVelocity.z;
    oriset->m_vSize -= VUKVector(kOrisetShrink, kOrisetShrink, kOrisetShrink);
    const float half = oriset->m_vSize.y * 0.5f;
    float& hover = oriset->m_fHoverHeight;
    hover = hover <= kOrisetShrink ? half : std::max(hover - kOrisetShrink, half);
    if (oriset->m_vSize.y <= kOrisetDefeatHeight) {
        oriset->m_vPosition = oriset->m_vHomePoint;
        oriset->m_vSize.Set(kOrisetCubeSize, kOrisetCubeSize, kOrisetCubeSize);
        hover = kOrisetHoverAfterDefeat;
        if (Server_Player* pusher = cube->m_pLastPusher) {
            m_pServer->InformClients_EntityUpdated(pusher);
            pusher->HandleOrisetCubeDefeat(oriset);
        }
    }
    // Its own tick clears its dirty flag before looking at it: re-file and tell the clients here.
    m_pServer->InformClients_EntityUpdated(oriset);
    QueueEntityForUpdate(oriset);
}
