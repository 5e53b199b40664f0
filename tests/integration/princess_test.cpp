// Princess cubes on the real binary: an administrator adds a Talvy cube and another headless
// client sees it land and then hop about on its own.

#include "support/WorldClient.h"

namespace {

using namespace std::chrono_literals;
using PrincessCubesOverUdp = AdminAndBob;
using namespace records;

constexpr uint8_t kKindTalvyCube = 8;

TEST_F(PrincessCubesOverUdp, ATalvyCubeIsSeenHopping) {
    ann.Say("/atrh");

    // The cube, 500 high, comes to rest with its centre just above 250 ...
    float landed[3] = {};
    auto resting = [&] {
        const headless::Object* t = bob.First(kKindTalvyCube);
        if (!t || std::fabs(t->pos[1] - 250.0f) > 1.0f) return false;
        std::copy(t->pos, t->pos + 3, landed);
        return true;
    };
    ASSERT_TRUE(bob.WaitFor(resting, 20s));
    // ... and then hops along the ground by itself.
    auto hopped = [&] {
        const headless::Object* t = bob.First(kKindTalvyCube);
        return t && std::hypot(t->pos[0] - landed[0], t->pos[2] - landed[2]) > 5.0f;
    };
    EXPECT_TRUE(bob.WaitFor(hopped, 20s));
}

} // namespace
