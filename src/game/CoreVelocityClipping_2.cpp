// One sweep of velocity clipping: the zones the move reaches, the leading face of the mover, the
// box test against every entity there, and the corner clip against rotated blocks.
#include <cmath>

#include "game/Game.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

float& Axis(VUKVector& v, int a) { return a == 0 ? v.x : a == 1 ? v.y : v.z; }
float Axis(const VUKVector& v, int a) { return a == 0 ? v.x : a == 1 ? v.y : v.z; }

// Half extents; a negative extent clips like its positive one.
VUKVector HalfSize(const Entity* e) {
    return {std::fabs(e->m_vSize.x) * 0.5f, std::fabs(e->m_vSize.y) * 0.5f, std::fabs(e->m_vSize.z) * 0.5f};
}

// The zone lists a sweep tests, in the order that settles equal times.
constexpr ZoneList kClipLists[] = {kZoneNormalPads,  kZonePrincesses,  kZonePlayers,
                                   kZoneZorbinCubes, kZonePalaceCubes, kZoneQuillhobCubes};

// Casts each point along d against the box [-h, +h], on each axis only against the face the motion
// approaches. A crossing at t counts when 0 <= t < fraction and the point at t lies within the box
// on the two other axes; a crossing at t = 0 ends the cast at once. True when a crossing counted.
bool CastPoints(const VUKVector* points, int count, const VUKVector& d, const VUKVector& h, float* fraction) {
    bool counted = false;
    for (int a = 0; a < 3; ++a) {
        float da = Axis(d, a);
        if (da == 0.0f) continue;
        float face = da > 0.0f ? -Axis(h, a) : Axis(h, a);
        int b = (a + 1) % 3, c = (a + 2) % 3;
        for (int i = 0; i < count; ++i) {
            float t = (face - Axis(points[i], a)) / da;
            if (!(t >= 0.0f && t < *fraction)) continue;
            float pb = Axis(points[i], b) + t * Axis(d, b);
            float pc = Axis(points[i], c) + t * Axis(d, c);
            if (pb < -Axis(h, b) || pb > Axis(h, b) || pc < -Axis(h, c) || pc > Axis(h, c)) continue;
            *fraction = t;
            counted = true;
            if (t == 0.0f) return true;
        }
    }
    return counted;
}

} // namespace

void Game::VC_SetZoneLimits() {
    const Server_Entity* mover = m_pCurrentEntity;
    for (int a = 0; a < 3; ++a) {
        float d = Axis(m_VC.m_vMove, a);
        float c = Axis(mover->m_vPosition, a);
        float half = std::fabs(Axis(mover->m_vSize, a)) * 0.5f;
        float low = c, high = c;
        if (d > 0.0f) {
            high = c + half + d;
        } else if (d < 0.0f) {
            low = c - half + d;
        }
        Axis(m_VC.m_vZoneLow, a) = std::round(low);
        Axis(m_VC.m_vZoneHigh, a) = std::round(high) + Axis(m_VC.m_vZoneLimit, a);
    }
}

namespace {

// The leading face on axis a: at +h when v > 0, else at -h; its corners take (+, -), (+, +),
// (-, -), (-, +) on the two other axes, in axis order.
void SetMovingFace(VC_WorkArea& vc, const Entity* mover, int a, float v) {
    const VUKVector h = HalfSize(mover);
    const int b = a == 0 ? 1 : 0;
    const int c = a == 2 ? 1 : 2;
    const float f = v > 0.0f ? Axis(h, a) : -Axis(h, a);
    const float signs[4][2] = {{1, -1}, {1, 1}, {-1, -1}, {-1, 1}};
    for (int i = 0; i < 4; ++i) {
        VUKVector& corner = vc.m_vFace[i];
        Axis(corner, a) = f;
        Axis(corner, b) = signs[i][0] * Axis(h, b);
        Axis(corner, c) = signs[i][1] * Axis(h, c);
    }
    vc.m_vMovedCorner = vc.m_vFace[0] + vc.m_vMove;
}

} // namespace

void Game::VC_SetMovingFace_X() { SetMovingFace(m_VC, m_pCurrentEntity, 0, m_pCurrentEntity->m_vVelocity.x); }
void Game::VC_SetMovingFace_Y() { SetMovingFace(m_VC, m_pCurrentEntity, 1, m_pCurrentEntity->m_vVelocity.y); }
void Game::VC_SetMovingFace_Z() { SetMovingFace(m_VC, m_pCurrentEntity, 2, m_pCurrentEntity->m_vVelocity.z); }
void Game::VC_SetMovingFace_Y_VelGravity(float verticalVelocity) {
    SetMovingFace(m_VC, m_pCurrentEntity, 1, verticalVelocity);
}

