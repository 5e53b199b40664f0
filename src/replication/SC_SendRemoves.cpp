// Removal messages.
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using namespace replication;

namespace {

// Writes the waiting removals of one list; false when the message filled up first.
bool SendRemoves(Server_Client& client, VUKFastArray_WithLinkBacks<Server_Client_Entity*>& views, bool fireBlocks) {
    while (views.Count() > 0) {
        if (!client.HandleFullPacket()) return false;
        Server_Client_Entity* view = views[0];
        client.m_pView = view;
        // A client that simulates its own fire blocks ends them by itself.
        bool silent = fireBlocks && client.m_bCSE1 && (view->m_ucViewFlags & kViewClientFireBlock);
        if (!silent) {
            client.SendIDChange();
            client.m_pPacket->AppendByte(kMsgRemove);
        }
        views.Remove(views.GetCell(0));
        client.ReleaseView(view);
    }
    return true;
}

} // namespace

bool Server_Client::UC_ProcessAllRemoves_FireBlocks() { return SendRemoves(*this, m_RemovedFireBlockViews, true); }

bool Server_Client::UC_ProcessAllRemoves() { return SendRemoves(*this, m_RemovedViews, false); }
