// A server in the test process, run in a fresh folder (its chat log lands there).
#pragma once
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"

using namespace records;

class SessionTest : public ::testing::Test {
protected:
    Server& server() { return m_Harness->server(); }

    std::string ChatLog() { return m_Folder.Log(); }

    // Connects, sends version 84 and a login; returns the peer with its answers taken.
    ServerHarness::Peer LoggedIn(const std::string& name, uint8_t type = 5, const std::string& password = "pw") {
        ServerHarness::Peer peer = m_Harness->Connect();
        peer.Send(0, Concat(Version(84), Login(type, name, password)));
        m_Harness->Pass();
        peer.TakeAll();
        return peer;
    }

    // Sends the message on channel 0 and runs a pass; gives the answers on the channel asked.
    std::vector<Bytes> Exchange(ServerHarness::Peer& peer, const Bytes& message, unsigned channel = 0) {
        peer.Send(0, message);
        m_Harness->Pass();
        return peer.Take(channel);
    }

    // A chat line as the client sends it.
    static Bytes Say(const std::string& text) {
        Bytes b{8};
        PutString(b, text);
        return b;
    }

    // The chat records the peer received after saying the line.
    std::vector<Bytes> Said(ServerHarness::Peer& peer, const std::string& line) {
        peer.Send(0, Say(line));
        m_Harness->Pass();
        std::vector<Bytes> chats;
        for (Bytes& m : peer.TakeAll())
            if (!m.empty() && m[0] == 49) chats.push_back(std::move(m));
        return chats;
    }

    WorkingFolder m_Folder; // first: the server starts in the fresh folder
    std::unique_ptr<ServerHarness> m_Harness = std::make_unique<ServerHarness>();
};
