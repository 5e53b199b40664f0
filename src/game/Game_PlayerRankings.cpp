// Ranks by net worth (pocket coins plus property value), richest first; equal worths share a
// rank and the next worth takes the next rank.
#include <algorithm>
#include <vector>

#include "game/Game.h"
#include "world/Server_EntityKinds.h"

namespace {

struct PlayerEntry {
    Server_Player* m_pPlayer;
    int64_t m_i64NetWorth;
};

} // namespace

void Game::DeterminePlayerRankings() {
    std::vector<PlayerEntry> entries;
    entries.reserve(m_Players.Count());
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        entries.push_back({player, player->m_i64PocketCoins + player->m_i64PropertyValue});
    }
    std::sort(entries.begin(), entries.end(),
              [](const PlayerEntry& a, const PlayerEntry& b) { return a.m_i64NetWorth > b.m_i64NetWorth; });
    uint32_t rank = 0;
    for (size_t i = 0; i < entries.size(); ++i) {
        if (i == 0 || entries[i].m_i64NetWorth != entries[i - 1].m_i64NetWorth) ++rank;
        entries[i].m_pPlayer->m_uiRank = rank;
    }
}
