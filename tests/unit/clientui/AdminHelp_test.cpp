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
    {"/help powerup",
     HEAD("POWERUP COMMANDS") "The following commands place a powerup where you are:\n/pmh - Rock of Smiley Moon\n/psh "
                              "- Spirit of Zorbin\n"
                              "/pjh - Jump High Effect\n/pth - Tri-Fire\n/pgfh - Giant FireBlocks\n/pr_gov - Gloves of "
                              "Vextor\n"
                              "/pr_dtt - Drive the Talvy\n/pr_soc - Spirit of Cookie\n/pr_sbd - StoneBlock Destroyer\n"
                              "/pr_bos - Cola of Smiley\n/pr_rp - Powerdown (Labelled \"Remove Powerups\")\n\n"
                              "/dptc - Displays powerup table count\n/dpte [i] - Displays info about powerup table "
                              "entry [i]\n"
                              "/rpte [i] - Removes powerup table entry [i]\n/fps - Forces all powerups to spawn"},
    {"/help pop_princess",
     HEAD("POP PRINCESS COMMANDS") "/atrh - Adds a TalvyCube at your position\n/aorh - Adds a OrisetCube at your "
                                   "position\n"
                                   "/aqrh - Adds a QuillhobCube at your position\n/daq - Destroys all QuillhobCubes in "
                                   "the world\n"
                                   "/wtq [i] - Warps yourself to Quillhob number [i] and selects it\n"
                                   "/sqt [i (2-255)] - Sets texture of any future QuillhobCubes (default: 100)\n"
                                   "/srhq [i] - Sets reward for hitting Quillhob with FireBlock (default: 1000)\n"
                                   "/wtt [i] - Warps yourself to talvy number [i]\n/wto [i] - Warps yourself to oriset "
                                   "number [i]\n"
                                   "/spps [i (0-64)] - Sets how many ticks elapse before a Talvy/Oriset moves.\n"
                                   "/tla [i] - Sets coin reward for TalvyCube landing on selected entity to [i]\n"
                                   "/stop_p - Temporarily pauses all Talvys, Orisets, and Quillhob\n"
                                   "/start_p - Resumes all temporarily paused Talvys, Orisets, and Quillhob\n"
                                   "/kapp - Kills and resets all Princesses"},
    {"/help players", HEAD("PLAYER COMMANDS") "/spp [playername] [x] [y] [z] - Sets position of player to [x] [y] [z]\n"
                                              "/dpc [playername] - Displays how many pocket coins a player has\n"
                                              "/dpto [playername] - Displays how long a player has been offline\n"
                                              "/dpp [playername] - Displays a player's position\n/wpts [playername] - "
                                              "Warps player to your position\n"
                                              "/wstp [playername] - Warps you to a player's position\n"
                                              "/saa [playername] [i] - Sets admin access level for a player\n"
                                              "/daa [playername] - Displays a player's admin access level\n"
                                              "/eacc [playername] - Lets an admin use coin changing commands\n"
                                              "/dacc [playername] - Stops an admin from using coin changing commands\n"
                                              "/rcp - Raises players that are conflicted with objects"},
    {"/help entity",
     HEAD("ENTITY COMMANDS (Part 1)") "/ba [i] - Sets bouncy amount of selected entity to [i]\n"
                                      "/ss [x] [y] [z] - Set size of selected entity to [x] [y] [z]\n"
                                      "/sp [x] [y] [z] - Set position of selected entity to [x] [y] [z]\n"
                                      "/cap - Copies and pastes the selected entity to a new entity\n/ctr - Converts "
                                      "selected entity into a room\n"
                                      "/s_pitch [i] - /s_yaw [i] - s_roll [i] - These commands set an entity's "
                                      "rotation\n"
                                      "/spt [y] - Sets the top of the selected entity to [y]\n\n"
                                      "/szsph [f] - Sets how much an Zorbin shrinks when a player hits it with a "
                                      "FireBlock.  (Default: 0.02)\n"
                                      "/szcsph [i] - Sets how many coins a player can steal from an Zorbin for each "
                                      "hit.  (Default: 1)\n"
                                      "/sssph [f] - Sets how much a StoneBlock shrinks when a player hits it with a "
                                      "FireBlock.  (Default: 0.007)\n"
                                      "/sbbsph [f] - Sets how much a BuildingBlock shrinks when a player hits it with "
                                      "a FireBlock.  (Default: 0.06)\n"
                                      "/spmg [n (1-?)] - Makes it so that only 1/nth of all moving property is moving "
                                      "at a time.  (Default: 8)  "
                                      "Higher values reduce lag, but also make property move slower.\n"
                                      "/smpmpt [n (0-?] - Set maximum number of properties that move per tick (default "
                                      "is 5)."},
    {"/help ENTITY2",
     HEAD(
         "ENTITY COMMANDS (Part 2)") "/st [i] - Sets texture number of selected entity to [i]\n/gt - Displays texture "
                                     "number of selected entity\n"
                                     "/azh - Allows Zorbins to be built on selected entity (default for new entities)\n"
                                     "/dzh - Prohibits Zorbins from being built on selected entity\n"
                                     "/tla [i] - Sets coin reward for TalvyCube landing on selected entity to [i]\n"
                                     "/et - Changes selected entity into a TagPad\n/ta [i] - Sets the amount of coins "
                                     "the TagPad gives per second\n"
                                     "/tlt [i] - Sets how many minutes a TagPad will be locked when a player tags it\n"
                                     "/dt - Changes selected TagPad back into normal entity\n"
                                     "/fde - Anybody who lands on selected entity will receive NO FLYING ALLOWED "
                                     "powerup\n"
                                     "/fdd - Disables /fde for the selected entity.\n"
                                     "/fre - Anybody who lands on selected entity will be allowed to fly again.\n"
                                     "/frd - Disables /fre for the selected entity.\n"
                                     "/alpha [i] - Sets alpha blend factor of entity to a value between 0-255 (0 = "
                                     "invisible) (255 = opaque "
                                     "(default))."},
    {"/help lift",
     HEAD("LIFT COMMANDS") "/el - Turns selected entity into a lift (with end spot/speed reset) (start point = "
                           "entity's current pos)\n"
                           "/dl - Turns selected entity into a non-lift\n/sleh - Sets lift's end point to your current "
                           "position\n"
                           "/sls [i] - Sets lift's speed\n/wtl [i] - Warps your player to lift number i in the world\n"
                           "/stoplifts - Temporarily pauses all lifts in the world (not saved in data file)\n"
                           "/startlifts - Restarts lifts that were temporarily paused\n/msl - Turns selected entity "
                           "into a spline lift\n"
                           "/asp - Adds control point to a spline lift\n/fsl - Finalizes a spline lift and starts it "
                           "moving\n"},
    {"/help other",
     HEAD("OTHER COMMANDS") "/stats - Displays stats\n/ei - Enable the building of IRS Cubes on this server\n"
                            "/di - Disable the building of IRS Cubes on this server\n"
                            "/usbl [i (6-16)] - Sets the UDP packet send buffer limit for each client (default: 6)\n"
                            "/sbsl [i] - Restricts the total number of bytes the server can send over the Internet per "
                            "1/30th of a "
                            "second.  If you specify 0, the restriction is removed.\n"
                            "/dbsl - Displays the total number of bytes the server can send over the Internet per "
                            "1/30th of a second.\n"
                            "/bp - Build Palace (also a non-admin command)\n/dapc - Destroy all PalaceCubes\n/kick - "
                            "Kick a player\n"
                            "/hide - Makes you appear offline to others (use again to turn off)\n"
                            "/compact_save_on - Turns compact save mode on.  Future /saves will generate smaller data "
                            "files, but they may "
                            "be incompatible with other versions of the VUK server EXE.\n"
                            "/compact_save_off - Turns compact save mode off."},
    {"/h jail", HEAD("JAIL COMMANDS") "/je - Jail is enabled on this surface\n/jd - Jail is disabled on this surface\n"
                                      "/jre - Jail release is enabled on this surface\n/jrd - Jail release is disabled "
                                      "on this surface\n"},
    {"/help yarr", HEAD("YARR COMMANDS") "/snl [label] - Sets label of a NormalPad\n/itp - Index TagPads\n/ia - Index "
                                         "Admins\n/ip - Index Powerups\n"},
    {"/help server", kServer},
    {"/help", kMenu},
    {"/help entity3", kMenu},
};

// With several channels, every page comes on the windows channel, followed by one empty message.
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
