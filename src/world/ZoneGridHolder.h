// The levels above the zones (layers, rows) and the iterator over the zones of a query box.
#pragma once
#include <cstddef>
#include <cstdint>

#include "world/VUKVector.h"

class VUK_Grid;
class VUK_Map;
class VUK_Zone;
class VUK_ZoneLine;

// One per grid while anything is filed: the layers along y.
class VUK_MapStack {
public:
    explicit VUK_MapStack(VUK_Grid* grid);
    virtual ~VUK_MapStack();
    VUK_MapStack(const VUK_MapStack&) = delete;
    VUK_MapStack& operator=(const VUK_MapStack&) = delete;

    // The next existing layer at or after *spot (y), up to limit; *spot is left on it.
    VUK_Map* FindNextMapFromSpot(float* spot, float limit) const;

    VUK_Grid* m_pGrid;
    VUK_Map** m_ppMaps; // layer-count entries, null = empty layer
    uint32_t m_uiLiveCount = 0;
};

// One layer: the rows along z.
class VUK_Map {
public:
    VUK_Map(VUK_MapStack* stack, uint32_t index);
    virtual ~VUK_Map();
    VUK_Map(const VUK_Map&) = delete;
    VUK_Map& operator=(const VUK_Map&) = delete;

    VUK_ZoneLine* FindNextZoneLineFromSpot(float* spot, float limit) const;

    VUK_MapStack* m_pStack;
    VUK_Grid* m_pGrid;
    VUK_ZoneLine** m_ppLines; // row-count entries
    uint32_t m_uiLiveCount = 0;
    uint32_t m_uiIndex;
};

// One row: the zones along x. From g_VukHeap_VukZoneLine.
class VUK_ZoneLine {
public:
    VUK_ZoneLine(VUK_Map* map, uint32_t index);
    virtual ~VUK_ZoneLine();
    VUK_ZoneLine(const VUK_ZoneLine&) = delete;
    VUK_ZoneLine& operator=(const VUK_ZoneLine&) = delete;

    static void* operator new(std::size_t size);
    static void operator delete(void* p);

    VUK_Zone* FindNextZoneFromSpot(float* spot, float limit) const;
    // Non-null zone slots; differing from the live count is a WorldFatalError.
    uint32_t GetZoneCount() const;

    VUK_Map* m_pMap;
    VUK_Grid* m_pGrid;
    VUK_Zone** m_ppZones; // zone-count entries
    uint32_t m_uiLiveCount = 0;
    uint32_t m_uiIndex;
};

// The box a ZoneLooper walks, all bounds inclusive; callers use the zone size as the step.
struct ZoneQuery {
    float m_fYLow = 0, m_fYHigh = 0;
    float m_fXLow = 0, m_fXHigh = 0;
    float m_fZLow = 0, m_fZHigh = 0;
    float m_fXStep = 0, m_fYStep = 0, m_fZStep = 0;

    // The box [low, high] stepped by the grid's zone size.
    static ZoneQuery Box(const VUK_Grid& grid, const VUKVector& low, const VUKVector& high);
};

// Iterates the zones of a query box, y outermost, then z, then x, each ascending. The caller
// must not remove entities while it iterates (zones could vanish under it).
class ZoneLooper {
public:
    ZoneLooper(const VUK_Grid* grid, const ZoneQuery* query) : m_pGrid(grid), m_pQuery(query) {}

    VUK_Zone* GetFirst();
    VUK_Zone* GetNext();

private:
    VUK_Zone* Scan(bool resumeRow);
    float StepOf(float step, float zoneSize) const;

    const VUK_Grid* m_pGrid;
    const ZoneQuery* m_pQuery;
    float m_fX = 0, m_fY = 0, m_fZ = 0;
    VUK_Map* m_pMap = nullptr;
    VUK_ZoneLine* m_pZoneLine = nullptr;
};
