#include "headless/HeadlessClient.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/Clock.h"

namespace headless {

namespace {

constexpr uint8_t kKeepAlive = 3;
constexpr uint8_t kData0 = 5;
constexpr uint8_t kAck0 = 6;
constexpr uint8_t kLeave = 7;

uint8_t DataKind(unsigned channel) { return channel == 0 ? kData0 : uint8_t(7 + channel); }
uint8_t AckKind(unsigned channel) { return channel == 0 ? kAck0 : uint8_t(22 + channel); }

// The 129 numbers from expected on are new; the 127 before it were delivered already.
bool IsNew(uint8_t expected, uint8_t seq) { return uint8_t(seq - expected) <= 128; }

int64_t Now() { return platform::QueryCounter(); }

bool ResolveIPv4(const std::string& host, in_addr* address) {
    if (inet_pton(AF_INET, host.c_str(), address) == 1) return true;
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || !found) return false;
    *address = reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr;
    freeaddrinfo(found);
    return true;
}

} // namespace

Datagram DescribeDatagram(const uint8_t* data, size_t length) {
    Datagram d;
    d.bytes.assign(data, data + length);
    if (length == 0) {
        d.kind = DatagramKind::Empty;
        return d;
    }
    const uint8_t k = data[0];
    if (k == kKeepAlive) {
        d.kind = DatagramKind::KeepAlive;
    } else if (k == kLeave) {
        d.kind = DatagramKind::Leave;
    } else if ((k == kData0 || (k >= 8 && k <= 22)) && length >= 2) {
        d.kind = DatagramKind::Data;
        d.channel = k == kData0 ? 0 : k - 7u;
        d.seq = data[1];
    } else if ((k == kAck0 || (k >= 23 && k <= 37)) && length >= 2) {
        d.kind = DatagramKind::Ack;
        d.channel = k == kAck0 ? 0 : k - 22u;
        d.seq = data[1];
    }
    return d;
}

HeadlessClient::~HeadlessClient() { Close(); }

bool HeadlessClient::Connect(const std::string& host, uint16_t port, uint16_t localPort) {
    Close();
    sockaddr_in server{};
    server.sin_family = AF_INET;
    server.sin_port = htons(port);
    if (!ResolveIPv4(host, &server.sin_addr)) return false;
    m_Socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_Socket < 0) return false;
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(localPort);
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    if (localPort != 0) {
        int on = 1;
        setsockopt(m_Socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    if (bind(m_Socket, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0 ||
        connect(m_Socket, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0) {
        Close();
        return false;
    }
    socklen_t length = sizeof local;
    getsockname(m_Socket, reinterpret_cast<sockaddr*>(&local), &length);
    m_uiLocalPort = ntohs(local.sin_port);
    m_ReceiveBuffer.resize(65536);
    m_iLastSent = Now();
    for (Channel& c : m_Channels) c = Channel();
    return true;
}

void HeadlessClient::Close() {
    if (m_Socket >= 0) close(m_Socket);
    m_Socket = -1;
}

void HeadlessClient::SendBytes(const void* data, size_t length) {
    if (m_Socket < 0) return;
    send(m_Socket, data, length, MSG_DONTWAIT);
    ++m_uiDatagramsSent;
    m_iLastSent = Now();
}

void HeadlessClient::Send(unsigned channel, const std::vector<uint8_t>& body, float resendRate) {
    m_Channels[channel % kChannels].waiting.push_back(Queued{body, resendRate});
    PumpAndResend();
}

void HeadlessClient::SendRaw(const void* data, size_t length) { SendBytes(data, length); }

void HeadlessClient::SendAck(unsigned channel, uint8_t seq) {
    const uint8_t ack[2] = {AckKind(channel % kChannels), seq};
    SendBytes(ack, 2);
}

void HeadlessClient::SendKeepAlive() {
    const uint8_t b = kKeepAlive;
    SendBytes(&b, 1);
}

void HeadlessClient::SendLeave() {
    const uint8_t b = kLeave;
    SendBytes(&b, 1);
}

void HeadlessClient::Poll() {
    if (m_Socket < 0) return;
    // Refused sends (nothing bound yet on the server's port) come back as errors on receive;
    // a few of those must not end the reading.
    for (int errors = 0; errors < 16;) {
        ssize_t n = recv(m_Socket, m_ReceiveBuffer.data(), m_ReceiveBuffer.size(), MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK) break;
            ++errors;
            continue;
        }
        HandleDatagram(m_ReceiveBuffer.data(), size_t(n));
    }
    PumpAndResend();
}

void HeadlessClient::PollFor(std::chrono::milliseconds wait) {
    if (m_Socket >= 0) {
        pollfd p{m_Socket, POLLIN, 0};
        poll(&p, 1, int(wait.count()));
    }
    Poll();
}

bool HeadlessClient::WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    Poll();
    while (!done()) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) return false;
        // Short waits keep resends and keep-alives on time while nothing arrives.
        PollFor(std::min(left, std::chrono::milliseconds(20)));
    }
    return true;
}

bool HeadlessClient::NextMessage(Message* out, std::chrono::milliseconds timeout) {
    if (!WaitUntil([this] { return !m_Inbox.empty(); }, timeout)) return false;
    *out = std::move(m_Inbox.front());
    m_Inbox.pop_front();
    return true;
}

