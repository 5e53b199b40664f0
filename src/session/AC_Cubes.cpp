// Administrative actions on the computer-controlled cubes and on the powerup table.
#include <cstdio>

#include "core/Server.h"
#include "game/GameConstants.h"
#include "replication/Server_Client.h"
#include "session/Server_Commands.h"
#include "world/Server_EntityKinds.h"

namespace {

// A new cube where the administrator stands, at its size, filed and shown.
template <typename Cube> Cube* AddCubeHere(Server& server, Server_Client* client, uint8_t kind, float size) {
    auto* cube = static_cast<Cube*>(server.ProperAddByType(kind));
    cube->m_vPosition = client->m_pPlayer->m_vPosition;
    cube->m_vSize.Set(size, size, size);
    return cube;
}

void Show(Server& server, Server_Client* client, Server_Entity* cube) {
    server.UpdateGroupsAndZonesEntityIsIn(cube);
    server.InformClients_EntityUpdated(cube);
    server.AC_SendOKMessage(client);
}

} // namespace

void Server::AC_AddTalvyCube(Server_Client* client) {
    if (!client->m_pPlayer) return;
    auto* cube = AddCubeHere<Server_TalvyCube>(*this, client, kKindTalvyCube, kTalvyCubeSize);
    cube->m_vHomePoint = cube->m_vPosition;
    Show(*this, client, cube);
}

void Server::AC_AddOrisetCube(Server_Client* client) {
    if (!client->m_pPlayer) return;
    auto* cube = AddCubeHere<Server_OrisetCube>(*this, client, kKindOrisetCube, kOrisetCubeSize);
    cube->m_vHomePoint = cube->m_vPosition;
    Show(*this, client, cube);
}

void Server::AC_AddQuillhobCube(Server_Client* client) {
    if (!client->m_pPlayer) return;
    auto* cube = AddCubeHere<Server_QuillhobCube>(*this, client, kKindQuillhobCube, kQuillhobCubeSize);
    cube->m_usTexture = uint16_t(g_uiQuillhobTexture);
    Show(*this, client, cube);
}

namespace {

// Nothing may keep pointing at a cube that goes: no admin's selection, no fire block's credit,
// no client's view.
void DestroyAll(Server& server, VUKFastArray_Entity& cubes) {
    while (cubes.Count() != 0) {
        Server_Entity* cube = cubes.GetEntity(cubes.Count() - 1);
        server.DeselectEntityFromAllAdmins(cube);
        server.RemoveOwnerFromAllFireBlocks(cube);
        server.InformClients_EntityAboutToBeRemoved(cube);
        server.ProperDestroy(cube);
    }
}

} // namespace

void Server::AC_DestroyAllPalaceCubes() {
    // The owners may build a palace again.
    for (uint32_t i = 0; i < m_PalaceCubes.Count(); ++i)
        if (Server_Player* owner = m_PalaceCubes.GetEntity(i)->m_pOwner; owner && owner->m_uiPalaceCubeCount != 0)
            --owner->m_uiPalaceCubeCount;
    DestroyAll(*this, m_PalaceCubes);
}

void Server::AC_DestroyAllQuillhobCubes() { DestroyAll(*this, m_QuillhobCubes); }

void Server::AC_WarpToPopPrincess(Server_Client* client, const VUKFastArray_Entity& cubes, uint32_t index,
                                  bool select) {
    Server_Player* player = client->m_pPlayer;
    if (!player) return;
    if (index >= cubes.Count()) {
        client->SendChatMessage("VuK Server", "NOT FOUND");
        return;
    }
    Server_Entity* cube = cubes.GetEntity(index);
    player->m_vPosition = cube->m_vPosition;
    if (player->IsLoggedIn()) {
        player->m_ucCSMHoldOff = 3;
        player->SetFlag(kPlayerClientSideMovement, false);
    }
    if (select) player->m_pAdminSelection = cube;
    UpdateZonesEntityIsIn(player);
    InformClients_EntityUpdated(player);
}

void Server::AC_KillAllPP() { KillAndResetAllPrincesses(); }

// ---- powerup table ----------------------------------------------------------------------------

void Server::AC_PutPowerupHere(Server_Client* client, uint32_t type) {
    if (!client->m_pPlayer) return;
    const VUKVector& here = client->m_pPlayer->m_vPosition;
    m_PowerupTablePositions.Append(new VUKVector(here));
    m_PowerupTableTypes.push_back(type);
    SpawnPowerup(here, type);
}

void Server::AC_DisplayPowerupTableCount(Server_Client* client) {
    CommandReply(client, "%d", int(PowerupTableLength()));
}

void Server::AC_DisplayPowerupTableEntry(Server_Client* client, uint32_t index) {
    if (index >= PowerupTableLength()) return;
    const VUKVector& v = *m_PowerupTablePositions[index];
    CommandReply(client, "%.2f %.2f %.2f (Type: %d)", double(v.x), double(v.y), double(v.z),
                 int(m_PowerupTableTypes[index]));
}

void Server::AC_RemovePowerupTableEntry(Server_Client* client, uint32_t index) {
    if (index >= PowerupTableLength()) return;
    m_PowerupTablePositions.DeleteAt(index);
    m_PowerupTableTypes.erase(m_PowerupTableTypes.begin() + std::ptrdiff_t(index));
    AC_SendOKMessage(client);
}

void Server::AC_IndexPowerups(Server_Client* client) {
    ArrayOfStrings& lines = client->m_Windows.m_ScrollLines;
    lines.DeleteAll();
    char text[256];
    for (size_t i = 0; i < PowerupTableLength(); ++i) {
        const VUKVector& v = *m_PowerupTablePositions[i];
        snprintf(text, sizeof text, "#%d. %d type powerup at %f %f %f", int(i), int(m_PowerupTableTypes[i]),
                 double(v.x), double(v.y), double(v.z));
        lines.Append(new std::string(text));
    }
    client->SendScrollableButton();
}
