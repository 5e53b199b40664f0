#include "core/AgonesClient.h"

#include <httplib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr auto kHealthPeriod = std::chrono::seconds(2);
constexpr auto kReadyRetry = std::chrono::milliseconds(500);
constexpr time_t kCallTimeoutSeconds = 2;

} // namespace

uint16_t AgonesClient::PortFromEnvironment() {
    const char* text = std::getenv("AGONES_SDK_HTTP_PORT");
    if (!text || !*text) return kDefaultPort;
    char* end = nullptr;
    long port = std::strtol(text, &end, 10);
    return *end || port < 1 || port > 65535 ? kDefaultPort : uint16_t(port);
}

AgonesClient::AgonesClient(std::string host, uint16_t port, std::function<bool()> healthy)
    : m_strHost(std::move(host)), m_uiPort(port), m_Healthy(std::move(healthy)) {}

AgonesClient::~AgonesClient() {
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_bStop = true;
    }
    m_Wake.notify_all();
    if (m_Thread.joinable()) m_Thread.join();
}

void AgonesClient::Start() {
    m_Thread = std::thread([this] { Run(); });
}

void AgonesClient::SetPlayers(uint32_t players) {
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_uiPlayers = players;
        m_bPlayersChanged = true;
    }
    m_Wake.notify_all();
}

void AgonesClient::Shutdown() {
    {
        std::lock_guard<std::mutex> lock(m_Lock);
        m_bStop = true;
    }
    m_Wake.notify_all();
    if (m_Thread.joinable()) m_Thread.join();
    Call("POST", "/shutdown", "{}");
}

bool AgonesClient::Call(const char* method, const char* path, const std::string& body) {
    httplib::Client client(m_strHost, m_uiPort);
    client.set_connection_timeout(kCallTimeoutSeconds, 0);
    client.set_read_timeout(kCallTimeoutSeconds, 0);
    client.set_write_timeout(kCallTimeoutSeconds, 0);
    httplib::Result result = std::string(method) == "PUT" ? client.Put(path, body, "application/json")
                                                          : client.Post(path, body, "application/json");
    return result && result->status == 200;
}

bool AgonesClient::WaitFor(std::chrono::milliseconds d) {
    std::unique_lock<std::mutex> lock(m_Lock);
    m_Wake.wait_for(lock, d, [this] { return m_bStop || m_bPlayersChanged; });
    return !m_bStop;
}

void AgonesClient::Run() {
    // The sidecar may start after the server: ready is retried until it answers.
    while (!Call("POST", "/ready", "{}")) {
        std::unique_lock<std::mutex> lock(m_Lock);
        if (m_Wake.wait_for(lock, kReadyRetry, [this] { return m_bStop; })) return;
    }
    auto nextHealth = std::chrono::steady_clock::now();
    for (;;) {
        if (std::chrono::steady_clock::now() >= nextHealth) {
            if (m_Healthy()) Call("POST", "/health", "{}");
            nextHealth = std::chrono::steady_clock::now() + kHealthPeriod;
        }
        uint32_t players = 0;
        bool changed = false;
        {
            std::lock_guard<std::mutex> lock(m_Lock);
            if (m_bStop) return;
            std::swap(changed, m_bPlayersChanged);
            players = m_uiPlayers;
        }
        if (changed) {
            char body[64];
            snprintf(body, sizeof body, "{\"key\":\"players\",\"value\":\"%u\"}", players);
            Call("PUT", "/metadata/label", body);
        }
        auto wait =
            std::chrono::duration_cast<std::chrono::milliseconds>(nextHealth - std::chrono::steady_clock::now());
        if (!WaitFor(std::max(wait, std::chrono::milliseconds(0)))) return;
    }
}
