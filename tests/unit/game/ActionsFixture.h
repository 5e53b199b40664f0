// A server in the test process with players placed by hand, standing where the building rules
// allow it, for driving the player action rules one call at a time.
#pragma once
#include <gtest/gtest.h>

#include <string>

#include "unit/replication/Fixtures.h"

class ActionsTest : public ReplicationTest {
protected:
    // An online player standing on the ground plane at (x, y, z), allowed to build there.
    Server_Player* Player(const std::string& name, float x, float y, float z, int64_t coins = 1'000'000) {
        auto* p = static_cast<Server_Player*>(server().ProperAddByType(kKindPlayer));
        p->m_strName = name;
        p->SetLoggedIn(true);
        p->m_vPosition.Set(x, y, z);
        p->m_i64PocketCoins = coins;
        p->SetFlag(kPlayerOnGroundPlane, true);
        p->SetFlag(kPlayerMayBuildHere, true);
        server().UpdateGroupsAndZonesEntityIsIn(p);
        return p;
    }
    Server_Player* Offline(const std::string& name, float x, float y, float z) {
        Server_Player* p = Player(name, x, y, z);
        p->SetLoggedIn(false);
        server().UpdateGroupsAndZonesEntityIsIn(p);
        return p;
    }
    // A block the building rules would have made: player-built, owned, filed.
    Server_Entity* Block(Server_Player* owner, float x, float y, float z, uint16_t texture = 42) {
        Server_Entity* e = World::CreateByType(kKindNormalPad);
        e->m_vPosition.Set(x, y, z);
        e->m_vSize.Set(100.0f, 100.0f, 100.0f);
        e->m_usTexture = texture;
        e->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        e->m_pOwner = owner;
        server().AddEntityToZonesAndGroups(e);
        return e;
    }
    Server_FireBlock* FireBlock(uint32_t i) {
        return static_cast<Server_FireBlock*>(server().m_FireBlocks.GetEntity(i));
    }
};
