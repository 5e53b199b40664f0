// The per-tick driver of the players: keys and menu requests of the online players, shooting,
// the offline players' return fire, and the movement of every player that moves.
#include <cmath>
#include <cstdio>

#include "base/LogChat.h"
#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"
#include "platform/Clock.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

constexpr float kPi = 3.14159265f;
constexpr float kShotSpeed = 15.9f;
constexpr int16_t kShotCooldown = 2;
constexpr int16_t kGiantShotCooldown = 4;
constexpr int16_t kShotLife = 15;
constexpr int16_t kGiantShotLife = 25;
constexpr int16_t kOfflineShotLife = 20;
constexpr int16_t kShotPower = 20;
constexpr int16_t kStillTicksBeforeRest = 4;

// One build kind driven by its key, its menu request and its repeat counter.
struct BuildDriver {
    BuildRepeat repeat;
    uint32_t key;
    const PlayerFlag* menu; // null: key only
};

} // namespace

ZoneQuery ActionZoneBox(const VUK_Grid& grid, const VUKVector& low, const VUKVector& high) {
    VUKVector lo(std::round(low.x), std::round(low.y < 0.0f ? 0.0f : low.y), std::round(low.z));
    VUKVector hi(std::round(high.x) + kZoneLimit, std::round(high.y) + kZoneLimit, std::round(high.z) + kZoneLimit);
    return ZoneQuery::Box(grid, lo, hi);
}

void EndClientSideMovement(Server_Player* player, uint8_t holdOff) {
    unsigned raised = unsigned(player->m_ucCSMHoldOff) + holdOff;
    player->m_ucCSMHoldOff = uint8_t(raised > 255 ? 255 : raised);
    player->SetFlag(kPlayerClientSideMovement, false);
}

void Game::Tick_Players() {
    uint32_t visited = 0;
    for (uint32_t i = 0; i < m_OnlinePlayers.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_OnlinePlayers.GetEntity(i));
        m_pCurrentEntity = player;
        ++visited;
        Tick_Player_Online(player);
    }
    m_uiOnlinePlayerCount = visited;

    if (m_bOfflinePlayerScan) Tick_NonMovingPlayers_OfflineShootFireBlock();

    for (uint32_t i = 0; i < m_OtherPlayers.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_OtherPlayers.GetEntity(i));
        m_pCurrentEntity = player;
        Tick_Player_Move(player);
    }
}

