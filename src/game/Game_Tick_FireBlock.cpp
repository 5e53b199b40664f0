// Fire blocks in flight: their travel and life, what they hit, and what each kind of target does
// when hit: damage and knock-back on players, shrinking and coins on property, hit points on
// palace cubes, rewards for princess cubes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "core/Server.h"
#include "game/Game.h"
#include "game/GameActions.h"
#include "game/GameConstants.h"
#include "mod/VukServer_Mod_Interface.h"
#include "platform/Clock.h"
#include "world/Server_EntityKinds.h"
#include "world/VUK_Zone.h"
#include "world/ZoneGridHolder.h"

namespace {

// Property lives while its deciding sides stay this long; a kill sets one of them below it.
constexpr float kPropertyMinSide = 25.0f;
constexpr float kPropertyKilledSide = 24.0f;
// Shrinking never flattens property below this; a lower height is raised to kPropertyFloorHeight.
constexpr float kPropertyMinHeight = 10.0f;
constexpr float kPropertyFloorHeight = 11.0f;
// Shrinking lowers the centre by this share of the height lost, so the box settles downwards.
constexpr float kShrinkDrop = 0.4f;

constexpr float kTalvyShrinkPerHit = 5.0f;
constexpr float kTalvyShrinkWithSpirit = 640.0f; // the Spirit of Zorbin: one hit defeats
constexpr float kTalvyDefeatSize = 50.0f;        // any side below it defeats the cube
constexpr int64_t kTalvyHitCoins = 20;
constexpr uint32_t kTalvyHitEnergy = 50;

constexpr float kKnockUp = 20.0f;   // vertical speed every knock-back gives
constexpr float kKnockPush = 20.0f; // times the block's velocity
constexpr uint8_t kKnockHoldOff = 5;
constexpr int64_t kCoinLossPerHit = 200; // halved by the shield, halved again by the cola

constexpr int64_t kPalaceHitCoins = 1;
constexpr float kPalaceMessageGap = 0.23f; // a newer hit message waits until the last one has faded

Server_Player* AsPlayer(Server_Entity* e) {
    return e && e->GetKind() == kKindPlayer ? static_cast<Server_Player*>(e) : nullptr;
}

bool HasFlag(const Server_FireBlock* fb, uint8_t flag) { return (fb->m_ucFireFlags & flag) != 0; }

// The first entity of a zone list that touches the block, is not its owner and has not been
// destroyed earlier in this tick; kind 0 takes any kind.
Server_Entity* FirstTouching(const VUKFastArray_Entity& list, const Server_FireBlock* fb, uint8_t kind = 0) {
    for (uint32_t i = 0; i < list.Count(); ++i) {
        Server_Entity* e = list.GetEntity(i);
        if (kind != 0 && e->GetKind() != kind) continue;
        if (e == fb->m_pShotOwner || e->IsDestroyed()) continue;
        if (TouchTest(fb, e)) return e;
    }
    return nullptr;
}

// After a hit, a block flies on only when its owner's fire penetrates or it is an offline shot;
// any other shot, princess shots included, is spent.
bool IsSpentAfterHit(const Server_FireBlock* fb) {
    if (!fb->m_pShotOwner) return true;
    if (HasFlag(fb, kFireOfflineShot)) return false;
    const Server_Player* owner = AsPlayer(fb->m_pShotOwner);
    return !(owner && owner->GetFlag(kPlayerPenetratingFire));
}

// How each kind of property answers a hit once it has shrunk.
struct PropertyRule {
    bool m_bCreditOnlyWhenHeightRounds; // StoneBlocks pay only when their rounded height changes
    bool m_bWidthAndDepthDecide;        // BuildingBlocks live on however flat they get
    int64_t m_i64CreditCap;             // most coins one hit moves to the shooter
    bool m_bInformShooter;
    bool m_bOwnerLosesPropertyValue;
    bool m_bInformOwnerOnLoss;
};

constexpr PropertyRule kStoneRule{true, false, 10, false, false, false};
constexpr PropertyRule kBuildingRule{false, true, 40, true, true, true};

bool SurvivesHit(const Server_Entity* e, const PropertyRule& rule) {
    const VUKVector& s = e->m_vSize;
    if (rule.m_bWidthAndDepthDecide) return s.x >= kPropertyMinSide && s.z >= kPropertyMinSide;
    return s.x >= kPropertyMinSide && s.y >= kPropertyMinSide && s.z >= kPropertyMinSide;
}

// A team-mate's property is never harmed, nor anything already on its way out.
bool IsSpared(const Server_FireBlock* fb, const Server_Entity* e) {
    if (e->m_ucRuleFlags & kRuleQueuedForRemoval) return true;
    const Server_Player* shooter = AsPlayer(fb->m_pShotOwner);
    const Server_Player* owner = e->m_pOwner;
    return shooter && owner && shooter != owner && shooter->IsOnSameTeam(owner);
}

void FloorHeight(Server_Entity* e) {
    if (e->m_vSize.y < kPropertyMinHeight) e->m_vSize.y = kPropertyFloorHeight;
}

void MoveStoredCoins(Server_Entity* e, Server_Player* to, int64_t amount) {
    amount = std::clamp<int64_t>(amount, 0, e->m_uiStoredCoins);
    e->m_uiStoredCoins -= uint32_t(amount);
    to->m_i64PocketCoins += amount;
}

} // namespace

