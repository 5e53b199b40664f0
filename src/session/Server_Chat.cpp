// Chat lines: the record to one client, the word filter, and delivery to channels and players.
#include <cstdio>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "base/Text.h"
#include "core/Server.h"
#include "core/ServerMain.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "world/Server_EntityKinds.h"

namespace {

constexpr uint8_t kChatRecord = 49; // '1'

struct FilterPair {
    const char* search;
    const char* replacement;
};
// Applied in this order; each replacement keeps the length of what it masks.
constexpr FilterPair kWordFilter[] = {
    {" ASS ", " *** "},       {"FUCK", "****"},   {"SHIT", "****"},   {"CUNT", "****"},
    {"ASSHOLE", "*******"},   {"BITCH", "*****"}, {"WHORE", "*****"}, {"FAGGOT", "******"},
    {"FAG", "***"},           {"PUSSY", "*****"}, {"SUCK", "****"},   {"DICK", "****"},
    {"BUNGHOLE", "********"}, {"COCK", "****"},   {"CUM", "***"},     {"NIGGER", "******"},
};

bool IsIgnoring(const Server_Player* listener, const std::string& upperName) {
    for (const std::string* name : listener->m_IgnoreList)
        if (*name == upperName) return true;
    return false;
}

// The name other players see for a speaker, upper-cased as chat shows it.
std::string SenderName(const Server_Player* player) {
    return UpperCase(player->m_bDisplayName ? player->m_strDisplayName : player->m_strName);
}

} // namespace

void Server_Client::SendChatMessage(const char* name, const char* text) {
    SendChatMessage(std::string(name ? name : ""), std::string(text ? text : ""));
}

void Server_Client::SendChatMessage(const std::string& name, const std::string& text) {
    Packet* packet = new Packet;
    packet->m_fResendRate = 1.0f;
    packet->AppendByte(kChatRecord);
    packet->AppendString(name);
    packet->AppendString(text);
    Send(ChannelFor(kChannelChat), packet);
}

void Server_Client::SendKick(const char* name, const char* text) {
    SendChatMessage(name, text);
    m_bKicked = true;
}

void Server::SearchAndReplace(std::string& text, const char* search, const char* replacement) {
    const std::string needle = search;
    if (needle.empty()) return;
    // The added spaces let " ASS " match at the very start or end of a line.
    std::string padded = " " + text + " ";
    std::string upper = UpperCase(padded);
    size_t at = 0;
    while ((at = upper.find(needle, at)) != std::string::npos) {
        for (size_t i = 0; i < needle.size() && replacement[i]; ++i) {
            padded[at + i] = replacement[i];
            upper[at + i] = replacement[i];
        }
        at += 1;
    }
    text = padded.substr(1, padded.size() - 2);
}

void Server::ApplyFilteringToString(std::string& text) {
    for (const FilterPair& pair : kWordFilter) SearchAndReplace(text, pair.search, pair.replacement);
}

void Server::ApplyFilteringToName(Server_Player* player) {
    player->m_strDisplayName = player->m_strName;
    ApplyFilteringToString(player->m_strDisplayName);
    player->m_bDisplayName = true;
}

void Server::PIC_Chat(Server_Client* client, Packet* packet) {
    std::string text;
    packet->ReadString(text);
    if (client->m_strName.empty() || text.empty()) return;
    if (!client->m_pPlayer) {
        for (Server_Client* other : m_Clients)
            if (other->m_ucChatChannel != 0 && other->m_ucChatChannel == client->m_ucChatChannel)
                other->SendChatMessage(client->m_strName, text);
        LogChat(client->m_strName, text);
        return;
    }
    if (text[0] == '/') {
        if (NonAdminCommand(client, text)) return;
        if (client->m_pPlayer->m_usAdminLevel != 0) {
            bool handled = AdminCommand(client, text);
            LogChat(client->m_strName, text);
            if (handled) return;
        }
    }
    ApplyFilteringToString(text);
    SendChatMessageToSameChannel(client, text);
    const Server_Player* player = client->m_pPlayer;
    snprintf(g_szBuffer, sizeof g_szBuffer, "%s (%d)",
             (player->m_bDisplayName ? player->m_strDisplayName : client->m_strName).c_str(),
             int(client->m_ucChatChannel));
    LogChat(g_szBuffer, text.c_str());
}

void Server::SendChatMessageToSameChannel(Server_Client* speaker, const std::string& text) {
    Server_Player* player = speaker->m_pPlayer;
    if (!player) return;
    if (speaker->m_ucChatChannel == 0) {
        speaker->SendChatMessage("Error", "You are not in a VUK chat room.");
        return;
    }
    std::string sender = SenderName(player);
    for (Server_Client* client : m_Clients) {
        if (client->m_ucChatChannel == 0 || client->m_ucChatChannel != speaker->m_ucChatChannel) continue;
        // Lower-ranked players cannot ignore higher-ranked ones.
        if (client->m_pPlayer && IsIgnoring(client->m_pPlayer, sender) &&
            !(client->m_pPlayer->m_usAdminLevel < player->m_usAdminLevel))
            continue;
        client->SendChatMessage(sender, text);
    }
}

