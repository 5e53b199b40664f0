#include "replication/PendingGridZones.h"

#include <cmath>

#include "world/Server_Entity.h"
#include "world/VUK_Grid.h"

namespace replication {

namespace {

constexpr uint32_t kValid = 1u << 31;
constexpr uint32_t kEmpty = kValid;  // filed nowhere: every such entity shares one key

// The index walk of one axis as the grid files: from the low edge (moved up to the grid's floor
// as the grid moves it) in zone steps while at or below the high edge plus one zone, skipping
// indices outside the grid. Gives the first index and the count when they run consecutively.
struct AxisZones {
    int first = -1;
    int count = 0;
    bool consecutive = true;
};

template <typename IndexOf>
AxisZones Walk(float low, float high, float min, float max, float size, IndexOf index) {
    AxisZones a;
    float c = low;
    if (!(c >= min)) {
        float k = std::ceil((min - c) / size);
        float v = c + k * size;
        c = v >= min ? v : min;
    }
    int last = -1;
    for (; c <= high + size && c < max; c += size) {
        int i = index(c);
        if (i < 0) continue;
        if (a.count == 0)
            a.first = i;
        else if (i != last + 1)
            a.consecutive = false;
        last = i;
        if (++a.count > 7) break;
    }
    return a;
}

} // namespace

uint32_t PendingGridZoneKey(const VUK_Grid& grid, const Server_Entity* e) {
    VUKVector low, high;
    VUK_Grid::GetEntityBounds(e, true, &low, &high);
    AxisZones x = Walk(low.x, high.x, grid.m_fMinX, grid.m_fMaxX, grid.m_fZoneSizeX, [&](float c) { return grid.IndexX(c); });
    AxisZones y = Walk(low.y, high.y, grid.m_fMinY, grid.m_fMaxY, grid.m_fZoneSizeY, [&](float c) { return grid.IndexY(c); });
    AxisZones z = Walk(low.z, high.z, grid.m_fMinZ, grid.m_fMaxZ, grid.m_fZoneSizeZ, [&](float c) { return grid.IndexZ(c); });
    if (x.count == 0 || y.count == 0 || z.count == 0) return kEmpty;
    for (const AxisZones* a : {&x, &y, &z})
        if (!a->consecutive || a->count > 7) return 0;
    // 6 bits of first index and 3 of count per horizontal axis, 3 and 3 for the layers.
    if (x.first >= 64 || z.first >= 64 || y.first >= 8) return 0;
    return kValid | uint32_t(x.first) | uint32_t(x.count) << 6 | uint32_t(z.first) << 9 | uint32_t(z.count) << 15 |
           uint32_t(y.first) << 18 | uint32_t(y.count) << 21;
}

} // namespace replication
