// The real server in a fresh folder, with reliable headless clients that log in and talk.
#pragma once
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "headless/HeadlessClient.h"
#include "support/ClientRecords.h"
#include "support/ServerProcess.h"
#include "support/TempDir.h"

class GameServer {
public:
    // prepare runs in the empty folder before the server starts (to write save or admin files).
    explicit GameServer(const std::function<void(const TempDir&)>& prepare = {},
                        std::vector<std::string> extraArguments = {});
    ~GameServer();

    bool Ready() const { return m_bReady; }
    int Port() const { return m_Port; }
    ServerProcess& Process() { return *m_pProcess; }
    const TempDir& Folder() const { return m_Dir; }

    std::unique_ptr<headless::HeadlessClient> NewClient();
    // The next message of the channel within the time-out; empty when none came.
    static records::Bytes NextOn(headless::HeadlessClient& client, unsigned channel,
                                 std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Sends version 84 and the login record; returns the one-message answer (empty on time-out).
    static records::Bytes Login(headless::HeadlessClient& client, const records::Bytes& loginRecord);

private:
    TempDir m_Dir;
    int m_Port = 0;
    bool m_bReady = false;
    std::unique_ptr<ServerProcess> m_pProcess;
};
