#include "net/UDPClient.h"

#include <sys/socket.h>

#include <atomic>
#include <cstring>

#include "base/Settings.h"
#include "net/TransportCounters.h"
#include "net/UDPServerInterface.h"

namespace {

const uint8_t kKeepAliveDatagram[1] = {kUdpKindKeepAlive};

// Only the UDP thread changes it; readers elsewhere (statistics) may look at any time.
std::atomic<uint64_t> g_uiHeldBytesAllPeers{0};

// A resend rate of zero or less (or not a number) would make the period infinite; such a message
// is resent once an hour instead.
int64_t ResendPeriod(float rate) {
    constexpr double kSlowest = 1.0 / 3600.0;
    double r = double(rate);
    if (!(r >= kSlowest)) r = kSlowest;
    return int64_t(double(Timer::ms_frequency) / r);
}

void SendDirect(int socket, const sockaddr_in& to, const uint8_t* data, uint32_t length) {
    if (sendto(socket, data, length, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&to), sizeof to) >= 0)
        g_TransportCounters.CountOut(length);
}

} // namespace

uint64_t UdpHeldBytesAllPeers() { return g_uiHeldBytesAllPeers.load(std::memory_order_relaxed); }

bool UdpSeqInWindow(uint32_t expected, uint32_t s) {
    uint32_t upper = expected + 128;
    if (upper > 255) upper = expected - 128;
    if (expected < upper) return expected <= s && s <= upper;
    return s >= expected || s <= upper;
}

// ---- Socket2 -----------------------------------------------------------------------------------

Socket2::Socket2(int socket, bool batching) : m_Socket(socket), m_bBatching(batching) {}

Socket2::~Socket2() { Flush(); }

void Socket2::Send(const sockaddr_in& to, const uint8_t* data, uint32_t length) {
    ++m_uiDatagramsSent;
    if (!m_bBatching) {
        SendDirect(m_Socket, to, data, length);
        return;
    }
    if (m_uiQueued == kBatchSize) Flush();
    Queued& q = m_Queue[m_uiQueued++];
    q.to = to;
    q.data = data;
    q.length = length;
}

void Socket2::SendAck(const sockaddr_in& to, uint8_t kind, uint8_t seq) {
    ++m_uiDatagramsSent;
    if (!m_bBatching) {
        const uint8_t ack[2] = {kind, seq};
        SendDirect(m_Socket, to, ack, 2);
        return;
    }
    if (m_uiQueued == kBatchSize) Flush();
    Queued& q = m_Queue[m_uiQueued++];
    q.to = to;
    q.ack[0] = kind;
    q.ack[1] = seq;
    q.data = nullptr;
    q.length = 2;
}

