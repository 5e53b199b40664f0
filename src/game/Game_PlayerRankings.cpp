// Ranks by net worth (pocket coins plus property value), richest first; equal worths share a
// rank and the next worth takes the next rank.
#include <cstdlib>
#include <vector>

#include "game/Game.h"
#include "world/Server_EntityKinds.h"

namespace {

struct PlayerEntry {
    Server_Player* m_pPlayer;
    int64_t m_i64NetWorth;
};

// Highest worth first; equal worths compare equal, so their order is the sort's.
int _PlayerEntryCompare(const void* a, const void* b) {
    const int64_t wa = static_cast<const PlayerEntry*>(a)->m_i64NetWorth;
    const int64_t wb = static_cast<const PlayerEntry*>(b)->m_i64NetWorth;
    return wa > wb ? -1 : wa < wb ? 1 : 0;
}

} // namespace

void Game::DeterminePlayerRankings() {
    std::vector<PlayerEntry> entries;
    entries.reserve(m_Players.Count());
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        entries.push_back({player, player->NetWorth()});
    }
    if (entries.empty()) return;
    std::qsort(entries.data(), entries.size(), sizeof(PlayerEntry), _PlayerEntryCompare);
    uint32_t rank = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i == 0 || entries[i].m_i64NetWorth != entries[i - 1].m_i64NetWorth) ++rank;
        entries[i].m_pPlayer->m_uiRank = rank;
    }
}
