#include "lossy_relay/LossyRelay.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

namespace {

// A held datagram goes on by itself after this long, so that the last one is never stuck.
constexpr int64_t kHoldNanoseconds = 5'000'000;

int64_t Now() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

int LoopbackSocket(uint16_t* port) {
    int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (s < 0) return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(s, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(s, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(s);
        return -1;
    }
    int bytes = 4 << 20;
    setsockopt(s, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes);
    if (port) *port = ntohs(address.sin_port);
    return s;
}

void SendTo(int socket, const sockaddr_in& to, const void* data, size_t length) {
    sendto(socket, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

} // namespace

LossyRelay::LossyRelay(uint16_t serverPort, Rates rates, uint32_t seed) : m_Rates(rates), m_Random(seed) {
    m_Server.sin_family = AF_INET;
    m_Server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_Server.sin_port = htons(serverPort);
    m_ClientSide = LoopbackSocket(&m_uiClientPort);
    m_ServerSide = LoopbackSocket(nullptr);
    if (Ok()) m_Thread = std::thread([this] { Run(); });
}

LossyRelay::~LossyRelay() {
    Stop();
    if (m_ClientSide >= 0) close(m_ClientSide);
    if (m_ServerSide >= 0) close(m_ServerSide);
}

void LossyRelay::Stop() {
    m_bStop = true;
    if (m_Thread.joinable()) m_Thread.join();
}

void LossyRelay::Run() {
    std::vector<uint8_t> buffer(65536);
    pollfd fds[2] = {{m_ClientSide, POLLIN, 0}, {m_ServerSide, POLLIN, 0}};
    while (!m_bStop) {
        poll(fds, 2, 2);
        for (;;) {
            sockaddr_in from{};
            socklen_t fromLength = sizeof from;
            ssize_t n = recvfrom(m_ClientSide, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&from),
                                 &fromLength);
            if (n < 0) break;
            m_Client = from;
            m_bClientKnown = true;
            Forward(m_ServerSide, m_Server, buffer.data(), size_t(n), m_HeldToServer);
        }
        for (;;) {
            ssize_t n = recv(m_ServerSide, buffer.data(), buffer.size(), 0);
            if (n < 0) break;
            if (m_bClientKnown) Forward(m_ClientSide, m_Client, buffer.data(), size_t(n), m_HeldToClient);
        }
        const int64_t now = Now();
        FlushStale(m_ServerSide, m_Server, m_HeldToServer, now);
        if (m_bClientKnown) FlushStale(m_ClientSide, m_Client, m_HeldToClient, now);
    }
}

void LossyRelay::Forward(int socket, const sockaddr_in& to, const uint8_t* data, size_t length, Held& held) {
    std::uniform_real_distribution<double> dice(0.0, 1.0);
    if (dice(m_Random) < m_Rates.drop) {
        ++m_uiDropped;
        return;
    }
    if (held.bytes.empty() && dice(m_Random) < m_Rates.reorder) {
        held.bytes.assign(data, data + length);
        held.since = Now();
        ++m_uiReordered;
        return;
    }
    SendTo(socket, to, data, length);
    ++m_uiForwarded;
    if (dice(m_Random) < m_Rates.duplicate) {
        SendTo(socket, to, data, length);
        ++m_uiDuplicated;
    }
    if (!held.bytes.empty()) {
        SendTo(socket, to, held.bytes.data(), held.bytes.size());
        held.bytes.clear();
    }
}

void LossyRelay::FlushStale(int socket, const sockaddr_in& to, Held& held, int64_t now) {
    if (held.bytes.empty() || now - held.since < kHoldNanoseconds) return;
    SendTo(socket, to, held.bytes.data(), held.bytes.size());
    held.bytes.clear();
}
