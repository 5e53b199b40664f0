// A server in the test process with boxes and players placed by hand, as the rules would leave them.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "unit/replication/Fixtures.h"

class GameTest : public ReplicationTest {
protected:
    Server_Entity* Box(uint8_t kind, VUKVector position, VUKVector size) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_vPosition = position;
        e->m_vSize = size;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // A 100-unit block whose top is at y = 100, centred on (x, z).
    Server_Entity* Block(float x = 0.0f, float z = 0.0f) {
        return Box(kKindNormalPad, {x, 50.0f, z}, {100.0f, 100.0f, 100.0f});
    }
    // A 100-unit block the building rules would have made: player-built, owned and filed as such.
    Server_Entity* Block(Server_Player* owner, float x, float y, float z, uint16_t texture = 42) {
        Server_Entity* e = Box(kKindNormalPad, {x, y, z}, {100.0f, 100.0f, 100.0f});
        e->m_usTexture = texture;
        e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        e->m_pOwner = owner;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        return e;
    }
    // A 16-unit player, not logged in, that nothing moves but the test.
    Server_Player* Player(VUKVector position) {
        return static_cast<Server_Player*>(Box(kKindPlayer, position, {16.0f, 16.0f, 16.0f}));
    }
    // An online player on the ground plane, allowed to build there.
    Server_Player* Player(const std::string& name, float x, float y, float z, int64_t coins = 1'000'000) {
        Server_Player* p = Player({x, y, z});
        p->m_strName = name;
        p->m_i64PocketCoins = coins;
        p->SetFlag(kPlayerOnGroundPlane, true);
        p->SetFlag(kPlayerMayBuildHere, true);
        return Online(p, true);
    }
    Server_Player* Offline(const std::string& name, float x, float y, float z) {
        return Online(Player(name, x, y, z), false);
    }
    Server_Player* Online(Server_Player* p, bool online) {
        p->SetLoggedIn(online);
        server().UpdateGroupsAndZonesEntityIsIn(p);
        return p;
    }
    void MovePlayer(Server_Player* p) {
        server().m_pCurrentEntity = p;
        server().VC_Player();
    }
    // A new player at `at`, moved one tick while falling 10.
    Server_Player* Fall(VUKVector at) {
        Server_Player* p = Player(at);
        p->m_fVerticalVelocity = -10.0f;
        MovePlayer(p);
        return p;
    }
    Server_FireBlock* FireBlock(uint32_t i) {
        return static_cast<Server_FireBlock*>(server().m_FireBlocks.GetEntity(i));
    }
};
