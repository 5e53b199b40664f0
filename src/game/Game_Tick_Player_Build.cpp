// What players build with their coins: BuildingBlocks, StoneBlocks and flat stones, ZorbinCubes,
// IRSCubes and palaces, with their costs, places, limits and refusals.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"

namespace {

enum BuildKind { kBuildBlock, kBuildZorbin, kBuildIRS, kBuildStone, kBuildKindCount };

constexpr float kBuildCeiling = 7000.0f;
constexpr int64_t kNetWorthLimit = 100'000'000;
constexpr int16_t kBuildCooldown = 10;

struct BuildRule {
    uint32_t cost;
    float spawnClearance; // |x| and |z| both below this: too near the spawn spot
    const char* surface;  // the refusals R1 to R4, then the one for something in the way
    const char* tooHigh;
    const char* tooPoor;
    const char* nearSpawn;
    const char* inTheWay;
};

// Stones give their cost as an argument; the rule's cost is only the BuildingBlock's and cubes'.
const BuildRule kRules[kBuildKindCount] = {
    {kCostBuildingBlock, 1000.0f, "You are on a surface where the building of BuildingBlocks is disallowed.\n\nSorry.",
     "You cannot build a BuildingBlock because you are too high in the sky.",
     "You do not have enough coins to build a BuildingBlock.  A BuildingBlock costs 300,000 coins.",
     "You cannot build a BuildingBlock here because you are too close to the spot where players spawn after creating "
     "their character or dieing.  Please find another place to build a BuildingBlock.",
     "You cannot build a BuildingBlock here because something is in the way.\n\nPlease move to another place and try "
     "again."},
    {kCostZorbinCube, 3000.0f, "You are on a surface where the building of ZorbinCubes is disallowed.\n\nSorry.",
     "You cannot build an ZorbinCube because you are too high in the sky.",
     "You do not have enough coins to build a ZorbinCube.  An ZorbinCube costs 25,000 coins.",
     "You cannot build an ZorbinCube here because you are too close to the spot where players spawn after creating "
     "their character or dieing.  Please find another place to build an ZorbinCube.",
     "You cannot build an ZorbinCube here because something is in the way.  Please move to another place and try "
     "again."},
    {kCostIRSCube, 2000.0f, "You are on a surface where the building of IRSCubes is disallowed.\n\nSorry.",
     "You cannot build an IRSCube because you are too high in the sky.",
     "You do not have enough coins to build a IRSCube.  An IRSCube costs 300,000 coins.",
     "You cannot build an IRSCube here because you are too close to the spot where players spawn after creating their "
     "character or dieing.  Please find another place to build an IRSCube.",
     "You cannot build an IRSCube here because something is in the way.  Move to another spot and try again."},
    {kCostStoneBlock, 2000.0f, "You are on a surface where you cannot build this item.\n\nSorry.",
     "You cannot build what you've requested because you are too high in the sky.\n\nPlease find a lower place and "
     "try again.",
     "You do not have enough coins to build this.",
     "You cannot build here because you are too close to the spot where players spawn after creating their character "
     "or dieing.  Please find another place to build this object.",
     "You cannot build here because something is in the way.\n\nMove to another spot and try again."},
};

// The menu-request memory bits of each kind: a build asked for from the menu may go ahead while
// the player is halted, except for stones.
uint8_t MenuMemoryBits(int kind) {
    switch (kind) {
    case kBuildBlock:
        return uint8_t(1u << kRepeatBuildingBlock);
    case kBuildZorbin:
        return uint8_t(1u << kRepeatZorbinCube);
    case kBuildIRS:
        return uint8_t(1u << kRepeatIRSCube);
    default:
        return uint8_t((1u << kRepeatStoneBlock) | (1u << kRepeatFlatStone));
    }
}

// Palace layout: a 600 grid around the player.
constexpr int64_t kPalaceCost = 30'000'000;
constexpr float kPalaceCell = 600.0f;

} // namespace

