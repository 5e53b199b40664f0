// A real server in the test process (run in a fresh folder), with helpers to log clients in,
// put entities into the world as the rules will, and run one client's updates directly.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "core/Server.h"
#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/TempDir.h"
#include "unit/replication/WireBytes.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_Entity.h"

class ReplicationTest : public ::testing::Test {
protected:
    ReplicationTest() {
        char cwd[4096];
        if (getcwd(cwd, sizeof cwd)) m_OldFolder = cwd;
        if (chdir(m_Dir.Path().c_str()) != 0) ADD_FAILURE() << "cannot enter " << m_Dir.Path();
        m_Harness = std::make_unique<ServerHarness>();
    }
    ~ReplicationTest() override {
        m_Harness.reset();
        if (chdir(m_OldFolder.c_str()) != 0) ADD_FAILURE() << "cannot go back to " << m_OldFolder;
    }

    Server& server() { return m_Harness->server(); }

    // Connects, declares the extensions, logs a new player in and takes the login answers.
    ServerHarness::Peer LogIn(const std::string& name, const std::vector<std::string>& extensions = {}) {
        ServerHarness::Peer peer = m_Harness->Connect();
        records::Bytes message;
        for (const std::string& ext : extensions) message = records::Concat(message, records::Declare(ext, 1));
        message = records::Concat(message, records::Concat(records::Version(84), records::NewLogin(name, "pw")));
        peer.Send(0, message);
        // Only the messages: a whole pass would also file the client's zones, which the tests
        // want to do themselves.
        {
            ServerLockGuard lock(server().m_ServerLock);
            while (server().PIC()) {
            }
        }
        peer.TakeAll();
        return peer;
    }

    // An entity made by the rules: created, placed, re-filed and announced.
    Server_Entity* Add(uint8_t kind, float x, float y, float z, float size = 10.0f) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_vPosition.Set(x, y, z);
        e->m_vSize.Set(size, size, size);
        server().UpdateZonesEntityIsIn(e);
        server().InformClients_EntityUpdated(e);
        return e;
    }
    void MoveTo(Server_Entity* e, float x, float y, float z) {
        e->m_vPosition.Set(x, y, z);
        server().UpdateZonesEntityIsIn(e);
        server().InformClients_EntityUpdated(e);
    }
    void Destroy(Server_Entity* e) {
        server().InformClients_EntityAboutToBeRemoved(e);
        server().ProperDestroy(e);
    }

    // One normal update of the client, as the server tick would run it; returns its messages on
    // every channel, in channel order.
    std::vector<Bytes> NormalUpdate(ServerHarness::Peer& peer) {
        peer.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        return peer.TakeAll();
    }
    // The update message of one normal update (the window message on channel 0 skipped).
    Bytes NormalUpdateMessage(ServerHarness::Peer& peer) {
        peer.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        std::vector<Bytes> all = peer.Take(0);
        return all.empty() ? Bytes{} : all.back();
    }
    Bytes ExtraUpdateMessage(ServerHarness::Peer& peer) {
        peer.client->UpdateClient_ExtraPacket();
        std::vector<Bytes> all = peer.Take(0);
        return all.empty() ? Bytes{} : all.back();
    }
    // Files everything still waiting into the client's pending grid.
    void FileAll(ServerHarness::Peer& peer) {
        while (!peer.client->m_bZonesFilled) peer.client->HandleZonesBeUpdatedThingy();
    }
    // Zones filed and the own player sent: later updates carry only what the test changes.
    void Settle(ServerHarness::Peer& peer) {
        FileAll(peer);
        NormalUpdate(peer);
    }

    uint32_t Slot(const ServerHarness::Peer& peer) const { return peer.client->Slot(); }
    Server_Client_Entity* ViewOf(const ServerHarness::Peer& peer, const Server_Entity* e) const {
        return e->GetClientView(Slot(peer));
    }
    bool Pending(const ServerHarness::Peer& peer, const Server_Entity* e) const {
        return e->GetClientPendingLink(Slot(peer)) != nullptr;
    }
    // True when needle occurs in haystack.
    static bool Contains(const Bytes& haystack, const Bytes& needle) {
        return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) != haystack.end();
    }

    TempDir m_Dir;
    std::string m_OldFolder;
    std::unique_ptr<ServerHarness> m_Harness;
};
