// An administrator shapes the world over UDP and another player sees the result.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using WorldActionsOverUdp = AdminAndBob;

// The admin editor's keys, as bits of the key message.
constexpr uint16_t kToggleAdmin = 1 << 6, kFire = 1 << 7, kStep = 1 << 10;
constexpr uint8_t kAdminModeMessage = 0x43, kAdminSelectionMessage = 0x45;

// A pad made and selected in the admin editor, sized and placed by command, then made a room:
// six pads around it, which the second client sees.
TEST_F(WorldActionsOverUdp, ConvertToRoomIsSeenByAnotherPlayer) {
    ann.m_pClient->Send(0, records::Keys(kToggleAdmin));
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.counts[kAdminModeMessage] > 0; }, 10s));
    ann.m_pClient->Send(0, records::Keys(kStep)); // no selection: a new pad where the administrator stands
    ASSERT_TRUE(bob.WaitFor([&] { return bob.world.CountKind(4) == 1; }, 10s));
    ann.m_pClient->Send(0, records::Keys(kFire)); // selects what touches the administrator: the new pad
    ASSERT_TRUE(ann.WaitFor([&] { return ann.world.counts[kAdminSelectionMessage] > 0; }, 10s));
    ann.m_pClient->Send(0, records::Keys(0));
    ann.Say("/ss 1000 400 600");
    ann.Say("/sp 1000 500 -200");
    ann.Say("/ctr");

    // The pad and the six of the shell around it (where they lie is the unit test's business).
    EXPECT_TRUE(bob.WaitFor([&] { return bob.world.CountKind(4) == 7; }, 20s)) << bob.world.CountKind(4);
}

} // namespace
