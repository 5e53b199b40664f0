// A server in the test process with helpers to place boxes and players as the rules would.
#pragma once
#include <gtest/gtest.h>

#include "core/Server.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"
#include "world/Server_EntityKinds.h"

class GameTest : public ::testing::Test {
protected:
    Server& server() { return m_Harness.server(); }

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
    // A 16-unit player, not logged in, that nothing moves but the test.
    Server_Player* Player(VUKVector position) {
        return static_cast<Server_Player*>(Box(kKindPlayer, position, {16.0f, 16.0f, 16.0f}));
    }
    void MovePlayer(Server_Player* p) {
        server().m_pCurrentEntity = p;
        server().VC_Player();
    }

    WorkingFolder m_Folder; // before the server, which writes its log there
    ServerHarness m_Harness;
};
