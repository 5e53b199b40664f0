// Lifts and moving property. A lift travels once per game tick along its line or its chain of
// curves, carrying its riders and pushing or grinding what is in its way. A block set moving
// falls and slides a few blocks per tick until it has rested twice, and what stood on it follows.
#include <algorithm>
#include <cmath>

#include "base/Settings.h"
#include "core/Server.h"
#include "game/Game.h"
#include "game/GameConstants.h"
#include "platform/Clock.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

// Share of a second the lifts may take in one server pass.
constexpr double kLiftBudgetSeconds = 0.008333334;
// A spline lift's speed counts thousandths of its whole curve per turn.
constexpr float kSplineSpeedUnit = 0.001f;
// Control points of one curve segment past its shared first point.
constexpr size_t kPointsPerSegment = 3;

constexpr float kFallPerTurn = 0.4f;
constexpr float kGroundGap = 0.01f;  // a block on the ground plane floats this far above it
constexpr float kStopSpeed = 0.01f;  // side speeds and ground steps below this are dropped
constexpr float kRestSpeed = 0.001f; // a vertical speed below this counts as resting
constexpr float kSlideKeep = 0.3f;   // share of its side speed a resting block keeps per turn
constexpr uint8_t kRestTurnsBeforeStop = 1;

// What rested on a block is looked for this far around its sides and above and below it.
constexpr float kNearbySide = 15.0f;
constexpr float kNearbyHeight = 5.0f;
// A block rests on a top when its bottom lies this close to it, as a share of its height.
constexpr float kRestingBandLow = 0.6f;
constexpr float kRestingBandHigh = 0.4f;

bool IsFinite(const VUKVector& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

// A file may hold any speed: what is no number stands still, a negative one runs as its size.
float SaneSpeed(float speed) { return std::isfinite(speed) ? std::fabs(speed) : 0.0f; }

// Moves the parameter by the step and turns at either end.
void Bounce(LiftStuff& lift, float step) {
    // The record's running byte is the direction: set while the parameter grows.
    float& t = lift.m_fSplineParameter;
    if (lift.m_bRunning) {
        t += step;
        if (t >= 1.0f) {
            t = 1.0f;
            lift.m_bRunning = false;
        }
    } else {
        t -= step;
        if (t <= 0.0f) {
            t = 0.0f;
            lift.m_bRunning = true;
        }
    }
}

// The point of a straight lift after this turn's step. Coincident ends give no step: such a lift
// stays at its start.
VUKVector StraightTarget(LiftStuff& lift) {
    const VUKVector span = lift.m_vEnd - lift.m_vStart;
    const float length = std::sqrt(span.x * span.x + span.y * span.y + span.z * span.z);
    Bounce(lift, length > 0.0f && std::isfinite(length) ? SaneSpeed(lift.m_fSpeed) / length : 0.0f);
    return lift.m_vStart + span * lift.m_fSplineParameter;
}

// The point of a spline lift after this turn's step: the cubic Bezier segment the parameter falls
// in, its own parameter running from 0 to 1. False without a whole segment.
bool SplineTarget(LiftStuff& lift, VUKVector* target) {
    const size_t points = lift.m_ControlPoints.Length();
    if (points <= kPointsPerSegment) return false;
    const size_t segments = (points - 1) / kPointsPerSegment;
    Bounce(lift, SaneSpeed(lift.m_fSpeed) * kSplineSpeedUnit);
    const float u = float(segments) * lift.m_fSplineParameter;
    const size_t i = std::min(size_t(u), segments - 1);
    const float s = u - float(i), r = 1.0f - s;
    const size_t first = kPointsPerSegment * i;
    *target = *lift.m_ControlPoints[first] * (r * r * r) + *lift.m_ControlPoints[first + 1] * (3.0f * s * r * r) +
              *lift.m_ControlPoints[first + 2] * (3.0f * s * s * r) + *lift.m_ControlPoints[first + 3] * (s * s * s);
    return true;
}

} // namespace

void Game::Tick_Lifts() {
    const uint32_t count = m_Lifts.Count();
    if (count == 0) return;
    const int64_t start = platform::QueryCounter();
    const auto budget = int64_t(double(platform::QueryCounterFrequency()) * kLiftBudgetSeconds);
    uint32_t& cursor = m_RoundRobins.m_uiLiftCursor;
    // A lift is due once per game tick, so one lap is the most a pass can use; it also keeps a
    // clock that stands still from holding the pass.
    uint32_t visited = 0;
    for (; visited < count && platform::QueryCounter() - start < budget; ++visited) {
        if (++cursor >= count) cursor = 0;
        Server_Entity* lift = m_Lifts.GetEntity(cursor);
        if (!(lift->m_ucPassFlags & kPassTickSignal)) continue;
        lift->m_ucPassFlags &= uint8_t(~kPassTickSignal);
        Tick_Lift(lift);
    }
    if (visited < count) m_RoundRobins.m_bBudgetRanOut = true;
}

