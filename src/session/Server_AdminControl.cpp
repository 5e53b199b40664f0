// The slash-command interpreter and its tables.
#include <cstdio>
#include <cstdlib>

#include "base/Settings.h"
#include "core/Server.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr size_t kMaxCommandLine = 1024;
constexpr size_t kWordBuffer = 2048;

// Rows whose handler is still null are recognised but not carried out: their lines stay chat.
constexpr CommandRow kPlayerCommands[] = {
    {"/msg", "/m", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) {
         s.AC_SendPrivateMessage(c, a.m_strCommand + a.m_strRest, a.m_strCommand.size());
     }},
    {"/jointeam", "/jt", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_JoinTeam(c, a.m_strWord1); }},
    {"/leaveteam", "/lt", kAnyLevel, false, [](Server& s, Server_Client* c, const CommandArgs&) { s.AC_LeaveTeam(c); }},
    {"/buildpalace", "/bp", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) {
         if (c->m_pPlayer) s.Tick_Player_BuildPalace(c->m_pPlayer);
     }},
    {"/ignore", nullptr, kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_IgnoreSomeone(c, a.m_strWord1); }},
    {"/unignore", nullptr, kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_UnignoreSomeone(c, a.m_strWord1); }},
    {"/display_ignore_list", "/dil", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) { s.AC_DisplayIgnoreList(c); }},
    {"/decola", "/uncola", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) {
         if (!c->m_pPlayer) return;
         c->m_pPlayer->RemoveCola();
         s.InformClients_EntityUpdated(c->m_pPlayer);
     }},
    {"/chatchannel", "/chatroom", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_SetChatChannel(c, a.m_iNum1); }},
    {"/nochat", "/leavechat", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) { s.AC_LeaveChat(c); }},
    {"/serverabout", "/sa", kAnyLevel, false,
     [](Server&, Server_Client* c, const CommandArgs&) { c->SendAdminHelp("server"); }},
};

// Shorthands for the rows below.
using A = const CommandArgs&;
using S = Server&;
using C = Server_Client*;
constexpr int16_t kAdmin = 0; // any administrator: the interpreter is reached only with a level

constexpr CommandRow Switch(const char* setting, bool clear) {
    return {nullptr, nullptr, kAdmin, false, nullptr, setting, clear};
}
constexpr CommandRow Valued(const char* setting) { return {nullptr, nullptr, kAdmin, false, nullptr, setting, false}; }

