#include "net/UDPServerInterface.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <system_error>

#include "base/Settings.h"
#include "base/Timer.h"
#include "net/TransportCounters.h"
#include "net/UDPClient.h"
#include "platform/Console.h"
#include "platform/Process.h"
#include "platform/Signals.h"

namespace {

constexpr size_t kReceiveBufferSize = 65536;
// Datagrams taken from the socket per system call.
constexpr unsigned kReceiveBatch = 32;
// A pass stops receiving after this many datagrams so that a flood cannot starve the serve
// half (resends, keep-alives, held messages); the next pass follows without waiting. Kept small:
// the server thread waits for the UDP thread's pass after each of its own, and it gives one
// player its update per pass, so a long pass slows every player's update cadence.
constexpr uint64_t kReceiveBudgetPerPass = 256;
// Past this many guests (a flood's thousands) they are served at most every
// kGuestServeSecondsWhenMany instead of in every pass: the walk over them would take most of a
// pass, and their keep-alives, resends and time-outs run on periods of a second or more.
constexpr size_t kGuestsServedEveryPass = 256;
constexpr float kGuestServeSecondsWhenMany = 0.02f;
// Room for the datagrams of many clients that arrive while the thread waits between passes.
constexpr int kSocketReceiveBytes = 4 << 20;
// In thread mode a pass runs at least this often, tick event or not.
constexpr int kThreadModePassMs = 33;

uint64_t PeerKey(const sockaddr_in& address) { return (uint64_t(address.sin_addr.s_addr) << 16) | address.sin_port; }

// An empty datagram carries nothing, not even a sign of life; only IPv4 sources are peers.
bool Usable(const mmsghdr& message, const sockaddr_in& source) {
    return message.msg_len != 0 && message.msg_hdr.msg_namelen == sizeof(sockaddr_in) && source.sin_family == AF_INET;
}

bool BindPort(int socket) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(uint16_t(g_uiCurrentPort));
    return bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

void EnlargeReceiveBuffer(int socket) {
    int bytes = kSocketReceiveBytes;
    // The forced variant passes the system's cap when the server may; otherwise take what the
    // cap allows.
    if (setsockopt(socket, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof bytes) != 0)
        setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
}

void WaitTwoSecondsUnlessShutdown() {
    Timer wait(2.0f);
    while (!wait.HasElapsed() && !platform::ShutdownRequested())
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
}

} // namespace

// ---- UDPPeerQueue ----------------------------------------------------------------------------------

void UDPPeerQueue::PushBack(UDPClient* peer) {
    peer->m_pQueuePrev = m_pBack;
    peer->m_pQueueNext = nullptr;
    if (m_pBack)
        m_pBack->m_pQueueNext = peer;
    else
        m_pFront = peer;
    m_pBack = peer;
    ++m_uiLength;
}

void UDPPeerQueue::Remove(UDPClient* peer) {
    if (peer->m_pQueuePrev)
        peer->m_pQueuePrev->m_pQueueNext = peer->m_pQueueNext;
    else
        m_pFront = peer->m_pQueueNext;
    if (peer->m_pQueueNext)
        peer->m_pQueueNext->m_pQueuePrev = peer->m_pQueuePrev;
    else
        m_pBack = peer->m_pQueuePrev;
    peer->m_pQueuePrev = peer->m_pQueueNext = nullptr;
    --m_uiLength;
}

void UDPPeerQueue::MoveToBack(UDPClient* peer) {
    if (peer == m_pBack) return;
    Remove(peer);
    PushBack(peer);
}

// ---- UDPServerInterface ------------------------------------------------------------------------------

UDPServerInterface::CreatePipes UDPServerInterface::OneByOne(std::function<ClientServerPipe*()> createPipe) {
    return [createPipe = std::move(createPipe)](ClientServerPipe** pipes, size_t count) {
        size_t made = 0;
        while (made < count && (pipes[made] = createPipe()) != nullptr) ++made;
        return made;
    };
}

UDPServerInterface::UDPServerInterface(CreatePipes createPipes, uint32_t maxPeers)
    : m_CreatePipes(std::move(createPipes)), m_uiMaxPeers(maxPeers), m_GuestServeTimer(kGuestServeSecondsWhenMany) {
    m_Receive.m_Socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_Receive.m_Socket < 0) {
        platform::ConsolePrintf("socket() failed: %s\n", strerror(errno));
        platform::TerminateProcess(1);
    }
    EnlargeReceiveBuffer(m_Receive.m_Socket);

    // Nothing ends the retries but a shutdown request, so that a server restarted while its
    // predecessor still holds the port comes up as soon as the port is free.
    int attemptsLeft = 5;
    while (!BindPort(m_Receive.m_Socket) && !platform::ShutdownRequested()) {
        --attemptsLeft;
        platform::ConsolePrintf("bind() did not work... trying again in 2 seconds.  (%d attempts left)\n",
                                attemptsLeft);
        WaitTwoSecondsUnlessShutdown();
    }
    fcntl(m_Receive.m_Socket, F_SETFL, fcntl(m_Receive.m_Socket, F_GETFL) | O_NONBLOCK);
    m_Receive.m_pReceiveBuffer = new uint8_t[kReceiveBufferSize * kReceiveBatch];
    m_pSender = std::make_unique<Socket2>(m_Receive.m_Socket, true);
    m_Receive.m_pSocket2 = m_pSender.get();

    try {
        m_hThread = std::thread([this] { ThreadRun(); });
    } catch (const std::system_error&) {
        platform::ConsolePrintf("Could not start the UDP thread.\n");
        platform::TerminateProcess(1);
    }
    // Lets the operator tell the thread apart in top and perf.
    pthread_setname_np(m_hThread.native_handle(), "qv-udp");
}

