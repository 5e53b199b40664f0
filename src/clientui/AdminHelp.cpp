// The admin help pages and the "about" page, shown in the message window.
#include <span>
#include <string>
#include <string_view>

#include "base/Text.h"
#include "clientui/Windows.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"

namespace {

using Lines = std::span<const char* const>;

// A page is its lines joined by "\n"; a last empty line leaves the page ending in "\n".

constexpr const char* kServerPage[] = {
    "QUORVANE", "Version 1.0.0.28 Hotfix 2", "", "Find the latest version of this server at https://quorvane.org/", "",
};

constexpr const char* kGoalpadPage[] = {
    "ADMIN HELP - GOALPAD COMMANDS",
    "Click on this window to close it.",
    "",
    "/gp [coins] [message] - Converts the selected entity to a goalpad, sets its coin reward to [coins], sets its "
    "message to [message], and sets its respawn point to your current position.",
    "/gms [message] - Sets selected goalpad to [message]",
    "/ga [coins] - Converts the selected entity to a goalpad, and sets its coin reward to [coins]",
    "/grprh - Sets selected goalpad's respawn point to your current position",
    "/gps [i] - Sets Solexis cost (negative value) or reward (positive value) to [i]",
};

constexpr const char* kPowerupPage[] = {
    "ADMIN HELP - POWERUP COMMANDS",
    "Click on this window to close it.",
    "",
    "The following commands place a powerup where you are:",
    "/pmh - Rock of Smiley Moon",
    "/psh - Spirit of Zorbin",
    "/pjh - Jump High Effect",
    "/pth - Tri-Fire",
    "/pgfh - Giant FireBlocks",
    "/pr_gov - Gloves of Vextor",
    "/pr_dtt - Drive the Talvy",
    "/pr_soc - Spirit of Cookie",
    "/pr_sbd - StoneBlock Destroyer",
    "/pr_bos - Cola of Smiley",
    "/pr_rp - Powerdown (Labelled \"Remove Powerups\")",
    "",
    "/dptc - Displays powerup table count",
    "/dpte [i] - Displays info about powerup table entry [i]",
    "/rpte [i] - Removes powerup table entry [i]",
    "/fps - Forces all powerups to spawn",
};

constexpr const char* kPopPrincessPage[] = {
    "ADMIN HELP - POP PRINCESS COMMANDS",
    "Click on this window to close it.",
    "",
    "/atrh - Adds a TalvyCube at your position",
    "/aorh - Adds a OrisetCube at your position",
    "/aqrh - Adds a QuillhobCube at your position",
    "/daq - Destroys all QuillhobCubes in the world",
    "/wtq [i] - Warps yourself to Quillhob number [i] and selects it",
    "/sqt [i (2-255)] - Sets texture of any future QuillhobCubes (default: 100)",
    "/srhq [i] - Sets reward for hitting Quillhob with FireBlock (default: 1000)",
    "/wtt [i] - Warps yourself to talvy number [i]",
    "/wto [i] - Warps yourself to oriset number [i]",
    "/spps [i (0-64)] - Sets how many ticks elapse before a Talvy/Oriset moves.",
    "/tla [i] - Sets coin reward for TalvyCube landing on selected entity to [i]",
    "/stop_p - Temporarily pauses all Talvys, Orisets, and Quillhob",
    "/start_p - Resumes all temporarily paused Talvys, Orisets, and Quillhob",
    "/kapp - Kills and resets all Princesses",
};

constexpr const char* kPlayersPage[] = {
    "ADMIN HELP - PLAYER COMMANDS",
    "Click on this window to close it.",
    "",
    "/spp [playername] [x] [y] [z] - Sets position of player to [x] [y] [z]",
    "/dpc [playername] - Displays how many pocket coins a player has",
    "/dpto [playername] - Displays how long a player has been offline",
    "/dpp [playername] - Displays a player's position",
    "/wpts [playername] - Warps player to your position",
    "/wstp [playername] - Warps you to a player's position",
    "/saa [playername] [i] - Sets admin access level for a player",
    "/daa [playername] - Displays a player's admin access level",
    "/eacc [playername] - Lets an admin use coin changing commands",
    "/dacc [playername] - Stops an admin from using coin changing commands",
    "/rcp - Raises players that are conflicted with objects",
};

constexpr const char* kEntityPage[] = {
    "ADMIN HELP - ENTITY COMMANDS (Part 1)",
    "Click on this window to close it.",
    "",
    "/ba [i] - Sets bouncy amount of selected entity to [i]",
    "/ss [x] [y] [z] - Set size of selected entity to [x] [y] [z]",
    "/sp [x] [y] [z] - Set position of selected entity to [x] [y] [z]",
    "/cap - Copies and pastes the selected entity to a new entity",
    "/ctr - Converts selected entity into a room",
    "/s_pitch [i] - /s_yaw [i] - s_roll [i] - These commands set an entity's rotation",
    "/spt [y] - Sets the top of the selected entity to [y]",
    "",
    "/szsph [f] - Sets how much an Zorbin shrinks when a player hits it with a FireBlock.  (Default: 0.02)",
    "/szcsph [i] - Sets how many coins a player can steal from an Zorbin for each hit.  (Default: 1)",
    "/sssph [f] - Sets how much a StoneBlock shrinks when a player hits it with a FireBlock.  (Default: 0.007)",
    "/sbbsph [f] - Sets how much a BuildingBlock shrinks when a player hits it with a FireBlock.  (Default: 0.06)",
    "/spmg [n (1-?)] - Makes it so that only 1/nth of all moving property is moving at a time.  (Default: 8)  "
    "Higher values reduce lag, but also make property move slower.",
    "/smpmpt [n (0-?] - Set maximum number of properties that move per tick (default is 5).",
};

constexpr const char* kEntity2Page[] = {
    "ADMIN HELP - ENTITY COMMANDS (Part 2)",
    "Click on this window to close it.",
    "",
    "/st [i] - Sets texture number of selected entity to [i]",
    "/gt - Displays texture number of selected entity",
    "/azh - Allows Zorbins to be built on selected entity (default for new entities)",
    "/dzh - Prohibits Zorbins from being built on selected entity",
    "/tla [i] - Sets coin reward for TalvyCube landing on selected entity to [i]",
    "/et - Changes selected entity into a TagPad",
    "/ta [i] - Sets the amount of coins the TagPad gives per second",
    "/tlt [i] - Sets how many minutes a TagPad will be locked when a player tags it",
    "/dt - Changes selected TagPad back into normal entity",
    "/fde - Anybody who lands on selected entity will receive NO FLYING ALLOWED powerup",
    "/fdd - Disables /fde for the selected entity.",
    "/fre - Anybody who lands on selected entity will be allowed to fly again.",
    "/frd - Disables /fre for the selected entity.",
    "/alpha [i] - Sets alpha blend factor of entity to a value between 0-255 (0 = invisible) (255 = opaque "
    "(default)).",
};

constexpr const char* kLiftPage[] = {
    "ADMIN HELP - LIFT COMMANDS",
    "Click on this window to close it.",
    "",
    "/el - Turns selected entity into a lift (with end spot/speed reset) (start point = entity's current pos)",
    "/dl - Turns selected entity into a non-lift",
    "/sleh - Sets lift's end point to your current position",
    "/sls [i] - Sets lift's speed",
    "/wtl [i] - Warps your player to lift number i in the world",
    "/stoplifts - Temporarily pauses all lifts in the world (not saved in data file)",
    "/startlifts - Restarts lifts that were temporarily paused",
    "/msl - Turns selected entity into a spline lift",
    "/asp - Adds control point to a spline lift",
    "/fsl - Finalizes a spline lift and starts it moving",
    "",
};

constexpr const char* kOtherPage[] = {
    "ADMIN HELP - OTHER COMMANDS",
    "Click on this window to close it.",
    "",
    "/stats - Displays stats",
    "/ei - Enable the building of IRS Cubes on this server",
    "/di - Disable the building of IRS Cubes on this server",
    "/usbl [i (6-16)] - Sets the UDP packet send buffer limit for each client (default: 6)",
    "/sbsl [i] - Restricts the total number of bytes the server can send over the Internet per 1/30th of a second.  "
    "If you specify 0, the restriction is removed.",
    "/dbsl - Displays the total number of bytes the server can send over the Internet per 1/30th of a second.",
    "/bp - Build Palace (also a non-admin command)",
    "/dapc - Destroy all PalaceCubes",
    "/kick - Kick a player",
    "/hide - Makes you appear offline to others (use again to turn off)",
    "/compact_save_on - Turns compact save mode on.  Future /saves will generate smaller data files, but they may be "
    "incompatible with other versions of the VUK server EXE.",
    "/compact_save_off - Turns compact save mode off.",
};

constexpr const char* kJailPage[] = {
    "ADMIN HELP - JAIL COMMANDS",
    "Click on this window to close it.",
    "",
    "/je - Jail is enabled on this surface",
    "/jd - Jail is disabled on this surface",
    "/jre - Jail release is enabled on this surface",
    "/jrd - Jail release is disabled on this surface",
    "",
};

constexpr const char* kYarrPage[] = {
    "ADMIN HELP - YARR COMMANDS",
    "Click on this window to close it.",
    "",
    "/snl [label] - Sets label of a NormalPad",
    "/itp - Index TagPads",
    "/ia - Index Admins",
    "/ip - Index Powerups",
    "",
};

constexpr const char* kHelpMenu[] = {
    "ADMIN HELP - HELP MENU",
    "Type one of the following in the chat window to access the matching help section.  Click on this window to "
    "close this window.",
    "",
    "/help goalpad - Display goalpad commands",
    "/help powerup - Display powerup commands",
    "/help pop_princess - Display commands that have to do with TalvyCubes and OrisetCubes",
    "/help players - Display player commands",
    "/help entity - Display entity commands (page 1)",
    "/help entity2 - Display entity commands (page 2)",
    "/help lift - Display lift commands",
    "/help other - Display other commands",
    "/help yarr - Display yarrowkip's commands",
};

struct HelpTopic {
    const char* m_szWord;
    Lines m_Lines;
};

// Searched in this order; the first topic word that matches picks the page.
constexpr HelpTopic kTopics[] = {
    {"goalpad", kGoalpadPage}, {"powerup", kPowerupPage}, {"pop_princess", kPopPrincessPage},
    {"players", kPlayersPage}, {"entity", kEntityPage},   {"entity2", kEntity2Page},
    {"lift", kLiftPage},       {"other", kOtherPage},     {"jail", kJailPage},
    {"yarr", kYarrPage},       {"server", kServerPage},
};

Lines PageFor(const std::string& topic) {
    const std::string upper = UpperCase(topic);
    for (const HelpTopic& t : kTopics)
        if (upper == UpperCase(t.m_szWord)) return t.m_Lines;
    return kHelpMenu;
}

std::string Joined(Lines lines) {
    std::string text;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) text.push_back('\n');
        text.append(lines[i]);
    }
    return text;
}

} // namespace

void Server_Client::SendAdminHelp(const char* page) {
    SendMOTDWindowText(Joined(PageFor(page ? page : "")).c_str());
    // Every page is followed by one empty message on the same channel; the transport drops it unsent.
    Packet* p = new Packet;
    p->m_fResendRate = windows::kResendRate;
    SendWindowMessage(p);
}
