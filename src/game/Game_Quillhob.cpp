// Quillhob cubes: each chases the last player who hit it, hopping, and shoots at it.
#include <cmath>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameConstants.h"
#include "game/PrincessRules.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr float kChaseSpeed = 16.0f;
constexpr float kHopAfterTarget = 8.0f;
constexpr int16_t kFiringInterval = 5;
constexpr int16_t kShotLife = 15;
constexpr int16_t kShotPower = 2'000;
constexpr float kShotSize = 32.0f;
constexpr float kShotSpeed = 32.0f;
constexpr float kShotAboveBottom = 50.0f; // shots leave this far above the cube's bottom

// The unit vector from the cube to its last hitter; false when there is none to chase (no hitter,
// or one standing exactly at the cube's centre).
bool TowardsHitter(const Server_QuillhobCube* q, VUKVector& unit) {
    if (!q->m_pLastHitter) return false;
    const VUKVector d = q->m_pLastHitter->m_vPosition - q->m_vPosition;
    const float distance = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
    if (!(distance > 0.0f) || !std::isfinite(distance)) return false;
    unit = d * (1.0f / distance);
    return true;
}

} // namespace

void Game::Tick_QuillhobCubes() {
    for (uint32_t i = 0; i < m_QuillhobCubes.Count(); ++i) {
        auto* q = static_cast<Server_QuillhobCube*>(m_QuillhobCubes.GetEntity(i));
        if (q->m_ucRuleFlags & kRuleQueuedForRemoval) continue;
        q->ClearDirty();
        VUKVector& v = q->m_vVelocity;
        const VUKVector size(kQuillhobCubeSize, kQuillhobCubeSize, kQuillhobCubeSize);
        if (q->m_vSize != size) {
            q->m_vSize = size;
            q->SetDirty();
        }

        VUKVector unit;
        if (TowardsHitter(q, unit)) {
            v.x = kChaseSpeed * unit.x;
            v.z = kChaseSpeed * unit.z;
        } else {
            v.x = v.z = 0.0f;
        }
        v.y -= kPrincessGravity;
        q->SetYaw(std::atan2(v.x, v.z));
        q->m_ucRuleFlags &= uint8_t(~kRuleStanding);
        m_pCurrentEntity = q;
        VC_TC();

        if (HasVelocity(q)) q->SetDirty();
        if (LandOnGround(q)) {
            if (v.y < 0.0f) v.y = 0.0f;
            q->SetDirty();
            q->m_ucRuleFlags |= kRuleStanding;
        }
        if (q->m_ucRuleFlags & kRuleStanding) v.y = kHopAfterTarget;
        q->ClipToOuterInvisibleBoundaries();
        if (q->IsDirty()) {
            m_pServer->InformClients_EntityUpdated(q);
            QueueEntityForUpdate(q);
        }

        if (q->m_sFiringCountdown > 0) --q->m_sFiringCountdown;
        if (q->m_sFiringCountdown > 0 || !TowardsHitter(q, unit)) continue;
        q->m_sFiringCountdown = kFiringInterval;
        auto* fb = static_cast<Server_FireBlock*>(World::CreateByType(kKindFireBlock));
        fb->m_vPosition = q->m_vPosition;
        fb->m_vPosition.y += kShotAboveBottom - q->m_vSize.y * 0.5f;
        fb->m_vSize.Set(kShotSize, kShotSize, kShotSize);
        fb->m_usTexture = kTextureFireBlock;
        fb->m_vVelocity = unit * kShotSpeed;
        fb->m_sLife = kShotLife;
        fb->m_sPower = kShotPower;
        fb->m_pShotOwner = q;
        fb->m_ucFireFlags = kFirePrincessShot | kFireKnockBack;
        LaunchFireBlock(fb);
    }
}
