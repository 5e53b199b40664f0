// A lone client record with a message to fill, and entities made outside any world, for driving
// the encoders one call at a time.
#pragma once
#include <gtest/gtest.h>

#include <vector>

#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKHeap.h"
#include "world/World.h"
#include "unit/replication/WireBytes.h"

class EncoderTest : public ::testing::Test {
protected:
    EncoderTest() : m_Client(new Server_Client) { m_Client->m_pPacket = new Packet; }
    ~EncoderTest() override {
        for (Server_Client_Entity* view : m_Views) m_Client->ReleaseView(view);
        delete m_Client;
        for (Server_Entity* e : m_Entities) delete e;
    }

    Server_Entity* Make(uint8_t kind) {
        m_Entities.push_back(World::CreateByType(kind));
        return m_Entities.back();
    }
    Server_Player* MakePlayer() { return static_cast<Server_Player*>(Make(kKindPlayer)); }

    // A view with what the client assumes for a new object of e's kind, made current and already
    // selected, so that what follows carries no selection message.
    Server_Client_Entity* Track(Server_Entity* e) {
        Server_Client_Entity* view = Server_Client::NewView(e->GetKind());
        m_Views.push_back(view);
        Focus(e, view);
        m_Client->SendIDChange();
        m_Client->m_pPacket->Clear();
        return view;
    }
    void Focus(Server_Entity* e, Server_Client_Entity* view) {
        m_Client->m_pEntity = e;
        m_Client->m_pView = view;
    }
    // The view UC_ProcessAdd made, to be released with the others.
    Server_Client_Entity* Keep(Server_Client_Entity* view) {
        m_Views.push_back(view);
        return view;
    }
    // What was written since the last call.
    Bytes Written() {
        Bytes out = m_Client->m_pPacket->m_Data;
        m_Client->m_pPacket->Clear();
        return out;
    }
    static Bytes Bind(uint8_t slot, const Server_Client_Entity* view) {
        return Bytes{0x2F, slot} + U32(g_VukHeap_ServerClientEntity.HandleOf(view));
    }

    Server_Client* m_Client;
    std::vector<Server_Entity*> m_Entities;
    std::vector<Server_Client_Entity*> m_Views;
};
