// The only meeting place of the UDP thread and the server thread for one client: sixteen
// queues of whole messages each way, each with its own lock, and the connection flags.
#pragma once
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "net/Packet.h"

// An owning queue of messages. A pipe has 32 of them and most stay empty for the client's whole
// life, so an empty queue allocates nothing; taken slots at the front are reclaimed once they
// make up half of the storage, which keeps both ends amortised constant time.
class PacketList {
public:
    PacketList() = default;
    PacketList(const PacketList&) = delete;
    PacketList& operator=(const PacketList&) = delete;
    virtual ~PacketList() { DeleteAll(); }

    size_t Length() const { return m_Items.size() - m_uiHead; }
    bool Empty() const { return Length() == 0; }
    Packet* Front() const { return m_Items[m_uiHead]; }
    Packet* operator[](size_t i) const { return m_Items[m_uiHead + i]; }
    auto begin() const { return m_Items.begin() + std::ptrdiff_t(m_uiHead); }
    auto end() const { return m_Items.end(); }

    void Append(Packet* packet) { m_Items.push_back(packet); }
    // Ownership passes to the caller.
    Packet* RemoveFront() {
        Packet* packet = m_Items[m_uiHead++];
        if (m_uiHead == m_Items.size()) {
            m_Items.clear();
            m_uiHead = 0;
        } else if (m_uiHead >= 32 && m_uiHead * 2 >= m_Items.size()) {
            m_Items.erase(m_Items.begin(), m_Items.begin() + std::ptrdiff_t(m_uiHead));
            m_uiHead = 0;
        }
        return packet;
    }
    void DeleteAll() {
        for (size_t i = m_uiHead; i < m_Items.size(); ++i) delete m_Items[i];
        m_Items.clear();
        m_uiHead = 0;
    }

private:
    std::vector<Packet*> m_Items;
    size_t m_uiHead = 0;
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
    // Messages from the client not yet taken, over all channels: the server thread passes over
    // a quiet client without taking its sixteen locks. A message pushed meanwhile is seen on
    // the next look.
    bool AnyInboundWaiting() const { return m_uiInboundWaiting.load(std::memory_order_acquire) != 0; }
    Packet* TakeToClient(unsigned channel);
    // Messages for the client not yet taken, over all channels: the UDP thread passes over a
    // peer with nothing to send without taking its sixteen locks (thousands of silent peers in a
    // flood). A message pushed meanwhile is seen on the next pass.
    bool AnyOutboundWaiting() const { return m_uiOutboundWaiting.load(std::memory_order_acquire) != 0; }
    // Messages ever queued for the client: the server thread tells from it whether a turn of
    // its own handed anything over.
    uint64_t MessagesPushedToClient() const { return m_uiPushedToClient.load(std::memory_order_relaxed); }
    void SetUnackedCount(unsigned channel, uint32_t count);
    uint32_t UnackedCount(unsigned channel);

    bool IsConnected();
    void SetDisconnected();
    bool IsStopSending();
    void SetStopSending();
    // Server thread: a player logged in through this pipe. The transport never evicts such a
    // peer to make room for a new address.
    void MarkPlayerLoggedIn() { m_bPlayerLoggedIn.store(true, std::memory_order_release); }
    bool HasPlayerLoggedIn() const { return m_bPlayerLoggedIn.load(std::memory_order_acquire); }

    // Messages of a channel not yet acknowledged plus those still queued; channel 0 throttles
    // the updates, channel 3 the texture stream.
    uint32_t Backlog(unsigned channel = 0);

    // Written under m_PipeLock; read without it, since the server thread asks every client in
    // every pass and the UDP thread asks at every datagram.
    std::atomic<bool> m_bConnected{true};
    uint32_t m_uiUnackedCount[kChannelCount] = {};
    std::atomic<bool> m_bStopSending{false};
    PacketList m_ToServer[kChannelCount];
    PacketList m_ToClient[kChannelCount];
    std::mutex m_ToServerLocks[kChannelCount];
    std::mutex m_ToClientLocks[kChannelCount];
    std::mutex m_PipeLock;
    std::atomic<uint32_t> m_uiInboundWaiting{0};
    std::atomic<uint32_t> m_uiOutboundWaiting{0};
    std::atomic<uint64_t> m_uiPushedToClient{0};
    std::atomic<bool> m_bPlayerLoggedIn{false};
};
