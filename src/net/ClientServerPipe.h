// The only meeting place of the UDP thread and the server thread for one client: sixteen
// queues of whole messages each way, each with its own lock, and the connection flags.
#pragma once
#include <cstdint>
#include <mutex>

#include "net/Packet.h"
#include "world/PointerStringList.h"

class PacketList : public PointerStringList<Packet> {
public:
    ~PacketList() override = default;
};

inline constexpr unsigned kChannelCount = 16;

class ClientServerPipe {
public:
    ClientServerPipe() = default;
    ClientServerPipe(const ClientServerPipe&) = delete;
    ClientServerPipe& operator=(const ClientServerPipe&) = delete;
    virtual ~ClientServerPipe() = default;

    // Server thread: queue a message for the client; the pipe owns it from here.
    void PushToClient(unsigned channel, Packet* packet);
    // Server thread: the oldest message from the client on a channel, or null.
    Packet* TakeToServer(unsigned channel);
    // UDP thread counterparts.
    void PushToServer(unsigned channel, Packet* packet);
    Packet* TakeToClient(unsigned channel);
    void SetUnackedCount(unsigned channel, uint32_t count);

    bool IsConnected();
    void SetDisconnected();
    bool IsStopSending();
    void SetStopSending();

    // Messages of channel 0 not yet acknowledged plus those still queued.
    uint32_t Backlog();

    bool m_bConnected = true;
    uint32_t m_uiUnackedCount[kChannelCount] = {};
    bool m_bStopSending = false;
    PacketList m_ToServer[kChannelCount];
    PacketList m_ToClient[kChannelCount];
    std::mutex m_ToServerLocks[kChannelCount];
    std::mutex m_ToClientLocks[kChannelCount];
    std::mutex m_PipeLock;
};