bool Game::PassesBuildChecks(Server_Player* player, int kind, uint8_t repeat, uint32_t cost) {
    const BuildRule& rule = kRules[kind];
    EndClientSideMovement(player, 3);
    uint8_t memory = MenuMemoryBits(kind);
    bool halted =
        player->GetFlag(kPlayerHalted) && (kind == kBuildStone || (player->m_ucMenuRequestMemory & memory) == 0);
    bool standing = player->GetFlag(kPlayerStandingOnEntity) || player->GetFlag(kPlayerOnGroundPlane);
    if (player->m_sShotCooldown > 0 || halted || !standing) return false;
    player->m_ucBuildRepeat[repeat] = 0;

    const char* refusal = nullptr;
    char netWorth[96];
    bool surfaceAllowed = player->GetFlag(kPlayerMayBuildHere);
    // Zorbin and IRS cubes also need a surface that allows them.
    if ((kind == kBuildZorbin || kind == kBuildIRS) && player->m_pPlatform &&
        (player->m_pPlatform->m_ucRuleFlags & kRuleZorbinBuildAllowed) == 0)
        surfaceAllowed = false;
    if (!surfaceAllowed) {
        refusal = rule.surface;
    } else {
        if (kind == kBuildIRS)
            player->m_ucMenuRequestMemory |= memory;
        else
            player->m_ucMenuRequestMemory &= uint8_t(~memory);
        player->HandleEnterKey();
        const VUKVector& p = player->m_vPosition;
        if (p.y >= kBuildCeiling) {
            refusal = rule.tooHigh;
        } else if (player->m_i64PocketCoins < int64_t(cost)) {
            refusal = rule.tooPoor;
        } else if (player->m_i64PocketCoins + player->m_i64PropertyValue >= kNetWorthLimit) {
            std::snprintf(netWorth, sizeof netWorth,
                          "You cannot build anything because your net worth is at least %d coins.",
                          int(kNetWorthLimit));
            refusal = netWorth;
        } else if (std::fabs(p.x) < rule.spawnClearance && std::fabs(p.z) < rule.spawnClearance) {
            refusal = rule.nearSpawn;
        }
    }
    if (!refusal) return true;
    SetPlayerMessage(player, refusal, kMessageTimeShort);
    m_pServer->InformClients_EntityUpdated(player);
    return false;
}

bool Game::PlaceBuiltEntity(Server_Player* player, Server_Entity* e, int kind, uint32_t cost) {
    player->m_sShotCooldown = kBuildCooldown;
    if (IsSomethingInTheWay(e)) {
        delete e;
        SetPlayerMessage(player, kRules[kind].inTheWay, kMessageTimeShort);
        m_pServer->InformClients_EntityUpdated(player);
        return false;
    }
    e->SetLabel(player->m_strName);
    e->m_pOwner = player;
    AddEntityToZonesAndGroups(e);
    m_pServer->InformClients_EntityUpdated(e);
    player->m_i64PocketCoins -= cost;
    return true;
}

// A built thing at the player's position raised by dy.
static Server_Entity* MakeBuilt(uint8_t kind, const Server_Player* player, float dy, float sx, float sy, float sz,
                                uint16_t texture, uint32_t storedCoins) {
    Server_Entity* e = World::CreateByType(kind);
    e->m_vPosition = player->m_vPosition;
    e->m_vPosition.y += dy;
    e->m_vSize.Set(sx, sy, sz);
    e->m_usTexture = texture;
    e->m_uiStoredCoins = storedCoins;
    if (kind == kKindNormalPad) e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    return e;
}

void Game::Tick_Player_BuildBlock(Server_Player* player) {
    if (!PassesBuildChecks(player, kBuildBlock, kRepeatBuildingBlock, kCostBuildingBlock)) return;
    Server_Entity* e =
        MakeBuilt(kKindNormalPad, player, 43.0f, 100.0f, 100.0f, 100.0f, kTextureBuildingBlock, kCostBuildingBlock);
    if (PlaceBuiltEntity(player, e, kBuildBlock, kCostBuildingBlock)) {
        player->m_i64PropertyValue += kBuildingBlockPropertyValue;
        player->KeepCoinsAtLimit();
        player->m_vPosition.y += 200.0f;
        SetPlayerMessage(player,
                         "You've built a BuildingBlock with 300,000 coins.  This is worth 600,000 in property value!  "
                         "The MEAN TAX WARRIOR can't tax property value!  Shoot your own BuildingBlock for a refund.  "
                         "If an enemy destroys it, you'll lose 600,000 net worth.  Be sure to defend it with "
                         "ZorbinCubes and StoneBlocks.",
                         kMessageTimeLong);
        m_pServer->InformClients_EntityUpdated(player);
    }
}

