// Administrative reports and the save command.
#include <algorithm>
#include <cstdio>
#include <string>

#include "base/Settings.h"
#include "core/Server.h"
#include "replication/Server_Client.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKHeap.h"

void Server::AC_SendStats(Server_Client* client) {
    m_AllEntities.SortByAddresses();
    char text[4096];
    int length =
        snprintf(text, sizeof text,
                 "Talvy Count: %d     Oriset Count: %d\nTotal Entities: %d\nMoving Player Count: %d\nMoving NPs: "
                 "%d\nMoving Zorbins: %d\nAttacking Zorbins: %d\nMoving Lifts: %d\n",
                 int(m_TalvyCubes.Count()), int(m_OrisetCubes.Count()), int(m_AllEntities.Count()),
                 int(m_OtherPlayers.Count()), int(m_MovingPads.Count()), int(m_MovingZorbinCubes.Count()),
                 int(m_LinkedZorbinCubes.Count()), int(m_Lifts.Count()));
    int quillhobs = int(m_QuillhobCubes.Count());
    int repaired = 0;
    for (uint32_t i = 0; i < m_AllEntities.Count(); ++i) {
        Server_Entity* e = m_AllEntities.GetEntity(i);
        if (e->m_vSize.x >= 0.0f && e->m_vSize.y >= 0.0f && e->m_vSize.z >= 0.0f) continue;
        e->m_vSize.Set(16.0f, 16.0f, 16.0f);
        UpdateGroupsAndZonesEntityIsIn(e);
        InformClients_EntityUpdated(e);
        ++repaired;
    }
    length += snprintf(text + length, sizeof text - size_t(length),
                       "Negative Size Objects (Autofixed by /stats): %d\nQuillhob Count: %d", repaired, quillhobs);
    // Then the settings that "/stats" shows, in their own order.
    std::vector<const Setting*> shown;
    for (size_t i = 0; i < g_uiSettingCount; ++i)
        if (g_Settings[i].m_ucStatsLine) shown.push_back(&g_Settings[i]);
    std::sort(shown.begin(), shown.end(),
              [](const Setting* a, const Setting* b) { return a->m_ucStatsLine < b->m_ucStatsLine; });
    for (const Setting* s : shown) {
        double value = s->Get(this);
        if (s->m_Type == SettingType::F32)
            length += snprintf(text + length, sizeof text - size_t(length), "\n%s (%s): %f", s->m_szStatsLabel,
                               s->m_Set.m_szShort, value);
        else
            length += snprintf(text + length, sizeof text - size_t(length), "\n%s (%s): %d", s->m_szStatsLabel,
                               s->m_Set.m_szShort, int32_t(int64_t(value)));
    }
    client->SendMOTDWindowText(text);
}

void Server::AC_DisplayHolesInHeap(Server_Client* client) {
    std::string lines[kGlobalHeapCount + 1];
    for (const GlobalHeap& row : g_GlobalHeaps) {
        std::string& line = lines[row.m_ucReportLine];
        line = row.m_pHeap->Name();
        line.append(" = ").append(std::to_string(row.m_pHeap->GetHolesInHeap())).append("\n");
    }
    std::string text;
    for (const std::string& line : lines) text += line;
    client->SendMOTDWindowText(text.c_str());
}

void Server::AC_DebugStuff1(Server_Client* client) {
    char text[512];
    snprintf(text, sizeof text,
             "sizeof(Server_Entity) is %d, sizeof(Server_Player) is %d, sizeof(Server_ZorbinCube) is %d, "
             "sizeof(Server_Client) is %d, sizeof(Server_Client_Entity) is %d",
             int(sizeof(Server_Entity)), int(sizeof(Server_Player)), int(sizeof(Server_ZorbinCube)),
             int(sizeof(Server_Client)), int(sizeof(Server_Client_Entity)));
    client->SendChatMessage("VuK Server", text);
}

void Server::AC_Save(Server_Client* client) {
    SaveRoutine_WorldWithoutPlayers();
    SaveRoutine_Players();
    client->SendChatMessage("VuK Server", "Backup save complete");
}

void Server::AC_GetTexture(Server_Client* client) {
    Server_Entity* selection = client->m_pPlayer ? client->m_pPlayer->m_pAdminSelection : nullptr;
    if (selection) client->SendChatMessage("VuK Server", std::to_string(selection->m_usTexture));
}

void Server::AC_CountZones(Server_Client* client) {
    char text[64];
    snprintf(text, sizeof text, "Zone Count: %d", int(m_Grid.CountZones()));
    client->SendChatMessage("VuK Server", text);
}

void Server::AC_CountPendingZones(Server_Client* client) {
    char text[64];
    snprintf(text, sizeof text, "PZone Count: %d", int(client->m_PendingGrid.CountZones()));
    client->SendChatMessage("VuK Server", text);
}
