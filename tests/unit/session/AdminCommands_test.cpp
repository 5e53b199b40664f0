// Administrative commands as the master administrator and lesser administrators see them.
#include "SessionFixture.h"

namespace {

class AdminCommands : public SessionTest {
protected:
    ~AdminCommands() override { ApplySettingDefaults(nullptr); }
};

TEST_F(AdminCommands, SettingsAndPlayerActionsAnswerAsTheirRowsSay) {
    ServerHarness::Peer admin = LoggedIn("ADMIN");
    auto reply = [](const char* text) { return std::vector<Bytes>{Chat("VuK Server", text)}; };
    struct Case {
        const char* line;
        std::vector<Bytes> replies;
    };
    const Case cases[] = {
        {"/usbl 3", reply("UDP Send Buffer Limit is now: 6")},
        {"/udp_send_buffer_limit 40", reply("UDP Send Buffer Limit is now: 16")},
        {"/usbl", reply("UDP Send Buffer Limit is now: 6")},
        {"/spps 100", reply("Pop Princess Skip value is now 64")},
        {"/spps -5", reply("Pop Princess Skip value is now 64")},
        {"/spmg -3", reply("Propety Moving Groups now set to -3")},
        {"/sbsl -5", reply("The server is no longer limited to how many bytes per 1/30th second it can send over the "
                           "Internet.")},
        {"/sbsl 3000", reply("The server is now limited to sending 3000 total bytes per 1/30th second over the "
                             "Internet.")},
        {"/stoplifts", reply("Lifts stopped (NOTE: Not saved in data file)")},
        {"/csm", reply("Client side movement is now DISABLED.")},
        {"/hide", reply("You now appear OFFLINE to other players.")},
        {"/dpc nobody", reply("PLAYER NOT FOUND")},
        {"/dpc ADMIN", reply("ADMIN has 1000 coins.")},
        {"/gpc admin 500", reply("You don't have the coin changing permission flag.")},
        {"/eacc admin", reply("admin now has coin changing permissions.")},
        {"/gpc admin -5000",
         {Chat("VuK Server", "Can't remove more POCKET coins than a player has."),
          Chat("VuK Server", "admin now has 0 pocket coins.")}},
        {"/srhq -1", reply("Reward for hitting Quillhob with a FireBlock is now 0.")},
        {"/saa admin 100", reply("You cant make people level 100!")},
        {"/saa admin 50", reply("admin now has access level 100.")},
        {"/cpp admin abc", reply("Password was not set because it is too short.")},
        {"/cpp admin abcd", reply("admin's password is now set to ABCD.")},
        {"/kick admin", reply("You cannot kick a player with a higher admin level than you.")},
    };
    for (const Case& c : cases) EXPECT_EQ(Said(admin, c.line), c.replies) << c.line;
    EXPECT_EQ(std::tuple(g_uiUdpSendBufferLimit, server().m_uiPopPrincessSkip, g_iPropertyMovingGroups,
                         server().m_uiServerByteSendLimit, server().m_bLiftsRunning, g_uiRewardHittingQuillhob),
              std::tuple(6u, 64u, -3, 3000u, false, 0u));
    EXPECT_NE(ChatLog().find("] LOG: Excessive coin removal clipping\r\n"), std::string::npos);
    EXPECT_NE(ChatLog().find("] LOG: ADMIN has added -5000 pocket coins to ADMIN.\r\n"), std::string::npos);
}

// A kick goes only down the levels; the kicked client is dropped and everyone is told. (Which
// level each command needs is the command matrix's, over UDP.)
TEST_F(AdminCommands, KicksGoOnlyDownTheLevels) {
    ServerHarness::Peer admin = LoggedIn("ADMIN");
    ServerHarness::Peer bob = LoggedIn("Bob");
    admin.TakeAll();
    EXPECT_EQ(Said(admin, "/saa bob 1"), std::vector<Bytes>{Chat("VuK Server", "bob now has access level 1.")});
    EXPECT_EQ(Said(bob, "/kick ADMIN"),
              std::vector<Bytes>{Chat("VuK Server", "You cannot kick a player with a higher admin level than you.")});
    EXPECT_EQ(Said(admin, "/kick bob"),
              std::vector<Bytes>{Chat("Info", "Administrator ADMIN has kicked Bob off the server.")});
    EXPECT_TRUE(bob.client->m_bKicked);
}

// The reports open windows: "/stats" the message window, "/ia" the scroll viewer.
TEST_F(AdminCommands, ReportsOpenTheirWindows) {
    ServerHarness::Peer admin = LoggedIn("ADMIN");
    LoggedIn("Bob");
    Said(admin, "/saa bob 3");
    const std::array<uint32_t, 4> colours{0xFFFFFF, 0, 0xFFFFFF, 0xD0FFFFFF};
    EXPECT_EQ(Exchange(admin, Say("/stats")),
              std::vector<Bytes>{WindowOpen(
                  29, {120, 90, 400, 300}, colours, 0,
                  "Talvy Count: 0     Oriset Count: 0\nTotal Entities: 2\nMoving Player Count: 2\nMoving NPs: 0\n"
                  "Moving Zorbins: 0\nAttacking Zorbins: 0\nMoving Lifts: 0\nNegative Size Objects (Autofixed by "
                  "/stats): 0\nQuillhob Count: 0\nMaximum UnACKed packets to client allowed (/usbl): 6\nQuillhob "
                  "texture number (/sqt): 100\nReward for hitting Quillhob (/srhq): 1000\nZorbin Shrink Per Hit "
                  "(/szsph): 0.020000\nStoneBlock Shrink Per Hit (/sssph): 0.007000\nZorbin Coins Stolen Per Hit "
                  "(/szcsph): 1\nProperty Moving Groups (/spmg): 8\nMaximum number of properties moving per tick "
                  "(/smpmpt): 5\nBuildingBlock Shrink Per Hit (/sbbsph): 0.060000")});
    std::vector<Bytes> listing = Exchange(admin, Say("/ia"));
    ASSERT_EQ(listing.size(), 1u);
    const Bytes buttons = Concat(WindowOpen(37, {520, 90, 60, 40}, colours, 12, "\nUp"),
                                 WindowOpen(38, {520, 350, 60, 40}, colours, 12, "\nDn"));
    EXPECT_EQ(listing[0], Concat(buttons, WindowOpen(36, {120, 90, 400, 300}, colours, 8,
                                                     "ADMIN is an admin of level 100\nBob is an admin of level 3\n")));
}

} // namespace
