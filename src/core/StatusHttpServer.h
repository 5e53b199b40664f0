// The status port: a small HTTP server on its own threads that renders the board's latest
// snapshot. Slow or hostile HTTP clients occupy only these threads, never the main loop.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

namespace httplib {
class Server;
}
class StatusBoard;

class StatusHttpServer {
public:
    explicit StatusHttpServer(const StatusBoard& board);
    ~StatusHttpServer();
    StatusHttpServer(const StatusHttpServer&) = delete;
    StatusHttpServer& operator=(const StatusHttpServer&) = delete;

    // Binds address:port and starts serving; false when the port cannot be bound.
    bool Start(const std::string& address, uint16_t port);

private:
    const StatusBoard& m_Board;
    std::atomic<bool> m_bAbandoned{false};
    std::unique_ptr<httplib::Server> m_pServer;
    std::thread m_Thread;
};
