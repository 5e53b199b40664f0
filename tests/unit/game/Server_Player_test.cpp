// Player rules that do not need a running server.
#include <gtest/gtest.h>

#include <tuple>

#include "world/Server_EntityKinds.h"

TEST(PlayerRules, AllKeysUpAndTeams) {
    Server_Player p, q;
    // All keys up: no keys, no menu requests, no throttle; what the player waits for stays.
    p.m_uiKeyFlags = kKeyFire | kKeyBuildStoneBlock | kKeyMove2;
    p.SetFlag(kPlayerMenuToggleAFK, true);
    p.SetFlag(kPlayerMenuLocateOwn, true);
    p.m_fThrottle = 0.5f;
    p.AllKeysFalse();
    EXPECT_EQ(std::tuple(p.m_uiKeyFlags, p.m_ucPlayerFlags[6], p.m_ucPlayerFlags[7], p.m_fThrottle),
              std::tuple(0u, 0, 0x0E, 0.0f));
    EXPECT_FALSE(p.IsOnSameTeam(&q)); // two empty team names are no team
    p.m_strTeamName = "red";
    EXPECT_FALSE(p.IsOnSameTeam(&q));
    q.m_strTeamName = "red";
    EXPECT_TRUE(p.IsOnSameTeam(&q));
}