void Game::Tick_Player_BuildZorbin(Server_Player* player) {
    if (!PassesBuildChecks(player, kBuildZorbin, kRepeatZorbinCube, kCostZorbinCube)) return;
    Server_Entity* e =
        MakeBuilt(kKindZorbinCube, player, 143.0f, 300.0f, 300.0f, 300.0f, kTextureZorbinCube, kCostZorbinCube);
    if (PlaceBuiltEntity(player, e, kBuildZorbin, kCostZorbinCube)) {
        player->m_vPosition.y += 450.0f;
        SetPlayerMessage(player,
                         "You have just built an ZorbinCube for 25,000 coins.  ZorbinCubes defend your BuildingBlocks "
                         "against opponents.  Shoot your own ZorbinCube to destroy it for a refund.",
                         kMessageTimeLong);
        m_pServer->InformClients_EntityUpdated(player);
    }
}

void Game::Tick_Player_BuildIRS(Server_Player* player) {
    if (!PassesBuildChecks(player, kBuildIRS, kRepeatIRSCube, kCostIRSCube)) return;
    Server_Entity* e =
        MakeBuilt(kKindZorbinCube, player, 143.0f, 300.0f, 300.0f, 300.0f, kTextureIRSCube, kCostIRSCube);
    if (PlaceBuiltEntity(player, e, kBuildIRS, kCostIRSCube)) {
        player->m_vPosition.y += 450.0f;
        SetPlayerMessage(player,
                         "You have just built an IRSCube for 300,000 coins.  IRSCubes defend your BuildingBlocks "
                         "against opponents.  Unlike ZorbinCubes, they will move towards opponents.  Shoot your own "
                         "IRSCube to destroy it for a refund.",
                         kMessageTimeLong);
        m_pServer->InformClients_EntityUpdated(player);
    }
}

void Game::Tick_Player_BuildStoneBlock(Server_Player* player, unsigned sizeX, unsigned sizeY, unsigned sizeZ,
                                       unsigned cost, bool flat) {
    if (!PassesBuildChecks(player, kBuildStone, flat ? kRepeatFlatStone : kRepeatStoneBlock, cost)) return;
    // A stone stands on the player's feet; the flat one lies just above them.
    float dy = flat ? 8.0f : float(sizeY) / 2.0f - 7.0f;
    Server_Entity* e = MakeBuilt(kKindNormalPad, player, dy, float(sizeX), float(sizeY), float(sizeZ),
                                 flat ? kTextureFlatStone : kTextureStoneBlock, kCostStoneBlock);
    if (flat) e->SetEEA(kEEABounce, 50);
    if (PlaceBuiltEntity(player, e, kBuildStone, cost)) {
        player->m_vPosition.y += float(sizeY) + 150.0f;
        // A refusal still on show is out of date now.
        if (player->m_strMessageText.find("You cannot") != std::string::npos) player->m_fMessageTime = 0.0f;
        m_pServer->InformClients_EntityUpdated(player);
    }
}

// ---- palaces ----------------------------------------------------------------------------------

void Game::BuildPalaceCube_Helper(Server_Player* player, float x, float y, float z, float texture) {
    auto* cube = static_cast<Server_PalaceCube*>(World::CreateByType(kKindPalaceCube));
    cube->m_vPosition.Set(x, y, z);
    cube->m_vSize.Set(kPalaceCell, kPalaceCell, kPalaceCell);
    cube->m_usTexture = uint16_t(texture);
    cube->SetLabel(player->m_strName);
    cube->m_pOwner = player;
    AddEntityToZonesAndGroups(cube);
    m_pServer->InformClients_EntityUpdated(cube);
    ++player->m_uiPalaceCubeCount;
}

void Game::BuildPalaceCube_BouncyPad(Server_Player* player, float x, float y, float z, float texture) {
    Server_Entity* pad = World::CreateByType(kKindPalaceCube);
    pad->m_vPosition.Set(x, y, z);
    pad->m_vSize.Set(1200.0f, 10.0f, 1200.0f);
    pad->m_usTexture = uint16_t(texture);
    pad->SetEEA(kEEABounce, 150);
    pad->SetLabel(player->m_strName);
    pad->m_pOwner = player;
    AddEntityToZonesAndGroups(pad);
    m_pServer->InformClients_EntityUpdated(pad);
}

