// Administrative actions on the settings: every command of the settings table, and the
// settings that belong to one client.
#include <cstdio>

#include "base/Settings.h"
#include "core/Server.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

void Server::AC_ChangeSetting(Server_Client* client, const Setting& setting, bool clear, const CommandArgs& args) {
    const SettingCommand& command = clear ? setting.m_Clear : setting.m_Set;
    if (setting.m_bCoinPermission && !(client->m_pPlayer && client->m_pPlayer->GetFlag(kPlayerCoinCommands))) {
        client->SendChatMessage("VuK Server", "Sorry, you need coin changing permissions to use this command.");
        return;
    }
    double value;
    switch (setting.m_Type) {
    case SettingType::Bool:
        value = clear ? 0.0 : 1.0;
        break;
    case SettingType::F32:
        value = args.m_fFlt1;
        break;
    case SettingType::U32:
        // Without a lower limit of its own an unsigned setting takes the number as unsigned, so
        // that -1 is a large value, not a small one.
        value = setting.m_Typed.m_dMin < 0.0 ? double(uint32_t(args.m_iNum1)) : double(args.m_iNum1);
        break;
    default:
        value = args.m_iNum1;
        break;
    }
    setting.Set(this, setting.m_Typed.Clamp(value));
    if (!command.m_szReply) return;
    char text[1024];
    double stored = setting.Get(this);
    if (setting.m_Type == SettingType::F32)
        snprintf(text, sizeof text, command.m_szReply, stored);
    else
        snprintf(text, sizeof text, command.m_szReply, int32_t(int64_t(stored)));
    client->SendChatMessage("VuK Server", text);
}

void Server::AC_SetByteSendLimit(Server_Client* client, int32_t limit) {
    m_uiServerByteSendLimit = limit < 0 ? 0 : uint32_t(limit);
    PutRateLimitOnClients();
    char text[256];
    if (m_uiServerByteSendLimit == 0)
        snprintf(text, sizeof text,
                 "The server is no longer limited to how many bytes per 1/30th second it can send over the Internet.");
    else
        snprintf(text, sizeof text,
                 "The server is now limited to sending %d total bytes per 1/30th second over the Internet.",
                 int(m_uiServerByteSendLimit));
    client->SendChatMessage("VuK Server", text);
}

void Server::AC_SetStraightUpdate(Server_Client* client, bool on) {
    client->m_bStraightUpdate = on;
    client->SendChatMessage("VuK Server",
                            on ? "Straight update on (this client only)" : "Straight update off (this client only)");
}

void Server::AC_ToggleClientSideMovement(Server_Client* client) {
    bool& allowed = client->m_Movement.m_bClientSideMovementAllowed;
    allowed = !allowed;
    client->SendChatMessage("VuK Server",
                            allowed ? "Client side movement is now ENABLED." : "Client side movement is now DISABLED.");
}
