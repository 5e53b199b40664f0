// A real server in the test process (run in a fresh folder), with helpers to log clients in,
// put entities into the world as the rules will, and run one client's updates directly.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/Server.h"
#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"
#include "unit/replication/WireBytes.h"

class ReplicationTest : public ::testing::Test {
protected:
    using Peer = ServerHarness::Peer;
    Server& server() { return m_Harness.server(); }

    // Connects, declares the extensions, logs a new player in and takes the login answers.
    Peer LogIn(const std::string& name, const std::vector<std::string>& extensions = {}) {
        Peer peer = m_Harness.Connect();
        records::Bytes message;
        for (const std::string& ext : extensions) message = records::Concat(message, records::Declare(ext, 1));
        peer.Send(0, records::Concat(message, records::Concat(records::Version(84), records::NewLogin(name, "pw"))));
        // Only the messages: a whole pass would also file the client's zones, which the tests
        // want to do themselves.
        ServerLockGuard lock(server().m_ServerLock);
        while (server().PIC()) {
        }
        peer.TakeAll();
        return peer;
    }
    // Logged in, zones filed and the own player sent: later updates carry only what the test
    // changes.
    Peer Settled(const std::string& name, const std::vector<std::string>& extensions = {}) {
        Peer peer = LogIn(name, extensions);
        FileAll(peer);
        NormalUpdate(peer);
        return peer;
    }

    // An entity made by the rules: created, placed, re-filed and announced.
    Server_Entity* Add(uint8_t kind, float x, float y = 200.0f, float z = -200.0f) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_vSize.Set(10.0f, 10.0f, 10.0f);
        MoveTo(e, x, y, z);
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
    std::vector<Bytes> NormalUpdate(Peer& peer) {
        peer.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        return peer.TakeAll();
    }
    // The update message of one normal update (the window message before it skipped).
    Bytes NormalUpdateMessage(Peer& peer) {
        peer.client->UpdateClient_NormalPacket(server().m_uiTickCount);
        std::vector<Bytes> all = peer.Take(0);
        return all.empty() ? Bytes{} : all.back();
    }
    // Files everything still waiting into the client's pending grid.
    void FileAll(Peer& peer) {
        while (!peer.client->m_bZonesFilled) peer.client->HandleZonesBeUpdatedThingy();
    }

    Server_Client_Entity* ViewOf(const Peer& peer, const Server_Entity* e) const {
        return e->GetClientView(peer.client->Slot());
    }
    uint8_t SlotOf(const Peer& peer, const Server_Entity* e) const { return ViewOf(peer, e)->m_pIndexLink->m_ucSlot; }
    bool Pending(const Peer& peer, const Server_Entity* e) const {
        return e->GetClientPendingLink(peer.client->Slot()) != nullptr;
    }
    static bool Contains(const Bytes& haystack, const Bytes& needle) {
        return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) != haystack.end();
    }

    WorkingFolder m_Folder; // before the server, which writes its log there
    ServerHarness m_Harness;
};
