#include "support/GameServer.h"

#include <csignal>

#include "headless/Records.h"

using namespace std::chrono_literals;

GameServer::GameServer(const std::function<void(const TempDir&)>& prepare, std::vector<std::string> extraArguments) {
    if (prepare) prepare(m_Dir);
    m_Port = FreeUdpPort();
    ServerProcess::Options options = ServerProcess::Unattended(m_Dir.Path(), m_Port);
    options.arguments.insert(options.arguments.end(), extraArguments.begin(), extraArguments.end());
    m_pProcess = std::make_unique<ServerProcess>(options);
    if (m_pProcess->WaitForOutput("THE SERVER IS NOW RUNNING!", 60s) == std::string::npos) return;
    // The port is bound just after the banner: a reliable message acknowledged says it is.
    headless::HeadlessClient probe;
    if (!probe.Connect("127.0.0.1", uint16_t(m_Port))) return;
    probe.Send(0, headless::MovementSequenceRecord(0));
    m_bReady = probe.WaitUntil([&] { return probe.AllAcknowledged(); }, 30s);
    probe.SendLeave();
}

GameServer::~GameServer() {
    if (m_pProcess && m_pProcess->Running()) {
        m_pProcess->Signal(SIGTERM);
        m_pProcess->WaitForExit(30s);
    }
}

std::unique_ptr<headless::HeadlessClient> GameServer::NewClient() {
    auto client = std::make_unique<headless::HeadlessClient>();
    client->Connect("127.0.0.1", uint16_t(m_Port));
    return client;
}

records::Bytes GameServer::NextOn(headless::HeadlessClient& client, unsigned channel, std::chrono::milliseconds timeout) {
    auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        for (auto it = client.m_Inbox.begin(); it != client.m_Inbox.end(); ++it) {
            if (it->channel == channel) {
                records::Bytes body = std::move(it->body);
                client.m_Inbox.erase(it);
                return body;
            }
        }
        if (std::chrono::steady_clock::now() >= deadline) return {};
        client.PollFor(10ms);
    }
}

records::Bytes GameServer::Login(headless::HeadlessClient& client, const records::Bytes& loginRecord) {
    client.Send(0, records::Concat(records::Version(84), loginRecord));
    return NextOn(client, 0);
}
