// A player's own velocity for the tick: walking by the steering heading and throttle, flying,
// jumping, gravity, friction and the ground plane. Clipping (Game::VC_Player) then moves it.
#include <algorithm>
#include <cmath>

#include "world/Server_EntityKinds.h"

namespace {

constexpr uint32_t kMovementKeys = kKeyGroundMovement | kKeyUp | kKeyDown;

} // namespace

void Server_Player::DetermineNewVelocity() {
    const bool hyper = GetFlag(kPlayerSpeedBoost);
    const bool windowOpen = IsMessageWindowOpen();
    const bool standing = GetFlag(kPlayerStandingOnEntity);

    VUKVector push;
    if (IsLoggedIn()) {
        const bool driving = GetMoveFlag(kMoveDriveTheTalvy) && standing && m_pPlatform &&
                             m_pPlatform->GetKind() == kKindTalvyCube && !HasKey(kKeyUp);
        SetMoveFlag(kMoveDriving, driving);
        if (!windowOpen) {
            float speed = GetMoveFlag(kMoveFast) ? 24.0f : 7.5f;
            if (hyper) speed *= 1.5f;
            speed *= m_fThrottle;
            // On a tilted surface walking also pushes upwards.
            if (!driving)
                push = VUKVector(std::sin(m_fSteeringHeading) * speed, std::sin(m_fGroundTilt) * speed,
                                 std::cos(m_fSteeringHeading) * speed);
        }
        if (GetFlag(kPlayerFlying) && !windowOpen) {
            if (GetMoveFlag(kMoveEagleWings)) {
                m_fVerticalVelocity = std::max(0.0f, m_fVerticalVelocity);
                if (m_fVerticalVelocity < 8.0f) m_fVerticalVelocity += 2.6f;
                SetMoveFlag(kMoveFast, true);
            } else if (HasKey(kKeyUp)) {
                m_fVerticalVelocity = std::max(0.0f, m_fVerticalVelocity);
                if (m_fVerticalVelocity < (hyper ? 6.0f : 4.0f)) m_fVerticalVelocity += 2.6f;
                SetMoveFlag(kMoveFast, false);
            }
        }
        if (HasKey(kKeyJump) && !driving && (standing || GetFlag(kPlayerOnGroundPlane))) {
            float base = GetMoveFlag(kMoveFast) ? 24.0f : 8.0f;
            m_fVerticalVelocity += (base + m_fJumpBonus) * (hyper ? 2.25f : 1.5f);
        }
    } else {
        // Offline players get no input.
        SetMoveFlag(kMoveDriving, false);
        m_uiKeyFlags &= ~kMovementKeys;
    }

    m_vVelocity += push;
    if (GetFlag(kPlayerGlide) && m_fVerticalVelocity < 0.0f && !HasKey(kKeyDown))
        m_fVerticalVelocity -= 0.02f;
    else
        m_fVerticalVelocity -= hyper ? 1.8f : 1.2f;

    const VUKVector& v = m_vVelocity;
    if (v.x * v.x + v.y * v.y + v.z * v.z < 0.0001f) m_vVelocity = VUKVector();
    if (GetFlag(kPlayerNoFriction))
        SetFlag(kPlayerNoFriction, false);
    else
        m_vVelocity *= 0.75f;

    SetFlag(kPlayerStandingOnEntity, false);

    if (std::fabs(m_fVerticalVelocity) >= 0.01f) {
        SetFlag(kPlayerOnGroundPlane, false);
        const float floor = m_vSize.y * 0.5f;
        if (m_vPosition.y + m_fVerticalVelocity <= floor) {
            m_fVerticalVelocity = floor - m_vPosition.y;
            if (std::fabs(m_fVerticalVelocity) < 0.01f) m_fVerticalVelocity = 0.0f;
            SetFlag(kPlayerOnGroundPlane, true);
            SetMoveFlag(kMoveFast, false);
        }
    } else {
        m_fVerticalVelocity = 0.0f;
    }
}
