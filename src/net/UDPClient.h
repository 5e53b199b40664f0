// The server's end of one connection: whole messages delivered reliably and in order on sixteen
// channels over UDP, with resends at each message's own rate, keep-alives and an idle time-out.
// Runs only on the UDP thread; it meets the server thread only in the client's pipe.
#pragma once
#include <netinet/in.h>

#include <cstdint>
#include <vector>

#include "base/Timer.h"
#include "net/ClientServerPipe.h"
#include "net/Packet.h"

struct UDPC_PID_Struct;

// Datagram kind bytes of the wire.
inline constexpr uint8_t kUdpKindKeepAlive = 3;
inline constexpr uint8_t kUdpKindData0 = 5; // data of channel 0
inline constexpr uint8_t kUdpKindAck0 = 6;  // acknowledgement of channel 0
inline constexpr uint8_t kUdpKindLeave = 7;
inline constexpr uint8_t kUdpKindDataBase = 7; // data of channel c >= 1: 7 + c
inline constexpr uint8_t kUdpKindAckBase = 22; // acknowledgement of channel c >= 1: 22 + c

inline constexpr uint8_t UdpDataKind(unsigned channel) {
    return channel == 0 ? kUdpKindData0 : uint8_t(kUdpKindDataBase + channel);
}
inline constexpr uint8_t UdpAckKind(unsigned channel) {
    return channel == 0 ? kUdpKindAck0 : uint8_t(kUdpKindAckBase + channel);
}

// True when an incoming number s lies in the 129 numbers expected, expected + 1, ...,
// expected + 128 (modulo 256); anything else repeats a message already delivered.
bool UdpSeqInWindow(uint32_t expected, uint32_t s);

// The socket as the sending functions see it. With batching on, datagrams are gathered and
// leave together in one system call at Flush(); the bytes handed to Send must stay valid until
// then. With batching off every Send goes out at once.
class Socket2 {
public:
    explicit Socket2(int socket = -1, bool batching = false);
    Socket2(const Socket2&) = delete;
    Socket2& operator=(const Socket2&) = delete;
    virtual ~Socket2();

    void Send(const sockaddr_in& to, const uint8_t* data, uint32_t length);
    // Two-byte acknowledgement; copied, so the caller's bytes may go at once.
    void SendAck(const sockaddr_in& to, uint8_t kind, uint8_t seq);
    void Flush();

    int m_Socket;
    bool m_bBatching;
    uint64_t m_uiDatagramsSent = 0;

    static constexpr unsigned kBatchSize = 64;
    unsigned m_uiQueued = 0;
    struct Queued {
        sockaddr_in to;
        const uint8_t* data;
        uint32_t length;
        uint8_t ack[2];
    };
    Queued m_Queue[kBatchSize];
};

class UDPOutgoingPacket {
public:
    UDPOutgoingPacket(uint8_t kind, uint32_t seq, const Packet& body);
    UDPOutgoingPacket(const UDPOutgoingPacket&) = delete;
    UDPOutgoingPacket& operator=(const UDPOutgoingPacket&) = delete;
    virtual ~UDPOutgoingPacket();

    Timer m_ResendTimer;
    uint32_t m_uiSeq;
    uint32_t m_uiLength;  // body length + 2
    uint8_t* m_pDatagram; // kind byte, sequence number, body
};

class UDPIncomingPacket {
public:
    UDPIncomingPacket(uint32_t seq, Packet* packet) : m_uiSeq(seq), m_pPacket(packet) {}
    UDPIncomingPacket(const UDPIncomingPacket&) = delete;
    UDPIncomingPacket& operator=(const UDPIncomingPacket&) = delete;
    virtual ~UDPIncomingPacket() { delete m_pPacket; }

    uint32_t m_uiSeq;
    Packet* m_pPacket;
};

