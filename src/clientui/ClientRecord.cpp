// Server-driven windows, menus and texture transfer of one client.
#include "net/Packet.h"
#include "replication/Server_Client.h"

// Not yet built: the message of the day, the special menu, update news, admin signals and the
// texture transfer. The update cycle already calls them at their fixed places.
void Server_Client::SendMOTD() { m_bStartupSent = true; }
void Server_Client::SendServerTextures() {}
void Server_Client::SendSpecialButton() {}
void Server_Client::SendAdminSignals() {}
void Server_Client::SendServerTextures_Part2() {}
void Server_Client::SendServerTextures_Channel3() {}
void Server_Client::HandleServerButtonClick(unsigned char) {}
void Server_Client::SendMOTDWindowText(const char*) {}
void Server_Client::SendAdminHelp(const char*) {}
void Server_Client::SendScrollableButton() {}

void Server_Client::HandleReceivedSFileInfo(Packet* packet) {
    // Read the whole answer so that records after it in the same message are still handled.
    uint8_t length = 0;
    packet->ReadByte(length);
    packet->Skip(length);
    uint32_t size = 0, sum = 0;
    packet->ReadU32(size);
    packet->ReadU32(sum);
}
