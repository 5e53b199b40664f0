// The fleet's SDK sidecar, spoken to over its local HTTP interface: ready once the game port is
// bound (retried while the sidecar is not up yet), health every 2 s while the main loop runs,
// a players label as the count changes, and shutdown after the final save. All calls but the
// last run on a thread of their own, so a slow sidecar never holds up a tick.
#pragma once
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

class AgonesClient {
public:
    inline static constexpr uint16_t kDefaultPort = 9358;
    // The sidecar's port from AGONES_SDK_HTTP_PORT, or the default when unset or not a port.
    static uint16_t PortFromEnvironment();

    // healthy() is asked before each health call; it must be cheap and thread-safe.
    AgonesClient(std::string host, uint16_t port, std::function<bool()> healthy);
    ~AgonesClient();
    AgonesClient(const AgonesClient&) = delete;
    AgonesClient& operator=(const AgonesClient&) = delete;

    void Start();
    void SetPlayers(uint32_t players);
    // Stops the thread, then tells the sidecar the server is done (waits for its answer briefly).
    void Shutdown();

private:
    void Run();
    bool Call(const char* method, const char* path, const std::string& body);
    // Waits up to d or until stopped or woken; returns false when stopped.
    bool WaitFor(std::chrono::milliseconds d);

    std::string m_strHost;
    uint16_t m_uiPort;
    std::function<bool()> m_Healthy;
    std::mutex m_Lock;
    std::condition_variable m_Wake;
    bool m_bStop = false;
    uint32_t m_uiPlayers = 0;
    bool m_bPlayersChanged = false;
    std::thread m_Thread;
};
