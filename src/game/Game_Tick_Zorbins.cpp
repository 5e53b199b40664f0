// Zorbin cubes: the turrets that guard their owners' property. Cubes with enemies near scan for a
// target and fire at it; pushed or unsupported cubes fall and slide a few per tick.
#include <algorithm>
#include <cmath>

#include "base/Settings.h"
#include "core/Server.h"
#include "game/Game.h"
#include "game/GameConstants.h"
#include "platform/Clock.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr uint32_t kScanPhases = 4;
constexpr uint32_t kScanCycle = 40; // the scan counter comes round to 0 here
constexpr uint16_t kFiringInterval = 55;
constexpr float kIRSDrift = 0.02f; // share of the aim an IRSCube drifts by per tick
constexpr int16_t kShotLife = 50;
constexpr int16_t kShotPower = 1'000;
constexpr float kShotSize = 64.0f;
constexpr float kShotSpeed = 15.9f * 0.8f;
constexpr uint32_t kShotSpread = 3; // the aim is off by -3 to -1 on x and z

constexpr float kGravity = 0.4f;
constexpr float kGroundClearance = 0.01f;
constexpr float kStopSpeed = 0.01f;
constexpr float kRestingSpeed = 0.001f;
constexpr float kRestingFriction = 0.3f;
constexpr uint8_t kStillTicksToStop = 2;

// Nobody may build a turret where players come into the world: a cube that falls or slides into
// the spawn area is thrown out of it.
constexpr float kSpawnHalfWidth = 3'000.0f;
constexpr float kSpawnHeight = 4'000.0f;
constexpr float kSpawnLift = 4'000.0f;
constexpr float kSpawnNudge = 5.0f;
constexpr float kSpawnKick = 2.0f;

bool InSpawnArea(const VUKVector& p) {
    return std::fabs(p.x) < kSpawnHalfWidth && std::fabs(p.z) < kSpawnHalfWidth && p.y < kSpawnHeight;
}

float Settled(float v) { return std::fabs(v) < kStopSpeed ? 0.0f : v; }

} // namespace

void Game::Tick_Zorbins() {
    uint32_t phase = platform::CounterModulo(kScanPhases);
    for (uint32_t i = 0; i < m_LinkedZorbinCubes.Count(); ++i) {
        auto* cube = static_cast<Server_ZorbinCube*>(m_LinkedZorbinCubes.GetEntity(i));
        if (cube->m_ucRuleFlags & kRuleQueuedForRemoval) continue;
        uint16_t& countdown = cube->m_usShort;
        if (countdown > 0) --countdown;
        if (countdown > kFiringInterval) countdown = 0;
        if (cube->m_NearPlayers.Empty()) {
            QueueEntityForUpdate(cube); // leaves the attacking cubes
            continue;
        }
        // Scans are spread over the ticks: each cube comes round to 0 at its own pace.
        phase = (phase + 1) % kScanPhases;
        uint32_t& scan = cube->m_uiTurnSlot;
        if (scan != 0 && (scan += phase + 1) >= kScanCycle) scan = 0;
        if (countdown < 1 && scan == 0) {
            cube->DecideIfEnemyIsAround();
            scan = 1;
        }
        if (!(cube->m_ucZorbinFlags & kZorbinTarget)) continue;
        const VUKVector& aim = cube->m_vAim;
        if (cube->m_usTexture == kTextureIRSCube) {
            cube->SetMoving(true);
            cube->m_vVelocity.x += kIRSDrift * aim.x;
            cube->m_vVelocity.z += kIRSDrift * aim.z;
            m_pServer->InformClients_EntityUpdated(cube);
            QueueEntityForUpdate(cube);
        }
        if (countdown >= 1) continue;
        countdown = kFiringInterval;
        auto* fb = static_cast<Server_FireBlock*>(World::CreateByType(kKindFireBlock));
        fb->m_pShotOwner = cube->m_pOwner;
        fb->m_sPower = kShotPower;
        fb->m_sLife = kShotLife;
        fb->m_ucFireFlags = kFireKnockBack | kFireCoinLoss;
        fb->m_vSize.Set(kShotSize, kShotSize, kShotSize);
        fb->m_usTexture = kTextureFireBlock;
        fb->m_vPosition = cube->m_vPosition;
        // Aimed ahead of a drifting cube's own motion.
        const VUKVector d(aim.x + cube->m_vVelocity.x, aim.y, aim.z + cube->m_vVelocity.z);
        const float length = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
        if (length > 0.0f && std::isfinite(length)) fb->m_vVelocity = d * (kShotSpeed / length);
        fb->m_vVelocity.x += float(platform::CounterModulo(kShotSpread)) - float(kShotSpread);
        fb->m_vVelocity.z += float(platform::CounterModulo(kShotSpread)) - float(kShotSpread);
        LaunchFireBlock(fb);
    }
}

void Game::Tick_Moving_Zorbins() {
    // The settings come from administrators: no group count below 1.
    const uint32_t groups = uint32_t(std::max(g_iPropertyMovingGroups, 1));
    const int32_t cap = g_iMaxPropertyMovePerTick;
    uint32_t& group = m_MovingGroups.m_uiMovingZorbinGroup;
    if (++group >= groups) group = 0;
    int32_t moved = 0;
    for (uint32_t i = 0; i < m_MovingZorbinCubes.Count() && moved < cap; ++i) {
        if ((i + 1) % groups != group) continue;
        auto* cube = static_cast<Server_ZorbinCube*>(m_MovingZorbinCubes.GetEntity(i));
        ++moved;
        if (cube->m_ucRuleFlags & kRuleQueuedForRemoval) continue;
        m_pCurrentEntity = cube;
        cube->ClearDirty();
        VUKVector& v = cube->m_vVelocity;
        VUKVector& position = cube->m_vPosition;
        const float floor = cube->m_vSize.y * 0.5f;
        v.y -= kGravity;
        // The last step of a fall ends just above the ground.
        if (position.y + v.y <= floor) v.y = Settled(floor + kGroundClearance - position.y);
        VC_Zorbin();
        if (position.y <= floor) {
            position.y = floor + kGroundClearance;
            v.y = 0.0f;
            cube->SetDirty();
        }
        v.Set(Settled(v.x), Settled(v.y), Settled(v.z));
        if (v != VUKVector()) cube->SetDirty();
        cube->ClipToOuterInvisibleBoundaries();
        if (InSpawnArea(position)) {
            position += VUKVector(kSpawnNudge, kSpawnLift, kSpawnNudge);
            v += VUKVector(kSpawnKick, kSpawnKick, kSpawnKick);
            cube->SetDirty();
        }
        if (std::fabs(v.y) < kRestingSpeed) {
            v.x *= kRestingFriction;
            v.z *= kRestingFriction;
        }
        uint8_t& stillTicks = cube->m_ucMoveState;
        if (!cube->IsDirty()) {
            if (++stillTicks >= kStillTicksToStop) {
                cube->SetMoving(false);
                stillTicks = 0;
                QueueEntityForUpdate(cube); // leaves the moving cubes
            }
            continue;
        }
        stillTicks = 0;
        m_pServer->InformClients_EntityUpdated(cube);
        QueueEntityForUpdate(cube);
        SetPlayerNearList(cube);
        SetAboveNearbyEntitiesAsMoving(cube);
    }
}
