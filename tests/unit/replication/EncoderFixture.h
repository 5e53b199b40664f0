// A lone client record with a message to fill, and entities made outside any world, for driving
// the encoders one call at a time.
#pragma once
#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_Entity.h"
#include "world/World.h"
#include "unit/replication/WireBytes.h"

class EncoderTest : public ::testing::Test {
protected:
    // One step of a script: change something, run one encoder on the entity, compare its bytes.
    struct Step { std::function<void()> change; void (Server_Client::*encoder)(); Bytes expected; };

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
