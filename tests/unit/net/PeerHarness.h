// One peer driven by hand: datagrams go in through ProcessIncomingData, what it sends is caught
// in a batching socket that never flushes, and time moves only on the fake clock.
#pragma once
#include <arpa/inet.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "net/ClientServerPipe.h"
#include "net/UDPClient.h"
#include "net/UDPServerInterface.h"
#include "support/FakeClock.h"

using Bytes = std::vector<uint8_t>;

class PeerHarness {
public:
    PeerHarness() : m_Socket(-1, true) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(40000);
        address.sin_addr.s_addr = htonl(0x7f000001);
        m_pPeer = std::make_unique<UDPClient>(&address, &m_Pipe);
    }
    ~PeerHarness() {
        m_Socket.m_uiQueued = 0;
        m_pPeer.reset();
    }

    void Receive(const Bytes& datagram) {
        Bytes copy = datagram;
        UDPC_PID_Struct record;
        record.m_pReceiveBuffer = copy.data();
        record.m_iReceivedLength = int32_t(copy.size());
        record.m_pSocket2 = &m_Socket;
        m_pPeer->ProcessIncomingData(&record);
    }
    void Serve() { m_pPeer->Serve(&m_Socket); }

    // Every datagram sent since the last call, in order.
    std::vector<Bytes> Sent() {
        std::vector<Bytes> out;
        for (unsigned i = 0; i < m_Socket.m_uiQueued; ++i) {
            const Socket2::Queued& q = m_Socket.m_Queue[i];
            const uint8_t* data = q.data ? q.data : q.ack;
            out.emplace_back(data, data + q.length);
        }
        m_Socket.m_uiQueued = 0;
        return out;
    }

    void Queue(unsigned channel, const Bytes& body, float resendRate = 2.0f) {
        Packet* p = new Packet;
        p->AppendBytes(body.data(), body.size());
        p->m_fResendRate = resendRate;
        m_Pipe.PushToClient(channel, p);
    }

    // Bodies the server thread would take from a channel now.
    std::vector<Bytes> Delivered(unsigned channel) {
        std::vector<Bytes> out;
        while (Packet* p = m_Pipe.TakeToServer(channel)) {
            out.emplace_back(p->Data(), p->Data() + p->Length());
            delete p;
        }
        return out;
    }

    FakeClock m_Clock;
    ClientServerPipe m_Pipe;
    Socket2 m_Socket;
    std::unique_ptr<UDPClient> m_pPeer;
};
