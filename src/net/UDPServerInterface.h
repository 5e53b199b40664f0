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

#include "base/PointerStringList.h"
#include "platform/Event.h"

class ClientServerPipe;
class Socket2;
class UDPClient;

class UDPClientList : public PointerStringList<UDPClient> {
public:
    ~UDPClientList() override = default;
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
    // Creates the server-side client for a new peer and returns its pipe (null refuses the
    // peer). Called on the UDP thread; it takes the server lock itself.
    using CreatePipe = std::function<ClientServerPipe*()>;

    // Opens the socket, binds g_uiCurrentPort (retrying every 2 s), starts the thread. At most
    // maxPeers addresses are served at once.
    UDPServerInterface(CreatePipe createPipe, uint32_t maxPeers);
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

    UDPC_PID_Struct m_Receive;
    CreatePipe m_CreatePipe;
    UDPClientList m_Peers;
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
    void HandleDatagram(const sockaddr_in& from, uint8_t* data, int32_t length);
    UDPClient* FindOrCreatePeer(const sockaddr_in& from);
    // Drops the peer that has been silent longest among those without a logged-in player, so
    // that a flood of source ports cannot lock real players out. False when every peer has one.
    bool EvictLongestIdleGuest();
    void RemovePeer(UDPClient* peer);
    void ServeAll();

    uint32_t m_uiMaxPeers;
    std::unique_ptr<Socket2> m_pSender;
    // Peers by address and port; m_Peers keeps the creation order the serve pass walks.
    std::unordered_map<uint64_t, UDPClient*> m_PeerIndex;
    UDPClient* m_pLastPeer = nullptr;
    uint64_t m_uiLastKey = 0;
    std::vector<uint8_t> m_Finished; // per peer of the serve pass, reused
    bool m_bReceiveBudgetHit = false;
    bool m_bServerShouldLook = false; // this pass, for m_hIncomingEvent
    std::atomic<uint64_t> m_uiDatagramsReceived{0};
    std::atomic<uint64_t> m_uiPeersEvicted{0};
};
