#include "world/VUK_Grid.h"

#include <algorithm>
#include <cmath>

#include "world/Server_EntityKinds.h"
#include "world/VUK_Zone.h"
#include "world/WorldFatalError.h"
#include "world/ZoneGridHolder.h"

namespace {

// The first value of the sequence start + k·size (k ≥ 0) that is at least min. Far below the
// grid, float steps could not advance, so the walk is moved up at once.
float SkipToGrid(float start, float min, float size) {
    if (start >= min) return start;
    float k = std::ceil((min - start) / size);
    float v = start + k * size;
    return v >= min ? v : min;
}

// Files an entity in zones a batch at a time: the zones' arrays are fetched for all of them
// first, so that the cache misses of one zone overlap those of the next.
class ZoneBatch {
public:
    ZoneBatch(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly)
        : m_pEntity(e), m_pLinks(links), m_bMasterListOnly(masterListOnly) {}
    void Add(VUK_Zone* zone) {
        __builtin_prefetch(zone, 1);
        __builtin_prefetch(reinterpret_cast<const char*>(zone) + 64, 1);
        m_pZones[m_uiCount++] = zone;
        if (m_uiCount == kSize) Flush();
    }
    void Flush() {
        for (uint32_t i = 0; i < m_uiCount; ++i) {
            m_pZones[i]->List(kZoneAll).PrefetchAppend();
            if (!m_bMasterListOnly) m_pZones[i]->List(KindList(m_pEntity)).PrefetchAppend();
        }
        for (uint32_t i = 0; i < m_uiCount; ++i)
            m_pZones[i]->AddEntityToEntityLinks(m_pEntity, m_pLinks, m_bMasterListOnly);
        m_uiCount = 0;
    }

private:
    static ZoneList KindList(const Server_Entity* e) {
        switch (e->GetKind()) {
        case kKindPlayer:
            return kZonePlayers;
        case kKindNormalPad:
            return kZoneNormalPads;
        case kKindTalvyCube:
        case kKindOrisetCube:
            return kZonePrincesses;
        case kKindZorbinCube:
            return kZoneZorbinCubes;
        case kKindPalaceCube:
            return kZonePalaceCubes;
        case kKindQuillhobCube:
            return kZoneQuillhobCubes;
        default:
            return kZoneAll;
        }
    }

    static constexpr uint32_t kSize = 32;
    Server_Entity* m_pEntity;
    PFAE_InfoList* m_pLinks;
    bool m_bMasterListOnly;
    VUK_Zone* m_pZones[kSize];
    uint32_t m_uiCount = 0;
};

} // namespace

