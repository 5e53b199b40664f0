// The Smiley Warrior Spirits: where the nearest enemy or own BuildingBlock, the highest ranked
// enemy's BuildingBlock and the nearest rich enemy are. Each walks the whole array it needs.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"

namespace {

constexpr const char* kSpirits = "SMILEY WARRIORS";
constexpr int64_t kCostLocateEnemy = 10'000;
constexpr int64_t kCostLocateTopEnemy = 50'000;
constexpr int64_t kCostLocateMillionaire = 500'000;
constexpr int64_t kMillionaireCoins = 11'000'000;
constexpr int64_t kNoDistance = 999'999'999;
constexpr uint32_t kNoRank = 999'999;

// How far apart two things are, as the spirits measure it: the difference of their positions'
// reach from the origin.
int64_t DistanceMeasure(const Server_Entity* candidate, const Server_Entity* player) {
    return std::llround(std::fabs(candidate->m_vPosition.SizeReach() - player->m_vPosition.SizeReach()));
}

// Location coordinates: the rounded position in thousands, truncated.
std::string Where(const char* format, const Server_Entity* e) {
    char text[256];
    std::snprintf(text, sizeof text, format, int(std::lround(e->m_vPosition.x) / 1000),
                  int(std::lround(e->m_vPosition.y) / 1000), int(std::lround(e->m_vPosition.z) / 1000));
    return text;
}

bool IsEnemyBuildingBlock(const Server_Entity* e, const Server_Player* player) {
    const Server_Player* owner = e->m_pOwner;
    return e->m_usTexture == kTextureBuildingBlock && owner && owner != player && !owner->IsOnSameTeam(player);
}

} // namespace

// The candidate of the array nearest to the player by the distance measure; the first wins ties.
template <typename Pick>
static Server_Entity* FindNearest(const VUKFastArray_Entity& array, const Server_Player* player, Pick pick) {
    Server_Entity* best = nullptr;
    int64_t bestDistance = kNoDistance;
    for (uint32_t i = 0; i < array.Count(); ++i) {
        Server_Entity* e = array.GetEntity(i);
        if (!pick(e)) continue;
        int64_t d = DistanceMeasure(e, player);
        if (d < bestDistance) {
            bestDistance = d;
            best = e;
        }
    }
    return best;
}

void Game::Tick_Player_LocateNearestEnemyBuildingBlock(Server_Player* player) {
    if (player->m_i64PocketCoins < kCostLocateEnemy) {
        SetPlayerModal(player, "You do not have enough coins to ask the Smiley Warrior Spirits where the nearest enemy "
                               "BuildingBlock can be found.\n\nPress ENTER to continue.");
    } else if (Server_Entity* found = FindNearest(m_PlayerBuiltPads, player, [&](const Server_Entity* e) {
                   return IsEnemyBuildingBlock(e, player);
               })) {
        player->m_i64PocketCoins -= kCostLocateEnemy;
        m_pServer->SendChatToPlayer(
            player, kSpirits,
            Where("The nearest enemy BuildingBlock is located at location coordinate (%d, %d, %d).", found));
    } else {
        SetPlayerModal(player, "The Smiley Warrior Spirits have determined that no enemy BuildingBlocks exist in this "
                               "world.  You do not have to pay 10,000 coins.\n\nPress ENTER to continue.");
    }
    m_pServer->InformClients_EntityUpdated(player);
}

void Game::Tick_Player_LocateNumberOneEnemyBuildingBlock(Server_Player* player) {
    if (player->m_i64PocketCoins < kCostLocateTopEnemy) {
        SetPlayerModal(player, "You do not have enough coins to ask the Smiley Warrior Spirits where an enemy "
                               "BuildingBlock from the highest ranked enemy player can be found.\n\nPress ENTER to "
                               "continue.");
        m_pServer->InformClients_EntityUpdated(player);
        return;
    }
    Server_Entity* found = nullptr;
    uint32_t bestRank = kNoRank;
    for (uint32_t i = 0; i < m_PlayerBuiltPads.Count(); ++i) {
        Server_Entity* e = m_PlayerBuiltPads.GetEntity(i);
        if (!IsEnemyBuildingBlock(e, player) || e->m_pOwner->m_uiRank >= bestRank) continue;
        bestRank = e->m_pOwner->m_uiRank;
        found = e;
    }
    if (found) {
        player->m_i64PocketCoins -= kCostLocateTopEnemy;
        char format[160];
        std::snprintf(format, sizeof format,
                      "An enemy BuildingBlock from a player ranked number %d is located at location coordinate "
                      "(%%d, %%d, %%d).",
                      int(bestRank));
        m_pServer->SendChatToPlayer(player, kSpirits, Where(format, found));
    } else {
        SetPlayerModal(player, "The Smiley Warrior Spirits have determined that no enemy BuildingBlocks exist in this "
                               "world.  You do not have to pay 50,000 coins.\n\nPress ENTER to continue.");
    }
    m_pServer->InformClients_EntityUpdated(player);
}

void Game::Tick_Player_LocateNearestOwnBuildingBlock(Server_Player* player) {
    Server_Entity* found = FindNearest(m_PlayerBuiltPads, player, [&](const Server_Entity* e) {
        return e->m_usTexture == kTextureBuildingBlock && e->m_pOwner == player;
    });
    if (found)
        m_pServer->SendChatToPlayer(
            player, kSpirits,
            Where("Your nearest BuildingBlock is located at location coordinate (%d, %d, %d).", found));
    else
        SetPlayerModal(player,
                       "The Smiley Warrior Spirits have determined that you own no BuildingBlocks in this world.");
    m_pServer->InformClients_EntityUpdated(player);
}

void Game::Tick_Player_LocateNearestMillionairePlayer(Server_Player* player) {
    if (player->m_i64PocketCoins < kCostLocateMillionaire) {
        SetPlayerModal(player, "You do not have enough coins to ask the Smiley Warrior Spirits where the nearest enemy "
                               "11-Millionaire Player can be found.\n\nPress ENTER to continue.");
    } else if (Server_Entity* found = FindNearest(m_Players, player, [&](const Server_Entity* e) {
                   auto* other = static_cast<const Server_Player*>(e);
                   return other != player && other->m_i64PocketCoins >= kMillionaireCoins &&
                          !other->IsOnSameTeam(player);
               })) {
        player->m_i64PocketCoins -= kCostLocateMillionaire;
        m_pServer->SendChatToPlayer(
            player, kSpirits,
            Where("The nearest enemy 11-Millionaire Player is located at location coordinate (%d, %d, %d).", found));
    } else {
        SetPlayerModal(player, "The Smiley Warrior Spirits have determined that no enemy 11-Millionaire Players exist "
                               "in this world.  You do not have to pay 500,000 coins.\n\nPress ENTER to continue.");
    }
    m_pServer->InformClients_EntityUpdated(player);
}
