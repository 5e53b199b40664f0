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
// half (resends, keep-alives, held messages); the next pass follows without waiting.
constexpr uint64_t kReceiveBudgetPerPass = 16384;
// Room for the datagrams of many clients that arrive while the thread waits between passes.
constexpr int kSocketReceiveBytes = 4 << 20;
// In thread mode a pass runs at least this often, tick event or not.
constexpr int kThreadModePassMs = 33;

uint64_t PeerKey(const sockaddr_in& address) { return (uint64_t(address.sin_addr.s_addr) << 16) | address.sin_port; }

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

UDPServerInterface::UDPServerInterface(CreatePipe createPipe, uint32_t maxPeers)
    : m_CreatePipe(std::move(createPipe)), m_uiMaxPeers(maxPeers) {
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
    m_Peers.DeleteAll();
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
        for (int i = 0; i < count; ++i) {
            g_TransportCounters.CountIn(messages[i].msg_len);
            // An empty datagram carries nothing, not even a sign of life.
            if (messages[i].msg_len == 0 || messages[i].msg_hdr.msg_namelen != sizeof(sockaddr_in) ||
                sources[i].sin_family != AF_INET)
                continue;
            HandleDatagram(sources[i], static_cast<uint8_t*>(vectors[i].iov_base), int32_t(messages[i].msg_len));
        }
        m_pSender->Flush();
        received += uint64_t(count);
    }
    return false;
}

void UDPServerInterface::HandleDatagram(const sockaddr_in& from, uint8_t* data, int32_t length) {
    UDPClient* peer = PeerKey(from) == m_uiLastKey && m_pLastPeer ? m_pLastPeer : FindOrCreatePeer(from);
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

UDPClient* UDPServerInterface::FindOrCreatePeer(const sockaddr_in& from) {
    const uint64_t key = PeerKey(from);
    auto found = m_PeerIndex.find(key);
    UDPClient* peer = nullptr;
    if (found != m_PeerIndex.end()) {
        peer = found->second;
    } else {
        if (m_Peers.Length() >= m_uiMaxPeers && !EvictLongestIdleGuest()) return nullptr;
        ClientServerPipe* pipe = m_CreatePipe();
        if (!pipe) return nullptr;
        peer = new UDPClient(&from, pipe);
        m_bServerShouldLook = true;
        m_Peers.Append(peer);
        m_PeerIndex.emplace(key, peer);
    }
    m_pLastPeer = peer;
    m_uiLastKey = key;
    return peer;
}

bool UDPServerInterface::EvictLongestIdleGuest() {
    UDPClient* oldest = nullptr;
    for (UDPClient* peer : m_Peers)
        if (!peer->m_pPipe->HasPlayerLoggedIn() &&
            (!oldest || peer->m_IdleTimer.m_iStart < oldest->m_IdleTimer.m_iStart))
            oldest = peer;
    if (!oldest) return false;
    RemovePeer(oldest);
    m_uiPeersEvicted.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void UDPServerInterface::RemovePeer(UDPClient* peer) {
    for (size_t i = 0; i < m_Peers.Length(); ++i)
        if (m_Peers[i] == peer) {
            m_Peers.RemoveAt(i);
            break;
        }
    m_PeerIndex.erase(PeerKey(peer->m_Address));
    if (m_pLastPeer == peer) m_pLastPeer = nullptr;
    m_bServerShouldLook = true;
    // Its pipe is marked disconnected: the server drops the client record on its next pass.
    delete peer;
}

void UDPServerInterface::ServeAll() {
    bool anyFinished = false;
    m_Finished.assign(m_Peers.Length(), 0);
    size_t index = 0;
    for (UDPClient* peer : m_Peers) {
        if (peer->IsFinished()) {
            m_Finished[index] = 1;
            anyFinished = true;
        } else {
            peer->Serve(m_pSender.get());
        }
        ++index;
    }
    m_pSender->Flush();
    if (!anyFinished) return;

    m_bServerShouldLook = true;
    m_pLastPeer = nullptr;
    UDPClientList kept;
    index = 0;
    for (UDPClient* peer : m_Peers) {
        if (m_Finished[index++]) {
            m_PeerIndex.erase(PeerKey(peer->m_Address));
            delete peer;
        } else {
            kept.Append(peer);
        }
    }
    m_Peers.ReleaseAll();
    for (UDPClient* peer : kept) m_Peers.Append(peer);
    kept.ReleaseAll();
}
