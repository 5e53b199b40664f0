// A lift loaded from the world file runs on the real binary: another headless client sees it
// travel and sees the player standing on it carried along.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using namespace records;

// A 400 x 50 x 400 pad under the spawn spot (400, 200, -200), a lift running along x between
// x = 300 and 500 at 2 a tick: whatever its place, the spawn spot stays above it.
Bytes WorldWithALift() {
    Bytes lift{1}; // running: towards the end
    for (float f : {300.0f, 25.0f, -200.0f, 500.0f, 25.0f, -200.0f, 2.0f}) PutFloat(lift, f);
    return Concat(Concat(Bytes{11}, SavedEntity(4, {300, 25, -200, 400, 50, 400, 0, 128, 128, 128}, 42, 1)),
                  Concat(Bytes(8, 0), Named("KRV_ENTITY_LIFTINFO", lift)));
}

TEST(LiftsOverUdp, ALiftCarriesItsRider) {
    GameServer server([](const TempDir& dir) {
        const Bytes world = WorldWithALift();
        dir.Write("KRV1_Data.krv", std::string(world.begin(), world.end()));
    });
    ASSERT_TRUE(server.Ready()) << server.Process().Output();
    // The server, not the client, moves the master administrator's player.
    WorldClient ann(server, "ADMIN");
    ASSERT_TRUE(ann.loggedIn);
    ann.Say("/csm");
    WorldClient bob(server, "bob");
    ASSERT_TRUE(bob.loggedIn);

    auto liftX = [&] {
        for (auto& [handle, o] : bob.world.objects)
            if (o.kind == 4 && std::fabs(o.pos[2] + 200.0f) < 1.0f && std::fabs(o.pos[1] - 25.0f) < 1.0f)
                return o.pos[0];
        return -1.0f;
    };
    const float first = (bob.WaitFor([&] { return liftX() >= 300.0f; }, 20s), liftX());
    ASSERT_GE(first, 300.0f);
    EXPECT_TRUE(bob.WaitFor([&] { return std::fabs(liftX() - first) >= 20.0f; }, 20s)) << liftX();

    // Nothing but the lift moves ann off x = 400 once it stands on the lift's top (y = 50 + 8).
    auto riding = [&] {
        headless::Object* seen = bob.world.Named("ADMIN");
        return seen && std::fabs(seen->pos[1] - 58.0f) < 1.0f && std::fabs(seen->pos[0] - 400.0f) >= 20.0f;
    };
    EXPECT_TRUE(bob.WaitFor(riding, 30s));
}

} // namespace
