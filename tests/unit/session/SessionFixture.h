// A server in the test process, run in a fresh folder (its chat log lands there).
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

#include "support/ServerHarness.h"
#include "support/TempDir.h"
#include "core/LogChat.h"

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

    static std::vector<uint8_t> Login(uint8_t type, const std::string& name, const std::string& password) {
        std::vector<uint8_t> b{type};
        PutString(b, name);
        PutString(b, password);
        return b;
    }
    static std::vector<uint8_t> Version(uint8_t v) { return {9, v}; }
    static std::vector<uint8_t> Concat(std::vector<uint8_t> a, const std::vector<uint8_t>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    }
    static std::vector<uint8_t> Declare(const std::string& name, uint8_t value) {
        std::vector<uint8_t> b{13};
        PutString(b, name);
        b.push_back(value);
        return b;
    }
    static std::vector<uint8_t> Query(const std::string& name) {
        std::vector<uint8_t> b{12};
        PutString(b, name);
        return b;
    }
    static std::vector<uint8_t> Chat(const std::string& sender, const std::string& text) {
        std::vector<uint8_t> b{49};
        PutString(b, sender);
        PutString(b, text);
        return b;
    }
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
