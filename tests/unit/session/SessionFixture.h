// A server in the test process, run in a fresh folder (its chat log lands there).
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/TempDir.h"
#include "core/LogChat.h"

using namespace records;

class SessionTest : public ::testing::Test {
protected:
    SessionTest() {
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd)) m_OldFolder = cwd;
        if (chdir(m_Dir.Path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << m_Dir.Path();
        m_Harness = std::make_unique<ServerHarness>();
    }
    ~SessionTest() override {
        m_Harness.reset();
        if (chdir(m_OldFolder.c_str()) != 0) ADD_FAILURE() << "cannot go back to " << m_OldFolder;
    }

    Server& server() { return m_Harness->server(); }

    std::string ChatLog() { return m_Dir.Read(ChatLogFileName()); }

    // Connects, sends version 84 and a login; returns the peer with its answers taken.
    ServerHarness::Peer LoggedIn(const std::string& name, uint8_t type = 5, const std::string& password = "pw") {
        ServerHarness::Peer peer = m_Harness->Connect();
        peer.Send(0, Concat(Version(84), Login(type, name, password)));
        m_Harness->Pass();
        peer.TakeAll();
        return peer;
    }

    TempDir m_Dir;
    std::string m_OldFolder;
    std::unique_ptr<ServerHarness> m_Harness;
};
