// A client's pending grid: the entities it has pending, by zones of 6000 × 6000 × 6000 over
// (-150000, -6000, -150000) to (150000, 30000, 150000), so that the zone pass finds the ones
// near the player without a world-wide scan. Same zones as a VUK_Grid of that geometry, in a
// cheaper form:
//   - where an entity is filed is one 32-bit key per entity (a box of zone indices), in an
//     array indexed by the entity's compact index;
//   - a zone is a plain array of compact indices. An entity spanning at most two zones along
//     every axis (nearly every entity: each is filed one zone beyond its box) has its index only
//     in its first zone; the others only count it live. A walk looks for such entities one zone
//     back from the box's first zone along each axis, so that each is met where the walk reaches
//     it first. Wider entities have their index in every zone they are filed in, and the caller's
//     visited mark skips one met again.
//   - Taking an entity out only updates the zones' live counts; its entry goes stale and is
//     dropped when the zone is compacted (on a later filing, when a walk finds a quarter of it
//     stale, or at once when the zone empties).
// Entities of one zone therefore come in no particular order; zones come in walk order.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

#include "world/VUKVector.h"

class Server_Entity;

// What a client holds of one entity, in an array indexed by the entity's compact index: its view,
// its place in a pending list and the key the client's pending grid has it filed under, side by
// side because notices and passes read them together.
struct ClientEntityCell {
    uint32_t m_uiView = 0;         // the view record's handle in g_VukHeap_ServerClientEntity; 0 none
    uint32_t m_uiPendingPlace = 0; // place in its pending list + 1; 0 not pending
    uint32_t m_uiGridKey = 0;      // ClientPendingGrid's key; 0 not filed
};

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

    // Keeps the keys in the client's cells (growing them as needed), or in cells of its own.
    explicit ClientPendingGrid(std::vector<ClientEntityCell>& cells) : m_Cells(cells) {}
    ClientPendingGrid() : m_Cells(m_OwnCells) {}
    virtual ~ClientPendingGrid() = default;
    ClientPendingGrid(const ClientPendingGrid&) = delete;
    ClientPendingGrid& operator=(const ClientPendingGrid&) = delete;

    // Where the entity would be filed now (never 0).
    static uint32_t KeyOf(const Server_Entity* e);
    // The key the entity is filed under, 0 when it is not filed.
    uint32_t FiledKey(uint32_t index) const { return index < m_Cells.size() ? m_Cells[index].m_uiGridKey : 0; }
    // Filed in at least one zone.
    bool IsFiledInZones(uint32_t index) const {
        uint32_t key = FiledKey(index);
        return key != 0 && key != kNowhere;
    }
    // Files the entity under key, taking it out of where it was first.
    void File(uint32_t index, uint32_t key);
    void Unfile(uint32_t index);

    // Visits the zones of the box [low, high] that hold entities, y outermost, then z, then x,
    // each ascending, as the world's zone looper walks. For each zone it passes the entry lists
    // that may hold its entities (its own, and on the box's first zone along an axis the zone's
    // before): visit(entries, count, source, zone, stale) returns false to end the walk, and the
    // number of stale entries it met through its last argument. Entries may be stale, repeated
    // or belong to another zone: see Placement. A list found a quarter stale is compacted.
    template <typename Visit> void Walk(const VUKVector& low, const VUKVector& high, Visit visit);
    // What an entry of the list of zone source is to the walk in zone: stale, an entity the walk
    // meets in another zone, or one it meets here.
    enum class Entry { kStale, kElsewhere, kHere };
    Entry Placement(uint32_t index, uint32_t source, uint32_t zone) const;
    // Whether the entity is filed in the zone (counted live there).
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
    static uint32_t ZoneOf(uint32_t layer, uint32_t row, uint32_t x) { return (layer * kRows + row) * kZones + x; }
    template <typename F> static void ForEachZone(uint32_t key, F f);
    static bool Covers(uint32_t key, uint32_t zone);
    // Filed in more than two zones along an axis: its index is in every zone's list.
    static bool IsWide(uint32_t key);
    static uint32_t FirstZone(uint32_t key);
    bool IsCurrentIn(uint32_t index, uint32_t zone) const;
    // The zone index along an axis where a walk from low starts, as FindNextFromSpot counts.
    static int64_t StartIndex(float low, float min) {
        return int64_t(((low < min ? min : low) - min) * (1.0f / kZoneSize));
    }
    void Compact(uint32_t zone);
    void AddLive(uint32_t zone);
    void RemoveLive(uint32_t zone);
    // The next index at or after *spot along one axis whose element holds entities, as the
    // world's looper finds the next existing element; -1 when none up to limit.
    template <typename Exists>
    static int FindNextFromSpot(Exists exists, uint32_t count, float min, float max, float* spot, float limit);

    std::vector<ClientEntityCell> m_OwnCells;
    std::vector<ClientEntityCell>& m_Cells;
    // By zone, made at the first filing: the entry lists, and apart from them the live counts,
    // which every filing and every walk step reads.
    std::unique_ptr<std::vector<uint32_t>[]> m_Entries;
    std::unique_ptr<uint32_t[]> m_Live;
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
    if (!m_Live) return;
    const int64_t startX = StartIndex(low.x, kMinX), startZ = StartIndex(low.z, kMinZ),
                  startY = StartIndex(low.y, kMinY);
    // Back one zone on an axis where the zone is the box's first: entities filed there once, in
    // the zone before, reach into it.
    auto back = [](int index, int64_t start) { return index == start && index > 0 ? 1u : 0u; };
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
                int i = FindNextFromSpot([&](uint32_t c) { return m_Live[base + c] != 0; }, kZones, kMinX, kMaxX, &x,
                                         high.x);
                if (i < 0) break;
                const uint32_t zone = base + uint32_t(i);
                const uint32_t by = back(layer, startY), bz = back(row, startZ), bx = back(i, startX);
                for (uint32_t sy = uint32_t(layer) - by; sy <= uint32_t(layer); ++sy)
                    for (uint32_t sz = uint32_t(row) - bz; sz <= uint32_t(row); ++sz)
                        for (uint32_t sx = uint32_t(i) - bx; sx <= uint32_t(i); ++sx) {
                            const uint32_t source = ZoneOf(sy, sz, sx);
                            std::vector<uint32_t>& entries = m_Entries[source];
                            if (entries.empty()) continue;
                            uint32_t stale = 0;
                            const bool more = visit(entries.data(), uint32_t(entries.size()), source, zone, stale);
                            if (stale >= kWalkCompactMin && 4 * size_t(stale) >= entries.size()) Compact(source);
                            if (!more) return;
                        }
            }
        }
    }
}
