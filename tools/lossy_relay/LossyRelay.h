// A test-only UDP relay between one client and a server that drops, duplicates and reorders
// datagrams at given rates, in both directions, from a fixed seed. The client talks to
// ClientPort(); the relay talks to the server from a port of its own.
#pragma once
#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

class LossyRelay {
public:
    struct Rates {
        double drop = 0.0;
        double duplicate = 0.0;
        double reorder = 0.0; // a datagram held back and sent after the next one
    };
    struct Counts {
        uint64_t forwarded = 0, dropped = 0, duplicated = 0, reordered = 0;
    };

    LossyRelay(uint16_t serverPort, Rates rates, uint32_t seed = 1);
    LossyRelay(const LossyRelay&) = delete;
    LossyRelay& operator=(const LossyRelay&) = delete;
    virtual ~LossyRelay();

    bool Ok() const { return m_ClientSide >= 0 && m_ServerSide >= 0; }
    uint16_t ClientPort() const { return m_uiClientPort; }
    Counts Stats() const {
        return {m_uiForwarded.load(), m_uiDropped.load(), m_uiDuplicated.load(), m_uiReordered.load()};
    }
    void Stop();

private:
    struct Held {
        std::vector<uint8_t> bytes;
        int64_t since = 0;
    };
    void Run();
    // Passes one datagram on, or not, as the dice say.
    void Forward(int socket, const sockaddr_in& to, const uint8_t* data, size_t length, Held& held);
    void FlushStale(int socket, const sockaddr_in& to, Held& held, int64_t now);

    int m_ClientSide = -1;
    int m_ServerSide = -1;
    uint16_t m_uiClientPort = 0;
    sockaddr_in m_Server{};
    sockaddr_in m_Client{};
    bool m_bClientKnown = false;
    Rates m_Rates;
    std::mt19937 m_Random;
    Held m_HeldToServer, m_HeldToClient;
    std::atomic<uint64_t> m_uiForwarded{0}, m_uiDropped{0}, m_uiDuplicated{0}, m_uiReordered{0};
    std::atomic<bool> m_bStop{false};
    std::thread m_Thread;
};
