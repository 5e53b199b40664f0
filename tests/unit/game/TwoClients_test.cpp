// A key press over the wire builds a BuildingBlock, and both clients near it are sent it.
#include "unit/game/ActionsFixture.h"

using TwoClients = ActionsTest;

TEST_F(TwoClients, ABuiltBlockReachesBothClients) {
    Peer ann = Settled("ann");
    Peer bob = Settled("bob");
    Server_Player* builder = ann.client->m_pPlayer;
    MoveTo(builder, 5000, 8, 0);
    MoveTo(bob.client->m_pPlayer, 5300, 8, 0);
    builder->m_i64PocketCoins = 1'000'000;
    builder->SetFlag(kPlayerOnGroundPlane, true);
    builder->SetFlag(kPlayerMayBuildHere, true);

    ann.Send(0, records::Keys(0x0100)); // the BuildingBlock key
    m_Harness.GameTick();
    ASSERT_EQ(server().m_PlayerBuiltPads.Count(), 1u);
    Server_Entity* block = server().m_PlayerBuiltPads.GetEntity(0);
    EXPECT_EQ(block->m_vPosition, VUKVector(5000, 51, 0));
    EXPECT_EQ(builder->m_i64PocketCoins, 700'000);

    // The builder's own player goes first; within a few updates each client has the block.
    for (Peer* peer : {&ann, &bob}) {
        Bytes updates;
        for (int i = 0; i < 3 && !ViewOf(*peer, block); ++i) updates = updates + NormalUpdateMessage(*peer);
        ASSERT_NE(ViewOf(*peer, block), nullptr);
        EXPECT_TRUE(Contains(updates, Bind(SlotOf(*peer, block), ViewOf(*peer, block)) + Bytes{0x0B, 4}));
    }
}