void Game::Tick_Player_Online(Server_Player* player) {
    player->SetDirty();
    player->ApplyTempEffects();

    if (player->m_usAdminLevel != 0) {
        if (player->HasKey(kKeyAdminToggle)) {
            player->SetKey(kKeyAdminToggle, false);
            player->SetFlag(kPlayerAdminMode, !player->IsAdminMode());
            player->m_vVelocity.Set(0.0f, 0.0f, 0.0f);
        }
        if (player->IsAdminMode()) Tick_Player_Admin(player);
    }

    if (player->HasKey(kKeyResetPosition)) {
        player->SetKey(kKeyResetPosition, false);
        player->ResetPosition();
    }

    if (player->HasKey(kKeyFire) && player->m_sShotCooldown == 0 && !player->GetFlag(kPlayerHalted)) {
        Tick_Player_ShootFireBlock(player);
        if (player->GetFlag(kPlayerTriFire)) {
            // Two more shots, 22.5 degrees to either side, then back to the player's own heading.
            player->SetYaw(player->GetYaw() - kPi / 8.0f);
            Tick_Player_ShootFireBlock(player);
            player->SetYaw(player->GetYaw() + kPi / 4.0f);
            Tick_Player_ShootFireBlock(player);
            player->SetYaw(player->GetYaw() - kPi / 8.0f);
        }
    }

    if (player->HasKey(kKeyEnter)) player->HandleEnterKey();
    if (player->IsAdminMode()) player->m_vVelocity.Set(0.0f, 0.0f, 0.0f);

    static const BuildDriver kDrivers[] = {
        {kRepeatBuildingBlock, kKeyBuildBuildingBlock, &kPlayerMenuBuildBlock},
        {kRepeatZorbinCube, kKeyBuildZorbinCube, &kPlayerMenuBuildZorbin},
        {kRepeatStoneBlock, kKeyBuildStoneBlock, &kPlayerMenuBuildStone},
        {kRepeatFlatStone, kKeyBuildFlatStone, &kPlayerMenuBuildFlatStone},
        {kRepeatIRSCube, kKeyBuildIRSCube, nullptr},
    };
    for (const BuildDriver& d : kDrivers) {
        if (d.repeat == kRepeatIRSCube && (!m_bIRSBuildEnabled || player->IsAdminMode())) continue;
        bool menu = d.menu && player->GetFlag(*d.menu);
        uint8_t& counter = player->m_ucBuildRepeat[d.repeat];
        if (!player->HasKey(d.key) && !menu && counter == 0) continue;
        counter = counter == 0 ? 5 : uint8_t(counter - 1);
        player->SetKey(d.key, false);
        if (menu) {
            player->SetFlag(*d.menu, false);
            player->m_ucMenuRequestMemory |= uint8_t(1u << d.repeat);
        }
        switch (d.repeat) {
        case kRepeatBuildingBlock:
            Tick_Player_BuildBlock(player);
            break;
        case kRepeatZorbinCube:
            Tick_Player_BuildZorbin(player);
            break;
        case kRepeatStoneBlock:
            Tick_Player_BuildStoneBlock(player, 300, 300, 300, kCostStoneBlock, false);
            break;
        case kRepeatFlatStone:
            Tick_Player_BuildStoneBlock(player, 300, 30, 300, kCostStoneBlock, true);
            break;
        default:
            Tick_Player_BuildIRS(player);
            break;
        }
    }

    if (player->GetFlag(kPlayerMenuLocateEnemy)) {
        player->SetFlag(kPlayerMenuLocateEnemy, false);
        Tick_Player_LocateNearestEnemyBuildingBlock(player);
    }
    if (player->GetFlag(kPlayerMenuLocateTopEnemy)) {
        player->SetFlag(kPlayerMenuLocateTopEnemy, false);
        Tick_Player_LocateNumberOneEnemyBuildingBlock(player);
    }
    if (player->GetFlag(kPlayerMenuLocateOwn)) {
        player->SetFlag(kPlayerMenuLocateOwn, false);
        Tick_Player_LocateNearestOwnBuildingBlock(player);
    }
    if (player->GetFlag(kPlayerMenuLocateMillionaire)) {
        player->SetFlag(kPlayerMenuLocateMillionaire, false);
        Tick_Player_LocateNearestMillionairePlayer(player);
    }

    if (player->GetFlag(kPlayerMenuToggleAFK)) {
        player->SetFlag(kPlayerMenuToggleAFK, false);
        bool afk = !player->GetFlag(kPlayerAFK);
        player->SetFlag(kPlayerAFK, afk);
        std::string line = player->m_strName;
        line.append(" is ").append(afk ? "AFK" : "back at the keyboard").append(".");
        LogChat("LOG", line);
        m_pServer->InformClients_EntityUpdated(player);
    }

    if (player->GetFlag(kPlayerSpiritOfCookie)) {
        if (player->m_uiEnergy < kCookieEnergyCap) {
            ++player->m_uiEnergy;
            m_pServer->InformClients_EntityUpdated(player);
        }
    } else if (player->GetFlag(kPlayerSpiritOfIceCream) && player->m_uiEnergy < kIceCreamEnergyCap) {
        player->m_uiEnergy = player->m_uiEnergy + 5 > kIceCreamEnergyCap ? kIceCreamEnergyCap : player->m_uiEnergy + 5;
        m_pServer->InformClients_EntityUpdated(player);
    }
}

void Game::Tick_Player_Move(Server_Player* player) {
    if (player->m_sShotCooldown > 0) --player->m_sShotCooldown;
    if (!player->IsLoggedIn()) {
        Tick_Player_OfflineShootFireBlock(player);
        player->HandleEnterKey();
    }

    if (!player->IsAdminMode()) {
        bool clientSide = player->GetFlag(kPlayerClientSideMovement);
        if (player->GetFlag(kPlayerColaDrunk) && platform::CounterModulo(50) < 10) {
            // The cola makes the player stagger about one tick in five.
            player->m_ucCSMHoldOff = 3;
            player->m_vVelocity.x += float(int(platform::CounterModulo(40)) - 20);
            player->m_vVelocity.z += float(int(platform::CounterModulo(40)) - 20);
            player->m_vVelocity.y += float(platform::CounterModulo(40));
        }
        if (!clientSide) {
            player->DetermineNewVelocity();
        } else {
            player->SetFlag(kPlayerStandingOnEntity, false);
            player->SetFlag(kPlayerClientStanding,
                            player->m_vPosition.y + player->m_fVerticalVelocity <= player->m_vSize.y / 2.0f);
        }
        VC_Player();
        if (!clientSide) {
            if (player->m_vPosition.y <= player->m_vSize.y / 2.0f) {
                player->m_vPosition.y = player->m_vSize.y / 2.0f + 0.01f;
                player->m_fVerticalVelocity = 0.0f;
                player->SetDirty();
                player->SetPlayerMoving(true);
            }
        } else {
            player->SetDirty();
            if (!player->GetFlag(kPlayerAwaitClientPosition)) {
                player->m_vPosition = player->m_vClientPosition;
                player->m_vPosition.y += 0.1f;
            }
            if (!player->GetFlag(kPlayerAwaitClientYaw)) player->SetYaw(player->m_fClientYaw);
            if (!player->GetFlag(kPlayerAwaitClientVelocity)) {
                player->m_vVelocity.Set(player->m_vClientVelocity.x, 0.0f, player->m_vClientVelocity.z);
                player->m_fVerticalVelocity = player->m_vClientVelocity.y;
            }
        }
    }

    player->ClipToOuterInvisibleBoundaries();

    const VUKVector& v = player->m_vVelocity;
    if (v.x == 0.0f && v.y == 0.0f && v.z == 0.0f && player->m_fVerticalVelocity == 0.0f) {
        ++player->m_sStillTicks;
        if (player->m_sStillTicks > kStillTicksBeforeRest) {
            // Resting players leave the moving array at the end of the tick.
            player->SetPlayerMoving(false);
            QueueEntityForUpdate(player);
        }
    } else {
        player->SetDirty();
        player->m_sStillTicks = 0;
    }

    if (player->IsDirty()) {
        m_pServer->InformClients_EntityUpdated(player);
        QueueEntityForUpdate(player);
        SetZorbinNearList(player);
        player->ClearDirty();
    }
}

