// Movement on the real binary: a player falls to the ground, jumps, shoots and builds, and
// another headless client sees it.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using MovementOverUdp = AdminAndBob;
using namespace records;

// The master administrator (no krv_admin.ini names another), given coins, jumps, shoots and
// builds with its keys; another client sees it rise and the fire block come and go, and both see
// the new BuildingBlock. The server moves the player: client-side movement would leave the keys
// to the client.
TEST_F(MovementOverUdp, AJumpAShotAndABuiltBlockAreSeenByAnotherClient) {
    for (const char* line : {"/csm", "/eacc admin", "/gpc admin 5000000"}) ann.Say(line);

    // Both start at (400, 200, -200); ann falls to the ground plane (half its height, 8) and rests.
    // Until ann's place arrives, bob knows ann only as a score entry at the origin.
    auto annY = [&] {
        headless::Object* seen = bob.world.Named("ADMIN");
        return seen && std::fabs(seen->pos[0] - 400.0f) < 1.0f ? seen->pos[1] : 1e9f;
    };
    ASSERT_TRUE(bob.WaitFor([&] { return annY() < 8.5f; }, 20s)) << annY();
    ann.m_pClient->Send(0, Keys(0x0010)); // jump
    EXPECT_TRUE(bob.WaitFor([&] { return annY() > 30.0f; }, 10s)) << annY();

    const int removesBefore = bob.world.counts[0x0A];
    ann.m_pClient->Send(0, Keys(0x0080)); // fire
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.counts[0x58] + bob.world.counts[0x5A] >= 1; }, 10s));
    ann.m_pClient->Send(0, Keys(0));
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.counts[0x0A] > removesBefore; }, 20s));

    // Away from the spawn spot, where building is allowed. Seven messages are in flight at most:
    // ann's client takes in the acknowledgements first.
    ASSERT_TRUE(ann.WaitFor([&] { return ann.m_pClient->AllAcknowledged(); }, 5s));
    ann.Say("/spp admin 2000 8 0");
    ASSERT_TRUE(bob.WaitFor([&] { return bob.Sees("ADMIN", 2000.0f, 8.0f); }, 20s));
    const int boxesBob = bob.world.CountKind(4);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(4) == boxesBob; }, 10s));
    ann.m_pClient->Send(0, Keys(0x0100)); // build a BuildingBlock
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.CountKind(4) == boxesBob + 1; }, 10s)) << bob.world.CountKind(4);
    EXPECT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(4) == boxesBob + 1; }, 10s)) << ann.world.CountKind(4);
}

} // namespace
