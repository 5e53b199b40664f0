#include "world/World.h"

#include <exception>

#include "base/LogChat.h"
#include "platform/Console.h"
#include "world/WorldFatalError.h"

World::World() = default;

World::~World() {
    while (m_AllEntities.Count() != 0) {
        uint32_t before = m_AllEntities.Count();
        try {
            ProperDestroy(m_AllEntities.GetEntity(0));
        } catch (const std::exception&) {
            LogChat("CRASH", "Crash in World::~World()");
            platform::ConsolePrintf("Crash in World::~World()\n");
            // The loop must make progress: drop the entry that failed (its entity is lost).
            if (m_AllEntities.Count() == before) {
                try {
                    m_AllEntities.RawRemoveItem(0);
                } catch (const std::exception&) {
                    break;
                }
            }
        }
    }
    // The grid and the arrays check that they are empty as they are destroyed.
}

Server_Entity* World::CreateByType(uint8_t kind) {
    // A failing constructor returns the storage to its pool or the allocator by itself.
    switch (kind) {
    case kKindPlayer:
        return new Server_Player();
    case kKindNormalPad:
        return new Server_Entity();
    case kKindFireBlock:
        return new Server_FireBlock();
    case kKindTalvyCube:
        return new Server_TalvyCube();
    case kKindOrisetCube:
        return new Server_OrisetCube();
    case kKindZorbinCube:
        return new Server_ZorbinCube();
    case kKindPalaceCube:
        return new Server_PalaceCube();
    case kKindQuillhobCube:
        return new Server_QuillhobCube();
    default:
        return nullptr;
    }
}

Server_Entity* World::ProperAddByType(uint8_t kind, uint32_t) {
    Server_Entity* e = CreateByType(kind);
    if (e) AddEntityToZonesAndGroups(e);
    return e;
}

void World::AddEntityToGroups(Server_Entity* e) {
    PFAE_InfoList* links = &e->m_GroupLinks;
    m_AllEntities.AddEntity(e, links);
    switch (e->GetKind()) {
    case kKindPlayer: {
        auto* player = static_cast<Server_Player*>(e);
        m_Players.AddEntity(e, links);
        bool loggedIn = player->IsLoggedIn();
        if (loggedIn) m_OnlinePlayers.AddEntity(e, links);
        if (!loggedIn && !player->IsPlayerMoving())
            m_RestingOfflinePlayers.AddEntity(e, links);
        else
            m_OtherPlayers.AddEntity(e, links);
        break;
    }
    case kKindNormalPad:
        m_NormalPads.AddEntity(e, links);
        if (e->IsMoving())
            m_MovingPads.AddEntity(e, links);
        else if (e->m_pLift)
            m_Lifts.AddEntity(e, links);
        if (e->IsPlayerBuilt())
            m_PlayerBuiltPads.AddEntity(e, links);
        else if (e->IsTagPad())
            m_TagPads.AddEntity(e, links);
        break;
    case kKindFireBlock:
        m_FireBlocks.AddEntity(e, links);
        break;
    case kKindTalvyCube:
        m_TalvyCubes.AddEntity(e, links);
        break;
    case kKindOrisetCube:
        m_OrisetCubes.AddEntity(e, links);
        break;
    case kKindZorbinCube:
        m_ZorbinCubes.AddEntity(e, links);
        if (e->IsMoving()) m_MovingZorbinCubes.AddEntity(e, links);
        if (!static_cast<Server_ZorbinCube*>(e)->m_NearPlayers.Empty()) m_LinkedZorbinCubes.AddEntity(e, links);
        break;
    case kKindPalaceCube:
        m_PalaceCubes.AddEntity(e, links);
        break;
    case kKindQuillhobCube:
        m_QuillhobCubes.AddEntity(e, links);
        break;
    default:
        break;
    }
}

void World::RemoveEntityFromGroups(Server_Entity* e) {
    PFAE_InfoList& links = e->m_GroupLinks;
    VUKFastArray_Entity::PrefetchForRemoval(links);
    for (uint32_t i = 0; i < links.Count(); ++i) {
        PFAE_Info* info = links.Get(i);
        VUKFastArray_Entity* array = info->GetArray();
        if (!array) throw WorldFatalError("World: group link record of a vanished array");
        array->RawRemoveItem(info->m_uiIndex);
    }
    links.Clear();
}

void World::AddEntityToZonesAndGroups(Server_Entity* e) {
    AddEntityToGroups(e);
    m_Grid.AddEntity(e, &e->m_ZoneLinks, false);
    e->m_uiWorldGridZones = m_Grid.ZoneKey(e);
}

void World::UpdateGroupsAndZonesEntityIsIn(Server_Entity* e) {
    RemoveEntityFromGroups(e);
    ZL_RemoveEntityFromZonesOnly(e, &e->m_ZoneLinks);
    AddEntityToZonesAndGroups(e);
}

void World::UpdateZonesEntityIsIn(Server_Entity* e) {
    // Movers mostly stay within their zones from one tick to the next; filing them again would
    // only reshuffle the zone arrays.
    uint32_t key = m_Grid.ZoneKey(e);
    if (key != 0 && key == e->m_uiWorldGridZones && e->m_ZoneLinks.Count() > 0) return;
    ZL_RemoveEntityFromZonesOnly(e, &e->m_ZoneLinks);
    m_Grid.AddEntity(e, &e->m_ZoneLinks, false);
    e->m_uiWorldGridZones = key;
}

void World::ProperDestroy(Server_Entity* e) {
    RemoveEntityFromGroups(e);
    ZL_RemoveEntityFromZonesOnly(e, &e->m_ZoneLinks);
    delete e;
}

void World::DoubleAllocatedClientUINs() { g_uiAllocatedClientUINs *= 2; }