void Game::Tick_FBs() {
    for (uint32_t i = 0; i < m_FireBlocks.Count(); ++i) {
        auto* fb = static_cast<Server_FireBlock*>(m_FireBlocks.GetEntity(i));
        if (fb->m_ucRuleFlags & kRuleQueuedForRemoval) continue;
        fb->m_vPosition += fb->m_vVelocity;
        --fb->m_sLife;
        if (fb->m_sLife <= 0 || Tick_FB_ConflictTest(fb)) {
            QueueEntityForRemoval(fb);
            continue;
        }
        m_pServer->InformClients_EntityUpdated(fb);
        QueueEntityForUpdate(fb);
    }
}

bool Game::Tick_FB_ConflictTest(Server_FireBlock* fb) {
    const VUKVector half = fb->m_vSize * 0.5f;
    VUKVector low = fb->m_vPosition - half;
    low.y = std::max(low.y, 0.0f);
    const VUKVector high = fb->m_vPosition + half + VUKVector(kZoneLimit, kZoneLimit, kZoneLimit);
    const ZoneQuery query = ZoneQuery::Box(m_Grid, low, high);
    ZoneLooper looper(&m_Grid, &query);

    // Palace cubes spend the block but let the scan go on; every other target ends it.
    bool spent = false;
    for (VUK_Zone* zone = looper.GetFirst(); zone; zone = looper.GetNext()) {
        if (Server_Entity* c = FirstTouching(zone->List(kZonePrincesses), fb, kKindTalvyCube)) {
            Tick_FB_Conflict_TalvyCube(fb, static_cast<Server_TalvyCube*>(c));
            return spent || IsSpentAfterHit(fb);
        }
        if (Server_Entity* q = FirstTouching(zone->List(kZoneQuillhobCubes), fb)) {
            Tick_FB_Conflict_QuillhobCube(fb, static_cast<Server_QuillhobCube*>(q));
            return true;
        }
        if (Server_Entity* p = FirstTouching(zone->List(kZonePlayers), fb)) {
            Tick_FB_Conflict_Player(fb, static_cast<Server_Player*>(p));
            return spent || IsSpentAfterHit(fb);
        }
        // Turrets' and princesses' shots are aimed at players only.
        if (HasFlag(fb, kFireCoinLoss | kFirePrincessShot)) continue;
        if (Server_Entity* z = FirstTouching(zone->List(kZoneZorbinCubes), fb)) {
            Tick_FB_ConflictZorbinCube(fb, static_cast<Server_ZorbinCube*>(z));
            return spent || IsSpentAfterHit(fb);
        }
        if (Server_Entity* e = FirstTouching(zone->List(kZoneNormalPads), fb)) {
            // Anything that is not property only stops the shot.
            if (e->IsPlayerBuilt()) {
                if (e->m_usTexture == kTextureBuildingBlock)
                    Tick_FB_ConflictBuildingBlock(fb, e);
                else
                    Tick_FB_ConflictStoneBlock(fb, e);
            }
            return spent || IsSpentAfterHit(fb);
        }
        if (HasFlag(fb, kFireHitPalace)) continue;
        const VUKFastArray_Entity& palaces = zone->List(kZonePalaceCubes);
        for (uint32_t i = 0; i < palaces.Count(); ++i) {
            Server_Entity* pc = palaces.GetEntity(i);
            if (pc == fb->m_pShotOwner || pc->IsDestroyed() || !TouchTest(fb, pc)) continue;
            Tick_FB_ConflictPalaceCube(fb, static_cast<Server_PalaceCube*>(pc));
            fb->m_ucFireFlags |= kFireHitPalace;
            spent = true;
        }
    }
    return spent;
}

