// World-change notices: a change or a coming removal is only filed into every client record here;
// the update cycle turns it into messages later. Also the attachment of a newly logged-in client
// to the whole world, the slice-wise filing into its pending grid, and the teardown at shutdown.
#include "core/Server.h"
#include "platform/Clock.h"
#include "replication/Server_Client.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

namespace {

// Filing into the pending grid gets 1/60 s of the counter per call.
constexpr double kZoneFilingSliceSeconds = 0.016666668;

// Attaching or tearing down a client walks the whole world: the server lock is let go meanwhile
// so that the UDP thread can keep serving (it only creates clients and moves messages), and is
// taken again before returning.
class ServerLockRelease {
public:
    explicit ServerLockRelease(ServerLock& lock) : m_Lock(lock), m_bWasHeld(lock.IsHeld()) {
        if (m_bWasHeld) m_Lock.Unlock();
    }
    ~ServerLockRelease() {
        if (m_bWasHeld) m_Lock.Lock();
    }
    ServerLockRelease(const ServerLockRelease&) = delete;
    ServerLockRelease& operator=(const ServerLockRelease&) = delete;

private:
    ServerLock& m_Lock;
    bool m_bWasHeld;
};

// One group of the world: every entity the client has neither seen nor has pending goes into
// the pending list, the zone-wait list and the attached list.
void AttachGroup(Server_Client* client, VUKFastArray_Entity& group,
                 VUKFastArray_WithLinkBacks<Server_Entity*>& pending) {
    uint32_t n = group.Count();
    pending.ReserveEnoughFor(n);
    client->m_ZoneWaitEntities.ReserveEnoughFor(n);
    client->m_AttachedEntities.ReserveEnoughFor(n);
    group.SortByAddresses();
    uint32_t slot = client->Slot();
    for (uint32_t i = 0; i < n; ++i) {
        Server_Entity* e = group.GetEntity(i);
        if (e->GetClientView(slot) || client->IsPending(e)) continue;
        // Not filed for this client any more: a stale membership record would double the entry.
        if (PFAE_InfoList* info = e->GetClientZoneInfo(slot)) {
            ZL_RemoveEntityFromZonesOnly(e, info);
            e->SetClientZoneInfo(slot, nullptr);
            delete info;
        }
        client->MakePending(e);
        client->PutInZoneWait(e);
        client->Attach(e);
    }
}

void AddAlmostAllPlayersToNewClient(Server& server, Server_Client* client) {
    AttachGroup(client, server.m_Players, client->m_PendingPlayers);
}

void AddNonPlayersToNewClient(Server_Client* client, VUKFastArray_Entity& group) {
    AttachGroup(client, group, client->m_PendingEntities);
}

// Every trace of the client on the group's entities, at once.
void RemoveEntitiesFromClientAboutToBeDeleted(Server_Client* client, VUKFastArray_Entity& group) {
    for (uint32_t i = 0; i < group.Count(); ++i) {
        Server_Entity* e = group.GetEntity(i);
        client->ForgetEntity(e);
        client->Detach(e);
    }
}

} // namespace

// ---- the client's bookkeeping ----

bool Server_Client::IsPending(const Server_Entity* e) const { return e->GetClientPendingLink(Slot()) != nullptr; }

VUKFastArray_WithLinkBacks<Server_Entity*>& Server_Client::PendingListOf(const Server_Entity* e) {
    return e->GetKind() == kKindPlayer ? m_PendingPlayers : m_PendingEntities;
}

void Server_Client::MakePending(Server_Entity* e) {
    uint32_t slot = Slot();
    if (e->GetClientPendingLink(slot)) return;
    e->SetClientPendingLink(slot, PendingListOf(e).Append(e));
}

void Server_Client::TakeOutOfPending(Server_Entity* e) {
    uint32_t slot = Slot();
    uint32_t* cell = e->GetClientPendingLink(slot);
    if (!cell) return;
    PendingListOf(e).Remove(cell);
    e->SetClientPendingLink(slot, nullptr);
}

void Server_Client::Attach(Server_Entity* e) {
    uint32_t slot = Slot();
    if (e->GetClientAttachedLink(slot)) return;
    e->SetClientAttachedLink(slot, m_AttachedEntities.Append(e));
}

void Server_Client::Detach(Server_Entity* e) {
    uint32_t slot = Slot();
    uint32_t* cell = e->GetClientAttachedLink(slot);
    if (!cell) return;
    m_AttachedEntities.Remove(cell);
    e->SetClientAttachedLink(slot, nullptr);
}

void Server_Client::PutInZoneWait(Server_Entity* e) {
    uint32_t slot = Slot();
    if (e->GetClientZoneWaitLink(slot)) return;
    e->SetClientZoneWaitLink(slot, m_ZoneWaitEntities.Append(e));
}

void Server_Client::TakeOutOfZoneWait(Server_Entity* e) {
    uint32_t slot = Slot();
    if (uint32_t* cell = e->GetClientZoneWaitLink(slot)) {
        m_ZoneWaitEntities.Remove(cell);
        e->SetClientZoneWaitLink(slot, nullptr);
    }
}

void Server_Client::TakeOutOfZoneWaitOrGrid(Server_Entity* e) {
    uint32_t slot = Slot();
    if (uint32_t* cell = e->GetClientZoneWaitLink(slot)) {
        m_ZoneWaitEntities.Remove(cell);
        e->SetClientZoneWaitLink(slot, nullptr);
    } else if (PFAE_InfoList* info = e->GetClientZoneInfo(slot)) {
        ZL_RemoveEntityFromZonesOnly(e, info);
    }
}