UDPServerInterface::~UDPServerInterface() {
    m_hStopEvent.Set();
    m_hTickEvent.Set();
    if (m_hThread.joinable()) m_hThread.join();
    m_pSender->Flush();
    // Each peer's destructor marks its pipe disconnected, so the server drops the clients of a
    // transport that is gone instead of keeping them forever.
    for (UDPPeerQueue* queue : {&m_Players, &m_Guests})
        while (UDPClient* peer = queue->Front()) {
            queue->Remove(peer);
            delete peer;
        }
    m_PeerIndex.clear();
    delete[] m_Receive.m_pReceiveBuffer;
    close(m_Receive.m_Socket);
}

void UDPServerInterface::ThreadRun() {
    for (;;) {
        if (m_hStopEvent.IsSet()) return;
        if (g_bUDPThreadMode) {
            if (WaitForTickOrDatagram(m_bReceiveBudgetHit ? 0 : kThreadModePassMs)) {
                m_hTickEvent.Reset();
                Tick();
                m_hDoneEvent.Set();
            } else {
                Tick();
            }
        } else {
            m_hTickEvent.Wait(-1);
            if (m_hStopEvent.IsSet()) return;
            m_hTickEvent.Reset();
            Tick();
            m_hDoneEvent.Set();
        }
    }
}

bool UDPServerInterface::WaitForTickOrDatagram(int timeoutMs) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (m_hTickEvent.IsSet()) return true;
        // A busy server hands over a tick event after each pass, and passes for each datagram
        // would only compete with it for the cores. A resting one sends none, so then the socket
        // wakes the thread; the time-out keeps resends and keep-alives on their time.
        m_hRestEvent.Reset();
        const int socket = m_bServerResting.load() ? m_Receive.m_Socket : -1;
        const auto left = until - std::chrono::steady_clock::now();
        if (left <= std::chrono::steady_clock::duration::zero()) return false;
        platform::WaitUntilReadable({m_hTickEvent.Fd(), socket, m_hRestEvent.Fd()},
                                    std::chrono::ceil<std::chrono::microseconds>(left));
        if (!m_hRestEvent.IsSet()) return m_hTickEvent.IsSet();
    }
}

void UDPServerInterface::BeginServerRest() {
    m_bServerResting.store(true);
    m_hRestEvent.Set();
}

void UDPServerInterface::Tick() {
    m_bReceiveBudgetHit = !ReceiveAll();
    ServeAll();
    if (m_bServerShouldLook) {
        m_bServerShouldLook = false;
        m_hIncomingEvent.Set();
    }
}

