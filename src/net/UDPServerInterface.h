// Owns the server's UDP socket and the UDP thread. Every datagram is matched to its peer by
// address and port; a new source address becomes a new peer and, through the factory the server
// hands in, a new client record on the server side.
#pragma once
#include <netinet/in.h>
#include <sys/socket.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <unordered_map>
#include <vector>

#include "base/Timer.h"
#include "platform/Event.h"

class ClientServerPipe;
class Socket2;
class UDPClient;

// Peers linked through themselves in an order of their own: appending one, taking one out and
// moving one to the back cost the same however many peers there are. Owns nothing.
class UDPPeerQueue {
public:
    UDPPeerQueue() = default;
    UDPPeerQueue(const UDPPeerQueue&) = delete;
    UDPPeerQueue& operator=(const UDPPeerQueue&) = delete;
    virtual ~UDPPeerQueue() = default;

    UDPClient* Front() const { return m_pFront; }
    size_t Length() const { return m_uiLength; }
    void PushBack(UDPClient* peer);
    void Remove(UDPClient* peer);
    void MoveToBack(UDPClient* peer);

    UDPClient* m_pFront = nullptr;
    UDPClient* m_pBack = nullptr;
    size_t m_uiLength = 0;
};

// Everything a peer's processing functions need from the interface.
struct UDPC_PID_Struct {
    int m_Socket = -1;
    uint8_t* m_pReceiveBuffer = nullptr;
    int32_t m_iReceivedLength = 0;
    // Where acknowledgements go out; null sends them straight on m_Socket.
    Socket2* m_pSocket2 = nullptr;
};

class UDPServerInterface {
public:
    // Creates the server-side clients of count new peers and stores their pipes in order;
    // returns how many it made (the rest are refused). Called on the UDP thread once for all the
    // new addresses of a receive batch, so that a flood of them costs one server-lock round trip
    // per batch rather than one per address; it takes the server lock itself.
    using CreatePipes = std::function<size_t(ClientServerPipe** pipes, size_t count)>;
    // A batch factory from one that makes a single pipe (null refuses); it stops at the first
    // refusal.
    static CreatePipes OneByOne(std::function<ClientServerPipe*()> createPipe);

    // Opens the socket, binds g_uiCurrentPort (retrying every 2 s), starts the thread. At most
    // maxPeers addresses are served at once.
    UDPServerInterface(CreatePipes createPipes, uint32_t maxPeers);
    // Stops the thread and closes the socket; the pipes of the peers still alive are marked
    // disconnected so that the server drops their clients.
    virtual ~UDPServerInterface();
    UDPServerInterface(const UDPServerInterface&) = delete;
    UDPServerInterface& operator=(const UDPServerInterface&) = delete;

    void ThreadRun();
    // Thread mode: waits up to timeoutMs for the server's tick event, or for a datagram while
    // the server thread rests. True when the tick event came.
    bool WaitForTickOrDatagram(int timeoutMs);
    // The server thread calls these around a rest: only then do datagrams wake this thread
    // between tick events.
    void BeginServerRest();
    void EndServerRest() { m_bServerResting.store(false); }
    // One pass: receive everything, then serve every peer.
    void Tick();

    // Datagrams of length >= 1 handled since start (read by benchmarks and tests).
    uint64_t DatagramsReceived() const { return m_uiDatagramsReceived.load(std::memory_order_relaxed); }
    // Peers dropped to make room for new addresses since start.
    uint64_t PeersEvicted() const { return m_uiPeersEvicted.load(std::memory_order_relaxed); }
    // UDP thread (or a test between lock-step passes).
    size_t PeerCount() const { return m_Players.Length() + m_Guests.Length(); }

    UDPC_PID_Struct m_Receive;
    CreatePipes m_CreatePipes;
    // Every live peer is in one of the two. Players are served first in each pass, so that a
    // flood of guests delays their resends and keep-alives last. A guest moves over at the first
    // pass that sees its player logged in; no peer goes back.
    UDPPeerQueue m_Players; // peers with a logged-in player
    UDPPeerQueue m_Guests;  // the others, longest silent first
    std::thread m_hThread;
    platform::Event m_hStopEvent;
    platform::Event m_hTickEvent;
    platform::Event m_hDoneEvent;
    // Set after a pass that gave the server something to look at: a message or an
    // acknowledgement came, or a peer was created or dropped. The server thread rests on it.
    platform::Event m_hIncomingEvent;
    // Set when the server thread begins a rest, so that a wait begun before it takes the socket in.
    platform::Event m_hRestEvent;
    std::atomic<bool> m_bServerResting{false};

private:
    // Returns false when the pass's receive budget ran out with datagrams still waiting.
    bool ReceiveAll();
    // Makes the peers of the batch's unknown source addresses, all in one call of the factory.
    void CreateNewPeers(const mmsghdr* messages, const sockaddr_in* sources, int count);
    void HandleDatagram(const sockaddr_in& from, uint8_t* data, int32_t length);
    UDPClient* FindPeer(uint64_t key);
    // Drops the peer that has been silent longest among those without a logged-in player, so
    // that a flood of source ports cannot lock real players out. False when every peer has one.
    bool EvictLongestIdleGuest();
    // Takes the peer out of its queue and the index and destroys it, which marks its pipe
    // disconnected.
    void RemovePeer(UDPClient* peer);
    void ServeQueue(UDPPeerQueue& queue, std::vector<UDPClient*>& finished);
    void ServeAll();

    uint32_t m_uiMaxPeers;
    std::unique_ptr<Socket2> m_pSender;
    // Peers by address and port.
    std::unordered_map<uint64_t, UDPClient*> m_PeerIndex;
    UDPClient* m_pLastPeer = nullptr;
    uint64_t m_uiLastKey = 0;
    std::vector<UDPClient*> m_Finished; // peers of the serve pass to destroy, reused
    bool m_bReceiveBudgetHit = false;
    bool m_bServerShouldLook = false; // this pass, for m_hIncomingEvent
    Timer m_GuestServeTimer;
    std::atomic<uint64_t> m_uiDatagramsReceived{0};
    std::atomic<uint64_t> m_uiPeersEvicted{0};
};
