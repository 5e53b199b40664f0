// Shared by the replication tests. Expected bytes are written by hand (little-endian integers,
// floats by their bit patterns), so no expectation runs through the code under test. EncoderTest
// drives the encoders one call at a time; ReplicationTest runs a real server in a fresh folder.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "core/Server.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "support/ClientRecords.h"
#include "support/ServerHarness.h"
#include "support/WorkingFolder.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKHeap.h"
#include "world/World.h"

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes U16(uint16_t v) { return {uint8_t(v), uint8_t(v >> 8)}; }
inline Bytes U32(uint32_t v) { return {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }
// A float given by its bit pattern, e.g. F32(0x3F800000) for 1.0.
inline Bytes F32(uint32_t bits) { return U32(bits); }
inline Bytes Text(const std::string& s) { return Bytes(s.begin(), s.end()); }
// 0x2F: the slot now names the view's object.
inline Bytes Bind(uint8_t slot, const Server_Client_Entity* view) {
    return Bytes{0x2F, slot} + U32(g_VukHeap_ServerClientEntity.HandleOf(view));
}

// Bit patterns used across the tests.
inline constexpr uint32_t kF0 = 0x00000000;        // 0.0
inline constexpr uint32_t kF0_5 = 0x3F000000;      // 0.5
inline constexpr uint32_t kF1 = 0x3F800000;        // 1.0
inline constexpr uint32_t kF2 = 0x40000000;        // 2.0
inline constexpr uint32_t kF3 = 0x40400000;        // 3.0
inline constexpr uint32_t kF10 = 0x41200000;       // 10.0
inline constexpr uint32_t kF20 = 0x41A00000;       // 20.0
inline constexpr uint32_t kF64 = 0x42800000;       // 64.0
inline constexpr uint32_t kF100 = 0x42C80000;      // 100.0
inline constexpr uint32_t kF200 = 0x43480000;      // 200.0
inline constexpr uint32_t kFMinus200 = 0xC3480000; // -200.0
inline constexpr uint32_t kF400 = 0x43C80000;      // 400.0

class EncoderTest : public ::testing::Test {
protected:
    // One step of a script: change something, run one encoder on the entity, compare its bytes.
    struct Step {
        std::function<void()> change;
        void (Server_Client::*encoder)();
        Bytes expected;
    };

    EncoderTest() : m_Client(new Server_Client) { m_Client->m_pPacket = new Packet; }
    ~EncoderTest() override {
        for (Server_Client_Entity* view : m_Views) m_Client->ReleaseView(view);
        delete m_Client;
        for (Server_Entity* e : m_Entities) delete e;
    }

    Server_Entity* Make(uint8_t kind) { return m_Entities.emplace_back(World::CreateByType(kind)); }

    // A view with what the client assumes for a new object of e's kind, made current and already
    // selected, so that what follows carries no selection message.
    Server_Client_Entity* Track(Server_Entity* e) {
        Server_Client_Entity* view = Keep(Server_Client::NewView(e->GetKind()));
        Focus(e, view);
        m_Client->SendIDChange();
        m_Client->m_pPacket->Clear();
        return view;
    }
    void Focus(Server_Entity* e, Server_Client_Entity* view) {
        m_Client->m_pEntity = e;
        m_Client->m_pView = view;
    }
    // A view made by the code under test, to be released with the others.
    Server_Client_Entity* Keep(Server_Client_Entity* view) { return m_Views.emplace_back(view); }
    // What was written since the last call.
    Bytes Written() {
        Bytes out = m_Client->m_pPacket->m_Data;
        m_Client->m_pPacket->Clear();
        return out;
    }
    // Runs the steps in order on e and its view.
    void Run(Server_Entity* e, Server_Client_Entity* view, const std::vector<Step>& steps) {
        for (size_t i = 0; i < steps.size(); ++i) {
            if (steps[i].change) steps[i].change();
            Focus(e, view);
            (m_Client->*steps[i].encoder)();
            EXPECT_EQ(Written(), steps[i].expected) << "step " << i;
        }
    }
    Server_Client* m_Client;
    std::vector<Server_Entity*> m_Entities;
    std::vector<Server_Client_Entity*> m_Views;
};

class ReplicationTest : public ::testing::Test {
protected:
    using Peer = ServerHarness::Peer;
    Server& server() { return m_Harness.server(); }

    // Connects, declares the extensions, logs a new player in and takes the login answers.
    Peer LogIn(const std::string& name, const std::vector<std::string>& extensions = {}) {
        Peer peer = m_Harness.Connect();
        for (const std::string& ext : extensions) peer.Send(0, records::Declare(ext, 1));
        peer.Send(0, records::Concat(records::Version(84), records::NewLogin(name, "pw")));
        Messages();
        peer.TakeAll();
        // The startup windows have tests of their own; here they would only crowd the updates.
        peer.client->m_bStartupSent = true;
        return peer;
    }
    // Only the messages: a whole pass would also file the client's zones, which the tests want to
    // do themselves.
    void Messages() {
        ServerLockGuard lock(server().m_ServerLock);
        while (server().PIC()) {
        }
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

    Server_Client_Entity* ViewOf(const Peer& peer, const Server_Entity* e) const { return peer.client->ViewOf(e); }
    uint8_t SlotOf(const Peer& peer, const Server_Entity* e) const { return ViewOf(peer, e)->m_ucLinkSlot; }
    bool Pending(const Peer& peer, const Server_Entity* e) const { return peer.client->IsPending(e); }
    static bool Contains(const Bytes& haystack, const Bytes& needle) {
        return std::search(haystack.begin(), haystack.end(), needle.begin(), needle.end()) != haystack.end();
    }

    WorkingFolder m_Folder; // before the server, which writes its log there
    ServerHarness m_Harness;
};
