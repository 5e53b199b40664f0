// The game client's side of the reliable UDP layer, without a game: connects to a server, sends
// whole messages on any of the sixteen channels, acknowledges and orders what comes back.
// Tests also use it to speak raw datagrams (send anything, withhold acknowledgements, see every
// datagram with its kind, channel and number); the load tool drives many from one thread.
#pragma once
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace headless {

inline constexpr unsigned kChannels = 16;

enum class DatagramKind : uint8_t { Empty, Data, Ack, KeepAlive, Leave, Unknown };

// One datagram as it came off the wire, classified.
struct Datagram {
    DatagramKind kind = DatagramKind::Unknown;
    unsigned channel = 0;       // data and acknowledgements
    uint8_t seq = 0;            // data: its number; acknowledgement: the first number listed
    std::vector<uint8_t> bytes; // the whole datagram
    int64_t counter = 0;        // clock seam reading on arrival
};

// Data and acknowledgements shorter than two bytes count as Unknown, as the server treats them.
Datagram DescribeDatagram(const uint8_t* data, size_t length);

struct Message {
    unsigned channel = 0;
    std::vector<uint8_t> body;
};

class HeadlessClient {
public:
    HeadlessClient() = default;
    HeadlessClient(const HeadlessClient&) = delete;
    HeadlessClient& operator=(const HeadlessClient&) = delete;
    virtual ~HeadlessClient();

    // Opens a socket (on localPort, 0 for any free one) aimed at host:port. A dotted IPv4 address
    // or a name that resolves to one.
    bool Connect(const std::string& host, uint16_t port, uint16_t localPort = 0);
    // Closes the socket without telling the server.
    void Close();
    bool IsOpen() const { return m_Socket >= 0; }
    int Socket() const { return m_Socket; }
    uint16_t LocalPort() const { return m_uiLocalPort; }

    // A reliable message: numbered, sent when the channel's window has room, resent at its rate
    // until acknowledged.
    void Send(unsigned channel, const std::vector<uint8_t>& body, float resendRate = 2.0f);
    // Raw datagrams, outside the reliable layer.
    void SendRaw(const void* data, size_t length);
    void SendRaw(const std::vector<uint8_t>& bytes) { SendRaw(bytes.data(), bytes.size()); }
    void SendAck(unsigned channel, uint8_t seq);
    void SendKeepAlive();
    void SendLeave();

    // Takes what has arrived (without waiting), acknowledges and delivers it, then sends what
    // the windows allow, resends what is due and keeps the connection alive.
    void Poll();
    // The sending half of Poll alone, without reading the socket.
    void Service() { PumpAndResend(); }
    // Waits up to wait for a datagram, then polls.
    void PollFor(std::chrono::milliseconds wait);
    // Polls until done() holds or the time runs out; returns done().
    bool WaitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);
    // The oldest delivered message not yet taken, waiting up to timeout for one.
    bool NextMessage(Message* out, std::chrono::milliseconds timeout);
    // The first datagram recorded at or after index from that matches, waiting up to timeout.
    // Returns its index or -1. Needs m_bRecordDatagrams.
    long WaitForDatagram(const std::function<bool(const Datagram&)>& match, std::chrono::milliseconds timeout,
                         size_t from = 0);

    size_t Unacked(unsigned channel) const { return m_Channels[channel % kChannels].unacked.size(); }
    size_t Waiting(unsigned channel) const { return m_Channels[channel % kChannels].waiting.size(); }
    // Nothing unacknowledged and nothing waiting on any channel.
    bool AllAcknowledged() const;
    // The number the next reliable message of the channel gets (tests that speak raw datagrams
    // after reliable ones need it).
    uint8_t NextSeq(unsigned channel) const { return m_Channels[channel % kChannels].nextSeq; }

    // Knobs for tests: each automatic behaviour can be switched off.
    bool m_bAutoAck = true;           // acknowledge every data datagram
    bool m_bAutoResend = true;        // resend unacknowledged messages at their rate
    bool m_bAutoKeepAlive = true;     // send a keep-alive after 1 s of sending nothing
    bool m_bRecordDatagrams = false;  // keep every received datagram in m_Received
    uint32_t m_uiSendBufferLimit = 6; // numbers from the oldest unacknowledged one: at most this + 1

    std::deque<Message> m_Inbox;
    std::vector<Datagram> m_Received;

    uint64_t m_uiDatagramsSent = 0;
    uint64_t m_uiDatagramsReceived = 0;
    uint64_t m_uiMessagesSent = 0;  // reliable messages put on the wire for the first time
    uint64_t m_uiMessagesAcked = 0; // reliable messages acknowledged by the server
    uint64_t m_uiAcksReceived = 0;  // acknowledgement datagrams, duplicates included
    uint64_t m_uiResends = 0;
    uint64_t m_uiKeepAlivesReceived = 0;

private:
    struct Outgoing {
        uint8_t seq = 0;
        std::vector<uint8_t> datagram;
        int64_t period = 0;
        int64_t lastSent = 0;
    };
    struct Queued {
        std::vector<uint8_t> body;
        float resendRate = 2.0f;
    };
    struct Channel {
        uint8_t nextSeq = 1;
        uint8_t expected = 1;
        std::vector<Outgoing> unacked;
        std::deque<Queued> waiting;
        std::map<uint8_t, std::vector<uint8_t>> held;
    };

    void HandleDatagram(const uint8_t* data, size_t length);
    void HandleData(unsigned channel, const uint8_t* data, size_t length);
    void HandleAck(unsigned channel, const uint8_t* data, size_t length);
    void PumpAndResend();
    void SendBytes(const void* data, size_t length);

    int m_Socket = -1;
    uint16_t m_uiLocalPort = 0;
    int64_t m_iLastSent = 0;
    Channel m_Channels[kChannels];
    std::vector<uint8_t> m_ReceiveBuffer;
};

// Hex text for operators and tests: "4c 16 00" and "4c1600" read alike.
std::string ToHex(const uint8_t* data, size_t length, bool spaced = true);
inline std::string ToHex(const std::vector<uint8_t>& bytes, bool spaced = true) {
    return ToHex(bytes.data(), bytes.size(), spaced);
}
// False when the text holds anything but hex digit pairs and blanks.
bool FromHex(std::string_view text, std::vector<uint8_t>* bytes);

} // namespace headless
