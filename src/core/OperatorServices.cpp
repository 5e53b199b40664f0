#include "core/OperatorServices.h"

#include "core/AgonesClient.h"
#include "core/Server.h"
#include "core/StatusBoard.h"
#include "core/StatusHttpServer.h"
#include "platform/Console.h"

#ifdef QV_HAVE_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

OperatorOptions g_OperatorOptions;

namespace {

// Outside a service manager (no NOTIFY_SOCKET) these do nothing.
void Notify([[maybe_unused]] const char* state) {
#ifdef QV_HAVE_SYSTEMD
    sd_notify(0, state);
#endif
}

std::chrono::steady_clock::duration WatchdogPeriod() {
#ifdef QV_HAVE_SYSTEMD
    uint64_t usec = 0;
    // Pinged at half the manager's limit, from the main loop itself: a stuck loop gets restarted.
    if (sd_watchdog_enabled(0, &usec) > 0 && usec > 0) return std::chrono::microseconds(usec / 2);
#endif
    return {};
}

} // namespace

OperatorServices::OperatorServices(const OperatorOptions& options)
    : m_Options(options), m_WatchdogPeriod(WatchdogPeriod()) {
    if (m_Options.m_uiStatusPort || m_Options.m_bAgones) m_pBoard = std::make_unique<StatusBoard>();
}

OperatorServices::~OperatorServices() {
    m_pAgones.reset();
    m_pHttp.reset();
}

void OperatorServices::Started(const Server& server) {
    if (m_pBoard) m_pBoard->Publish(server);
    if (m_Options.m_uiStatusPort) {
        m_pHttp = std::make_unique<StatusHttpServer>(*m_pBoard);
        if (m_pHttp->Start(m_Options.m_strStatusBind, m_Options.m_uiStatusPort)) {
            platform::ConsolePrintf("Status port: http://%s:%u/\n", m_Options.m_strStatusBind.c_str(),
                                    unsigned(m_Options.m_uiStatusPort));
        } else {
            platform::ConsolePrintf("STATUS PORT %s:%u COULD NOT BE BOUND; RUNNING WITHOUT IT.\n",
                                    m_Options.m_strStatusBind.c_str(), unsigned(m_Options.m_uiStatusPort));
            m_pHttp.reset();
        }
    }
    if (m_Options.m_bAgones) {
        const StatusBoard* board = m_pBoard.get();
        m_pAgones = std::make_unique<AgonesClient>("127.0.0.1", AgonesClient::PortFromEnvironment(),
                                                   [board] { return board->Healthy(kHealthySilence); });
        m_pAgones->Start();
    }
    Notify("READY=1");
    m_LastWatchdog = std::chrono::steady_clock::now();
}

void OperatorServices::AfterTick(const Server& server, double tickSeconds) {
    if (m_pBoard) {
        m_pBoard->RecordPass(tickSeconds);
        m_pBoard->MaybePublish(server);
    }
    if (m_pAgones) {
        uint32_t players = server.CountClientsWithPlayer();
        if (players != m_uiLastPlayers) {
            m_uiLastPlayers = players;
            m_pAgones->SetPlayers(players);
        }
    }
    if (m_WatchdogPeriod.count() > 0) {
        auto now = std::chrono::steady_clock::now();
        if (now - m_LastWatchdog >= m_WatchdogPeriod) {
            Notify("WATCHDOG=1");
            m_LastWatchdog = now;
        }
    }
}

void OperatorServices::Stopping() { Notify("STOPPING=1"); }

void OperatorServices::Stopped() {
    if (m_pAgones) {
        m_pAgones->Shutdown();
        m_pAgones.reset();
    }
}
