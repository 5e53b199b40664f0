#include "replication/ClientPendingGrid.h"

#include <algorithm>

#include "world/Server_EntityKinds.h"
#include "world/VUK_Grid.h"

namespace {

// Key layout: x first/last in bits 0–11, z in 12–23, y in 24–29 (three bits each end).
constexpr uint32_t kXShift = 0, kZShift = 12, kYShift = 24;
constexpr uint32_t kEmpty = 0x40000000u;

static_assert(ClientPendingGrid::kZones <= 64 && ClientPendingGrid::kRows <= 64 && ClientPendingGrid::kLayers <= 8,
              "zone indices must fit the key");

uint32_t First(uint32_t key, uint32_t shift, uint32_t bits) { return (key >> shift) & ((1u << bits) - 1); }
uint32_t Last(uint32_t key, uint32_t shift, uint32_t bits) { return (key >> (shift + bits)) & ((1u << bits) - 1); }

} // namespace

uint32_t ClientPendingGrid::KeyOf(const Server_Entity* e) {
    VUKVector low, high;
    VUK_Grid::GetEntityBounds(e, true, &low, &high);
    int x0, x1, y0, y1, z0, z1;
    if (!VUK_Grid::AxisSpan(low.x, high.x, kMinX, kMaxX, kZoneSize, kZones, &x0, &x1) ||
        !VUK_Grid::AxisSpan(low.y, high.y, kMinY, kMaxY, kZoneSize, kLayers, &y0, &y1) ||
        !VUK_Grid::AxisSpan(low.z, high.z, kMinZ, kMaxZ, kZoneSize, kRows, &z0, &z1))
        return kNowhere;
    return kFiled | uint32_t(x0) << kXShift | uint32_t(x1) << (kXShift + 6) | uint32_t(z0) << kZShift |
           uint32_t(z1) << (kZShift + 6) | uint32_t(y0) << kYShift | uint32_t(y1) << (kYShift + 3);
}

template <typename F> void ClientPendingGrid::ForEachZone(uint32_t key, F f) {
    if (key & kEmpty) return;
    for (uint32_t y = First(key, kYShift, 3); y <= Last(key, kYShift, 3); ++y)
        for (uint32_t z = First(key, kZShift, 6); z <= Last(key, kZShift, 6); ++z)
            for (uint32_t x = First(key, kXShift, 6); x <= Last(key, kXShift, 6); ++x) f(ZoneOf(y, z, x));
}

bool ClientPendingGrid::Covers(uint32_t key, uint32_t zone) {
    if (key == 0 || (key & kEmpty)) return false;
    uint32_t x = zone % kZones, z = (zone / kZones) % kRows, y = zone / (kZones * kRows);
    return x >= First(key, kXShift, 6) && x <= Last(key, kXShift, 6) && z >= First(key, kZShift, 6) &&
           z <= Last(key, kZShift, 6) && y >= First(key, kYShift, 3) && y <= Last(key, kYShift, 3);
}

bool ClientPendingGrid::IsWide(uint32_t key) {
    return Last(key, kXShift, 6) - First(key, kXShift, 6) > 1 || Last(key, kZShift, 6) - First(key, kZShift, 6) > 1 ||
           Last(key, kYShift, 3) - First(key, kYShift, 3) > 1;
}

uint32_t ClientPendingGrid::FirstZone(uint32_t key) {
    return ZoneOf(First(key, kYShift, 3), First(key, kZShift, 6), First(key, kXShift, 6));
}

bool ClientPendingGrid::IsFiledIn(uint32_t index, uint32_t zone) const { return Covers(FiledKey(index), zone); }

bool ClientPendingGrid::IsCurrentIn(uint32_t index, uint32_t zone) const {
    const uint32_t key = FiledKey(index);
    return Covers(key, zone) && (IsWide(key) || FirstZone(key) == zone);
}

ClientPendingGrid::Entry ClientPendingGrid::Placement(uint32_t index, uint32_t source, uint32_t zone) const {
    const uint32_t key = FiledKey(index);
    if (!Covers(key, source)) return Entry::kStale;
    const bool wide = IsWide(key);
    if (!wide && FirstZone(key) != source) return Entry::kStale;
    if (source == zone) return Entry::kHere;
    // From the zone before: a wide entity is in this zone's own list too.
    return !wide && Covers(key, zone) ? Entry::kHere : Entry::kElsewhere;
}

void ClientPendingGrid::AddLive(uint32_t zone) {
    if (m_Live[zone]++ != 0) return;
    uint32_t row = zone / kZones;
    if (m_usRowLive[row]++ == 0) ++m_uiLayerLive[row / kRows];
}

void ClientPendingGrid::RemoveLive(uint32_t zone) {
    if (--m_Live[zone] != 0) return;
    // Nothing current is left: the entries go, and with them the memory.
    std::vector<uint32_t>().swap(m_Entries[zone]);
    uint32_t row = zone / kZones;
    if (--m_usRowLive[row] == 0) --m_uiLayerLive[row / kRows];
}

void ClientPendingGrid::Compact(uint32_t zone) {
    std::vector<uint32_t>& entries = m_Entries[zone];
    std::sort(entries.begin(), entries.end());
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
    entries.erase(std::remove_if(entries.begin(), entries.end(), [&](uint32_t i) { return !IsCurrentIn(i, zone); }),
                  entries.end());
}

void ClientPendingGrid::File(uint32_t index, uint32_t key) {
    if (index >= m_Cells.size()) m_Cells.resize(size_t(index) + 1 + index / 8); // as the client's cells grow
    if (!m_Live) {
        m_Entries.reset(new std::vector<uint32_t>[kLayers * kRows * kZones]);
        m_Live.reset(new uint32_t[kLayers * kRows * kZones]());
    }
    Unfile(index);
    m_Cells[index].m_uiGridKey = key;
    ForEachZone(key, [&](uint32_t zone) { AddLive(zone); });
    auto add = [&](uint32_t zone) {
        std::vector<uint32_t>& entries = m_Entries[zone];
        entries.push_back(index);
        if (entries.size() > 2 * size_t(m_Live[zone]) + kCompactSlack) Compact(zone);
    };
    if (IsWide(key))
        ForEachZone(key, add);
    else if (!(key & kEmpty))
        add(FirstZone(key));
}

void ClientPendingGrid::Unfile(uint32_t index) {
    if (index >= m_Cells.size() || m_Cells[index].m_uiGridKey == 0) return;
    uint32_t key = m_Cells[index].m_uiGridKey;
    m_Cells[index].m_uiGridKey = 0;
    ForEachZone(key, [&](uint32_t zone) { RemoveLive(zone); });
}

uint32_t ClientPendingGrid::CountZones() const {
    uint32_t n = 0;
    if (m_Live)
        for (uint32_t i = 0; i < kLayers * kRows * kZones; ++i) n += m_Live[i] != 0;
    return n;
}