void Game::Tick_Player_BuildPalace(Server_Player* player) {
    EndClientSideMovement(player, 5);
    const VUKVector& p = player->m_vPosition;
    const char* refusal = nullptr;
    if (player->m_i64PocketCoins < kPalaceCost)
        refusal = "CANNOT BUILD PALACE: You need 30,000,000 coins to build a Palace.";
    else if (player->m_uiPalaceCubeCount != 0)
        refusal = "CANNOT BUILD PALACE: You already have a Palace.";
    else if (p.y > 16.0f)
        refusal = "CANNOT BUILD PALACE: You need to be on the LOWEST ground in order to build a Palace.";
    else if (std::fabs(p.x) < 30'000.0f && std::fabs(p.z) < 30'000.0f)
        refusal = "CANNOT BUILD PALACE: You are less than 30 kilounits away from the start point.  Move farther out "
                  "and then try to build the Palace again.";
    else if (std::fabs(p.x) > 80'000.0f || std::fabs(p.z) > 80'000.0f)
        refusal = "CANNOT BUILD PALACE: You are more than 80 kilounits away from the start point.  Move such that "
                  "your first and third location numbers are less than 80 and more than -80, and then try to build "
                  "the Palace again.";
    if (!refusal) {
        player->m_vPosition.y = 8.0f;
        Server_Entity* probe = World::CreateByType(kKindNormalPad);
        probe->m_vPosition.Set(p.x, 8.0f + 2243.0f, p.z);
        probe->m_vSize.Set(10'000.0f, 6'000.0f, 10'000.0f);
        bool blocked = IsSomethingInTheWay(probe);
        delete probe;
        if (blocked)
            refusal = "CANNOT BUILD PALACE: There is an object getting in the way of Palace construction.  Move to a "
                      "place where there are no nearby objects and then try to build the Palace again.";
    }
    if (refusal) {
        SetPlayerMessage(player, refusal, kMessageTimeShort);
        m_pServer->InformClients_EntityUpdated(player);
        return;
    }

    const float X = p.x, Z = p.z;
    const float c = kPalaceCell;
    // Lays cubes of the texture on the grid over [x0, x1) x [z0, z1) at height y.
    auto lay = [&](float x0, float x1, float z0, float z1, float y, float texture) {
        int nx = int(std::lround((x1 - x0) / c)), nz = int(std::lround((z1 - z0) / c));
        for (int i = 0; i < nx; ++i)
            for (int k = 0; k < nz; ++k)
                BuildPalaceCube_Helper(player, x0 + float(i) * c, y, z0 + float(k) * c, texture);
    };
    lay(X - 3000, X + 3000, Z - 3000, Z + 3000, 300, 60);  // floor
    lay(X - 3000, X + 3000, Z - 3000, Z + 3000, 3900, 61); // roof
    for (int layer = 0; layer < 7; ++layer) {
        float y = 300 + float(layer) * c;
        lay(X - 4200, X - 3000, Z - 4800, Z + 4800, y, 62); // sides
        lay(X + 3000, X + 4200, Z - 4800, Z + 4800, y, 62);
        lay(X - 3000, X + 3000, Z + 3000, Z + 4200, y, 62); // back
        lay(X - 3000, X - 600, Z - 4200, Z - 3000, y, 62);  // front, either side of the doorway
        lay(X + 600, X + 3000, Z - 4200, Z - 3000, y, 62);
        if (y >= 2100) lay(X - 600, X + 600, Z - 4200, Z - 3000, y, 62); // above the doorway
    }
    lay(X - 600, X + 600, Z - 4200, Z - 3000, 300, 63); // the doorway's sill
    BuildPalaceCube_BouncyPad(player, X - 300, 5, Z - 4800, 64);

    player->m_vPosition.y += 3000.0f;
    SetPlayerMessage(player, "You have successfully built your Palace!  Have fun!", kMessageTimeLong);
    player->m_i64PocketCoins -= kPalaceCost;
    m_pServer->InformClients_EntityUpdated(player);
    std::string news = player->m_strName;
    news.append(" has created a Palace!");
    m_pServer->SendChatMessageToAll("Info", news);
}