void Game::Tick_FB_Conflict_Player(Server_FireBlock* fb, Server_Player* p) {
    Server_Player* owner = AsPlayer(fb->m_pShotOwner);
    if (fb->m_pShotOwner == p || (owner && owner->IsOnSameTeam(p))) return;
    m_pServer->InformClients_EntityUpdated(p);

    const bool online = p->IsLoggedIn();
    const bool offlineShot = HasFlag(fb, kFireOfflineShot);
    const bool shield = p->GetFlag(kPlayerShieldOfTalvy);
    const bool cola = p->GetFlag(kPlayerColaDrunk);
    if (online && !offlineShot) {
        uint32_t damage = uint32_t(std::max<int16_t>(fb->m_sPower, 0));
        if (shield) damage /= 2;
        if (cola) damage /= 2;
        p->m_uiEnergy = p->m_uiEnergy > damage ? p->m_uiEnergy - damage : 0;
        if (p->m_uiEnergy == 0) p->SetDead();
    }
    if (HasFlag(fb, kFireCoinLoss)) {
        int64_t loss = kCoinLossPerHit;
        if (shield) loss /= 2;
        if (cola) loss /= 2;
        p->m_i64PocketCoins = p->m_i64PocketCoins > loss ? p->m_i64PocketCoins - loss : 0;
    }

    // An offline avatar's shots pass over online players untouched.
    const bool reaches = !offlineShot || !online;
    if (HasFlag(fb, kFireKnockBack) && reaches) {
        p->m_fVerticalVelocity += kKnockUp;
        p->m_vVelocity += fb->m_vVelocity * kKnockPush;
        p->m_vVelocity.x += float(int(platform::CounterModulo(10)) - 10);
        p->m_fVerticalVelocity += float(platform::CounterModulo(10));
        p->m_vVelocity.z += float(int(platform::CounterModulo(10)) - 10);
        p->m_sStillTicks = 0;
        p->SetPlayerMoving(true);
        p->SetFlag(kPlayerNoFriction, true);
        if (online) p->m_ucCSMHoldOff = kKnockHoldOff;
        QueueEntityForUpdate(p);
    }
    if (owner && reaches) {
        m_pServer->InformClients_EntityUpdated(owner);
        if (p->m_i64PocketCoins < 0) {
            owner->m_i64PocketCoins += p->m_i64PocketCoins;
            p->m_i64PocketCoins = 0;
        }
        owner->KeepCoinsAtLimit();
    }
}

