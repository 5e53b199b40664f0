// Many headless connections served from one thread: one epoll set over their sockets, and the
// timers of all of them kept on time between arrivals.
#pragma once
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "headless/HeadlessClient.h"

namespace headless {

class HeadlessSwarm {
public:
    HeadlessSwarm();
    HeadlessSwarm(const HeadlessSwarm&) = delete;
    HeadlessSwarm& operator=(const HeadlessSwarm&) = delete;
    virtual ~HeadlessSwarm();

    // Connects count new clients, each from its own local port; returns how many connected.
    size_t Connect(const std::string& host, uint16_t port, size_t count);
    // Waits up to wait for traffic and serves every client that has some; every client's
    // resends and keep-alives run at least once per call.
    void Poll(std::chrono::milliseconds wait);

    size_t Size() const { return m_Clients.size(); }
    HeadlessClient& operator[](size_t i) { return *m_Clients[i]; }

    std::vector<std::unique_ptr<HeadlessClient>> m_Clients;

private:
    int m_Epoll = -1;
    std::vector<uint8_t> m_Ready;
};

} // namespace headless