// An owning list in order of insertion. Both lists stay short (the unacknowledged limit, the
// messages that overtook a lost one), so a vector that allocates nothing until first used beats
// a node-based queue: an idle channel costs three words.
template <typename T> class UDPOwningList {
public:
    UDPOwningList() = default;
    UDPOwningList(const UDPOwningList&) = delete;
    UDPOwningList& operator=(const UDPOwningList&) = delete;
    virtual ~UDPOwningList() { DeleteAll(); }

    size_t Length() const { return m_Items.size(); }
    bool Empty() const { return m_Items.empty(); }
    T* operator[](size_t i) const { return m_Items[i]; }
    void Append(T* item) { m_Items.push_back(item); }
    void DeleteAt(size_t i) {
        delete m_Items[i];
        m_Items.erase(m_Items.begin() + std::ptrdiff_t(i));
    }
    T* RemoveAt(size_t i) {
        T* item = m_Items[i];
        m_Items.erase(m_Items.begin() + std::ptrdiff_t(i));
        return item;
    }
    void DeleteAll() {
        for (T* item : m_Items) delete item;
        m_Items.clear();
    }

    std::vector<T*> m_Items;
};

class UDPOutgoingPacketList : public UDPOwningList<UDPOutgoingPacket> {
public:
    ~UDPOutgoingPacketList() override = default;
};

class UDPIncomingPacketList : public UDPOwningList<UDPIncomingPacket> {
public:
    ~UDPIncomingPacketList() override = default;
};

class UDPChannelState {
public:
    virtual ~UDPChannelState() = default;

    uint32_t m_uiExpectedSeq = 1;
    uint32_t m_uiNextSeq = 1;
    uint32_t m_uiWindowBase = 1;
    uint32_t m_uiWindowEnd = 1;
    UDPOutgoingPacketList m_Unacked;
    uint8_t m_ucDataKind = kUdpKindData0;
    UDPIncomingPacketList m_Held;
};

// Bytes of held (out-of-order) messages one peer may keep, and all peers together. Past either
// limit an early message is acknowledged and dropped, as one beyond the window is: a peer that
// sends far ahead of a gap cannot hold the server's memory.
inline constexpr uint64_t kMaxHeldBytesPerPeer = 256 * 1024;
inline constexpr uint64_t kMaxHeldBytesAllPeers = 32 * 1024 * 1024;
// Held bytes of all peers now.
uint64_t UdpHeldBytesAllPeers();

class UDPClient {
public:
    UDPClient(const sockaddr_in* address, ClientServerPipe* pipe);
    UDPClient(const UDPClient&) = delete;
    UDPClient& operator=(const UDPClient&) = delete;
    // Marks the pipe disconnected: the server drops the client on its next tick.
    virtual ~UDPClient();

    void ProcessIncomingData(UDPC_PID_Struct* data);
    void ProcessIncomingStandardData(UDPC_PID_Struct* data, unsigned int channel);
    void ProcessIncomingACKData(UDPC_PID_Struct* data, unsigned int channel);

    void Tick_PreSend(Socket2* socket);
    void Tick_SendNewPacket(Socket2* socket);
    void Tick_SendThisPacket(Socket2* socket, UDPOutgoingPacket* packet);
    void Tick_SendKeepAlive(Socket2* socket);
    void Tick_PostReceive();

    // The peer's turn in a pass after the leave and idle checks: send, resend, keep alive,
    // deliver what is now in order.
    void Serve(Socket2* socket);
    // A leave datagram came or nothing came for the idle period.
    bool IsFinished();

    Timer m_IdleTimer;
    Timer m_KeepAliveTimer;
    bool m_bLeaving = false;
    sockaddr_in m_Address;
    ClientServerPipe* m_pPipe;
    uint64_t m_uiHeldBytes = 0;
    // Messages over all channels in m_Unacked and in m_Held.
    uint32_t m_uiUnackedCount = 0;
    uint32_t m_uiHeldCount = 0;
    // The interface's bookkeeping: the peer's place in its players' or guests' queue.
    UDPClient* m_pQueuePrev = nullptr;
    UDPClient* m_pQueueNext = nullptr;
    bool m_bGuest = true;
    // Takes the held message at i out of the channel's list and out of the held byte counts;
    // ownership passes to the caller.
    UDPIncomingPacket* TakeHeld(UDPChannelState& state, size_t i);
    UDPChannelState m_Channels[kChannelCount];
};
