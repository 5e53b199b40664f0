#include "net/ClientServerPipe.h"

// A channel number out of range is a caller's mistake; the message is dropped rather than
// written past the sixteen queues.

void ClientServerPipe::PushToClient(unsigned channel, Packet* packet) {
    if (channel >= kChannelCount) {
        delete packet;
        return;
    }
    std::lock_guard<std::mutex> lock(m_ToClientLocks[channel]);
    m_ToClient[channel].Append(packet);
    m_uiOutboundWaiting.fetch_add(1, std::memory_order_release);
    m_uiPushedToClient.fetch_add(1, std::memory_order_relaxed);
}

Packet* ClientServerPipe::TakeToServer(unsigned channel) {
    if (channel >= kChannelCount) return nullptr;
    std::lock_guard<std::mutex> lock(m_ToServerLocks[channel]);
    if (m_ToServer[channel].Empty()) return nullptr;
    m_uiInboundWaiting.fetch_sub(1, std::memory_order_relaxed);
    return m_ToServer[channel].RemoveFront();
}

void ClientServerPipe::PushToServer(unsigned channel, Packet* packet) {
    if (channel >= kChannelCount) {
        delete packet;
        return;
    }
    std::lock_guard<std::mutex> lock(m_ToServerLocks[channel]);
    m_ToServer[channel].Append(packet);
    m_uiInboundWaiting.fetch_add(1, std::memory_order_release);
}

Packet* ClientServerPipe::TakeToClient(unsigned channel) {
    if (channel >= kChannelCount) return nullptr;
    std::lock_guard<std::mutex> lock(m_ToClientLocks[channel]);
    if (m_ToClient[channel].Empty()) return nullptr;
    m_uiOutboundWaiting.fetch_sub(1, std::memory_order_relaxed);
    return m_ToClient[channel].RemoveFront();
}

void ClientServerPipe::SetUnackedCount(unsigned channel, uint32_t count) {
    if (channel >= kChannelCount) return;
    std::lock_guard<std::mutex> lock(m_ToClientLocks[channel]);
    m_uiUnackedCount[channel] = count;
}

uint32_t ClientServerPipe::UnackedCount(unsigned channel) {
    if (channel >= kChannelCount) return 0;
    std::lock_guard<std::mutex> lock(m_ToClientLocks[channel]);
    return m_uiUnackedCount[channel];
}

bool ClientServerPipe::IsConnected() { return m_bConnected.load(std::memory_order_acquire); }

void ClientServerPipe::SetDisconnected() {
    std::lock_guard<std::mutex> lock(m_PipeLock);
    m_bConnected.store(false, std::memory_order_release);
}

bool ClientServerPipe::IsStopSending() { return m_bStopSending.load(std::memory_order_acquire); }

void ClientServerPipe::SetStopSending() {
    std::lock_guard<std::mutex> lock(m_PipeLock);
    m_bStopSending.store(true, std::memory_order_release);
}

uint32_t ClientServerPipe::Backlog(unsigned channel) {
    if (channel >= kChannelCount) return 0;
    std::lock_guard<std::mutex> lock(m_ToClientLocks[channel]);
    return m_uiUnackedCount[channel] + uint32_t(m_ToClient[channel].Length());
}
