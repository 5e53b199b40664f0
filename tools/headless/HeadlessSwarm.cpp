#include "headless/HeadlessSwarm.h"

#include <sys/epoll.h>
#include <unistd.h>

namespace headless {

HeadlessSwarm::HeadlessSwarm() { m_Epoll = epoll_create1(EPOLL_CLOEXEC); }

HeadlessSwarm::~HeadlessSwarm() {
    m_Clients.clear();
    if (m_Epoll >= 0) close(m_Epoll);
}

size_t HeadlessSwarm::Connect(const std::string& host, uint16_t port, size_t count) {
    size_t connected = 0;
    for (size_t i = 0; i < count; ++i) {
        auto client = std::make_unique<HeadlessClient>();
        if (!client->Connect(host, port)) continue;
        epoll_event e{};
        e.events = EPOLLIN;
        e.data.u64 = m_Clients.size();
        epoll_ctl(m_Epoll, EPOLL_CTL_ADD, client->Socket(), &e);
        m_Clients.push_back(std::move(client));
        ++connected;
    }
    return connected;
}

void HeadlessSwarm::Poll(std::chrono::milliseconds wait) {
    epoll_event events[256];
    int n = epoll_wait(m_Epoll, events, 256, int(wait.count()));
    m_Ready.assign(m_Clients.size(), 0);
    for (int i = 0; i < n; ++i) {
        size_t index = size_t(events[i].data.u64);
        if (index >= m_Clients.size()) continue;
        m_Ready[index] = 1;
        m_Clients[index]->Poll();
    }
    for (size_t i = 0; i < m_Clients.size(); ++i)
        if (!m_Ready[i]) m_Clients[i]->Service();
}

} // namespace headless