// In the order the interpreter compares them. Rows of the world actions still to come (pads,
// lifts, computer-controlled cubes, the powerup table) have no handler yet: their lines stay chat.
constexpr CommandRow kAdminCommands[] = {
    {"/help", "/h", kAdmin, false, [](S, C c, A a) { c->SendAdminHelp(a.m_strWord1.c_str()); }},
    Switch("g_bUDPThreadMode", true),
    Switch("g_bUDPThreadMode", false),
    Switch("g_bCompactSaveMode", false),
    Switch("g_bCompactSaveMode", true),
    Switch("g_bImprovedCTSResponse", false),
    Switch("g_bImprovedCTSResponse", true),
    {"/stats", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_SendStats(c); }},
    {"/debugstuff1", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_DebugStuff1(c); }},
    {"/holes_in_heap", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_DisplayHolesInHeap(c); }},
    {"/debugstuff2", nullptr, kAdmin, false, [](S s, C, A) { s.DoMeanTaxWarrior(); }},
    {"/goalpad_message_set", "/gms", kAdmin, false, nullptr},
    {"/goalpad_set", "/gp", 2, false, nullptr},
    {"/goalpad_amount", "/ga", 2, false, nullptr},
    {"/bouncy_amount", "/ba", kAdmin, false, nullptr},
    {"/tagpad_amount", "/ta", kAdmin, false, nullptr},
    {"/tagpad_lock_time", "/tlt", kAdmin, false, nullptr},
    {"/talvy_land_amount", "/tla", 2, false, nullptr},
    {"/goalpad_respawn_pos_right_here", "/grprh", 2, false, nullptr},
    {"/setsize", "/ss", kAdmin, false, nullptr},
    {"/setpos", "/sp", kAdmin, false, nullptr},
    {"/setplayerpos", "/spp", kAdmin, false,
     [](S s, C c, A a) { s.AC_SetPlayerPosition(c, a.m_strWord1, a.m_iNum2, a.m_iNum3, a.m_iNum4); }},
    // The action itself refuses, with its reply, an issuer below the master administrator.
    {"/changeplayerpassword", "/cpp", kAdmin, false,
     [](S s, C c, A a) { s.AC_ChangePlayerPassword(c, a.m_strWord1, a.m_strWord2); }},
    {"/display_player_coins", "/dpc", kAdmin, false, [](S s, C c, A a) { s.AC_DisplayPlayerCoins(c, a.m_strWord1); }},
    {"/display_player_time_offline", "/dpto", kAdmin, false,
     [](S s, C c, A a) { s.AC_DisplayPlayerTimeOffline(c, a.m_strWord1); }},
    {"/display_player_pos", "/dpp", kAdmin, false, [](S s, C c, A a) { s.AC_DisplayPlayerPosition(c, a.m_strWord1); }},
    {"/warp_player_to_self", "/wpts", kAdmin, false, [](S s, C c, A a) { s.AC_WarpPlayerToSelf(c, a.m_strWord1); }},
    {"/kick_player", "/kick", kAdmin, false, [](S s, C c, A a) { s.AC_KickPlayer(c, a.m_strWord1); }},
    {"/warp_self_to_player", "/wstp", kAdmin, false, [](S s, C c, A a) { s.AC_WarpSelfToPlayer(c, a.m_strWord1); }},
    // The action answers a missing permission itself.
    {"/give_player_coins", "/gpc", 2, false, [](S s, C c, A a) { s.AC_GivePlayerCoins(c, a.m_strWord1, a.m_iNum2); }},
    {"/copy_and_paste", "/cap", kAdmin, false, nullptr},
    {"/convert_to_room", "/ctr", kAdmin, false, nullptr},
    {"/raise_conflicted_players", "/rcp", kAdmin, false, [](S s, C, A) { s.AC_RaiseConflictedPlayers(); }},
    {"/display_powerup_table_count", "/dptc", kAdmin, false, nullptr},
    {"/display_powerup_table_entry", "/dpte", kAdmin, false, nullptr},
    {"/remove_powerup_table_entry", "/rpte", kAdmin, false, nullptr},
    {"/force_powerup_spawn", "/fps", kAdmin, false, nullptr},
    {"/set_pitch", "/s_pitch", kAdmin, false, nullptr},
    {"/set_yaw", "/s_yaw", kAdmin, false, nullptr},
    {"/set_roll", "/s_roll", kAdmin, false, nullptr},
    {"/put_wings_here", "/pwh", kAdmin, false, nullptr},
    {"/put_moon_here", "/pmh", kAdmin, false, nullptr},
    {"/put_soz_here", "/psh", kAdmin, false, nullptr},
    {"/put_hyper_here", "/phh", kAdmin, false, nullptr},
    {"/put_gloves_here", "/pgh", kAdmin, false, nullptr},
    {"/put_jump_here", "/pjh", kAdmin, false, nullptr},
    {"/put_trifire_here", "/pth", kAdmin, false, nullptr},
    {"/put_gf_here", "/pgfh", kAdmin, false, nullptr},
    {"/put_rare_sot", "/pr_sot", kAdmin, false, nullptr},
    {"/put_rare_wse", "/pr_wse", kAdmin, false, nullptr},
    {"/put_rare_gov", "/pr_gov", kAdmin, false, nullptr},
    {"/put_rare_pf", "/pr_pf", kAdmin, false, nullptr},
    {"/put_rare_dtt", "/pr_dtt", kAdmin, false, nullptr},
    {"/put_rare_soc", "/pr_soc", kAdmin, false, nullptr},
    {"/put_rare_rp", "/pr_rp", kAdmin, false, nullptr},
    {"/put_rare_sbd", "/pr_sbd", kAdmin, false, nullptr},
    {"/put_rare_bos", "/pr_bos", kAdmin, false, nullptr},
    {"/destroy_all_palacecubes", "/dapc", kAdmin, false, nullptr},
    {"/destroy_all_quillhob", "/daq", kAdmin, false, nullptr},
    {"/add_talvy_right_here", "/atrh", kAdmin, false, nullptr},
    {"/add_oriset_right_here", "/aorh", kAdmin, false, nullptr},
    {"/add_quillhob_right_here", "/aqrh", kAdmin, false, nullptr},
    // The action refuses, with its reply, an issuer below level 99.
    {"/set_admin_access", "/saa", kAdmin, false,
     [](S s, C c, A a) { s.AC_SetAdminAccess(c, a.m_strWord1, a.m_iNum2); }},
    {"/enable_admin_coin_changing", "/eacc", 99, false,
     [](S s, C c, A a) { s.AC_SetAdminCoinChangePermission(c, a.m_strWord1, true); }},
    {"/disable_admin_coin_changing", "/dacc", 99, false,
     [](S s, C c, A a) { s.AC_SetAdminCoinChangePermission(c, a.m_strWord1, false); }},
    {"/display_admin_access", "/daa", kAdmin, false, [](S s, C c, A a) { s.AC_DisplayAdminAccess(c, a.m_strWord1); }},
    {"/set_pos_top", "/spt", kAdmin, false, nullptr},
    {"/save", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_Save(c); }},
    {"/hide", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_Hide(c); }},
    {"/set_texture", "/st", kAdmin, false, nullptr},
    {"/get_texture", "/gt", kAdmin, false, [](S s, C c, A) { s.AC_GetTexture(c); }},
    {"/count_zones", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_CountZones(c); }},
    {"/count_p_zones", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_CountPendingZones(c); }},
    Valued("m_uiPopPrincessSkip"),
    Switch("m_bIRSBuildEnabled", false),
    Switch("m_bIRSBuildEnabled", true),
    Switch("m_bLiftsRunning", true),
    Switch("m_bLiftsRunning", false),
    Switch("m_bPrincessesRunning", true),
    Switch("m_bPrincessesRunning", false),
    Switch("m_bOfflinePlayerScan", false),
    Switch("m_bOfflinePlayerScan", true),
    {"/straight_update_on", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_SetStraightUpdate(c, true); }},
    {"/straight_update_off", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_SetStraightUpdate(c, false); }},
    Valued("g_uiUdpSendBufferLimit"),
    Valued("g_uiQuillhobTexture"),
    Valued("g_fZorbinShrinkPerHit"),
    Valued("g_fStoneBlockShrinkPerHit"),
    Valued("g_fBuildingBlockShrinkPerHit"),
    Valued("g_iZorbinCoinsStolenPerHit"),
    Valued("g_iPropertyMovingGroups"),
    Valued("g_iMaxPropertyMovePerTick"),
    Valued("g_uiRewardHittingQuillhob"),
    {"/flying_disallow_enable", "/fde", kAdmin, false, nullptr},
    {"/flying_disallow_disable", "/fdd", kAdmin, false, nullptr},
    {"/flying_reallow_enable", "/fre", kAdmin, false, nullptr},
    {"/flying_reallow_disable", "/frd", kAdmin, false, nullptr},
    {"/jail_enable", "/je", kAdmin, false, nullptr},
    {"/jail_disable", "/jd", kAdmin, false, nullptr},
    {"/jail_release_enable", "/jre", kAdmin, false, nullptr},
    {"/jail_release_disable", "/jrd", kAdmin, false, nullptr},
    {"/alpha", nullptr, kAdmin, false, nullptr},
    {"/allow_zorbins_here", "/azh", kAdmin, false, nullptr},
    {"/disallow_zorbins_here", "/dzh", kAdmin, false, nullptr},
    {"/client_side_move", "/csm", kAdmin, false, [](S s, C c, A) { s.AC_ToggleClientSideMovement(c); }},
    {"/enable_tagpad", "/et", kAdmin, false, nullptr},
    {"/disable_tagpad", "/dt", kAdmin, false, nullptr},
    {"/enable_lift", "/el", kAdmin, false, nullptr},
    {"/disable_lift", "/dl", kAdmin, false, nullptr},
    {"/warp_to_lift", "/wtl", kAdmin, false, nullptr},
    {"/warp_to_talvy", "/wtt", kAdmin, false, nullptr},
    {"/warp_to_oriset", "/wto", kAdmin, false, nullptr},
    {"/warp_to_quillhob", "/wtq", kAdmin, false, nullptr},
    {"/set_lift_end_here", "/sleh", kAdmin, false, nullptr},
    {"/set_lift_speed", "/sls", kAdmin, false, nullptr},
    // Besides the setting, the budget is shared out again and the answer says whether a limit is left.
    {nullptr, nullptr, kAdmin, false, [](S s, C c, A a) { s.AC_SetByteSendLimit(c, a.m_iNum1); },
     "m_uiServerByteSendLimit", false},
    {"/add_spline_point", "/asp", kAdmin, false, nullptr},
    {"/make_spline_lift", "/msl", kAdmin, false, nullptr},
    {"/finalize_spline_lift", "/fsl", kAdmin, false, nullptr},
    {"/set_normalpad_label", "/snl", kAdmin, false, nullptr},
    {"/index_tagpads", "/itp", kAdmin, false, nullptr},
    {"/index_admins", "/ia", kAdmin, false, [](S s, C c, A) { s.AC_IndexAdmins(c); }},
    {"/index_powerups", "/ip", kAdmin, false, nullptr},
    {"/kill_all_pp", "/kapp", kAdmin, false, nullptr},
    {"/goalpad_solexis", "/gps", 2, false, nullptr},
};