void Server_Client::FileInPendingGrid(Server_Entity* e) {
    uint32_t slot = Slot();
    PFAE_InfoList* info = e->GetClientZoneInfo(slot);
    if (!info) {
        info = new PFAE_InfoList(1);
        e->SetClientZoneInfo(slot, info);
    } else if (info->Count() != 0) {
        ZL_RemoveEntityFromZonesOnly(e, info);
    }
    m_PendingGrid.AddEntity(e, info, true);
}

void Server_Client::ForgetEntity(Server_Entity* e) {
    uint32_t slot = Slot();
    TakeOutOfPending(e);
    if (Server_Client_Entity* view = e->GetClientView(slot)) {
        e->SetClientView(slot, nullptr);
        ReleaseView(view);
    }
    TakeOutOfZoneWaitOrGrid(e);
    if (PFAE_InfoList* info = e->GetClientZoneInfo(slot)) {
        e->SetClientZoneInfo(slot, nullptr);
        delete info;
    }
}

// ---- notices ----

void Server_Client::Inform_EntityUpdated(Server_Entity* e) { Inform_EntityUpdated(e, false); }

void Server_Client::Inform_EntityUpdated(Server_Entity* e, bool sameZones) {
    const uint32_t slot = Slot();
    // Filed and not waiting means filed where the last notice put it (or where the zone filing
    // put it since, from the same bounds): pending and filed at once needs nothing, filed only
    // needs to become pending. A pending entity is always filed or waiting.
    if (sameZones && !e->GetClientZoneWaitLink(slot)) {
        if (e->GetClientPendingLink(slot)) return;
        const PFAE_InfoList* info = e->GetClientZoneInfo(slot);
        if (info && info->Count() != 0) {
            MakePending(e);
            return;
        }
    }
    MakePending(e);
    Attach(e);
    TakeOutOfZoneWait(e);
    FileInPendingGrid(e);
}

void Server_Client::Inform_EntityAboutToBeRemoved(Server_Entity* e) {
    uint32_t slot = Slot();
    TakeOutOfPending(e);
    if (Server_Client_Entity* view = e->GetClientView(slot)) {
        // The removal is written later; the view keeps its slot until then.
        if (view->GetKind() == kKindFireBlock)
            m_RemovedFireBlockViews.Append(view);
        else
            m_RemovedViews.Append(view);
        e->SetClientView(slot, nullptr);
    }
    Detach(e);
    TakeOutOfZoneWaitOrGrid(e);
    if (PFAE_InfoList* info = e->GetClientZoneInfo(slot)) {
        e->SetClientZoneInfo(slot, nullptr);
        delete info;
    }
}

void Server::InformClients_EntityUpdated(Server_Entity* entity) {
    if (entity->m_ucRuleFlags & kRuleQueuedForRemoval) return;
    if (m_Clients.Empty()) return;
    // Every client's pending grid has the same geometry: one key serves them all.
    uint32_t zones = m_Clients[0]->m_PendingGrid.ZoneKey(entity);
    bool sameZones = zones != 0 && zones == entity->m_uiPendingGridZones;
    for (Server_Client* client : m_ClientsWithPlayer) client->Inform_EntityUpdated(entity, sameZones);
    entity->m_uiPendingGridZones = zones;
}

void Server::InformClients_EntityAboutToBeRemoved(Server_Entity* entity) {
    for (Server_Client* client : m_Clients) client->Inform_EntityAboutToBeRemoved(entity);
    // Clients being dismantled still hold views and links of the entity.
    for (Server_Client* client : m_ClientsBeingDeleted) client->Inform_EntityAboutToBeRemoved(entity);
}

// ---- attachment and filing ----

void Server::AddAlmostAllEntitiesToNewClient(Server_Client* client) {
    ServerLockRelease release(m_ServerLock);
    // Fire blocks are short-lived: they reach the client through change notices only.
    AddAlmostAllPlayersToNewClient(*this, client);
    AddNonPlayersToNewClient(client, m_NormalPads);
    AddNonPlayersToNewClient(client, m_TalvyCubes);
    AddNonPlayersToNewClient(client, m_OrisetCubes);
    AddNonPlayersToNewClient(client, m_ZorbinCubes);
    AddNonPlayersToNewClient(client, m_PalaceCubes);
    AddNonPlayersToNewClient(client, m_QuillhobCubes);
}

void Server_Client::HandleZonesBeUpdatedThingy() {
    const int64_t start = platform::QueryCounter();
    const int64_t slice = int64_t(double(platform::QueryCounterFrequency()) * kZoneFilingSliceSeconds);
    const uint32_t slot = Slot();
    for (;;) {
        if (m_ZoneWaitEntities.Count() == 0) {
            m_bZonesFilled = true;
            return;
        }
        Server_Entity* e = m_ZoneWaitEntities[0];
        FileInPendingGrid(e);
        m_ZoneWaitEntities.Remove(m_ZoneWaitEntities.GetCell(0));
        e->SetClientZoneWaitLink(slot, nullptr);
        if (platform::QueryCounter() - start >= slice) return;
    }
}

void Server::ProperlyDeleteClient(Server_Client* client) {
    if (!client->m_pSlotRecord) return;
    {
        ServerLockRelease release(m_ServerLock);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_Players);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_FireBlocks);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_NormalPads);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_PalaceCubes);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_ZorbinCubes);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_TalvyCubes);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_OrisetCubes);
        RemoveEntitiesFromClientAboutToBeDeleted(client, m_QuillhobCubes);
    }
    ReturnACRNumber(client->m_pSlotRecord);
    client->m_pSlotRecord = nullptr;
}
