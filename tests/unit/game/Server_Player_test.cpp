// Player rules that do not need a running server.
#include <gtest/gtest.h>

#include "world/Server_EntityKinds.h"

TEST(PlayerKeys, AllKeysFalseClearsKeysRequestsAndThrottle) {
    Server_Player p;
    p.m_uiKeyFlags = kKeyFire | kKeyBuildStoneBlock | kKeyMove2;
    p.SetFlag(kPlayerMenuToggleAFK, true);
    p.SetFlag(kPlayerMenuLocateOwn, true);
    p.SetFlag(kPlayerAwaitClientYaw, true);
    p.m_fThrottle = 0.5f;
    p.AllKeysFalse();
    EXPECT_EQ(p.m_uiKeyFlags, 0u);
    EXPECT_EQ(p.m_ucPlayerFlags[6], 0);
    EXPECT_EQ(p.m_ucPlayerFlags[7], 0x0E);  // the waiting flags are no requests
    EXPECT_EQ(p.m_fThrottle, 0.0f);
}

TEST(PlayerTeams, SameTeamNeedsTwoEqualNonEmptyNames) {
    Server_Player a, b;
    EXPECT_FALSE(a.IsOnSameTeam(&b));
    a.m_strTeamName = "red";
    EXPECT_FALSE(a.IsOnSameTeam(&b));
    b.m_strTeamName = "red";
    EXPECT_TRUE(a.IsOnSameTeam(&b));
}
