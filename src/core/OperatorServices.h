// What dedicated-server operators expect around the game, each off unless asked for: the status
// port (metrics, JSON, a page, a health check), readiness and watchdog for the service manager,
// and the lifecycle calls of a fleet's SDK sidecar. None of it touches the game protocol or the
// save files; the main loop only feeds it figures and never waits on it.
#pragma once
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

class Server;
class StatusBoard;
class StatusHttpServer;
class AgonesClient;

struct OperatorOptions {
    uint16_t m_uiStatusPort = 0; // 0: no status port
    std::string m_strStatusBind = "127.0.0.1";
    bool m_bAgones = false;
};
extern OperatorOptions g_OperatorOptions;

class OperatorServices {
public:
    explicit OperatorServices(const OperatorOptions& options);
    ~OperatorServices();
    OperatorServices(const OperatorServices&) = delete;
    OperatorServices& operator=(const OperatorServices&) = delete;

    // The game port is bound: start serving and tell the service manager and the fleet.
    void Started(const Server& server);
    // Main loop, server lock held, after every tick.
    void AfterTick(const Server& server, double tickSeconds);
    // The loop ends: the final save follows.
    void Stopping();
    // After the final save.
    void Stopped();

private:
    OperatorOptions m_Options;
    std::unique_ptr<StatusBoard> m_pBoard;
    std::unique_ptr<StatusHttpServer> m_pHttp;
    std::unique_ptr<AgonesClient> m_pAgones;
    std::chrono::steady_clock::duration m_WatchdogPeriod{};
    std::chrono::steady_clock::time_point m_LastWatchdog{};
    uint32_t m_uiLastPlayers = UINT32_MAX;
};