// Runs the row of the command word, if any. True when the line was a command that has been
// dealt with (carried out, or refused in silence for want of level or permission).
bool RunCommand(Server& server, std::span<const CommandRow> table, Server_Client* client, const CommandArgs& args) {
    const CommandRow* row = FindCommand(table, args.m_strCommand);
    if (!row || (!row->m_pHandler && !row->m_szSetting)) return false;
    const Server_Player* player = client->m_pPlayer;
    if (row->m_sLevelAbove != kAnyLevel && (!player || int16_t(player->m_usAdminLevel) <= row->m_sLevelAbove))
        return true;
    if (row->m_bCoinPermission && (!player || !player->GetFlag(kPlayerCoinCommands))) return true;
    if (row->m_pHandler)
        row->m_pHandler(server, client, args);
    else
        server.AC_ChangeSetting(client, *row->ChangedSetting(), row->m_bClear, args);
    return true;
}

} // namespace

std::span<const CommandRow> PlayerCommands() { return kPlayerCommands; }

std::span<const CommandRow> AdminCommands() { return kAdminCommands; }

const Setting* CommandRow::ChangedSetting() const { return m_szSetting ? FindSetting(m_szSetting) : nullptr; }

const char* CommandRow::Long() const {
    const Setting* s = ChangedSetting();
    return s ? (m_bClear ? s->m_Clear : s->m_Set).m_szLong : m_szLong;
}

