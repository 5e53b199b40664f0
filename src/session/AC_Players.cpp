// Administrative and team actions on players.
#include <cctype>
#include <cstdio>

#include "core/Server.h"
#include "replication/Server_Client.h"
#include "world/Server_EntityKinds.h"

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
    std::string upper = name;
    for (char& c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
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
            if (!((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'))) refusal = "Team names can only have letters and numbers in them.";
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
    client->SendChatMessage("Info", "You have joined team " + name + ".");
}

void Server::AC_LeaveTeam(Server_Client* client) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    if (player->m_strTeamName.empty()) {
        client->SendChatMessage("Error", "You are not a member of any team.");
    } else if (!IsNearStart(player)) {
        client->SendChatMessage("Error",
                                "You must be close to the starting point at location 0, 0, 0 in order to leave a team.");
    } else {
        player->m_strTeamName.clear();
        InformClients_EntityUpdated(player);
        client->SendChatMessage("Info", "You no longer belong to a team.");
    }
}
