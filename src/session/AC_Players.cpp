// Administrative and team actions on players.
#include <cstdio>

#include "base/LogChat.h"
#include "base/Text.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKVector.h"

namespace {

constexpr size_t kMinTeamName = 4;
constexpr size_t kMaxTeamName = 12;
constexpr int kMaxTeamMembers = 15;

// Teams are joined and left only near the world's starting point.
bool IsNearStart(const Server_Player* p) {
    const VUKVector& v = p->m_vPosition;
    return v.x >= -3000.0f && v.x <= 3000.0f && v.z >= -3000.0f && v.z <= 3000.0f && v.y <= 5000.0f;
}

} // namespace

void Server::AC_JoinTeam(Server_Client* client, const std::string& name) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    const char* refusal = nullptr;
    std::string upper = UpperCase(name);
    std::string filtered = upper;
    ApplyFilteringToString(filtered);
    if (!IsNearStart(player)) {
        refusal = "You must be close to the starting point at location 0, 0, 0 in order to join a team.";
    } else if (name.size() < kMinTeamName) {
        refusal = "Team names must be at least four characters long.";
    } else if (name.size() > kMaxTeamName) {
        refusal = "Team names cannot exceed 12 characters.";
    } else {
        for (char c : upper)
            if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
                refusal = "Team names can only have letters and numbers in them.";
    }
    if (!refusal && filtered != upper) refusal = "Team names cannot contain offensive language.";
    if (!refusal && player->m_strTeamName == upper) refusal = "You are already a member of this team.";
    if (!refusal) {
        int members = 0;
        for (uint32_t i = 0; i < m_Players.Count(); ++i)
            if (static_cast<Server_Player*>(m_Players.GetEntity(i))->m_strTeamName == upper) ++members;
        if (members >= kMaxTeamMembers) refusal = "You cannot join this team because it has 15 or more people in it.";
    }
    if (refusal) {
        client->SendChatMessage("Error", refusal);
        return;
    }
    player->m_strTeamName = upper;
    InformClients_EntityUpdated(player);
    char text[64];
    snprintf(text, sizeof text, "You have joined team %s.", name.c_str());
    client->SendChatMessage("Info", text);
}

void Server::AC_LeaveTeam(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    if (player->m_strTeamName.empty()) {
        client->SendChatMessage("Error", "You are not a member of any team.");
    } else if (!IsNearStart(player)) {
        client->SendChatMessage(
            "Error", "You must be close to the starting point at location 0, 0, 0 in order to leave a team.");
    } else {
        player->m_strTeamName.clear();
        InformClients_EntityUpdated(player);
        client->SendChatMessage("Info", "You no longer belong to a team.");
    }
}

// ---- administrative actions on players ---------------------------------------------------------

namespace {

int16_t LevelOf(const Server_Player* p) { return p ? int16_t(p->m_usAdminLevel) : 0; }

} // namespace

Server_Player* Server::AC_LocatePlayerWithName(Server_Client* client, const std::string& name) {
    std::string upper = UpperCase(name);
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        if (UpperCase(player->m_strName) == upper) return player;
    }
    if (client) client->SendChatMessage("VuK Server", "PLAYER NOT FOUND");
    return nullptr;
}

void Server::AC_PlacePlayer(Server_Player* player) {
    // An online player's client must accept the jump instead of reporting its old position.
    if (player->IsLoggedIn()) {
        player->m_ucCSMHoldOff = 5;
        player->SetFlag(kPlayerClientSideMovement, false);
    }
    UpdateZonesEntityIsIn(player);
    InformClients_EntityUpdated(player);
}

void Server::AC_KickPlayer(Server_Client* client, const std::string& name) {
    Server_Player* issuer = client->m_pPlayer;
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!issuer || !target) return;
    if (LevelOf(target) >= LevelOf(issuer)) {
        CommandReply(client, "You cannot kick a player with a higher admin level than you.");
        return;
    }
    for (Server_Client* other : m_Clients) {
        if (other->m_pPlayer != target) continue;
        char text[4096];
        snprintf(text, sizeof text,
                 "Administrator %s has kicked you off the server.  You must now disconnect by pressing ESC twice.  "
                 "Behave better the next time you come on.",
                 issuer->m_strName.c_str());
        other->SendKick("Info", text);
        snprintf(text, sizeof text, "Administrator %s has kicked %s off the server.", issuer->m_strName.c_str(),
                 target->m_strName.c_str());
        SendChatMessageToAll("Info", text);
        return;
    }
}

void Server::AC_ChangePlayerPassword(Server_Client* client, const std::string& name, const std::string& password) {
    if (LevelOf(client->m_pPlayer) < int16_t(kMasterAdminLevel)) {
        CommandReply(client, "You must be a master administrator to use this command.");
        return;
    }
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!target) return;
    if (password.size() < 4) {
        CommandReply(client, "Password was not set because it is too short.");
    } else if (password.size() > 16) {
        CommandReply(client, "Password was not set because it is too long.");
    } else {
        target->m_strPassword = UpperCase(password);
        CommandReply(client, "%s's password is now set to %s.", name.c_str(), target->m_strPassword.c_str());
    }
}

void Server::AC_SetAdminAccess(Server_Client* client, const std::string& name, int32_t level) {
    if (level < 0) return;
    if (LevelOf(client->m_pPlayer) < 99) {
        CommandReply(client, "Not level 99!");
        return;
    }
    if (level > 99) {
        CommandReply(client, "You cant make people level 100!");
        return;
    }
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!target) return;
    if (target->m_usAdminLevel < kMasterAdminLevel) target->m_usAdminLevel = uint16_t(level);
    CommandReply(client, "%s now has access level %d.", name.c_str(), int(target->m_usAdminLevel));
}

