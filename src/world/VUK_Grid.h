// The spatial index: space cut into equal zones, each entity filed in every zone its (possibly
// rotated) box reaches. A sparse three-level structure (layers along y, rows along z, zones
// along x) that grows on insertion and shrinks on removal, so an empty grid holds nothing.
#pragma once
#include <cstdint>

#include "world/VUKFastArray_Entity.h"
#include "world/VUKVector.h"

class Entity;
class Server_Entity;
class VUK_MapStack;
class VUK_Zone;

class VUK_Grid {
public:
    // The world's grid: (-150000, -6000, -150000) to (150000, 30000, 150000) in zones of
    // 2000 x 2000 x 2000; 18 layers, 150 rows, 150 zones per row.
    VUK_Grid();
    VUK_Grid(const VUKVector& min, const VUKVector& max, const VUKVector& zoneSize, uint32_t layerCount,
             uint32_t rowCount, uint32_t zoneCount);
    // Entities must leave first. A grid that still holds zones reports it and leaves them in
    // place (their entities still point into them).
    virtual ~VUK_Grid();
    VUK_Grid(const VUK_Grid&) = delete;
    VUK_Grid& operator=(const VUK_Grid&) = delete;

    // Files e in every zone its bounds reach (its rotated corners unless the unrotated-bounds
    // flag is set); each new link record goes to links.
    void AddEntity(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly);
    // The same, always with the unrotated bounds.
    void AddEntity_NonRotated(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly);
    // The box AddEntity files e by.
    static void GetEntityBounds(const Server_Entity* e, bool rotated, VUKVector* low, VUKVector* high);
    // The zones AddEntity would file e in, as one comparable value: equal non-zero keys mean the
    // same zones. 0 when that cannot be told cheaply (more than seven zones along an axis, or
    // indices too wide for the key). Moves within the same zones then need no re-filing.
    uint32_t ZoneKey(const Server_Entity* e) const;

    // The first and last index the filing walk reaches along one axis for the span [low, high]
    // of a box (false when it reaches none), for grids kept in another form with the same zones.
    static bool AxisSpan(float low, float high, float min, float max, float size, uint32_t count, int* first,
                         int* last);

    // Index of c on an axis, or -1 when c lies outside the grid.
    int IndexX(float c) const { return AxisIndex(c, m_fMinX, m_fZoneSizeX, m_uiZoneCount); }
    int IndexY(float c) const { return AxisIndex(c, m_fMinY, m_fZoneSizeY, m_uiLayerCount); }
    int IndexZ(float c) const { return AxisIndex(c, m_fMinZ, m_fZoneSizeZ, m_uiRowCount); }
    // The zone at these indices, or null.
    VUK_Zone* GetZone(uint32_t layer, uint32_t row, uint32_t zone) const;
    // Zones that exist now (a walk over the live structure, for statistics and tests).
    uint32_t CountZones() const;
    bool IsEmpty() const { return m_pMapStack == nullptr; }

    VUK_MapStack* m_pMapStack = nullptr;
    float m_fMinX, m_fMinY, m_fMinZ;
    float m_fMaxX, m_fMaxY, m_fMaxZ;
    float m_fZoneSizeX, m_fZoneSizeY, m_fZoneSizeZ;
    uint32_t m_uiLayerCount; // along y
    uint32_t m_uiRowCount;   // along z
    uint32_t m_uiZoneCount;  // along x

    // An entity is filed in at most this many zones: two whole layers of the world's grid, so a
    // floor as wide as the world still works, while a save file's absurd sizes cannot make one
    // entity cost megabytes. A larger box is filed around its centre only.
    static constexpr uint32_t kMaxZonesPerEntity = 2 * 150 * 150;
    // Filings cut down to that limit since the grid was made.
    uint32_t m_uiClampedFilings = 0;

private:
    static int AxisIndex(float c, float min, float size, uint32_t count);
    void ClampToZoneLimit(VUKVector& low, VUKVector& high);
    void FileInBox(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly, VUKVector low, VUKVector high);
};

// Removes e from every zone entry recorded in links (freeing zones that empty) and empties links.
void ZL_RemoveEntityFromZonesOnly(Entity* e, PFAE_InfoList* links);
// Unlinks an empty zone and frees it, and any row, layer or map stack left empty.
void ZL_RemoveZoneFromZoneLists(VUK_Zone* z);
