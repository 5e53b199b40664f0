#include "world/ZoneGridHolder.h"

#include "world/VUKHeap.h"
#include "world/VUK_Grid.h"
#include "world/VUK_Zone.h"
#include "world/WorldFatalError.h"

namespace {

// The next existing element at or after *spot along one axis, up to limit (both clamped into
// the axis), leaving *spot on the element found.
template <typename T>
T* FindNextFromSpot(T* const* elements, uint32_t count, float min, float max, float size, float* spot, float limit) {
    if (*spot < min) *spot = min;
    if (limit >= max) limit = max - 1.0f;
    if (!(*spot <= limit)) return nullptr;
    int64_t index = int64_t((*spot - min) * (1.0f / size));
    while (*spot <= limit && index < int64_t(count)) {
        if (index >= 0 && elements[index]) return elements[index];
        ++index;
        *spot += size;
    }
    return nullptr;
}

} // namespace

// ---- VUK_MapStack ------------------------------------------------------------------------------

VUK_MapStack::VUK_MapStack(VUK_Grid* grid) : m_pGrid(grid), m_ppMaps(new VUK_Map*[grid->m_uiLayerCount]()) {}

VUK_MapStack::~VUK_MapStack() { delete[] m_ppMaps; }

VUK_Map* VUK_MapStack::FindNextMapFromSpot(float* spot, float limit) const {
    const VUK_Grid& g = *m_pGrid;
    return FindNextFromSpot(m_ppMaps, g.m_uiLayerCount, g.m_fMinY, g.m_fMaxY, g.m_fZoneSizeY, spot, limit);
}

// ---- VUK_Map ---------------------------------------------------------------------------------

VUK_Map::VUK_Map(VUK_MapStack* stack, uint32_t index)
    : m_pStack(stack), m_pGrid(stack->m_pGrid), m_ppLines(new VUK_ZoneLine*[m_pGrid->m_uiRowCount]()),
      m_uiIndex(index) {}

VUK_Map::~VUK_Map() { delete[] m_ppLines; }

VUK_ZoneLine* VUK_Map::FindNextZoneLineFromSpot(float* spot, float limit) const {
    const VUK_Grid& g = *m_pGrid;
    return FindNextFromSpot(m_ppLines, g.m_uiRowCount, g.m_fMinZ, g.m_fMaxZ, g.m_fZoneSizeZ, spot, limit);
}

// ---- VUK_ZoneLine ------------------------------------------------------------------------------

void* VUK_ZoneLine::operator new(std::size_t) { return g_VukHeap_VukZoneLine.AllocateOne(); }
void VUK_ZoneLine::operator delete(void* p) { g_VukHeap_VukZoneLine.FreeOne(p); }

VUK_ZoneLine::VUK_ZoneLine(VUK_Map* map, uint32_t index)
    : m_pMap(map), m_pGrid(map->m_pGrid), m_ppZones(new VUK_Zone*[m_pGrid->m_uiZoneCount]()), m_uiIndex(index) {}

VUK_ZoneLine::~VUK_ZoneLine() { delete[] m_ppZones; }

VUK_Zone* VUK_ZoneLine::FindNextZoneFromSpot(float* spot, float limit) const {
    const VUK_Grid& g = *m_pGrid;
    return FindNextFromSpot(m_ppZones, g.m_uiZoneCount, g.m_fMinX, g.m_fMaxX, g.m_fZoneSizeX, spot, limit);
}

uint32_t VUK_ZoneLine::GetZoneCount() const {
    uint32_t n = 0;
    for (uint32_t i = 0; i < m_pGrid->m_uiZoneCount; ++i)
        if (m_ppZones[i]) ++n;
    if (n != m_uiLiveCount) throw WorldFatalError("VUK_ZoneLine::GetZoneCount: live count differs from the zones");
    return n;
}

// ---- ZoneQuery, ZoneLooper ---------------------------------------------------------------------

ZoneQuery ZoneQuery::Box(const VUK_Grid& grid, const VUKVector& low, const VUKVector& high) {
    ZoneQuery q;
    q.m_fYLow = low.y;
    q.m_fYHigh = high.y;
    q.m_fXLow = low.x;
    q.m_fXHigh = high.x;
    q.m_fZLow = low.z;
    q.m_fZHigh = high.z;
    q.m_fXStep = grid.m_fZoneSizeX;
    q.m_fYStep = grid.m_fZoneSizeY;
    q.m_fZStep = grid.m_fZoneSizeZ;
    return q;
}

// A step that would not advance would never end the walk.
float ZoneLooper::StepOf(float step, float zoneSize) const { return step > 0.0f ? step : zoneSize; }

VUK_Zone* ZoneLooper::GetFirst() {
    if (!m_pGrid->m_pMapStack) return nullptr;
    m_fY = m_pQuery->m_fYLow;
    m_pMap = nullptr;
    m_pZoneLine = nullptr;
    return Scan(false);
}

VUK_Zone* ZoneLooper::GetNext() {
    if (!m_pZoneLine) return nullptr;
    m_fX += StepOf(m_pQuery->m_fXStep, m_pGrid->m_fZoneSizeX);
    return Scan(true);
}

// Walks on from the current position. A FindNext that comes back empty has searched to the end
// of its (clamped) range, so the level is finished: this keeps a query box far larger than the
// grid from stepping through empty space.
VUK_Zone* ZoneLooper::Scan(bool resumeRow) {
    const ZoneQuery& q = *m_pQuery;
    const VUK_Grid& g = *m_pGrid;
    const float yStep = StepOf(q.m_fYStep, g.m_fZoneSizeY);
    const float zStep = StepOf(q.m_fZStep, g.m_fZoneSizeZ);
    if (!g.m_pMapStack) return nullptr;
    while (true) {
        if (!resumeRow) {
            if (!m_pMap) {
                if (!(m_fY <= q.m_fYHigh)) break;
                m_pMap = g.m_pMapStack->FindNextMapFromSpot(&m_fY, q.m_fYHigh);
                if (!m_pMap) break;
                m_fZ = q.m_fZLow;
            }
            m_pZoneLine = nullptr;
            if (m_fZ <= q.m_fZHigh) m_pZoneLine = m_pMap->FindNextZoneLineFromSpot(&m_fZ, q.m_fZHigh);
            if (!m_pZoneLine) {
                m_pMap = nullptr;
                m_fY += yStep;
                continue;
            }
            m_fX = q.m_fXLow;
        }
        resumeRow = false;
        VUK_Zone* zone = nullptr;
        if (m_fX <= q.m_fXHigh) zone = m_pZoneLine->FindNextZoneFromSpot(&m_fX, q.m_fXHigh);
        if (zone) return zone;
        m_pZoneLine = nullptr;
        m_fZ += zStep;
    }
    m_pMap = nullptr;
    m_pZoneLine = nullptr;
    return nullptr;
}
