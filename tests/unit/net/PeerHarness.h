// One peer driven by hand: datagrams go in through ProcessIncomingData, what it sends is caught
// in a batching socket that never flushes, and time moves only on the fake clock.
#pragma once
#include <arpa/inet.h>

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "net/ClientServerPipe.h"
#include "net/UDPClient.h"
#include "net/UDPServerInterface.h"
#include "support/FakeClock.h"

using Bytes = std::vector<uint8_t>;
using Datagrams = std::vector<Bytes>;

// Bodies the server thread would take from a channel of the pipe now, oldest first.
inline Datagrams TakeBodies(ClientServerPipe& pipe, unsigned channel) {
    Datagrams out;
    while (Packet* p = pipe.TakeToServer(channel)) {
        out.emplace_back(p->Data(), p->Data() + p->Length());
        delete p;
    }
    return out;
}

class PeerHarness {
public:
    PeerHarness() : m_Socket(-1, true) {
        const sockaddr_in address{AF_INET, htons(40000), {htonl(0x7f000001)}, {}};
        m_pPeer = std::make_unique<UDPClient>(&address, &m_Pipe);
    }
    // The peer goes first (members in reverse order); the queued datagrams must not be flushed:
    // their bytes went with it.
    ~PeerHarness() { m_Socket.m_uiQueued = 0; }

    void Receive(Bytes datagram) {
        UDPC_PID_Struct record;
        record.m_pReceiveBuffer = datagram.data();
        record.m_iReceivedLength = int32_t(datagram.size());
        record.m_pSocket2 = &m_Socket;
        m_pPeer->ProcessIncomingData(&record);
    }
    void Serve() { m_pPeer->Serve(&m_Socket); }

    // Every datagram sent since the last call, in order.
    Datagrams Sent() {
        Datagrams out;
        for (const Socket2::Queued& q : std::span(m_Socket.m_Queue, m_Socket.m_uiQueued))
            out.emplace_back(q.data ? q.data : q.ack, (q.data ? q.data : q.ack) + q.length);
        m_Socket.m_uiQueued = 0;
        return out;
    }

    void Queue(unsigned channel, const Bytes& body, float resendRate = 2.0f) {
        Packet* p = new Packet;
        p->AppendBytes(body.data(), body.size());
        p->m_fResendRate = resendRate;
        m_Pipe.PushToClient(channel, p);
    }
    Datagrams Delivered(unsigned channel) { return TakeBodies(m_Pipe, channel); }

    FakeClock m_Clock;
    ClientServerPipe m_Pipe;
    Socket2 m_Socket;
    std::unique_ptr<UDPClient> m_pPeer;
};
