// A client's pending grid: the entities it has pending, by zones of 6000 × 6000 × 6000 over
// (-150000, -6000, -150000) to (150000, 30000, 150000), so that the zone pass finds the ones
// near the player without a world-wide scan. Same zones as a VUK_Grid of that geometry, in a
// cheaper form:
//   - where an entity is filed is one 32-bit key per entity (a box of zone indices), in an
//     array indexed by the entity's compact index;
//   - a zone is a plain array of compact indices. Taking an entity out only updates the zones'
//     live counts; its entries go stale and are dropped when the zone is compacted (on a later
//     filing, or at once when the zone empties). A walk skips entries whose entity is no longer
//     filed there, and the caller's visited mark skips an entity met twice.
// Entities of one zone therefore come in no particular order; zones come in walk order.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "world/VUKVector.h"

class Server_Entity;

class ClientPendingGrid {
public:
    static constexpr uint32_t kLayers = 6; // along y
    static constexpr uint32_t kRows = 50;  // along z
    static constexpr uint32_t kZones = 50; // along x
    static constexpr float kZoneSize = 6000.0f;
    static constexpr float kMinX = -150000.0f, kMinY = -6000.0f, kMinZ = -150000.0f;
    static constexpr float kMaxX = 150000.0f, kMaxY = 30000.0f, kMaxZ = 150000.0f;
    // A key: the first and last zone index along x, z and y, and kFiled; kFiled alone (with the
    // empty flag) means filed in no zone, as an entity wholly outside the grid is.
    static constexpr uint32_t kFiled = 0x80000000u;
    static constexpr uint32_t kNowhere = kFiled | 0x40000000u;

    ClientPendingGrid() = default;
    virtual ~ClientPendingGrid() = default;
    ClientPendingGrid(const ClientPendingGrid&) = delete;
    ClientPendingGrid& operator=(const ClientPendingGrid&) = delete;

    // Where the entity would be filed now (never 0).
    static uint32_t KeyOf(const Server_Entity* e);
    // The key the entity is filed under, 0 when it is not filed.
    uint32_t FiledKey(uint32_t index) const { return index < m_Keys.size() ? m_Keys[index] : 0; }
    void Prefetch(uint32_t index) const {
        if (index < m_Keys.size()) __builtin_prefetch(m_Keys.data() + index);
    }
    // Filed in at least one zone.
    bool IsFiledInZones(uint32_t index) const {
        uint32_t key = FiledKey(index);
        return key != 0 && key != kNowhere;
    }
    // Files the entity under key, taking it out of where it was first.
    void File(uint32_t index, uint32_t key);
    void Unfile(uint32_t index);

    // Visits the zones of the box [low, high] that hold entities, y outermost, then z, then x,
    // each ascending, as the world's zone looper walks; visit(entries, count, zone) returns
    // false to end the walk, and the number of stale entries it met through its last argument.
    // Entries may be stale or repeated: see IsFiledIn. A zone found mostly stale is compacted
    // once visited, so that entities sent and taken out are not walked over again and again.
    template <typename Visit> void Walk(const VUKVector& low, const VUKVector& high, Visit visit);
    // Whether an entry of this zone is current.
    bool IsFiledIn(uint32_t index, uint32_t zone) const;

    // Zones holding entities now.
    uint32_t CountZones() const;

private:
    // A zone array keeps at most this many entries beyond twice its live count before it is
    // compacted, so stale entries cost amortised constant time per filing.
    static constexpr size_t kCompactSlack = 16;
    // Every walk pays for the stale entries it meets, so a walk compacts a zone it found a
    // quarter stale.
    static constexpr uint32_t kWalkCompactMin = 4;
    struct Zone {
        std::vector<uint32_t> m_Entries;
        uint32_t m_uiLive = 0;
    };
    static uint32_t ZoneOf(uint32_t layer, uint32_t row, uint32_t x) { return (layer * kRows + row) * kZones + x; }
    template <typename F> static void ForEachZone(uint32_t key, F f);
    void Compact(uint32_t zone);
    void AddLive(uint32_t zone);
    void RemoveLive(uint32_t zone);
    // The next index at or after *spot along one axis whose element holds entities, as the
    // world's looper finds the next existing element; -1 when none up to limit.
    template <typename Exists>
    static int FindNextFromSpot(Exists exists, uint32_t count, float min, float max, float* spot, float limit);

    std::vector<uint32_t> m_Keys;    // by compact index
    std::unique_ptr<Zone[]> m_Zones; // made at the first filing
    uint32_t m_uiLayerLive[kLayers] = {};
    uint16_t m_usRowLive[kLayers * kRows] = {};
};

template <typename Exists>
int ClientPendingGrid::FindNextFromSpot(Exists exists, uint32_t count, float min, float max, float* spot, float limit) {
    if (*spot < min) *spot = min;
    if (limit >= max) limit = max - 1.0f;
    if (!(*spot <= limit)) return -1;
    int64_t index = int64_t((*spot - min) * (1.0f / kZoneSize));
    while (*spot <= limit && index < int64_t(count)) {
        if (index >= 0 && exists(uint32_t(index))) return int(index);
        ++index;
        *spot += kZoneSize;
    }
    return -1;
}

template <typename Visit> void ClientPendingGrid::Walk(const VUKVector& low, const VUKVector& high, Visit visit) {
    if (!m_Zones) return;
    for (float y = low.y; y <= high.y; y += kZoneSize) {
        int layer =
            FindNextFromSpot([this](uint32_t l) { return m_uiLayerLive[l] != 0; }, kLayers, kMinY, kMaxY, &y, high.y);
        if (layer < 0) return;
        for (float z = low.z; z <= high.z; z += kZoneSize) {
            int row = FindNextFromSpot([&](uint32_t r) { return m_usRowLive[layer * kRows + r] != 0; }, kRows, kMinZ,
                                       kMaxZ, &z, high.z);
            if (row < 0) break;
            for (float x = low.x; x <= high.x; x += kZoneSize) {
                const uint32_t base = ZoneOf(uint32_t(layer), uint32_t(row), 0);
                int i = FindNextFromSpot([&](uint32_t c) { return m_Zones[base + c].m_uiLive != 0; }, kZones, kMinX,
                                         kMaxX, &x, high.x);
                if (i < 0) break;
                Zone& zone = m_Zones[base + uint32_t(i)];
                uint32_t stale = 0;
                const bool more =
                    visit(zone.m_Entries.data(), uint32_t(zone.m_Entries.size()), base + uint32_t(i), stale);
                if (stale >= kWalkCompactMin && 4 * size_t(stale) >= zone.m_Entries.size()) Compact(base + uint32_t(i));
                if (!more) return;
            }
        }
    }
}
