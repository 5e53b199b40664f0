// The admin help pages and the about page, as the message window a client is sent.
#include "unit/session/SessionFixture.h"

namespace {

// Window 29 opened with the text: place, four colours, style 0.
Bytes MessageWindow(const std::string& text) {
    return WindowOpen(29, {120, 90, 400, 300}, {0xFFFFFF, 0, 0xFFFFFF, 0xD0FFFFFF}, 0, text);
}

const char kServer[] = "QUORVANE\nVersion 1.0.0.28 Hotfix 2\n\nFind the latest version of this server at "
                       "https://quorvane.org/\n";

const char kMenu[] =
    "ADMIN HELP - HELP MENU\n"
    "Type one of the following in the chat window to access the matching help section.  Click on this window to "
    "close this window.\n\n"
    "/help goalpad - Display goalpad commands\n"
    "/help powerup - Display powerup commands\n"
    "/help pop_princess - Display commands that have to do with TalvyCubes and OrisetCubes\n"
    "/help players - Display player commands\n"
    "/help entity - Display entity commands (page 1)\n"
    "/help entity2 - Display entity commands (page 2)\n"
    "/help lift - Display lift commands\n"
    "/help other - Display other commands\n"
    "/help yarr - Display yarrowkip's commands";

class AdminHelp : public SessionTest {};

#define HEAD(title) "ADMIN HELP - " title "\nClick on this window to close it.\n\n"

struct Case {
    const char* line;
    const char* page;
};

const Case kCases[] = {
    {"/help goalpad",
     HEAD("GOALPAD COMMANDS") "/gp [coins] [message] - Converts the selected entity to a goalpad, sets its coin reward "
                              "to [coins], sets its "
                              "message to [message], and sets its respawn point to your current position.\n"
                              "/gms [message] - Sets selected goalpad to [message]\n"
                              "/ga [coins] - Converts the selected entity to a goalpad, and sets its coin reward to "
                              "[coins]\n"
                              "/grprh - Sets selected goalpad's respawn point to your current position\n"
                              "/gps [i] - Sets Solexis cost (negative value) or reward (positive value) to [i]"},
    {"/h jail", HEAD("JAIL COMMANDS") "/je - Jail is enabled on this surface\n/jd - Jail is disabled on this surface\n"
                                      "/jre - Jail release is enabled on this surface\n/jrd - Jail release is disabled "
                                      "on this surface\n"},
    {"/help YARR", HEAD("YARR COMMANDS") "/snl [label] - Sets label of a NormalPad\n/itp - Index TagPads\n/ia - Index "
                                         "Admins\n/ip - Index Powerups\n"},
    {"/help server", kServer},
    {"/help", kMenu},
    {"/help entity3", kMenu},
};

// With several channels, every page comes on the windows channel, followed by one empty message.
// Topics are told apart ignoring case; an unknown one shows the menu.
TEST_F(AdminHelp, EachHelpTopicOpensItsPageInTheMessageWindow) {
    ServerHarness::Peer admin = LoggedIn("ADMIN");
    Exchange(admin, Declare("KRV_MULTI_UDP_CHANNEL", 1));
    admin.TakeAll();
    for (const Case& c : kCases) {
        admin.Send(0, Say(c.line));
        m_Harness->Pass();
        EXPECT_EQ(admin.Take(2), (std::vector<Bytes>{MessageWindow(c.page), {}})) << c.line;
        EXPECT_EQ(admin.TakeAll(), std::vector<Bytes>{}) << c.line;
    }
}

// Any player may see the about page; the help command itself is an administrator's, and from
// anyone else it is chat.
TEST_F(AdminHelp, AboutPageIsForEveryoneAndHelpIsChatForOthers) {
    ServerHarness::Peer bob = LoggedIn("Bob");
    bob.Send(0, Say("/sa"));
    m_Harness->Pass();
    EXPECT_EQ(bob.TakeAll(), (std::vector<Bytes>{MessageWindow(kServer), {}}));
    bob.Send(0, Say("/help yarr"));
    m_Harness->Pass();
    EXPECT_EQ(bob.TakeAll(), std::vector<Bytes>{Chat("BOB", "/help yarr")});
}

} // namespace