void Server::AC_SetAdminCoinChangePermission(Server_Client* client, const std::string& name, bool on) {
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!target) return;
    target->SetFlag(kPlayerCoinCommands, on);
    CommandReply(client, "%s %s coin changing permissions.", name.c_str(), on ? "now has" : "no longer has");
}

void Server::AC_GivePlayerCoins(Server_Client* client, const std::string& name, int32_t amount) {
    Server_Player* issuer = client->m_pPlayer;
    if (!issuer) return;
    if (!issuer->GetFlag(kPlayerCoinCommands)) {
        CommandReply(client, "You don't have the coin changing permission flag.");
        LogChat("LOG", "Didn't have coin changing permission flag");
        return;
    }
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!target) return;
    int64_t change = amount;
    if (change < 0 && -change > target->m_i64PocketCoins) {
        change = -target->m_i64PocketCoins;
        CommandReply(client, "Can't remove more POCKET coins than a player has.");
        LogChat("LOG", "Excessive coin removal clipping");
    }
    target->m_i64PocketCoins += change;
    target->KeepCoinsAtLimit();
    InformClients_EntityUpdated(target);
    CommandReply(client, "%s now has %d pocket coins.", name.c_str(), int(target->m_i64PocketCoins));
    char text[4096];
    snprintf(text, sizeof text, "%s has added %d pocket coins to %s.", issuer->m_strName.c_str(), int(amount),
             target->m_strName.c_str());
    LogChat("LOG", text);
}

void Server::AC_DisplayPlayerCoins(Server_Client* client, const std::string& name) {
    if (Server_Player* p = AC_LocatePlayerWithName(client, name))
        CommandReply(client, "%s has %d coins.", name.c_str(), int(p->m_i64PocketCoins));
}

void Server::AC_DisplayPlayerTimeOffline(Server_Client* client, const std::string& name) {
    constexpr uint32_t kTicksPerDay = 2'592'000;
    if (Server_Player* p = AC_LocatePlayerWithName(client, name))
        CommandReply(client, "%s offline time: %d ticks (%d hours) (%d days)", name.c_str(), int(p->m_uiOfflineTicks),
                     int(p->m_uiOfflineTicks / uint32_t(kGameTicksPerHour)), int(p->m_uiOfflineTicks / kTicksPerDay));
}

void Server::AC_DisplayPlayerPosition(Server_Client* client, const std::string& name) {
    if (Server_Player* p = AC_LocatePlayerWithName(client, name))
        CommandReply(client, "%s is at (%.2f, %.2f, %.2f)", name.c_str(), double(p->m_vPosition.x),
                     double(p->m_vPosition.y), double(p->m_vPosition.z));
}

void Server::AC_DisplayAdminAccess(Server_Client* client, const std::string& name) {
    if (Server_Player* p = AC_LocatePlayerWithName(client, name))
        CommandReply(client, "%s has access level %d.", name.c_str(), int(LevelOf(p)));
}

void Server::AC_SetPlayerPosition(Server_Client* client, const std::string& name, int32_t x, int32_t y, int32_t z) {
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!target) return;
    target->m_vPosition.Set(float(x), float(y), float(z));
    target->ClipToOuterInvisibleBoundaries();
    if (target->m_vPosition.y < -80.0f) target->m_vPosition.y = -80.0f;
    AC_PlacePlayer(target);
}

void Server::AC_WarpPlayerToSelf(Server_Client* client, const std::string& name) {
    Server_Player* issuer = client->m_pPlayer;
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!issuer || !target) return;
    target->m_vPosition = issuer->m_vPosition;
    AC_PlacePlayer(target);
    target->SetPlayerMoving(true);
}

void Server::AC_WarpSelfToPlayer(Server_Client* client, const std::string& name) {
    Server_Player* issuer = client->m_pPlayer;
    Server_Player* target = AC_LocatePlayerWithName(client, name);
    if (!issuer || !target) return;
    issuer->m_vPosition = target->m_vPosition;
    AC_PlacePlayer(issuer);
}

void Server::AC_RaiseConflictedPlayers() {
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        for (uint32_t j = 0; j < m_AllEntities.Count(); ++j) {
            Server_Entity* e = m_AllEntities.GetEntity(j);
            if (e == player || !TouchTest(player, e)) continue;
            player->SetPlayerMoving(true);
            player->m_vPosition.y += 10'000.0f;
            UpdateZonesEntityIsIn(player);
            InformClients_EntityUpdated(player);
        }
    }
}

void Server::AC_Hide(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    bool hide = !player->IsHidden();
    player->SetHidden(hide);
    if (hide) player->SetFlag(kPlayerAFK, false);
    InformClients_EntityUpdated(player);
    CommandReply(client, hide ? "You now appear OFFLINE to other players." : "You now appear ONLINE to other players.");
}

void Server::AC_IndexAdmins(Server_Client* client) {
    ArrayOfStrings& lines = client->m_Windows.m_ScrollLines;
    lines.DeleteAll();
    char text[4096];
    for (uint32_t i = 0; i < m_Players.Count(); ++i) {
        auto* player = static_cast<Server_Player*>(m_Players.GetEntity(i));
        if (LevelOf(player) <= 0) continue;
        snprintf(text, sizeof text, "%s is an admin of level %d", player->m_strName.c_str(), int(LevelOf(player)));
        lines.Append(new std::string(text));
    }
    client->SendScrollableButton();
}
