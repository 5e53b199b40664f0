// The slash-command interpreter and its tables.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "base/Settings.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr size_t kMaxCommandLine = 1024;
constexpr size_t kWordBuffer = 2048;

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

// In the order the interpreter compares them. Every row either has a handler or changes a setting
// (checked below), so every word of the table is carried out.
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
    {"/goalpad_message_set", "/gms", kAdmin, false,
     [](S s, C c, A a) {
         s.AC_GoalPadMessageSetter(c, RestOfLine(a.m_strCommand + a.m_strRest, a.m_strCommand.size()));
     }},
    {"/goalpad_set", "/gp", 2, false,
     [](S s, C c, A a) { s.AC_SetGoalPad(c, a.m_strCommand + a.m_strRest, a.m_strCommand.size()); }},
    {"/goalpad_amount", "/ga", 2, false, [](S s, C c, A a) { s.AC_SetGoalPadAmount(c, a.m_iNum1); }},
    {"/bouncy_amount", "/ba", kAdmin, false, [](S s, C c, A a) { s.AC_SetBouncyAmount(c, a.m_iNum1); }},
    {"/tagpad_amount", "/ta", kAdmin, false, [](S s, C c, A a) { s.AC_SetTagPadAmount(c, a.m_iNum1); }},
    {"/tagpad_lock_time", "/tlt", kAdmin, false, [](S s, C c, A a) { s.AC_SetTagPadLockTime(c, a.m_iNum1); }},
    {"/talvy_land_amount", "/tla", 2, false, [](S s, C c, A a) { s.AC_SetTalvyLandReward(c, a.m_iNum1); }},
    {"/goalpad_respawn_pos_right_here", "/grprh", 2, false,
     [](S s, C c, A) { s.AC_SetGoalPadRespawnPos_RightHere(c); }},
    {"/setsize", "/ss", kAdmin, false, [](S s, C c, A a) { s.AC_SetEntitySize(c, a.m_iNum1, a.m_iNum2, a.m_iNum3); }},
    {"/setpos", "/sp", kAdmin, false, [](S s, C c, A a) { s.AC_SetEntityPos(c, a.m_iNum1, a.m_iNum2, a.m_iNum3); }},
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
    {"/copy_and_paste", "/cap", kAdmin, false, [](S s, C c, A) { s.AC_CopyAndPaste(c); }},
    {"/convert_to_room", "/ctr", kAdmin, false, [](S s, C c, A) { s.AC_ConvertToRoom(c); }},
    {"/raise_conflicted_players", "/rcp", kAdmin, false, [](S s, C, A) { s.AC_RaiseConflictedPlayers(); }},
    {"/display_powerup_table_count", "/dptc", kAdmin, false, [](S s, C c, A) { s.AC_DisplayPowerupTableCount(c); }},
    {"/display_powerup_table_entry", "/dpte", kAdmin, false,
     [](S s, C c, A a) { s.AC_DisplayPowerupTableEntry(c, uint32_t(a.m_iNum1)); }},
    {"/remove_powerup_table_entry", "/rpte", kAdmin, false,
     [](S s, C c, A a) { s.AC_RemovePowerupTableEntry(c, uint32_t(a.m_iNum1)); }},
    {"/force_powerup_spawn", "/fps", kAdmin, false,
     [](S s, C c, A) {
         s.MakeAllPowerupsSpawn();
         s.AC_SendOKMessage(c);
     }},
    {"/set_pitch", "/s_pitch", kAdmin, false, [](S s, C c, A a) { s.AC_SetPitch(c, a.m_iNum1); }},
    {"/set_yaw", "/s_yaw", kAdmin, false, [](S s, C c, A a) { s.AC_SetYaw(c, a.m_iNum1); }},
    {"/set_roll", "/s_roll", kAdmin, false, [](S s, C c, A a) { s.AC_SetRoll(c, a.m_iNum1); }},
    {"/put_wings_here", "/pwh", kAdmin, false,
     [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldWingsOfSmileyBird); }},
    {"/put_moon_here", "/pmh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupRockOfSmileyMoon); }},
    {"/put_soz_here", "/psh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupSpiritOfZorbin); }},
    {"/put_hyper_here", "/phh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldHyperPlay); }},
    {"/put_gloves_here", "/pgh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldQuillhobGloves); }},
    {"/put_jump_here", "/pjh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupJumpHigh); }},
    {"/put_trifire_here", "/pth", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupTriFire); }},
    {"/put_gf_here", "/pgfh", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupGiantFireBlocks); }},
    {"/put_rare_sot", "/pr_sot", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldSpiritOfTalvy); }},
    {"/put_rare_wse", "/pr_wse", kAdmin, false,
     [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldWingsOfSmileyEagle); }},
    {"/put_rare_gov", "/pr_gov", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupGlovesOfVextor); }},
    {"/put_rare_pf", "/pr_pf", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupOldPenetratingFire); }},
    {"/put_rare_dtt", "/pr_dtt", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupDriveTheTalvy); }},
    {"/put_rare_soc", "/pr_soc", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupSpiritOfCookie); }},
    {"/put_rare_rp", "/pr_rp", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupRemovePowerups); }},
    {"/put_rare_sbd", "/pr_sbd", kAdmin, false,
     [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupStoneBlockDestroyer); }},
    {"/put_rare_bos", "/pr_bos", kAdmin, false, [](S s, C c, A) { s.AC_PutPowerupHere(c, kPowerupColaOfSmiley); }},
    {"/destroy_all_palacecubes", "/dapc", kAdmin, false, [](S s, C, A) { s.AC_DestroyAllPalaceCubes(); }},
    {"/destroy_all_quillhob", "/daq", kAdmin, false, [](S s, C, A) { s.AC_DestroyAllQuillhobCubes(); }},
    {"/add_talvy_right_here", "/atrh", kAdmin, false, [](S s, C c, A) { s.AC_AddTalvyCube(c); }},
    {"/add_oriset_right_here", "/aorh", kAdmin, false, [](S s, C c, A) { s.AC_AddOrisetCube(c); }},
    {"/add_quillhob_right_here", "/aqrh", kAdmin, false, [](S s, C c, A) { s.AC_AddQuillhobCube(c); }},
    // The action refuses, with its reply, an issuer below level 99.
    {"/set_admin_access", "/saa", kAdmin, false,
     [](S s, C c, A a) { s.AC_SetAdminAccess(c, a.m_strWord1, a.m_iNum2); }},
    {"/enable_admin_coin_changing", "/eacc", 99, false,
     [](S s, C c, A a) { s.AC_SetAdminCoinChangePermission(c, a.m_strWord1, true); }},
    {"/disable_admin_coin_changing", "/dacc", 99, false,
     [](S s, C c, A a) { s.AC_SetAdminCoinChangePermission(c, a.m_strWord1, false); }},
    {"/display_admin_access", "/daa", kAdmin, false, [](S s, C c, A a) { s.AC_DisplayAdminAccess(c, a.m_strWord1); }},
    {"/set_pos_top", "/spt", kAdmin, false, [](S s, C c, A a) { s.AC_SetPosTop(c, a.m_iNum1); }},
    {"/save", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_Save(c); }},
    {"/hide", nullptr, kAdmin, false, [](S s, C c, A) { s.AC_Hide(c); }},
    {"/set_texture", "/st", kAdmin, false, [](S s, C c, A a) { s.AC_SetTexture(c, a.m_iNum1); }},
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
    {"/flying_disallow_enable", "/fde", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_FlyingDisallow(c, true); }},
    {"/flying_disallow_disable", "/fdd", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_FlyingDisallow(c, false); }},
    {"/flying_reallow_enable", "/fre", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_FlyingReallow(c, true); }},
    {"/flying_reallow_disable", "/frd", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_FlyingReallow(c, false); }},
    {"/jail_enable", "/je", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_JailedDisallow(c, true); }},
    {"/jail_disable", "/jd", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_JailedDisallow(c, false); }},
    {"/jail_release_enable", "/jre", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_JailedRelease(c, true); }},
    {"/jail_release_disable", "/jrd", kAdmin, false, [](S s, C c, A) { s.AC_SetEntity_JailedRelease(c, false); }},
    {"/alpha", nullptr, kAdmin, false, [](S s, C c, A a) { s.AC_SetEntity_AlphaBlendFactor(c, a.m_iNum1); }},
    {"/allow_zorbins_here", "/azh", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityZorbinPermission(c, true); }},
    {"/disallow_zorbins_here", "/dzh", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityZorbinPermission(c, false); }},
    {"/client_side_move", "/csm", kAdmin, false, [](S s, C c, A) { s.AC_ToggleClientSideMovement(c); }},
    {"/enable_tagpad", "/et", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityTagPad(c, true); }},
    {"/disable_tagpad", "/dt", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityTagPad(c, false); }},
    {"/enable_lift", "/el", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityLift(c, true); }},
    {"/disable_lift", "/dl", kAdmin, false, [](S s, C c, A) { s.AC_SetEntityLift(c, false); }},
    {"/warp_to_lift", "/wtl", kAdmin, false, [](S s, C c, A a) { s.AC_WarpToLift(c, a.m_iNum1); }},
    {"/warp_to_talvy", "/wtt", kAdmin, false,
     [](S s, C c, A a) { s.AC_WarpToPopPrincess(c, s.m_TalvyCubes, uint32_t(a.m_iNum1), false); }},
    {"/warp_to_oriset", "/wto", kAdmin, false,
     [](S s, C c, A a) { s.AC_WarpToPopPrincess(c, s.m_OrisetCubes, uint32_t(a.m_iNum1), false); }},
    {"/warp_to_quillhob", "/wtq", kAdmin, false,
     [](S s, C c, A a) { s.AC_WarpToPopPrincess(c, s.m_QuillhobCubes, uint32_t(a.m_iNum1), true); }},
    {"/set_lift_end_here", "/sleh", kAdmin, false, [](S s, C c, A) { s.AC_SetLiftEndHere(c); }},
    {"/set_lift_speed", "/sls", kAdmin, false, [](S s, C c, A a) { s.AC_SetLiftSpeed(c, a.m_iNum1); }},
    // Besides the setting, the budget is shared out again and the answer says whether a limit is left.
    {nullptr, nullptr, kAdmin, false, [](S s, C c, A a) { s.AC_SetByteSendLimit(c, a.m_iNum1); },
     "m_uiServerByteSendLimit", false},
    {"/add_spline_point", "/asp", kAdmin, false, [](S s, C c, A) { s.AC_AddSplinePoint(c); }},
    {"/make_spline_lift", "/msl", kAdmin, false, [](S s, C c, A) { s.AC_MakeSplineLift(c); }},
    {"/finalize_spline_lift", "/fsl", kAdmin, false, [](S s, C c, A) { s.AC_FinalizeSplineLift(c); }},
    {"/set_normalpad_label", "/snl", kAdmin, false,
     [](S s, C c, A a) { s.AC_SetNormalPadLabel(c, a.m_strCommand + a.m_strRest, a.m_strCommand.size()); }},
    {"/index_tagpads", "/itp", kAdmin, false, [](S s, C c, A) { s.AC_IndexTagpads(c); }},
    {"/index_admins", "/ia", kAdmin, false, [](S s, C c, A) { s.AC_IndexAdmins(c); }},
    {"/index_powerups", "/ip", kAdmin, false, [](S s, C c, A) { s.AC_IndexPowerups(c); }},
    {"/kill_all_pp", "/kapp", kAdmin, false, [](S s, C, A) { s.AC_KillAllPP(); }},
    {"/goalpad_solexis", "/gps", 2, false, [](S s, C c, A a) { s.AC_SetSolexis(c, a.m_iNum1); }},
};