long HeadlessClient::WaitForDatagram(const std::function<bool(const Datagram&)>& match,
                                     std::chrono::milliseconds timeout, size_t from) {
    long found = -1;
    WaitUntil(
        [&] {
            for (size_t i = from; i < m_Received.size(); ++i)
                if (match(m_Received[i])) {
                    found = long(i);
                    return true;
                }
            return false;
        },
        timeout);
    return found;
}

bool HeadlessClient::AllAcknowledged() const {
    for (const Channel& c : m_Channels)
        if (!c.unacked.empty() || !c.waiting.empty()) return false;
    return true;
}

void HeadlessClient::HandleDatagram(const uint8_t* data, size_t length) {
    ++m_uiDatagramsReceived;
    if (m_bRecordDatagrams) {
        m_Received.push_back(DescribeDatagram(data, length));
        m_Received.back().counter = Now();
    }
    if (length == 0) return;
    const uint8_t k = data[0];
    if (k == kKeepAlive) {
        ++m_uiKeepAlivesReceived;
    } else if (length < 2) {
        return;
    } else if (k == kData0 || (k >= 8 && k <= 22)) {
        HandleData(k == kData0 ? 0 : k - 7u, data, length);
    } else if (k == kAck0 || (k >= 23 && k <= 37)) {
        HandleAck(k == kAck0 ? 0 : k - 22u, data, length);
    }
}

void HeadlessClient::HandleData(unsigned channel, const uint8_t* data, size_t length) {
    const uint8_t seq = data[1];
    if (m_bAutoAck) SendAck(channel, seq);
    Channel& c = m_Channels[channel];
    if (!IsNew(c.expected, seq)) return;
    c.held.emplace(seq, std::vector<uint8_t>(data + 2, data + length));
    for (auto next = c.held.find(c.expected); next != c.held.end(); next = c.held.find(c.expected)) {
        m_Inbox.push_back(Message{channel, std::move(next->second)});
        c.held.erase(next);
        ++c.expected;
    }
}

void HeadlessClient::HandleAck(unsigned channel, const uint8_t* data, size_t length) {
    ++m_uiAcksReceived;
    std::vector<Outgoing>& unacked = m_Channels[channel].unacked;
    for (size_t i = 1; i < length; ++i)
        for (auto it = unacked.begin(); it != unacked.end(); ++it)
            if (it->seq == data[i]) {
                unacked.erase(it);
                ++m_uiMessagesAcked;
                break;
            }
}

void HeadlessClient::PumpAndResend() {
    if (m_Socket < 0) return;
    const int64_t now = Now();
    for (unsigned ch = 0; ch < kChannels; ++ch) {
        Channel& c = m_Channels[ch];
        // The window runs from the oldest unacknowledged number, not over the count in flight:
        // a message whose acknowledgements keep getting lost must not fall 256 numbers behind,
        // where its next resend would pass for a new message.
        while (!c.waiting.empty() &&
               (c.unacked.empty() || uint8_t(c.nextSeq - c.unacked.front().seq) <= m_uiSendBufferLimit)) {
            Queued& w = c.waiting.front();
            Outgoing out;
            out.seq = c.nextSeq++;
            out.datagram.reserve(w.body.size() + 2);
            out.datagram.push_back(DataKind(ch));
            out.datagram.push_back(out.seq);
            out.datagram.insert(out.datagram.end(), w.body.begin(), w.body.end());
            const double rate = w.resendRate > 0 ? double(w.resendRate) : 2.0;
            out.period = int64_t(double(platform::QueryCounterFrequency()) / rate);
            out.lastSent = now;
            c.waiting.pop_front();
            SendBytes(out.datagram.data(), out.datagram.size());
            ++m_uiMessagesSent;
            c.unacked.push_back(std::move(out));
        }
        if (!m_bAutoResend) continue;
        for (Outgoing& out : c.unacked)
            if (now - out.lastSent > out.period) {
                SendBytes(out.datagram.data(), out.datagram.size());
                out.lastSent = now;
                ++m_uiResends;
            }
    }
    if (m_bAutoKeepAlive && now - m_iLastSent > platform::QueryCounterFrequency()) SendKeepAlive();
}

std::string ToHex(const uint8_t* data, size_t length, bool spaced) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(length * 3);
    for (size_t i = 0; i < length; ++i) {
        if (spaced && i) text.push_back(' ');
        text.push_back(kDigits[data[i] >> 4]);
        text.push_back(kDigits[data[i] & 15]);
    }
    return text;
}

bool FromHex(std::string_view text, std::vector<uint8_t>* bytes) {
    bytes->clear();
    int high = -1;
    for (char ch : text) {
        int v;
        if (ch >= '0' && ch <= '9')
            v = ch - '0';
        else if (ch >= 'a' && ch <= 'f')
            v = ch - 'a' + 10;
        else if (ch >= 'A' && ch <= 'F')
            v = ch - 'A' + 10;
        else if (ch == ' ' || ch == '\t' || ch == ',' || ch == ':') {
            if (high >= 0) return false;
            continue;
        } else
            return false;
        if (high < 0) {
            high = v;
        } else {
            bytes->push_back(uint8_t(high * 16 + v));
            high = -1;
        }
    }
    return high < 0;
}

} // namespace headless
