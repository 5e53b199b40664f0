// Datagrams into one reliable peer: the input is a run of datagrams, each preceded by its length
// byte. Whatever arrives, the peer acknowledges, holds or delivers within its bounds.
#include <arpa/inet.h>

#include <cstddef>
#include <cstdint>

#include "net/ClientServerPipe.h"
#include "net/UDPClient.h"
#include "net/UDPServerInterface.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ClientServerPipe pipe;
    Socket2 socket(-1, true);
    const sockaddr_in address{AF_INET, htons(40000), {htonl(0x7f000001)}, {}};
    {
        UDPClient peer(&address, &pipe);
        size_t at = 0;
        unsigned count = 0;
        while (at < size) {
            const size_t length = std::min<size_t>(data[at++], size - at);
            UDPC_PID_Struct record;
            record.m_pReceiveBuffer = const_cast<uint8_t*>(data + at);
            record.m_iReceivedLength = int32_t(length);
            record.m_pSocket2 = &socket;
            peer.ProcessIncomingData(&record);
            at += length;
            if (++count % 4 == 0) peer.Serve(&socket);
            socket.m_uiQueued = 0; // nowhere to send: the bytes go with the peer
        }
        peer.Serve(&socket);
        socket.m_uiQueued = 0;
    }
    for (unsigned c = 0; c < kChannelCount; ++c)
        while (Packet* p = pipe.TakeToServer(c)) delete p;
    return 0;
}