bool UDPServerInterface::ReceiveAll() {
    mmsghdr messages[kReceiveBatch];
    iovec vectors[kReceiveBatch];
    sockaddr_in sources[kReceiveBatch];
    for (unsigned i = 0; i < kReceiveBatch; ++i) {
        vectors[i].iov_base = m_Receive.m_pReceiveBuffer + i * kReceiveBufferSize;
        vectors[i].iov_len = kReceiveBufferSize;
    }
    uint64_t received = 0;
    while (received < kReceiveBudgetPerPass) {
        for (unsigned i = 0; i < kReceiveBatch; ++i) {
            std::memset(&messages[i].msg_hdr, 0, sizeof messages[i].msg_hdr);
            messages[i].msg_hdr.msg_name = &sources[i];
            messages[i].msg_hdr.msg_namelen = sizeof sources[i];
            messages[i].msg_hdr.msg_iov = &vectors[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
        // An empty queue and every error alike end the receiving of this pass.
        int count = recvmmsg(m_Receive.m_Socket, messages, kReceiveBatch, MSG_DONTWAIT, nullptr);
        if (count <= 0) return true;
        CreateNewPeers(messages, sources, count);
        for (int i = 0; i < count; ++i) {
            g_TransportCounters.CountIn(messages[i].msg_len);
            if (Usable(messages[i], sources[i]))
                HandleDatagram(sources[i], static_cast<uint8_t*>(vectors[i].iov_base), int32_t(messages[i].msg_len));
        }
        m_pSender->Flush();
        received += uint64_t(count);
    }
    return false;
}

void UDPServerInterface::CreateNewPeers(const mmsghdr* messages, const sockaddr_in* sources, int count) {
    const sockaddr_in* fresh[kReceiveBatch];
    uint64_t freshKeys[kReceiveBatch];
    size_t freshCount = 0;
    for (int i = 0; i < count; ++i) {
        if (!Usable(messages[i], sources[i])) continue;
        const uint64_t key = PeerKey(sources[i]);
        if (UDPClient* known = FindPeer(key)) {
            // Heard now: a guest with a datagram in this batch is not the one to evict for it.
            if (known->m_bGuest) m_Guests.MoveToBack(known);
            continue;
        }
        bool repeated = false;
        for (size_t j = 0; j < freshCount && !repeated; ++j) repeated = freshKeys[j] == key;
        if (repeated) continue;
        fresh[freshCount] = &sources[i];
        freshKeys[freshCount++] = key;
    }
    if (freshCount == 0) return;
    // The server may refuse addresses (its client table is full): only those it took make room
    // by evicting, so that a refusal costs no guest its place.
    ClientServerPipe* pipes[kReceiveBatch];
    const size_t made = m_CreatePipes(pipes, freshCount);
    if (made != 0) m_bServerShouldLook = true;
    for (size_t j = 0; j < made; ++j) {
        if (PeerCount() >= m_uiMaxPeers && !EvictLongestIdleGuest()) {
            // Every peer has a player: the record goes back, dropped on the server's next pass.
            pipes[j]->SetDisconnected();
            continue;
        }
        UDPClient* peer = new UDPClient(fresh[j], pipes[j]);
        m_Guests.PushBack(peer);
        m_PeerIndex.emplace(freshKeys[j], peer);
    }
}

void UDPServerInterface::HandleDatagram(const sockaddr_in& from, uint8_t* data, int32_t length) {
    // Null: the address was refused a client, or its peer was evicted within this batch.
    UDPClient* peer = FindPeer(PeerKey(from));
    if (!peer) return;
    // A keep-alive only keeps the peer alive; anything else may be a message, an acknowledgement
    // that lets the server send more, or a leave.
    if (data[0] != kUdpKindKeepAlive) m_bServerShouldLook = true;
    m_uiDatagramsReceived.fetch_add(1, std::memory_order_relaxed);
    UDPC_PID_Struct record;
    record.m_Socket = m_Receive.m_Socket;
    record.m_pReceiveBuffer = data;
    record.m_iReceivedLength = length;
    record.m_pSocket2 = m_pSender.get();
    m_Receive.m_iReceivedLength = length;
    peer->ProcessIncomingData(&record);
}

UDPClient* UDPServerInterface::FindPeer(uint64_t key) {
    if (m_pLastPeer && key == m_uiLastKey) return m_pLastPeer;
    auto found = m_PeerIndex.find(key);
    if (found == m_PeerIndex.end()) return nullptr;
    m_pLastPeer = found->second;
    m_uiLastKey = key;
    return m_pLastPeer;
}

bool UDPServerInterface::EvictLongestIdleGuest() {
    // Guests whose player logged in since the last pass are not guests any more: they move over
    // here instead, each once.
    while (UDPClient* oldest = m_Guests.Front()) {
        if (oldest->m_pPipe->HasPlayerLoggedIn()) {
            m_Guests.Remove(oldest);
            oldest->m_bGuest = false;
            m_Players.PushBack(oldest);
            continue;
        }
        RemovePeer(oldest);
        m_uiPeersEvicted.fetch_add(1, std::memory_order_relaxed);
        return true;
    }
    return false;
}

void UDPServerInterface::RemovePeer(UDPClient* peer) {
    (peer->m_bGuest ? m_Guests : m_Players).Remove(peer);
    m_PeerIndex.erase(PeerKey(peer->m_Address));
    if (m_pLastPeer == peer) m_pLastPeer = nullptr;
    m_bServerShouldLook = true;
    // Its pipe is marked disconnected: the server drops the client record on its next pass.
    delete peer;
}

void UDPServerInterface::ServeQueue(UDPPeerQueue& queue, std::vector<UDPClient*>& finished) {
    for (UDPClient* peer = queue.Front(); peer;) {
        UDPClient* next = peer->m_pQueueNext;
        if (peer->IsFinished()) {
            finished.push_back(peer);
        } else {
            if (peer->m_bGuest && peer->m_pPipe->HasPlayerLoggedIn()) {
                m_Guests.Remove(peer);
                peer->m_bGuest = false;
                m_Players.PushBack(peer);
            }
            peer->Serve(m_pSender.get());
        }
        peer = next;
    }
}

void UDPServerInterface::ServeAll() {
    m_Finished.clear();
    // A guest promoted while its queue is walked lands behind the players already served.
    ServeQueue(m_Players, m_Finished);
    if (m_Guests.Length() <= kGuestsServedEveryPass || m_GuestServeTimer.HasElapsed()) {
        m_GuestServeTimer.Restart();
        ServeQueue(m_Guests, m_Finished);
    }
    // The batched sends still point into the served peers' datagrams; finished peers sent
    // nothing this pass, but go only after the flush all the same.
    m_pSender->Flush();
    for (UDPClient* peer : m_Finished) RemovePeer(peer);
}
