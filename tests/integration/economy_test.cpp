// The economy on the real binary: the master administrator makes a tag pad, lands on it and is
// paid every second, which another headless client sees in the administrator's score entry.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using EconomyOverUdp = AdminAndBob;
using namespace records;

TEST_F(EconomyOverUdp, ATagPadPaysItsOwnerEverySecond) {
    // bob richer, so that the administrator is not the first, whom tag pads do not pay.
    // bob out of the way, since it shares the spawn spot.
    for (const char* line : {"/csm", "/eacc admin", "/spp bob 3000 100 0", "/gpc bob 1000000"}) ann.Say(line);
    ASSERT_TRUE(ann.WaitFor([&] { return ann.Heard("bob now has"); }, 10s));

    // Once it rests on the ground, in admin mode: a pad where the administrator stands, selected by
    // the fire key, made a tag pad paying 7 a second.
    auto annAt = [&](float y) { return bob.Sees("ADMIN", 400.0f, y); };
    ASSERT_TRUE(bob.WaitFor([&] { return annAt(8.0f); }, 20s));
    const int adminSwitches = ann.world.counts[0x43];
    ann.m_pClient->Send(0, Keys(0x0040));
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.counts[0x43] > adminSwitches; }, 10s));
    const int boxes = ann.world.CountKind(4);
    ann.m_pClient->Send(0, {11, 0x01});
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.CountKind(4) > boxes; }, 10s));
    ann.m_pClient->Send(0, Concat({11, 0x00}, Keys(0x0080)));
    ASSERT_TRUE(ann.WaitFor(
        [&] {
            if (!ann.Heard("now a TAGPAD")) ann.Say("/et");
            return ann.Heard("now a TAGPAD");
        },
        10s));
    ann.Say("/ta 7");
    ASSERT_TRUE(ann.WaitFor([&] { return ann.Heard("TagPad now gives 7 coins per second."); }, 10s));
    const int switches = ann.world.counts[0x43];
    ann.m_pClient->Send(0, Keys(0x0040));
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.counts[0x43] > switches; }, 10s));

    // Dropped onto the pad it tags it, and the payments show in bob's view of its score.
    auto coins = [&] {
        headless::Object* seen = bob.world.Named("ADMIN");
        return seen ? seen->coins : 0u;
    };
    const uint32_t before = coins();
    ann.Say("/spp admin 400 100 -200");
    ASSERT_TRUE(bob.WaitFor([&] { return annAt(100.0f) || annAt(24.0f); }, 10s)) << bob.world.Named("ADMIN")->pos[1];
    ASSERT_TRUE(ann.WaitFor([&] { return ann.Heard("You have tagged a TagPad!"); }, 20s));
    EXPECT_TRUE(bob.WaitFor([&] { return coins() >= before + 14; }, 20s)) << before << " " << coins();
    EXPECT_EQ((coins() - before) % 7, 0u) << before << " " << coins();
}

} // namespace
