// The velocity-clipping work area: the state of the one sweep under way, kept by the game between
// the steps of the sweep. Mover routines never nest, so one area serves every mover.
#pragma once
#include "game/GameConstants.h"
#include "world/VUKVector.h"

class Server_Entity;

struct VC_WorkArea {
    Server_Entity* m_pCandidate = nullptr;                      // the entity under test
    Server_Entity* m_pHit = nullptr;                            // what stopped the sweep, or null
    float m_fFraction = 1.0f;                                   // part of the move that may be made
    VUKVector m_vMove;                                          // this sweep's displacement: one component non-zero
    VUKVector m_vZoneLow, m_vZoneHigh;                          // the zone query box of the sweep
    VUKVector m_vZoneLimit{kZoneLimit, kZoneLimit, kZoneLimit}; // added to the upper corner of every zone query
    VUKVector m_vSavedVelocity;                                 // the mover's velocity when its clipping began
    // The leading face in the mover's frame, and its first corner moved.
    VUKVector m_vFace[4];
    VUKVector m_vMovedCorner;
    // The corner clip: the face and its displacement in a rotated block's frame, and the block's
    // corners and apparent displacement in the mover's frame.
    VUKVector m_vBlockFrameFace[4];
    VUKVector m_vBlockFrameMove;
    VUKVector m_vMoverFrameCorners[8];
    VUKVector m_vMoverFrameMove;
    VUKMatrix m_mMover, m_mMoverInverse;
};