void Game::Tick_FB_Conflict_TalvyCube(Server_FireBlock* fb, Server_TalvyCube* c) {
    Server_Entity* owner = fb->m_pShotOwner;
    if (!owner || owner->GetKind() == kKindTalvyCube) return;
    Server_Player* player = AsPlayer(owner);
    m_pServer->InformClients_EntityUpdated(c);

    const float shrink = player && player->GetFlag(kPlayerSpiritOfZorbin) && c->m_sCounter == 0 ? kTalvyShrinkWithSpirit
                                                                                                : kTalvyShrinkPerHit;
    c->m_vSize -= VUKVector(shrink, shrink, shrink);
    c->m_vPosition.y -= kShrinkDrop * shrink;
    if (HasFlag(fb, kFireColaLoaded) && !(c->m_ucTalvyFlags & kTalvyDrunk)) {
        if (player) player->HandleMadeTalvyDrunk(c);
        c->m_ucTalvyFlags |= kTalvyDrunk;
    }

    const VUKVector& s = c->m_vSize;
    if (s.x >= kTalvyDefeatSize && s.y >= kTalvyDefeatSize && s.z >= kTalvyDefeatSize) {
        if (!player) return;
        m_pServer->InformClients_EntityUpdated(player);
        player->m_i64PocketCoins += kTalvyHitCoins + (player->m_uiRank > 1 ? player->m_uiRank : 0);
        player->KeepCoinsAtLimit();
        AddEnergyCapped(player, kTalvyHitEnergy);
        return;
    }

    c->m_vPosition = c->m_vHomePoint;
    c->m_vPosition.y = kTalvyDefeatHeight;
    c->m_vSize.Set(kTalvyCubeSize, kTalvyCubeSize, kTalvyCubeSize);
    c->m_ucTalvyFlags &= uint8_t(~kTalvyDrunk);
    c->m_sCounter = kTalvyProtectionAfterDefeat;
    QueueEntityForUpdate(c);
    if (!player) return;
    m_pServer->InformClients_EntityUpdated(player);
    if (KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube)
        KRV_ORIGINAL_CallWhenPlayerDefeatsTalvyCube(player, c);
    else
        player->HandleTalvyCubeDefeat(c);
}

void Game::Tick_FB_Conflict_QuillhobCube(Server_FireBlock* fb, Server_QuillhobCube* q) {
    Server_Player* player = AsPlayer(fb->m_pShotOwner);
    if (!player || player->IsAdminMode()) return;
    q->m_pLastHitter = player;
    player->m_i64PocketCoins += g_uiRewardHittingQuillhob;
    player->KeepCoinsAtLimit();
    m_pServer->InformClients_EntityUpdated(player);
}

// The steps all property shares once it has shrunk: the owner's own shot refunds and destroys
// (or, with kicking of own property off, is undone), another player's shot takes coins, and the
// property then either starts to move or goes.
static void SettlePropertyHit(Game& game, Server_FireBlock* fb, Server_Entity* e, const PropertyRule& rule,
                              const VUKVector& positionBefore, const VUKVector& sizeBefore) {
    Server_Player* shooter = AsPlayer(fb->m_pShotOwner);
    Server_Player* owner = e->m_pOwner;
    if (shooter && shooter == owner) {
        if (owner->GetFlag(kPlayerNoKickOwnProperty)) {
            e->m_vPosition = positionBefore;
            e->m_vSize = sizeBefore;
            return;
        }
        MoveStoredCoins(e, shooter, e->m_uiStoredCoins);
        (rule.m_bWidthAndDepthDecide ? e->m_vSize.x : e->m_vSize.y) = kPropertyKilledSide;
    } else if (shooter) {
        const bool paid = !rule.m_bCreditOnlyWhenHeightRounds || std::lround(sizeBefore.y) != std::lround(e->m_vSize.y);
        if (paid)
            MoveStoredCoins(e, shooter,
                            SurvivesHit(e, rule) ? std::min<int64_t>(e->m_uiStoredCoins, rule.m_i64CreditCap)
                                                 : int64_t(e->m_uiStoredCoins));
    }
    if (shooter) {
        shooter->KeepCoinsAtLimit();
        if (rule.m_bInformShooter) game.m_pServer->InformClients_EntityUpdated(shooter);
    }

    if (SurvivesHit(e, rule)) {
        e->SetMoving(true);
        e->m_ucMoveState = 0;
        game.m_pServer->InformClients_EntityUpdated(e);
        game.QueueEntityForUpdate(e);
        return;
    }
    if (owner && rule.m_bInformOwnerOnLoss) game.m_pServer->InformClients_EntityUpdated(owner);
    if (owner && rule.m_bOwnerLosesPropertyValue) owner->m_i64PropertyValue -= kBuildingBlockPropertyValue;
    e->m_ucSurfaceFlags |= kSurfaceDestroyed;
    game.QueueEntityForRemoval(e);
}

