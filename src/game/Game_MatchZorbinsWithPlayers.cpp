// After a load, property knows its owner only by name: Zorbin cubes, palace cubes and
// player-built blocks carry the owner's name as their label, tag pads "T: " and the name.
#include <string>
#include <string_view>
#include <unordered_map>

#include "game/Game.h"
#include "game/GameConstants.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr std::string_view kTagPadLabelPrefix = "T: ";

class OwnerIndex {
public:
    explicit OwnerIndex(const VUKFastArray_Entity& players) {
        m_ByName.reserve(players.Count());
        for (uint32_t i = 0; i < players.Count(); ++i) {
            auto* player = static_cast<Server_Player*>(players.GetEntity(i));
            // The first player of a name wins, as a search in array order would find.
            m_ByName.emplace(player->m_strName, player);
        }
    }

    Server_Player* Find(std::string_view name) const {
        auto found = m_ByName.find(name);
        return found == m_ByName.end() ? nullptr : found->second;
    }

private:
    std::unordered_map<std::string_view, Server_Player*> m_ByName;
};

} // namespace

void Game::MatchZorbinsWithPlayers() {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        player->m_i64PropertyValue = 0;
        player->m_uiPalaceCubeCount = 0;
    }
    OwnerIndex owners(m_Players);

    m_ZorbinCubes.SortByAddresses();
    for (uint32_t i = 0; i < m_ZorbinCubes.Count(); ++i) {
        Server_Entity* cube = m_ZorbinCubes.GetEntity(i);
        if (cube->m_pLabel) cube->m_pOwner = owners.Find(*cube->m_pLabel);
    }

    m_PalaceCubes.SortByAddresses();
    for (uint32_t i = 0; i < m_PalaceCubes.Count(); ++i) {
        Server_Entity* cube = m_PalaceCubes.GetEntity(i);
        if (!cube->m_pLabel) continue;
        cube->m_pOwner = owners.Find(*cube->m_pLabel);
        if (cube->m_pOwner) ++cube->m_pOwner->m_uiPalaceCubeCount;
    }

    m_PlayerBuiltPads.SortByAddresses();
    for (uint32_t i = 0; i < m_PlayerBuiltPads.Count(); ++i) {
        Server_Entity* block = m_PlayerBuiltPads.GetEntity(i);
        if (!block->m_pLabel) continue;
        block->m_pOwner = owners.Find(*block->m_pLabel);
        if (block->m_pOwner && block->m_usTexture == kTextureBuildingBlock)
            block->m_pOwner->m_i64PropertyValue += kBuildingBlockPropertyValue;
    }

    m_TagPads.SortByAddresses();
    for (uint32_t i = 0; i < m_TagPads.Count(); ++i) {
        Server_Entity* pad = m_TagPads.GetEntity(i);
        if (!pad->m_pLabel) continue;
        std::string_view label = *pad->m_pLabel;
        if (label.substr(0, kTagPadLabelPrefix.size()) != kTagPadLabelPrefix) continue;
        pad->m_pTagHolder = owners.Find(label.substr(kTagPadLabelPrefix.size()));
    }
}
