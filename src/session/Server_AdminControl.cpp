// The slash-command interpreter and its tables.
#include <cstdio>
#include <cstdlib>

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
    {"/buildpalace", "/bp", kAnyLevel, false, nullptr},
    {"/ignore", nullptr, kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_IgnoreSomeone(c, a.m_strWord1); }},
    {"/unignore", nullptr, kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_UnignoreSomeone(c, a.m_strWord1); }},
    {"/display_ignore_list", "/dil", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) { s.AC_DisplayIgnoreList(c); }},
    {"/decola", "/uncola", kAnyLevel, false, nullptr},
    {"/chatchannel", "/chatroom", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs& a) { s.AC_SetChatChannel(c, a.m_iNum1); }},
    {"/nochat", "/leavechat", kAnyLevel, false,
     [](Server& s, Server_Client* c, const CommandArgs&) { s.AC_LeaveChat(c); }},
    {"/serverabout", "/sa", kAnyLevel, false, nullptr},
};

// Runs the row of the command word, if any. True when the line was a command that has been
// dealt with (carried out, or refused in silence for want of level or permission).
bool RunCommand(Server& server, std::span<const CommandRow> table, Server_Client* client, const CommandArgs& args) {
    const CommandRow* row = FindCommand(table, args.m_strCommand);
    if (!row || !row->m_pHandler) return false;
    const Server_Player* player = client->m_pPlayer;
    if (row->m_sLevelAbove != kAnyLevel && (!player || int16_t(player->m_usAdminLevel) <= row->m_sLevelAbove))
        return true;
    if (row->m_bCoinPermission && (!player || !player->GetFlag(kPlayerCoinCommands))) return true;
    row->m_pHandler(server, client, args);
    return true;
}

} // namespace

std::span<const CommandRow> PlayerCommands() { return kPlayerCommands; }

std::span<const CommandRow> AdminCommands() { return {}; }

const CommandRow* FindCommand(std::span<const CommandRow> table, const std::string& word) {
    for (const CommandRow& row : table)
        if (word == row.m_szLong || (row.m_szShort && word == row.m_szShort)) return &row;
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
