// Stand-ins until the update cycle lands: a client is told nothing about the world yet and is
// torn down at once. Each function leaves this file when its real body is written.
#include "core/Server.h"
#include "replication/Server_Client.h"

void Server_Client::UpdateClient_NormalPacket(uint32_t) {}
void Server_Client::UpdateClient_ExtraPacket() {}
void Server_Client::HandleZonesBeUpdatedThingy() { m_bZonesFilled = true; }
bool Server_Client::GradualDeleteThingy() { return true; }
void Server_Client::FigureClientSideMovement() { m_bClientSideMovement = false; }

void Server::InformClients_EntityUpdated(Server_Entity*) {}
void Server::InformClients_EntityAboutToBeRemoved(Server_Entity*) {}
void Server::AddAlmostAllEntitiesToNewClient(Server_Client*) {}
void Server::ProperlyDeleteClient(Server_Client* client) {
    ReturnACRNumber(client->m_pSlotRecord);
    client->m_pSlotRecord = nullptr;
}