constexpr bool EveryRowActs(std::span<const CommandRow> table) {
    for (const CommandRow& row : table)
        if (!row.m_pHandler && !row.m_szSetting) return false;
    return true;
}
static_assert(EveryRowActs(kPlayerCommands) && EveryRowActs(kAdminCommands), "a command row without an action");

// Runs the row of the command word, if any. True when the line was a command that has been
// dealt with (carried out, or refused in silence for want of level or permission).
bool RunCommand(Server& server, std::span<const CommandRow> table, Server_Client* client, const CommandArgs& args) {
    const CommandRow* row = FindCommand(table, args.m_strCommand);
    if (!row) return false;
    const Server_Player* player = client->m_pPlayer;
    if (row->m_sLevelAbove != kAnyLevel && (!player || int16_t(player->m_usAdminLevel) <= row->m_sLevelAbove))
        return true;
    if (row->m_bCoinPermission && (!player || !player->GetFlag(kPlayerCoinCommands))) return true;
    if (row->m_pHandler)
        row->m_pHandler(server, client, args);
    else if (const Setting* setting = row->ChangedSetting())
        server.AC_ChangeSetting(client, *setting, row->m_bClear, args);
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

std::string RestOfLine(const std::string& line, size_t commandLength) {
    return line.size() > commandLength + 1 ? line.substr(commandLength + 1) : std::string();
}

void CommandReply(Server_Client* client, const char* format, ...) {
    char text[4096];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    client->SendChatMessage("VuK Server", text);
}

bool Server::NonAdminCommand(Server_Client* client, const std::string& line) {
    CommandArgs args;
    return ParseCommandLine(line, CommandParse::Player, &args) && RunCommand(*this, PlayerCommands(), client, args);
}

bool Server::AdminCommand(Server_Client* client, const std::string& line) {
    CommandArgs args;
    return ParseCommandLine(line, CommandParse::Admin, &args) && RunCommand(*this, AdminCommands(), client, args);
}