void Game::Tick_Lift(Server_Entity* lift) {
    LiftStuff& data = *lift->m_pLift;
    if (data.m_bSpline && !data.m_bFinalized) return;
    float& t = data.m_fSplineParameter;
    t = std::isfinite(t) ? std::clamp(t, 0.0f, 1.0f) : 0.0f;
    VUKVector target;
    if (!data.m_bSpline)
        target = StraightTarget(data);
    else if (!SplineTarget(data, &target))
        return;
    // Lift positions are whole numbers inside the outer walls. A coordinate that is no number
    // (ends or points from a bad file) leaves the lift where it is on that axis.
    const VUKVector was = lift->m_vPosition;
    const bool wasDirty = lift->IsDirty();
    auto whole = [](float to, float at) { return std::isfinite(to) ? std::trunc(to) : at; };
    lift->m_vPosition = VUKVector(whole(target.x, was.x), whole(target.y, was.y), whole(target.z, was.z));
    lift->ClipToOuterInvisibleBoundaries();
    target = lift->m_vPosition;
    if (!wasDirty) lift->ClearDirty();
    // A lift that stays put has nothing to sweep, tell or re-file.
    if (target == was) return;
    // A lift that was nowhere sweeps nothing on its way to the target.
    const VUKVector from = IsFinite(was) ? was : target;

    lift->m_vPosition = from;
    lift->m_vVelocity = target - from;
    m_pCurrentEntity = lift;
    VC_NP();
    // Whatever the sweeps allowed, a lift is never stopped.
    lift->m_vPosition = target;
    lift->m_vVelocity = target - from;
    m_pServer->InformClients_EntityUpdated(lift);
    QueueEntityForUpdate(lift);
}

void Game::Tick_Moving_NPs() {
    // A command may set any count; a group count below one would leave no group to move.
    const auto groups = uint32_t(std::max<int32_t>(g_iPropertyMovingGroups, 1));
    uint32_t& group = m_MovingGroups.m_uiMovingBlockGroup;
    if (++group >= groups) group = 0;
    // Blocks are numbered from 1 in array order, block i being in group i mod groups.
    const uint32_t count = m_MovingPads.Count();
    int32_t moved = 0;
    for (uint64_t number = group != 0 ? group : groups; number <= count && moved < g_iMaxPropertyMovePerTick;
         number += groups) {
        Server_Entity* block = m_MovingPads.GetEntity(uint32_t(number - 1));
        // A block on its way out neither moves nor takes a place under the cap.
        if (block->m_ucRuleFlags & kRuleQueuedForRemoval) continue;
        ++moved;
        Tick_Moving_NP(block);
    }
}

void Game::Tick_Moving_NP(Server_Entity* block) {
    m_pCurrentEntity = block;
    block->ClearDirty();
    VUKVector& v = block->m_vVelocity;
    const float floor = block->m_vSize.y * 0.5f;
    v.y -= kFallPerTurn;
    if (block->m_vPosition.y + v.y <= floor) {
        v.y = floor + kGroundGap - block->m_vPosition.y;
        if (std::fabs(v.y) < kStopSpeed) v.y = 0.0f;
    }
    VC_NP();
    if (block->m_vPosition.y <= floor) {
        block->m_vPosition.y = floor + kGroundGap;
        v.y = 0.0f;
        block->SetDirty();
    }
    if (std::fabs(v.x) < kStopSpeed) v.x = 0.0f;
    if (std::fabs(v.y) < kRestSpeed) {
        v.y = 0.0f;
        v.x *= kSlideKeep;
        v.z *= kSlideKeep;
    }
    if (std::fabs(v.z) < kStopSpeed) v.z = 0.0f;
    if (v.x != 0.0f || v.y != 0.0f || v.z != 0.0f) block->SetDirty();
    block->ClipToOuterInvisibleBoundaries();

    if (!block->IsDirty()) {
        // Resting twice running ends the move; the block leaves the moving array at re-filing.
        if (++block->m_ucMoveState > kRestTurnsBeforeStop) {
            block->SetMoving(false);
            block->m_ucMoveState = 0;
            QueueEntityForUpdate(block);
        }
        return;
    }
    block->m_ucMoveState = 0;
    m_pServer->InformClients_EntityUpdated(block);
    QueueEntityForUpdate(block);
    SetAboveNearbyEntitiesAsMoving(block);
}

void Game::SetAboveNearbyEntitiesAsMoving(Server_Entity* e) {
    const VUKVector& p = e->m_vPosition;
    const VUKVector half = e->m_vSize * 0.5f;
    const float top = p.y + half.y;
    const VUKVector low(std::round(p.x - half.x - kNearbySide),
                        std::round(std::max(p.y - half.y - kNearbyHeight, 0.0f)),
                        std::round(p.z - half.z - kNearbySide));
    const VUKVector high(std::round(p.x + half.x + kNearbySide) + kZoneLimit,
                         std::round(top + kNearbyHeight) + kZoneLimit,
                         std::round(p.z + half.z + kNearbySide) + kZoneLimit);
    const ZoneQuery query = ZoneQuery::Box(m_Grid, low, high);
    ZoneLooper looper(&m_Grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        const VUKFastArray_Entity& players = zone->List(kZonePlayers);
        for (uint32_t i = 0; i < players.Count(); ++i) {
            auto* player = static_cast<Server_Player*>(players.GetEntity(i));
            if (player->m_vPosition.y < top) continue;
            player->SetPlayerMoving(true);
            player->m_sStillTicks = 0;
            QueueEntityForUpdate(player);
        }
        const VUKFastArray_Entity& resting = zone->List(kZoneRestingProperty);
        for (uint32_t i = 0; i < resting.Count(); ++i) {
            Server_Entity* r = resting.GetEntity(i);
            if (r == e) continue;
            const float y = r->m_vPosition.y, height = r->m_vSize.y;
            if (!(y - kRestingBandLow * height < top && top <= y - kRestingBandHigh * height)) continue;
            // It falls when its group's turn comes.
            r->SetMoving(true);
            r->m_ucMoveState = 0;
            QueueEntityForUpdate(r);
        }
    }
}