// ---- shooting ---------------------------------------------------------------------------------

Server_FireBlock* Game::MakePlayerFireBlock(Server_Player* player, float yaw, bool withVelocity, int16_t life) {
    bool giant = player->GetFlag(kPlayerGiantFireBlocks);
    auto* block = static_cast<Server_FireBlock*>(World::CreateByType(kKindFireBlock));
    block->m_vPosition = player->m_vPosition;
    if (player->m_pRotation) block->SetRotation(player->GetYaw(), player->GetPitch(), player->GetRoll());
    block->SetYaw(yaw);
    block->m_vSize = player->m_vSize * (giant ? 5.0f : 0.5f);
    if (withVelocity) block->m_vVelocity = player->m_vVelocity * (giant ? 0.5f : 1.0f);
    block->m_vVelocity.x += std::sin(yaw) * kShotSpeed;
    block->m_vVelocity.z += std::cos(yaw) * kShotSpeed;
    block->m_sLife = life;
    block->m_sPower = kShotPower;
    block->m_pShotOwner = player;
    block->m_ucFireFlags = kFireKnockBack;
    return block;
}

void Game::LaunchFireBlock(Server_FireBlock* block) {
    AddEntityToZonesAndGroups(block);
    m_pServer->InformClients_EntityUpdated(block);
}

void Game::Tick_Player_ShootFireBlock(Server_Player* player) {
    bool giant = player->GetFlag(kPlayerGiantFireBlocks);
    player->m_sShotCooldown = giant ? kGiantShotCooldown : kShotCooldown;
    Server_FireBlock* block = MakePlayerFireBlock(player, player->GetYaw(), true, giant ? kGiantShotLife : kShotLife);
    block->m_pShooter = player;
    if (player->GetFlag(kPlayerStoneDestroyer)) block->m_ucFireFlags |= kFireStoneDestroyer;
    if (player->GetFlag(kPlayerColaDrunk)) block->m_ucFireFlags |= kFireColaLoaded;
    LaunchFireBlock(block);
}

void Game::Tick_Player_OfflineShootFireBlock(Server_Player* player) {
    if (player->m_uiScanCounter != 0 && ++player->m_uiScanCounter > 4) player->m_uiScanCounter = 0;
    if (player->m_sShotCooldown == 0 && player->m_uiScanCounter == 0) {
        player->DecideIfEnemyIsAround(&m_Grid);
        player->m_uiScanCounter = 1;
    }
    if (!player->GetFlag(kPlayerEnemyAround) || player->m_sShotCooldown != 0) return;
    player->m_sShotCooldown = kShotCooldown;
    // A quarter-turn sector and a fine offset, each drawn from the counter.
    float k = float(platform::CounterModulo(4));
    float j = float(platform::CounterModulo(64));
    float yaw = player->GetYaw() + k * kPi / 2.0f + j * kPi / 64.0f - kPi / 2.0f;
    Server_FireBlock* block = MakePlayerFireBlock(player, yaw, false, kOfflineShotLife);
    block->m_ucFireFlags |= kFireOfflineShot;
    LaunchFireBlock(block);
}

void Game::Tick_NonMovingPlayers_OfflineShootFireBlock() {
    for (uint32_t i = 0; i < m_RestingOfflinePlayers.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_RestingOfflinePlayers.GetEntity(i));
        if (player->m_sShotCooldown > 0) --player->m_sShotCooldown;
        Tick_Player_OfflineShootFireBlock(player);
    }
}

