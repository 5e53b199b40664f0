// Server-driven windows of one client: message of the day, special menu, update news, scroll
// viewer and the admin signals in the update message.
#include "net/Packet.h"
#include "replication/Server_Client.h"

// Not yet built: the update cycle already calls them at their fixed places.
void Server_Client::SendMOTD() { m_bStartupSent = true; }
void Server_Client::SendSpecialButton() {}
void Server_Client::SendAdminSignals() {}
void Server_Client::HandleServerButtonClick(unsigned char) {}
void Server_Client::SendMOTDWindowText(const char*) {}
void Server_Client::SendScrollableButton() {}
