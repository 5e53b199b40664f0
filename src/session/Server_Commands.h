// The slash commands as data. Each row gives a command's long and short word, who may use it
// and the handler that carries it out; Server::NonAdminCommand and Server::AdminCommand
// (session/Server_AdminControl.cpp) parse a line, find its row and run it. A row that changes a
// setting names the setting instead of its words: they, its limits and its reply are the
// setting's row in the settings table (base/Settings.h).
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>

class Server;
class Server_Client;

// A command line as the interpreters read it.
struct CommandArgs {
    std::string m_strCommand;
    std::string m_strWord1; // first parameter word, empty when missing
    std::string m_strWord2; // second parameter word (administrators' lines only)
    int32_t m_iNum1 = 0;    // word1 as an integer, 0 when it is not one
    int32_t m_iNum2 = 0;    // word2 as an integer
    int32_t m_iNum3 = 0;    // the fourth and fifth words of the line as integers
    int32_t m_iNum4 = 0;
    float m_fFlt1 = 0.0f;  // word1 as a float
    std::string m_strRest; // everything after the command word, as typed
};

enum class CommandParse : uint8_t {
    Player, // "%s %s %d %d %d": command, word1 and three unused numbers
    Admin,  // "%s %s %s %d %d": command, word1, word2, num3, num4
};

// False for a line longer than 1024 bytes: it is never a command.
bool ParseCommandLine(const std::string& line, CommandParse form, CommandArgs* args);

// The line from the second character after its command word to its end: the character right
// after the word (normally a space) is skipped, further spaces are kept. Empty when nothing, or
// only that one character, follows the word.
std::string RestOfLine(const std::string& line, size_t commandLength);

// A command's answer: a chat line from "VuK Server" to the issuing client.
void CommandReply(Server_Client* client, const char* format, ...) __attribute__((format(printf, 2, 3)));

using CommandHandler = void (*)(Server& server, Server_Client* client, const CommandArgs& args);

inline constexpr int16_t kAnyLevel = std::numeric_limits<int16_t>::min();

struct Setting;

struct CommandRow {
    const char* m_szLong;
    const char* m_szShort;             // null: no short form
    int16_t m_sLevelAbove;             // the admin level must exceed this, or the command is ignored
    bool m_bCoinPermission;            // also needs the coin-changing permission
    CommandHandler m_pHandler;         // null only in a settings row: the setting's change runs
    const char* m_szSetting = nullptr; // the setting the command changes (its words come from there)
    bool m_bClear = false;             // the setting's "off" command rather than its "on" or valued one

    const char* Long() const;
    const char* Short() const;
    const Setting* ChangedSetting() const;
};

// In the order the interpreters compare them.
std::span<const CommandRow> PlayerCommands();
std::span<const CommandRow> AdminCommands();
// The first row whose long or short word is the command word (compared exactly), or null.
const CommandRow* FindCommand(std::span<const CommandRow> table, const std::string& word);
