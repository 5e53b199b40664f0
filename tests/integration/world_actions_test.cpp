// An administrator shapes the world over UDP and another player sees the result.

#include <algorithm>
#include <set>

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using WorldActionsOverUdp = AdminAndBob;

// The admin editor's keys, as bits of the key message.
constexpr uint16_t kToggleAdmin = 1 << 6, kFire = 1 << 7, kStep = 1 << 10;
constexpr uint8_t kAdminModeMessage = 0x43, kAdminSelectionMessage = 0x45;

// A pad made and selected in the admin editor, sized and placed by command, then made a room:
// six pads around it, where the second client sees them.
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

    // Floor and ceiling, the two walls across x, the two across z.
    const std::set<std::array<int, 3>> room = {{1000, 305, -200}, {1000, 640, -200}, {560, 445, -200},
                                               {1440, 445, -200}, {1000, 445, -440}, {1000, 445, 40}};
    auto seen = [&] {
        std::set<std::array<int, 3>> pads;
        for (auto& [handle, o] : bob.world.objects)
            if (o.kind == 4)
                pads.insert({int(std::lround(o.pos[0])), int(std::lround(o.pos[1])), int(std::lround(o.pos[2]))});
        return std::includes(pads.begin(), pads.end(), room.begin(), room.end()) && pads.count({1000, 500, -200}) == 1;
    };
    EXPECT_TRUE(bob.WaitFor(seen, 20s));
}

} // namespace