void Server::SendChatMessageToAll(const std::string& name, const std::string& text) {
    std::string upper = UpperCase(name);
    for (Server_Client* client : m_Clients) {
        if (client->m_pPlayer && IsIgnoring(client->m_pPlayer, upper)) continue;
        client->SendChatMessage(name, text);
    }
}

void Server::SendChatMessageToAll(Server_Player* sender, const std::string& text) {
    std::string name = SenderName(sender);
    for (Server_Client* client : m_Clients) {
        if (client->m_pPlayer && IsIgnoring(client->m_pPlayer, name) &&
            !(client->m_pPlayer->m_usAdminLevel < sender->m_usAdminLevel))
            continue;
        client->SendChatMessage(name, text);
    }
}

void Server::SendChatToPlayer(Server_Player* player, const std::string& name, const std::string& text) {
    for (Server_Client* client : m_Clients)
        if (client->m_pPlayer == player) client->SendChatMessage(name, text);
}

// ---- the chat commands ---------------------------------------------------------------------------

void Server::AC_SendPrivateMessage(Server_Client* client, const std::string& line, size_t commandLength) {
    Server_Player* speaker = client->m_pPlayer;
    if (!speaker) return;
    constexpr const char* kSpace = " \t\n\v\f\r";
    size_t nameStart = line.find_first_not_of(kSpace, commandLength);
    size_t nameEnd = nameStart == std::string::npos ? std::string::npos : line.find_first_of(kSpace, nameStart);
    std::string target = nameStart == std::string::npos ? std::string() : line.substr(nameStart, nameEnd - nameStart);
    // The message is everything after the name and one space.
    std::string message =
        nameEnd == std::string::npos || nameEnd + 1 >= line.size() ? std::string() : line.substr(nameEnd + 1);
    std::string upperTarget = UpperCase(target);
    Server_Client* to = nullptr;
    for (Server_Client* other : m_Clients) {
        if (other->m_pPlayer && !other->m_pPlayer->IsHidden() &&
            UpperCase(other->m_pPlayer->m_strName) == upperTarget) {
            to = other;
            break;
        }
    }
    char text[4096];
    if (!to) {
        snprintf(text, sizeof text, "%s is not online at this time.", target.c_str());
        client->SendChatMessage("INFO", text);
        return;
    }
    if (IsIgnoring(to->m_pPlayer, UpperCase(speaker->m_strName)) &&
        to->m_pPlayer->m_usAdminLevel >= speaker->m_usAdminLevel) {
        snprintf(text, sizeof text, "The whisper could not be delivered because you are on %s's ignore list.",
                 target.c_str());
        client->SendChatMessage("INFO", text);
        return;
    }
    snprintf(text, sizeof text, "%s (whispers to you)", speaker->m_strName.c_str());
    to->SendChatMessage(std::string(text), message);
    snprintf(text, sizeof text, "%s (whispers to %s)", speaker->m_strName.c_str(), target.c_str());
    client->SendChatMessage(std::string(text), message);
}

void Server::AC_IgnoreSomeone(Server_Client* client, const std::string& name) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    std::string upper = UpperCase(name);
    char text[4096];
    if (IsIgnoring(player, upper)) {
        snprintf(text, sizeof text, "%s is already on your ignore list.", upper.c_str());
    } else {
        player->m_IgnoreList.Append(new std::string(upper));
        snprintf(text, sizeof text, "%s is now on your ignore list (%d people now on your ignore list).", upper.c_str(),
                 int(player->m_IgnoreList.Length()));
    }
    client->SendChatMessage("Info", text);
}

void Server::AC_UnignoreSomeone(Server_Client* client, const std::string& name) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    std::string upper = UpperCase(name);
    char text[4096];
    ArrayOfStrings& list = player->m_IgnoreList;
    size_t at = 0;
    while (at < list.Length() && *list[at] != upper) ++at;
    if (at == list.Length()) {
        snprintf(text, sizeof text, "You weren't ignoring %s to begin with.", upper.c_str());
    } else {
        list.DeleteAt(at);
        snprintf(text, sizeof text, "%s is no longer on your ignore list (%d people now on your ignore list).",
                 upper.c_str(), int(list.Length()));
    }
    client->SendChatMessage("Info", text);
}

void Server::AC_DisplayIgnoreList(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    std::string text;
    for (const std::string* name : player->m_IgnoreList) text += *name + " ";
    char total[32];
    snprintf(total, sizeof total, "(%d total)", int(player->m_IgnoreList.Length()));
    text += total;
    client->SendChatMessage("Your Ignore List", text);
}

void Server::AC_SetChatChannel(Server_Client* client, int32_t channel) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    uint8_t n = uint8_t(channel < 1 ? 1 : channel > 255 ? 255 : channel);
    client->m_ucChatChannel = player->m_ucChatChannel = n;
    char text[64];
    snprintf(text, sizeof text, "You are now in chat channel %d.", int(n));
    client->SendChatMessage("VuK Server", text);
    InformClients_EntityUpdated(player);
}

void Server::AC_LeaveChat(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    client->m_ucChatChannel = player->m_ucChatChannel = 0;
    client->SendChatMessage("VuK Server", "You are no longer in any VUK chat room.");
    InformClients_EntityUpdated(player);
}