void Game::VC_ClipAll_2() {
    Server_Entity* mover = m_pCurrentEntity;
    m_VC.m_pHit = nullptr;
    m_VC.m_fFraction = 1.0f;
    VC_SetZoneLimits();
    // Stamp 0 is what an entity never tested carries.
    if (++m_uiClipPassStamp == 0) ++m_uiClipPassStamp;
    // Nothing can be crossed without a move.
    if (m_VC.m_vMove == VUKVector()) return;
    mover->GetObjectAndIObjectMatrix(&m_VC.m_mMover, &m_VC.m_mMoverInverse);

    const VUKVector p = mover->m_vPosition;
    const VUKVector h = HalfSize(mover);
    const VUKVector d = m_VC.m_vMove;
    ZoneQuery query = ZoneQuery::Box(m_Grid, m_VC.m_vZoneLow, m_VC.m_vZoneHigh);
    ZoneLooper looper(&m_Grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        for (ZoneList which : kClipLists) {
            const VUKFastArray_Entity& list = zone->List(which);
            for (uint32_t i = 0; i < list.Count(); ++i) {
                Server_Entity* e = list.GetEntity(i);
                if (e == mover || e->m_uiPassStamp == m_uiClipPassStamp) continue;
                e->m_uiPassStamp = m_uiClipPassStamp;
                m_VC.m_pCandidate = e;
                if (e->GetKind() == kKindNormalPad && e->HasRotation()) {
                    VC_Player_ClipRotatedObject();
                } else {
                    // Faces top, bottom, +x, -x, +z, -z: the mover's opposite face is swept
                    // through each plane.
                    const VUKVector q = e->m_vPosition;
                    const VUKVector g = HalfSize(e);
                    static constexpr int kFaceAxis[6] = {1, 1, 0, 0, 2, 2};
                    for (int f = 0; f < 6; ++f) {
                        const int a = kFaceAxis[f];
                        const float da = Axis(d, a);
                        if (da == 0.0f) continue;
                        const bool upper = f % 2 == 0;
                        const float plane = upper ? Axis(q, a) + Axis(g, a) : Axis(q, a) - Axis(g, a);
                        const float s0 = upper ? Axis(p, a) - Axis(h, a) : Axis(p, a) + Axis(h, a);
                        const float s1 = s0 + da;
                        if (!(upper ? (s0 >= plane && plane > s1) : (s0 <= plane && plane < s1))) continue;
                        const float t = (plane - s0) / (s1 - s0);
                        if (!(t < m_VC.m_fFraction)) continue;
                        bool overlaps = true;
                        for (int b = 0; b < 3 && overlaps; ++b) {
                            if (b == a) continue;
                            float gap = std::fabs(Axis(p, b) + t * Axis(d, b) - Axis(q, b));
                            overlaps = gap < Axis(h, b) + Axis(g, b);
                        }
                        if (!overlaps) continue;
                        m_VC.m_fFraction = t;
                        m_VC.m_pHit = e;
                    }
                }
                if (m_VC.m_fFraction <= 0.0f) return;
            }
        }
    }
}

void Game::VC_Player_ClipRotatedObject() {
    const Server_Entity* block = m_VC.m_pCandidate;
    VUKMatrix blockM, blockI;
    block->GetObjectAndIObjectMatrix(&blockM, &blockI);
    const VUKMatrix toBlock = m_VC.m_mMover * blockI;
    for (int i = 0; i < 4; ++i) m_VC.m_vBlockFrameFace[i] = toBlock.TransformPoint(m_VC.m_vFace[i]);
    m_VC.m_vBlockFrameMove = toBlock.TransformPoint(m_VC.m_vMovedCorner) - m_VC.m_vBlockFrameFace[0];
    GoogaClip();
    if (m_VC.m_fFraction == 0.0f) return;

    const VUKVector h = HalfSize(block);
    const VUKMatrix toMover = blockM * m_VC.m_mMoverInverse;
    VUKMatrix moverMovedI;
    m_pCurrentEntity->GetIObjectMatrix_WithPosOffset(&moverMovedI, &m_VC.m_vMove);
    const VUKMatrix toMoverMoved = blockM * moverMovedI;
    for (int i = 0; i < 8; ++i) {
        VUKVector corner((i & 1) ? h.x : -h.x, (i & 2) ? h.y : -h.y, (i & 4) ? h.z : -h.z);
        m_VC.m_vMoverFrameCorners[i] = toMover.TransformPoint(corner);
    }
    // The block seen from the moved mover: the mover's move reversed.
    m_VC.m_vMoverFrameMove = toMoverMoved.TransformPoint(VUKVector(-h.x, -h.y, -h.z)) - m_VC.m_vMoverFrameCorners[0];
    GoogaReverseClip();
}

void Game::GoogaClip() {
    if (CastPoints(m_VC.m_vBlockFrameFace, 4, m_VC.m_vBlockFrameMove, HalfSize(m_VC.m_pCandidate), &m_VC.m_fFraction))
        m_VC.m_pHit = m_VC.m_pCandidate;
}

void Game::GoogaReverseClip() {
    if (CastPoints(m_VC.m_vMoverFrameCorners, 8, m_VC.m_vMoverFrameMove, HalfSize(m_pCurrentEntity), &m_VC.m_fFraction))
        m_VC.m_pHit = m_VC.m_pCandidate;
}