VUK_Grid::VUK_Grid()
    : VUK_Grid(VUKVector(-150'000.0f, -6'000.0f, -150'000.0f), VUKVector(150'000.0f, 30'000.0f, 150'000.0f),
               VUKVector(2'000.0f, 2'000.0f, 2'000.0f), 18, 150, 150) {}

VUK_Grid::VUK_Grid(const VUKVector& min, const VUKVector& max, const VUKVector& zoneSize, uint32_t layerCount,
                   uint32_t rowCount, uint32_t zoneCount)
    : m_fMinX(min.x), m_fMinY(min.y), m_fMinZ(min.z), m_fMaxX(max.x), m_fMaxY(max.y), m_fMaxZ(max.z),
      m_fZoneSizeX(zoneSize.x), m_fZoneSizeY(zoneSize.y), m_fZoneSizeZ(zoneSize.z), m_uiLayerCount(layerCount),
      m_uiRowCount(rowCount), m_uiZoneCount(zoneCount) {}

VUK_Grid::~VUK_Grid() {
    if (m_pMapStack) ReportBrokenInvariant("VUK_Grid destroyed while entities are still filed in it");
}

int VUK_Grid::AxisIndex(float c, float min, float size, uint32_t count) {
    if (!(c >= min)) return -1; // below the grid (or not a number)
    float index = (c - min) / size;
    if (!(index < float(count))) return -1;
    int i = int(index);
    return i < int(count) ? i : -1;
}

bool VUK_Grid::AxisSpan(float low, float high, float min, float max, float size, uint32_t count, int* first,
                        int* last) {
    *first = -1;
    *last = -1;
    for (float c = SkipToGrid(low, min, size); c <= high + size && c < max; c += size) {
        int i = AxisIndex(c, min, size, count);
        if (i < 0) continue;
        if (*first < 0 || i < *first) *first = i;
        if (i > *last) *last = i;
    }
    return *first >= 0;
}

void VUK_Grid::GetEntityBounds(const Server_Entity* e, bool rotated, VUKVector* low, VUKVector* high) {
    const VUKVector h = e->m_vSize * 0.5f;
    if (rotated && !e->HasUnrotatedBounds() && e->HasRotation()) {
        VUKMatrix M;
        e->GetObjectMatrix(&M);
        for (int i = 0; i < 8; ++i) {
            VUKVector corner((i & 1) ? h.x : -h.x, (i & 2) ? h.y : -h.y, (i & 4) ? h.z : -h.z);
            VUKVector p = M.TransformPoint(corner);
            if (i == 0) {
                *low = p;
                *high = p;
                continue;
            }
            low->x = std::min(low->x, p.x);
            low->y = std::min(low->y, p.y);
            low->z = std::min(low->z, p.z);
            high->x = std::max(high->x, p.x);
            high->y = std::max(high->y, p.y);
            high->z = std::max(high->z, p.z);
        }
        return;
    }
    *low = e->m_vPosition - h;
    *high = e->m_vPosition + h;
}

namespace {

// One axis of the filing walk: the first index and how many consecutive ones follow.
struct AxisZones {
    int first = -1;
    int count = 0;
    bool consecutive = true;
};

constexpr int kMaxKeyZones = 7;

template <typename IndexOf>
AxisZones WalkAxis(float low, float high, float min, float max, float size, IndexOf indexOf) {
    AxisZones a;
    int last = -1;
    for (float c = SkipToGrid(low, min, size); c <= high + size && c < max; c += size) {
        int i = indexOf(c);
        if (i < 0) continue;
        if (a.count == 0)
            a.first = i;
        else if (i != last + 1)
            a.consecutive = false;
        last = i;
        if (++a.count > kMaxKeyZones) break;
    }
    return a;
}

uint32_t BitsFor(uint32_t count) {
    uint32_t bits = 0;
    while ((1u << bits) < count) ++bits;
    return bits;
}

} // namespace

uint32_t VUK_Grid::ZoneKey(const Server_Entity* e) const {
    constexpr uint32_t kValid = 1u << 31;
    VUKVector low, high;
    GetEntityBounds(e, true, &low, &high);
    AxisZones x = WalkAxis(low.x, high.x, m_fMinX, m_fMaxX, m_fZoneSizeX, [this](float c) { return IndexX(c); });
    AxisZones y = WalkAxis(low.y, high.y, m_fMinY, m_fMaxY, m_fZoneSizeY, [this](float c) { return IndexY(c); });
    AxisZones z = WalkAxis(low.z, high.z, m_fMinZ, m_fMaxZ, m_fZoneSizeZ, [this](float c) { return IndexZ(c); });
    if (x.count == 0 || y.count == 0 || z.count == 0) return kValid; // filed nowhere
    uint32_t key = 0, shift = 0;
    for (auto [a, axisCount] :
         {std::pair{x, m_uiZoneCount}, std::pair{z, m_uiRowCount}, std::pair{y, m_uiLayerCount}}) {
        if (!a.consecutive || a.count > kMaxKeyZones) return 0;
        uint32_t bits = BitsFor(axisCount);
        if (shift + bits + 3 > 31) return 0;
        key |= uint32_t(a.first) << shift | uint32_t(a.count) << (shift + bits);
        shift += bits + 3;
    }
    return kValid | key;
}

void VUK_Grid::AddEntity(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly) {
    VUKVector low, high;
    GetEntityBounds(e, true, &low, &high);
    FileInBox(e, links, masterListOnly, low, high);
}

void VUK_Grid::AddEntity_NonRotated(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly) {
    VUKVector low, high;
    GetEntityBounds(e, false, &low, &high);
    FileInBox(e, links, masterListOnly, low, high);
}

// Each loop runs one zone size past the high edge, so the zone holding the high edge is always
// visited; parts outside the grid are not filed.
// How many steps of the filing walk along one axis land inside the grid: positions from the
// first in the grid, up to one zone past the high edge and below the grid's end.
static double WalkSteps(float low, float high, float min, float max, float size) {
    const double first = SkipToGrid(low, min, size);
    const double toHigh = std::floor((double(high) + size - first) / size) + 1.0;
    const double toEnd = std::ceil((double(max) - first) / size);
    const double steps = std::min(toHigh, toEnd);
    return steps > 0.0 ? steps : 0.0;
}

void VUK_Grid::ClampToZoneLimit(VUKVector& low, VUKVector& high) {
    double steps[3] = {WalkSteps(low.x, high.x, m_fMinX, m_fMaxX, m_fZoneSizeX),
                       WalkSteps(low.y, high.y, m_fMinY, m_fMaxY, m_fZoneSizeY),
                       WalkSteps(low.z, high.z, m_fMinZ, m_fMaxZ, m_fZoneSizeZ)};
    if (steps[0] * steps[1] * steps[2] <= double(kMaxZonesPerEntity)) return;
    ++m_uiClampedFilings;
    // First cut the box down to the grid (outside it nothing is filed anyway), then halve its
    // longest side around the centre until it fits.
    float* lows[3] = {&low.x, &low.y, &low.z};
    float* highs[3] = {&high.x, &high.y, &high.z};
    const float mins[3] = {m_fMinX, m_fMinY, m_fMinZ}, maxs[3] = {m_fMaxX, m_fMaxY, m_fMaxZ};
    const float sizes[3] = {m_fZoneSizeX, m_fZoneSizeY, m_fZoneSizeZ};
    for (int a = 0; a < 3; ++a) {
        *lows[a] = std::clamp(*lows[a], mins[a], maxs[a]);
        *highs[a] = std::clamp(*highs[a], mins[a], maxs[a]);
        steps[a] = WalkSteps(*lows[a], *highs[a], mins[a], maxs[a], sizes[a]);
    }
    while (steps[0] * steps[1] * steps[2] > double(kMaxZonesPerEntity)) {
        int a = steps[0] >= steps[1] && steps[0] >= steps[2] ? 0 : (steps[2] >= steps[1] ? 2 : 1);
        const float centre = *lows[a] * 0.5f + *highs[a] * 0.5f;
        const float quarter = (*highs[a] - *lows[a]) * 0.25f;
        *lows[a] = centre - quarter;
        *highs[a] = centre + quarter;
        steps[a] = WalkSteps(*lows[a], *highs[a], mins[a], maxs[a], sizes[a]);
    }
}

void VUK_Grid::FileInBox(Server_Entity* e, PFAE_InfoList* links, bool masterListOnly, VUKVector low, VUKVector high) {
    ClampToZoneLimit(low, high);
    if (!m_pMapStack) m_pMapStack = new VUK_MapStack(this);
    ZoneBatch batch(e, links, masterListOnly);
    for (float y = SkipToGrid(low.y, m_fMinY, m_fZoneSizeY); y <= high.y + m_fZoneSizeY && y < m_fMaxY;
         y += m_fZoneSizeY) {
        int layer = IndexY(y);
        if (layer < 0) continue;
        VUK_Map*& map = m_pMapStack->m_ppMaps[layer];
        if (!map) {
            map = new VUK_Map(m_pMapStack, uint32_t(layer));
            ++m_pMapStack->m_uiLiveCount;
        }
        for (float z = SkipToGrid(low.z, m_fMinZ, m_fZoneSizeZ); z <= high.z + m_fZoneSizeZ && z < m_fMaxZ;
             z += m_fZoneSizeZ) {
            int row = IndexZ(z);
            if (row < 0) continue;
            VUK_ZoneLine*& line = map->m_ppLines[row];
            if (!line) {
                line = new VUK_ZoneLine(map, uint32_t(row));
                ++map->m_uiLiveCount;
            }
            for (float x = SkipToGrid(low.x, m_fMinX, m_fZoneSizeX); x <= high.x + m_fZoneSizeX && x < m_fMaxX;
                 x += m_fZoneSizeX) {
                int index = IndexX(x);
                if (index < 0) continue;
                VUK_Zone*& zone = line->m_ppZones[index];
                if (!zone) {
                    zone = new VUK_Zone(line, uint32_t(index));
                    ++line->m_uiLiveCount;
                }
                batch.Add(zone);
            }
            // A row made for a box that lies outside the grid along x holds no zone: drop it.
            if (line->m_uiLiveCount == 0) {
                delete line;
                line = nullptr;
                --map->m_uiLiveCount;
            }
        }
        if (map->m_uiLiveCount == 0) {
            delete map;
            map = nullptr;
            --m_pMapStack->m_uiLiveCount;
        }
    }
    batch.Flush();
    if (m_pMapStack->m_uiLiveCount == 0) {
        delete m_pMapStack;
        m_pMapStack = nullptr;
    }
}

VUK_Zone* VUK_Grid::GetZone(uint32_t layer, uint32_t row, uint32_t zone) const {
    if (!m_pMapStack || layer >= m_uiLayerCount || row >= m_uiRowCount || zone >= m_uiZoneCount) return nullptr;
    VUK_Map* map = m_pMapStack->m_ppMaps[layer];
    if (!map) return nullptr;
    VUK_ZoneLine* line = map->m_ppLines[row];
    return line ? line->m_ppZones[zone] : nullptr;
}

uint32_t VUK_Grid::CountZones() const {
    if (!m_pMapStack) return 0;
    uint32_t n = 0;
    for (uint32_t l = 0; l < m_uiLayerCount; ++l) {
        VUK_Map* map = m_pMapStack->m_ppMaps[l];
        if (!map) continue;
        for (uint32_t r = 0; r < m_uiRowCount; ++r)
            if (map->m_ppLines[r]) n += map->m_ppLines[r]->GetZoneCount();
    }
    return n;
}

void ZL_RemoveEntityFromZonesOnly(Entity*, PFAE_InfoList* links) {
    VUKFastArray_Entity::PrefetchForRemoval(*links);
    for (uint32_t i = 0; i < links->Count(); ++i) {
        PFAE_Info* info = links->Get(i);
        VUKFastArray_Entity* array = info->GetArray();
        if (!array) throw WorldFatalError("ZL_RemoveEntityFromZonesOnly: link record of a vanished array");
        VUK_Zone* zone = array->GetOwner();
        array->RawRemoveItem(info->m_uiIndex);
        if (zone && --zone->m_uiLinkCount == 0) ZL_RemoveZoneFromZoneLists(zone);
    }
    links->Clear();
}

void ZL_RemoveZoneFromZoneLists(VUK_Zone* z) {
    for (const VUKFastArray_Entity& list : z->m_Lists)
        if (list.Count() != 0) throw WorldFatalError("ZL_RemoveZoneFromZoneLists: the zone still holds entries");
    VUK_ZoneLine* line = z->m_pZoneLine;
    VUK_Map* map = line->m_pMap;
    VUK_MapStack* stack = map->m_pStack;
    VUK_Grid* grid = line->m_pGrid;
    line->m_ppZones[z->m_uiIndex] = nullptr;
    --line->m_uiLiveCount;
    if (line->m_uiLiveCount == 0) {
        map->m_ppLines[line->m_uiIndex] = nullptr;
        --map->m_uiLiveCount;
        if (map->m_uiLiveCount == 0) {
            stack->m_ppMaps[map->m_uiIndex] = nullptr;
            --stack->m_uiLiveCount;
            if (stack->m_uiLiveCount == 0) {
                delete stack;
                grid->m_pMapStack = nullptr;
            }
            delete map;
        }
        delete line;
    }
    delete z;
}
