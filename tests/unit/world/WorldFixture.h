// Helpers shared by the world tests.
#pragma once
#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "world/VUK_Zone.h"
#include "world/World.h"
#include "world/ZoneGridHolder.h"

using Names = std::vector<std::string>;
using ZoneIndex = std::tuple<uint32_t, uint32_t, uint32_t>; // x, y, z

inline ZoneIndex IndexOf(const VUK_Zone* zone) {
    return {zone->m_uiIndex, zone->m_pZoneLine->m_pMap->m_uiIndex, zone->m_pZoneLine->m_uiIndex};
}

// The distinct zones a list of link records files its entity in, sorted.
inline std::vector<ZoneIndex> ZonesOf(const PFAE_InfoList& links) {
    std::vector<ZoneIndex> zones;
    for (uint32_t i = 0; i < links.Count(); ++i) zones.push_back(IndexOf(links[i]->GetArray()->GetOwner()));
    std::sort(zones.begin(), zones.end());
    zones.erase(std::unique(zones.begin(), zones.end()), zones.end());
    return zones;
}

// Live elements of the pools behind the world, to show that something left no trace.
struct PoolCounts {
    uint64_t pads = g_VukHeap_ServerEntity.ChainLiveCount(), zorbins = g_VukHeap_ServerZorbinCube.ChainLiveCount(),
             palaces = g_VukHeap_ServerPalaceCube.ChainLiveCount(), links = g_VukHeap_Links.ChainLiveCount(),
             records = g_VukHeap_PFAE_Info.ChainLiveCount(), zones = g_VukHeap_VukZone.ChainLiveCount(),
             rows = g_VukHeap_VukZoneLine.ChainLiveCount();
    auto Grid() const { return std::tuple(records, zones, rows); }
    auto All() const { return std::tuple(pads, zorbins, palaces, links, records, zones, rows); }
};