void Socket2::Flush() {
    if (m_uiQueued == 0) return;
    mmsghdr messages[kBatchSize];
    iovec vectors[kBatchSize];
    for (unsigned i = 0; i < m_uiQueued; ++i) {
        Queued& q = m_Queue[i];
        vectors[i].iov_base = const_cast<uint8_t*>(q.data ? q.data : q.ack);
        vectors[i].iov_len = q.length;
        std::memset(&messages[i], 0, sizeof messages[i]);
        messages[i].msg_hdr.msg_name = &q.to;
        messages[i].msg_hdr.msg_namelen = sizeof q.to;
        messages[i].msg_hdr.msg_iov = &vectors[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    // A failed datagram is skipped: the reliable layer resends what matters.
    unsigned start = 0;
    while (start < m_uiQueued) {
        int sent = sendmmsg(m_Socket, messages + start, m_uiQueued - start, MSG_DONTWAIT);
        for (int i = 0; i < sent; ++i) g_TransportCounters.CountOut(messages[start + unsigned(i)].msg_len);
        start += sent > 0 ? unsigned(sent) : 1;
    }
    m_uiQueued = 0;
}

// ---- messages in flight --------------------------------------------------------------------------

UDPOutgoingPacket::UDPOutgoingPacket(uint8_t kind, uint32_t seq, const Packet& body)
    : m_ResendTimer(0.0f), m_uiSeq(seq), m_uiLength(body.Length() + 2), m_pDatagram(new uint8_t[body.Length() + 2]) {
    m_ResendTimer.m_iPeriod = ResendPeriod(body.m_fResendRate);
    m_pDatagram[0] = kind;
    m_pDatagram[1] = uint8_t(seq);
    if (body.Length()) std::memcpy(m_pDatagram + 2, body.Data(), body.Length());
}

UDPOutgoingPacket::~UDPOutgoingPacket() { delete[] m_pDatagram; }

// ---- the peer ------------------------------------------------------------------------------------

UDPClient::UDPClient(const sockaddr_in* address, ClientServerPipe* pipe)
    : m_IdleTimer(g_fPeerIdleSeconds), m_KeepAliveTimer(1.0f), m_Address(*address), m_pPipe(pipe) {
    std::memset(m_Address.sin_zero, 0, sizeof m_Address.sin_zero);
    for (unsigned c = 0; c < kChannelCount; ++c) m_Channels[c].m_ucDataKind = UdpDataKind(c);
}

UDPClient::~UDPClient() {
    g_uiHeldBytesAllPeers.fetch_sub(m_uiHeldBytes, std::memory_order_relaxed);
    m_pPipe->SetDisconnected();
}

void UDPClient::ProcessIncomingData(UDPC_PID_Struct* data) {
    m_IdleTimer.Restart();
    if (data->m_iReceivedLength < 1) return;
    const uint8_t kind = data->m_pReceiveBuffer[0];
    const bool longEnough = data->m_iReceivedLength >= 2;
    if (kind == kUdpKindData0) {
        if (longEnough) ProcessIncomingStandardData(data, 0);
    } else if (kind >= UdpDataKind(1) && kind <= UdpDataKind(kChannelCount - 1)) {
        if (longEnough) ProcessIncomingStandardData(data, kind - kUdpKindDataBase);
    } else if (kind == kUdpKindAck0) {
        if (longEnough) ProcessIncomingACKData(data, 0);
    } else if (kind >= UdpAckKind(1) && kind <= UdpAckKind(kChannelCount - 1)) {
        if (longEnough) ProcessIncomingACKData(data, kind - kUdpKindAckBase);
    } else if (kind == kUdpKindLeave) {
        m_bLeaving = true;
    }
}

void UDPClient::ProcessIncomingStandardData(UDPC_PID_Struct* data, unsigned int channel) {
    const uint8_t* bytes = data->m_pReceiveBuffer;
    const uint8_t s = bytes[1];
    // Every data datagram is acknowledged, duplicates too: that is how a lost acknowledgement
    // gets repaired by the next resend.
    if (!m_pPipe->IsStopSending()) {
        if (data->m_pSocket2)
            data->m_pSocket2->SendAck(m_Address, UdpAckKind(channel), s);
        else {
            const uint8_t ack[2] = {UdpAckKind(channel), s};
            SendDirect(data->m_Socket, m_Address, ack, 2);
        }
    }
    m_KeepAliveTimer.Restart();

    UDPChannelState& state = m_Channels[channel];
    if (!UdpSeqInWindow(state.m_uiExpectedSeq, s)) return;
    if (s != state.m_uiExpectedSeq) {
        // Only the first copy of a held number is ever delivered; keeping later copies would
        // let a peer grow the list without bound by repeating one number.
        for (UDPIncomingPacket* held : state.m_Held.m_Items)
            if (held->m_uiSeq == s) return;
    }
    const uint64_t length = uint64_t(data->m_iReceivedLength) - 2;
    if (s != state.m_uiExpectedSeq &&
        (m_uiHeldBytes + length > kMaxHeldBytesPerPeer || UdpHeldBytesAllPeers() + length > kMaxHeldBytesAllPeers))
        return;
    Packet* packet = new Packet;
    packet->AppendBytes(bytes + 2, size_t(length));
    if (s == state.m_uiExpectedSeq) {
        m_pPipe->PushToServer(channel, packet);
        state.m_uiExpectedSeq = (state.m_uiExpectedSeq + 1) & 255;
        // An early copy of this number may be held still (it came ahead of a gap that closed
        // within this pass): it is delivered now, and kept it would come out again as the
        // message 256 numbers on.
        for (size_t i = 0; i < state.m_Held.Length(); ++i)
            if (state.m_Held[i]->m_uiSeq == s) {
                delete TakeHeld(state, i);
                break;
            }
    } else {
        state.m_Held.Append(new UDPIncomingPacket(s, packet));
        ++m_uiHeldCount;
        m_uiHeldBytes += length;
        g_uiHeldBytesAllPeers.fetch_add(length, std::memory_order_relaxed);
    }
}

UDPIncomingPacket* UDPClient::TakeHeld(UDPChannelState& state, size_t i) {
    UDPIncomingPacket* held = state.m_Held.RemoveAt(i);
    --m_uiHeldCount;
    const uint64_t length = held->m_pPacket->Length();
    m_uiHeldBytes -= length;
    g_uiHeldBytesAllPeers.fetch_sub(length, std::memory_order_relaxed);
    return held;
}

void UDPClient::ProcessIncomingACKData(UDPC_PID_Struct* data, unsigned int channel) {
    UDPChannelState& state = m_Channels[channel];
    const uint8_t* bytes = data->m_pReceiveBuffer;
    for (int32_t i = 1; i < data->m_iReceivedLength; ++i) {
        const uint32_t n = bytes[i];
        UDPOutgoingPacketList& unacked = state.m_Unacked;
        size_t at = 0;
        while (at < unacked.Length() && unacked[at]->m_uiSeq != n) ++at;
        if (at == unacked.Length()) continue;
        unacked.DeleteAt(at);
        --m_uiUnackedCount;
        m_pPipe->SetUnackedCount(channel, uint32_t(unacked.Length()));

        while (state.m_uiWindowBase != state.m_uiWindowEnd) {
            const uint32_t next = (state.m_uiWindowBase + 1) & 255;
            bool outstanding = false;
            for (UDPOutgoingPacket* p : unacked.m_Items)
                if (p->m_uiSeq == next) {
                    outstanding = true;
                    break;
                }
            if (outstanding) break;
            state.m_uiWindowBase = next;
        }
    }
}

void UDPClient::Tick_PreSend(Socket2* socket) {
    if (!m_pPipe->AnyOutboundWaiting()) return;
    const uint32_t limit = g_uiUdpSendBufferLimit;
    for (unsigned c = 0; c < kChannelCount; ++c) {
        UDPChannelState& state = m_Channels[c];
        if (state.m_Unacked.Length() > limit) continue;
        for (;;) {
            if (((state.m_uiWindowEnd + 1) & 255) == state.m_uiWindowBase) break;
            int span = int(state.m_uiWindowEnd) - int(state.m_uiWindowBase);
            if (span < 0) span += 256;
            if (uint32_t(span) > limit) break;
            Packet* packet = m_pPipe->TakeToClient(c);
            if (!packet) break;
            if (packet->Empty()) {
                delete packet;
                continue;
            }
            UDPOutgoingPacket* out = new UDPOutgoingPacket(state.m_ucDataKind, state.m_uiNextSeq, *packet);
            state.m_Unacked.Append(out);
            ++m_uiUnackedCount;
            delete packet;
            Tick_SendThisPacket(socket, out);
            state.m_uiNextSeq = (state.m_uiNextSeq + 1) & 255;
            state.m_uiWindowEnd = (state.m_uiWindowEnd + 1) & 255;
            m_pPipe->SetUnackedCount(c, uint32_t(state.m_Unacked.Length()));
            if (state.m_Unacked.Length() > limit) break;
        }
    }
}

void UDPClient::Tick_SendThisPacket(Socket2* socket, UDPOutgoingPacket* packet) {
    if (!m_pPipe->IsStopSending()) socket->Send(m_Address, packet->m_pDatagram, packet->m_uiLength);
    m_KeepAliveTimer.Restart();
    packet->m_ResendTimer.Restart();
}

void UDPClient::Tick_SendNewPacket(Socket2* socket) {
    for (UDPChannelState& state : m_Channels)
        for (UDPOutgoingPacket* packet : state.m_Unacked.m_Items)
            if (packet->m_ResendTimer.HasElapsed()) Tick_SendThisPacket(socket, packet);
}

void UDPClient::Tick_SendKeepAlive(Socket2* socket) {
    // The timer first: it is due once a second, the flag costs a lock.
    if (!m_KeepAliveTimer.HasElapsed()) return;
    if (m_pPipe->IsStopSending()) return;
    m_KeepAliveTimer.Restart();
    socket->Send(m_Address, kKeepAliveDatagram, 1);
}

void UDPClient::Tick_PostReceive() {
    for (unsigned c = 0; c < kChannelCount; ++c) {
        UDPChannelState& state = m_Channels[c];
        while (!state.m_Held.Empty()) {
            bool found = false;
            for (size_t i = 0; i < state.m_Held.Length();) {
                if (state.m_Held[i]->m_uiSeq != state.m_uiExpectedSeq) {
                    ++i;
                    continue;
                }
                UDPIncomingPacket* held = TakeHeld(state, i);
                if (!found) {
                    m_pPipe->PushToServer(c, held->m_pPacket);
                    held->m_pPacket = nullptr;
                    found = true;
                }
                delete held;
            }
            if (!found) break;
            state.m_uiExpectedSeq = (state.m_uiExpectedSeq + 1) & 255;
        }
    }
}

void UDPClient::Serve(Socket2* socket) {
    Tick_PreSend(socket);
    // A peer with nothing in flight and nothing held (every guest of a flood) skips the walks
    // over its sixteen channels.
    if (m_uiUnackedCount) Tick_SendNewPacket(socket);
    Tick_SendKeepAlive(socket);
    if (m_uiHeldCount) Tick_PostReceive();
}

bool UDPClient::IsFinished() { return m_bLeaving || m_IdleTimer.HasElapsed(); }
