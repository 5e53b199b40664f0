// Server textures: the offer of the files in "ServerTextures/", the client's answer, and the
// streaming in the update message or on channel 3.
#include "net/Packet.h"
#include "replication/Server_Client.h"

// Not yet built: the update cycle and the server tick already call these at their fixed places.
void Server_Client::SendServerTextures() {}
void Server_Client::SendServerTextures_Part2() {}
void Server_Client::SendServerTextures_Channel3() {}

void Server_Client::HandleReceivedSFileInfo(Packet* packet) {
    // Read the whole answer so that records after it in the same message are still handled.
    uint8_t length = 0;
    packet->ReadByte(length);
    packet->Skip(length);
    uint32_t size = 0, sum = 0;
    packet->ReadU32(size);
    packet->ReadU32(sum);
}
