// The world owns every entity: it keeps them in arrays by kind and state (the groups), so
// that each rule walks exactly the entities it concerns, and files them in its zone grid. It is
// the only place where entities are created, re-filed and destroyed. Group membership is
// decided only when an entity is filed: a flag change takes effect on the arrays at the next
// re-filing.
#pragma once
#include <cstdint>

#include "world/Server_EntityKinds.h"
#include "world/VUKFastArray_Entity.h"
#include "world/VUK_Grid.h"

class World {
public:
    World();
    // Destroys every entity, then the grid and the arrays (which report being left non-empty).
    virtual ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    VUKFastArray_Entity m_AllEntities{131'072};
    VUKFastArray_Entity m_FireBlocks{128};
    VUKFastArray_Entity m_TalvyCubes{128};
    VUKFastArray_Entity m_OrisetCubes{8};
    VUKFastArray_Entity m_NormalPads{65'536};
    VUKFastArray_Entity m_PlayerBuiltPads{65'536}; // normal pads built by players
    VUKFastArray_Entity m_MovingPads{65'536};      // normal pads with the moving flag
    VUKFastArray_Entity m_ZorbinCubes{65'536};
    VUKFastArray_Entity m_PalaceCubes{65'536};
    VUKFastArray_Entity m_QuillhobCubes{4};
    VUKFastArray_Entity m_Lifts{32}; // normal pads with lift data, not moving
    VUKFastArray_Entity m_Players{512};
    VUKFastArray_Entity m_OnlinePlayers{16};          // logged in
    VUKFastArray_Entity m_RestingOfflinePlayers{512}; // neither logged in nor moving
    VUKFastArray_Entity m_OtherPlayers{16};           // logged in or moving
    VUKFastArray_Entity m_TagPads{64};                // tag pads not built by players
    VUKFastArray_Entity m_MovingZorbinCubes{65'536};
    VUKFastArray_Entity m_LinkedZorbinCubes{256}; // Zorbin cubes with players near
    VUK_Grid m_Grid;

    // An entity of the kind with its defaults, not filed anywhere (the building rules make one,
    // test it and either file it with AddEntityToZonesAndGroups or delete it). Null for a kind
    // that names no class.
    static Server_Entity* CreateByType(uint8_t kind);
    // Creates and files an entity of the kind; null (and nothing changed) for an unknown kind.
    // The second argument is not used.
    Server_Entity* ProperAddByType(uint8_t kind, uint32_t unused = 0);
    void AddEntityToZonesAndGroups(Server_Entity* e);
    // Re-files e after a change of kind-relevant flags, position or size.
    void UpdateGroupsAndZonesEntityIsIn(Server_Entity* e);
    // Re-files e in the grid only, after a move or resize that changes no group.
    void UpdateZonesEntityIsIn(Server_Entity* e);
    // Removes e from its groups and zones and destroys it.
    void ProperDestroy(Server_Entity* e);

    // Doubles g_uiAllocatedClientUINs. Entities keep nothing per client number (what a client
    // holds lives in its own arrays), so no entity needs to be touched.
    void DoubleAllocatedClientUINs();

    bool HasMovingProperty() const { return m_MovingPads.Count() != 0; }
    bool HasMovingZorbinCubes() const { return m_MovingZorbinCubes.Count() != 0; }

private:
    void AddEntityToGroups(Server_Entity* e);
    void RemoveEntityFromGroups(Server_Entity* e);
};