const char* CommandRow::Short() const {
    const Setting* s = ChangedSetting();
    return s ? (m_bClear ? s->m_Clear : s->m_Set).m_szShort : m_szShort;
}

const CommandRow* FindCommand(std::span<const CommandRow> table, const std::string& word) {
    for (const CommandRow& row : table) {
        const char* shortWord = row.Short();
        if (word == row.Long() || (shortWord && word == shortWord)) return &row;
    }
    return nullptr;
}

bool ParseCommandLine(const std::string& line, CommandParse form, CommandArgs* args) {
    if (line.size() > kMaxCommandLine) return false;
    *args = CommandArgs();
    // Read as the format strings read it, so that odd lines ("/sp 1x 2") give the same numbers.
    char command[kWordBuffer] = "", word1[kWordBuffer] = "", word2[kWordBuffer] = "";
    int num3 = 0, num4 = 0, unused = 0;
    if (form == CommandParse::Player)
        std::sscanf(line.c_str(), "%2047s %2047s %d %d %d", command, word1, &unused, &unused, &unused);
    else
        std::sscanf(line.c_str(), "%2047s %2047s %2047s %d %d", command, word1, word2, &num3, &num4);
    args->m_strCommand = command;
    args->m_strWord1 = word1;
    args->m_strWord2 = word2;
    args->m_iNum1 = int32_t(std::strtol(word1, nullptr, 10));
    args->m_iNum2 = int32_t(std::strtol(word2, nullptr, 10));
    args->m_iNum3 = num3;
    args->m_iNum4 = num4;
    args->m_fFlt1 = std::strtof(word1, nullptr);
    size_t start = line.find_first_not_of(" \t\n\v\f\r");
    size_t end = start == std::string::npos ? std::string::npos : line.find_first_of(" \t\n\v\f\r", start);
    args->m_strRest = end == std::string::npos ? std::string() : line.substr(end);
    return true;
}

bool Server::NonAdminCommand(Server_Client* client, const std::string& line) {
    CommandArgs args;
    return ParseCommandLine(line, CommandParse::Player, &args) && RunCommand(*this, PlayerCommands(), client, args);
}

bool Server::AdminCommand(Server_Client* client, const std::string& line) {
    CommandArgs args;
    return ParseCommandLine(line, CommandParse::Admin, &args) && RunCommand(*this, AdminCommands(), client, args);
}
