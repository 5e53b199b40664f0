// One zone of a grid: eight entity arrays by kind, from g_VukHeap_VukZone. The zone exists only
// while some entity is filed in it.
#pragma once
#include <cstddef>
#include <cstdint>

#include "world/VUKFastArray_Entity.h"

class Server_Entity;
class VUK_ZoneLine;

enum ZoneList : uint8_t {
    kZoneAll = 0,             // every entity in the zone (the master list)
    kZonePlayers = 1,         // kind 1
    kZoneNormalPads = 2,      // kind 4
    kZonePrincesses = 3,      // Talvy and Oriset cubes
    kZoneRestingProperty = 4, // player-built pads and Zorbin cubes while not moving
    kZoneZorbinCubes = 5,
    kZonePalaceCubes = 6,
    kZoneQuillhobCubes = 7,
    kZoneListCount = 8
};

class VUK_Zone {
public:
    VUK_Zone(VUK_ZoneLine* line, uint32_t index);
    // Only ZL_RemoveZoneFromZoneLists destroys zones, and only empty ones.
    virtual ~VUK_Zone() = default;
    VUK_Zone(const VUK_Zone&) = delete;
    VUK_Zone& operator=(const VUK_Zone&) = delete;

    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    // Master list always; then by kind unless masterListOnly. Every entry raises the link count.
    void AddEntityToEntityLinks(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly);
    void AddEntityToEntityLinks_MasterListOnly(Server_Entity* e, PFAE_InfoList* links);

    VUKFastArray_Entity& List(ZoneList which) { return m_Lists[which]; }
    const VUKFastArray_Entity& List(ZoneList which) const { return m_Lists[which]; }

    // The counters come first so that the master list and the link count share a cache line.
    uint32_t m_uiLinkCount = 0; // entries over the eight arrays
    uint32_t m_uiIndex;         // index in its row
    VUK_ZoneLine* m_pZoneLine;
    VUKFastArray_Entity m_Lists[kZoneListCount];
};
