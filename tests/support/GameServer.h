// The real server in a fresh folder, with reliable headless clients that log in and talk.
#pragma once
#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "headless/HeadlessClient.h"
#include "headless/Records.h"
#include "support/ClientRecords.h"
#include "support/ServerProcess.h"
#include "support/TempDir.h"

class GameServer {
public:
    // prepare runs in the empty folder before the server starts (to write save or admin files).
    explicit GameServer(const std::function<void(const TempDir&)>& prepare = {},
                        const std::vector<std::string>& extraArguments = {}) {
        if (prepare) prepare(m_Dir);
        m_Port = FreeUdpPort();
        ServerProcess::Options options = ServerProcess::Unattended(m_Dir.Path(), m_Port);
        options.arguments.insert(options.arguments.end(), extraArguments.begin(), extraArguments.end());
        m_pProcess = std::make_unique<ServerProcess>(options);
        if (m_pProcess->WaitForOutput("THE SERVER IS NOW RUNNING!", std::chrono::seconds(60)) == std::string::npos)
            return;
        // The port is bound just after the banner: a reliable message acknowledged says it is.
        auto probe = NewClient();
        probe->Send(0, headless::MovementSequenceRecord(0));
        m_bReady = probe->WaitUntil([&] { return probe->AllAcknowledged(); }, std::chrono::seconds(30));
        probe->SendLeave();
    }
    ~GameServer() {
        m_pProcess->Signal(SIGTERM);
        m_pProcess->WaitForExit(std::chrono::seconds(30));
    }

    bool Ready() const { return m_bReady; }
    int Port() const { return m_Port; }
    ServerProcess& Process() { return *m_pProcess; }
    const TempDir& Folder() const { return m_Dir; }

    std::unique_ptr<headless::HeadlessClient> NewClient() {
        auto client = std::make_unique<headless::HeadlessClient>();
        client->Connect("127.0.0.1", uint16_t(m_Port));
        return client;
    }
    // The next message the client gets within 5 s; empty when none came.
    static records::Bytes Next(headless::HeadlessClient& client) {
        headless::Message m;
        return client.NextMessage(&m, std::chrono::seconds(5)) ? m.body : records::Bytes{};
    }
    // The next message within 5 s that `match` accepts, past the others; empty when none came.
    static records::Bytes NextWhere(headless::HeadlessClient& client,
                                    const std::function<bool(const records::Bytes&)>& match) {
        headless::Message m;
        for (auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
             std::chrono::steady_clock::now() < until;)
            if (client.NextMessage(&m, std::chrono::milliseconds(100)) && match(m.body)) return m.body;
        return {};
    }
    // The next chat record (type 49), past the world updates.
    static records::Bytes NextChat(headless::HeadlessClient& client) {
        return NextWhere(client, [](const records::Bytes& b) { return !b.empty() && b[0] == 49; });
    }
    // Sends version 84 and the login record; returns the one-message answer (empty on time-out).
    static records::Bytes Login(headless::HeadlessClient& client, const records::Bytes& loginRecord) {
        client.Send(0, records::Concat(records::Version(84), loginRecord));
        return Next(client);
    }

private:
    TempDir m_Dir;
    int m_Port = 0;
    bool m_bReady = false;
    std::unique_ptr<ServerProcess> m_pProcess;
};