void Server_Player::DecideIfEnemyIsAround(VUK_Grid* grid) {
    SetFlag(kPlayerEnemyAround, false);
    const VUKVector& p = m_vPosition;
    ZoneQuery query = ActionZoneBox(*grid, VUKVector(p.x - 400.0f, p.y - 4.0f, p.z - 400.0f),
                                    VUKVector(p.x + 400.0f, p.y + 4.0f, p.z + 400.0f));
    ZoneLooper looper(grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        const VUKFastArray_Entity& players = zone->List(kZonePlayers);
        for (uint32_t i = 0; i < players.Count(); ++i) {
            auto* other = static_cast<Server_Player*>(players.GetEntity(i));
            if (other == this || IsOnSameTeam(other) || other->IsLoggedIn()) continue;
            VUKVector d = other->m_vPosition - p;
            if (std::fabs(d.y) > 4.0f || d.x * d.x + d.z * d.z > 78'400.0f) continue;
            SetFlag(kPlayerEnemyAround, true);
            other->SetFlag(kPlayerEnemyAround, true);
            other->m_uiScanCounter = 0;
            return;
        }
    }
}

// ---- what is near -------------------------------------------------------------------------------

bool Game::IsSomethingInTheWay(Server_Entity* e) {
    VUKVector half = e->m_vSize * 0.5f;
    ZoneQuery query = ActionZoneBox(m_Grid, e->m_vPosition - half, e->m_vPosition + half);
    ZoneLooper looper(&m_Grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        for (ZoneList which : {kZoneNormalPads, kZoneZorbinCubes, kZonePalaceCubes, kZoneQuillhobCubes}) {
            const VUKFastArray_Entity& list = zone->List(which);
            for (uint32_t i = 0; i < list.Count(); ++i) {
                Server_Entity* other = list.GetEntity(i);
                if (other != e && TouchTest(other, e)) return true;
            }
        }
    }
    return false;
}

// A Zorbin cube guards against p when it is not p's own and its owner, if any, is not p's team-mate.
static bool IsZorbinHostileTo(const Server_Entity* cube, const Server_Player* player) {
    const Server_Player* owner = cube->m_pOwner;
    return owner != player && (owner == nullptr || !owner->IsOnSameTeam(player));
}

void Game::SetZorbinNearList(Server_Player* player) {
    for (Link<Server_ZorbinCube*>* link = player->m_NearZorbins.Head(); link; link = link->m_pNext) {
        link->m_Value->m_NearPlayers.RemoveValue(player);
        QueueEntityForUpdate(link->m_Value);
    }
    player->m_NearZorbins.RemoveAll();
    if (!player->IsLoggedIn()) return;
    const VUKVector& p = player->m_vPosition;
    ZoneQuery query =
        ActionZoneBox(m_Grid, p - VUKVector(600.0f, 600.0f, 600.0f), p + VUKVector(600.0f, 600.0f, 600.0f));
    ZoneLooper looper(&m_Grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        const VUKFastArray_Entity& cubes = zone->List(kZoneZorbinCubes);
        for (uint32_t i = 0; i < cubes.Count(); ++i) {
            auto* cube = static_cast<Server_ZorbinCube*>(cubes.GetEntity(i));
            if (!IsZorbinHostileTo(cube, player) || player->m_NearZorbins.Contains(cube)) continue;
            cube->m_NearPlayers.Add(player);
            player->m_NearZorbins.Add(cube);
            QueueEntityForUpdate(cube);
        }
    }
}

void Game::SetPlayerNearList(Server_ZorbinCube* cube) {
    for (Link<Server_Player*>* link = cube->m_NearPlayers.Head(); link; link = link->m_pNext)
        link->m_Value->m_NearZorbins.RemoveValue(cube);
    cube->m_NearPlayers.RemoveAll();
    const VUKVector& c = cube->m_vPosition;
    ZoneQuery query =
        ActionZoneBox(m_Grid, c - VUKVector(600.0f, 600.0f, 600.0f), c + VUKVector(600.0f, 600.0f, 600.0f));
    ZoneLooper looper(&m_Grid, &query);
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        const VUKFastArray_Entity& players = zone->List(kZonePlayers);
        for (uint32_t i = 0; i < players.Count(); ++i) {
            auto* player = static_cast<Server_Player*>(players.GetEntity(i));
            if (!player->IsLoggedIn() || !IsZorbinHostileTo(cube, player) || cube->m_NearPlayers.Contains(player))
                continue;
            cube->m_NearPlayers.Add(player);
            player->m_NearZorbins.Add(cube);
        }
    }
    QueueEntityForUpdate(cube);
}