void Game::Tick_FB_ConflictStoneBlock(Server_FireBlock* fb, Server_Entity* e) {
    if (IsSpared(fb, e)) return;
    const VUKVector position = e->m_vPosition, size = e->m_vSize;
    if (HasFlag(fb, kFireStoneDestroyer)) {
        e->m_vSize.y = kPropertyKilledSide;
    } else {
        const float shrink = g_fStoneBlockShrinkPerHit * (HasFlag(fb, kFireColaLoaded) ? 2.0f : 1.0f);
        e->m_vSize.y -= shrink;
        e->m_vPosition.y -= kShrinkDrop * shrink;
    }
    FloorHeight(e);
    // A stone slows the shot and wears it down.
    fb->m_vVelocity *= 0.5f;
    if (fb->m_sLife > 2 && !HasFlag(fb, kFirePrincessShot)) --fb->m_sLife;
    SettlePropertyHit(*this, fb, e, kStoneRule, position, size);
}

void Game::Tick_FB_ConflictBuildingBlock(Server_FireBlock* fb, Server_Entity* e) {
    if (IsSpared(fb, e)) return;
    const VUKVector position = e->m_vPosition, size = e->m_vSize;
    const float shrink = g_fBuildingBlockShrinkPerHit;
    e->m_vSize -= VUKVector(shrink, shrink, shrink);
    e->m_vPosition.y -= kShrinkDrop * shrink;
    FloorHeight(e);
    SettlePropertyHit(*this, fb, e, kBuildingRule, position, size);
}

void Game::Tick_FB_ConflictZorbinCube(Server_FireBlock* fb, Server_ZorbinCube* z) {
    if (IsSpared(fb, z)) return;
    const VUKVector position = z->m_vPosition, size = z->m_vSize;
    const float shrink = g_fZorbinShrinkPerHit;
    z->m_vSize.y -= shrink;
    z->m_vPosition.y -= kShrinkDrop * shrink;
    FloorHeight(z);
    if (z->m_usShort > 0) --z->m_usShort; // the firing countdown: a hit cube fires sooner
    const PropertyRule rule{false, false, g_iZorbinCoinsStolenPerHit, true, false, true};
    SettlePropertyHit(*this, fb, z, rule, position, size);
}

void Game::Tick_FB_ConflictPalaceCube(Server_FireBlock* fb, Server_PalaceCube* pc) {
    if (pc->m_uiHitPoints > 0) --pc->m_uiHitPoints;
    if (pc->m_uiHitPoints == 0) {
        pc->m_ucSurfaceFlags |= kSurfaceDestroyed;
        QueueEntityForRemoval(pc);
    }
    Server_Player* player = AsPlayer(fb->m_pShotOwner);
    if (!player) return;
    if (pc->m_uiHitPoints == 0) {
        SetPlayerMessage(player, "Whoa!  You destroyed a PalaceCube!  Whoa!", kMessageTimeLong);
        std::string news = player->m_strName;
        news.append(" has destroyed one of ").append(pc->GetLabel()).append("'s PalaceCubes!");
        m_pServer->SendChatMessageToAll("Info", news);
    } else if (player->m_fMessageTime < kPalaceMessageGap) {
        char percent[32];
        snprintf(percent, sizeof percent, "%.1f", double(pc->m_uiHitPoints) * 0.0001);
        std::string text = percent;
        text.append("% HP left in this PalaceCube owned by ")
            .append(pc->GetLabel())
            .append(".  Don't plan on destroying this PalaceCube anytime soon.");
        SetPlayerMessage(player, text, kMessageTimeShort);
    }
    player->m_i64PocketCoins += kPalaceHitCoins;
    player->KeepCoinsAtLimit();
    m_pServer->InformClients_EntityUpdated(player);
}
