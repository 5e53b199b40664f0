// World-change notices: a change or a coming removal is only filed into every client record here;
// the update cycle turns it into messages later. Also the attachment of a newly logged-in client
// to the whole world, the slice-wise filing into its pending grid, and the teardown at shutdown.
#include <algorithm>

#include "core/Server.h"
#include "platform/Clock.h"
#include "replication/Server_Client.h"
#include "world/EntityClientBits.h"
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

// Cells dismantled per step of a dropped client's teardown.
constexpr uint32_t kCellsPerTeardownStep = 4096;

// One group of the world: every entity the client has neither seen nor has pending goes into
// the pending list and the zone-wait list.
void AttachGroup(Server_Client* client, VUKFastArray_Entity& group, PlacedEntityList& pending) {
    uint32_t n = group.Count();
    pending.ReserveEnoughFor(n);
    client->m_ZoneWaitEntities.ReserveEnoughFor(n);
    group.SortByAddresses();
    for (uint32_t i = 0; i < n; ++i) {
        Server_Entity* e = group.GetEntity(i);
        if (client->ViewOf(e) || client->IsPending(e)) continue;
        // Not filed for this client any more: a stale filing would double the entry.
        client->TakeOutOfGrid(e);
        client->MakePending(e);
        client->PutInZoneWait(e);
    }
}

void AddAlmostAllPlayersToNewClient(Server& server, Server_Client* client) {
    AttachGroup(client, server.m_Players, client->m_PendingPlayers);
}

void AddNonPlayersToNewClient(Server_Client* client, VUKFastArray_Entity& group) {
    AttachGroup(client, group, client->m_PendingEntities);
}

} // namespace

// ---- the client's bookkeeping ----

void Server_Client::GrowCells(uint32_t index) {
    // Indices are reused before new ones are handed out, so the limit grows slowly: an eighth
    // more than it is now, not double, keeps growth rare without idle cells for every client.
    size_t size = std::max<size_t>(index + 1, g_EntityClientBits.IndexLimit());
    if (size + size / 8 > m_Cells.size()) m_Cells.resize(size + size / 8);
}

Server_Client_Entity* Server_Client::ViewOf(const Server_Entity* e) const {
    uint32_t h = CellOf(e).m_uiView;
    return h ? reinterpret_cast<Server_Client_Entity*>(g_VukHeap_ServerClientEntity.FromHandle(h)) : nullptr;
}

void Server_Client::PrefetchCellOf(uint32_t index) const {
    if (index >= m_Cells.size()) return;
    __builtin_prefetch(&m_Cells[index]);
    g_EntityClientBits.Prefetch(index);
}

void Server_Client::PrefetchEntityAndView(uint32_t index) const {
    if (index >= m_Cells.size()) return;
    const auto* e = reinterpret_cast<const char*>(g_EntityClientBits.EntityAt(index));
    __builtin_prefetch(e);
    __builtin_prefetch(e + 64);
    if (uint32_t h = m_Cells[index].m_uiView) {
        // A record may straddle two cache lines.
        const uint8_t* view = g_VukHeap_ServerClientEntity.FromHandle(h);
        __builtin_prefetch(view);
        __builtin_prefetch(view + sizeof(Server_Client_Entity) - 1);
    }
}

void Server_Client::PrefetchExtrasOf(uint32_t index) const {
    if (index >= m_Cells.size() || !m_Cells[index].m_uiView) return;
    const auto* view =
        reinterpret_cast<const Server_Client_Entity*>(g_VukHeap_ServerClientEntity.FromHandle(m_Cells[index].m_uiView));
    if (view->m_pExtras) __builtin_prefetch(view->m_pExtras);
}

void Server_Client::SetView(Server_Entity* e, Server_Client_Entity* view) {
    CellFor(e).m_uiView = view ? g_VukHeap_ServerClientEntity.HandleOf(view) : 0;
    SetBit(e, kBitViewed, view != nullptr);
}

void Server_Client::SetBit(const Server_Entity* e, EntityClientBit bit, bool on) {
    if (!IsWatching()) return;
    if (on)
        g_EntityClientBits.Set(e->m_uiIndex, bit, m_uiWatcher);
    else
        g_EntityClientBits.Clear(e->m_uiIndex, bit, m_uiWatcher);
}

PlacedEntityList& Server_Client::PendingListOf(const Server_Entity* e) {
    return e->GetKind() == kKindPlayer ? m_PendingPlayers : m_PendingEntities;
}

void Server_Client::MakePending(Server_Entity* e) {
    ClientEntityCell& cell = CellFor(e);
    if (cell.m_uiPendingPlace) return;
    cell.m_uiPendingPlace = PendingListOf(e).Append(e) + 1;
    SetBit(e, kBitPending, true);
}

void Server_Client::TakeOutOfPending(Server_Entity* e) {
    if (e->m_uiIndex >= m_Cells.size()) return;
    ClientEntityCell& cell = m_Cells[e->m_uiIndex];
    if (!cell.m_uiPendingPlace) return;
    uint32_t moved = PendingListOf(e).RemoveAt(cell.m_uiPendingPlace - 1);
    if (moved != PlacedEntityList::kNone) m_Cells[moved].m_uiPendingPlace = cell.m_uiPendingPlace;
    cell.m_uiPendingPlace = 0;
    SetBit(e, kBitPending, false);
}

void Server_Client::PutInZoneWait(Server_Entity* e) {
    if (!IsWatching() || IsWaitingForZone(e)) return;
    SetBit(e, kBitWaiting, true);
    m_ZoneWaitEntities.m_Order.push_back(e->m_uiIndex);
    ++m_ZoneWaitEntities.m_uiCount;
}

void Server_Client::TakeOutOfZoneWait(Server_Entity* e) {
    if (!IsWaitingForZone(e)) return;
    SetBit(e, kBitWaiting, false);
    if (--m_ZoneWaitEntities.m_uiCount == 0) {
        std::vector<uint32_t>().swap(m_ZoneWaitEntities.m_Order);
        m_ZoneWaitEntities.m_uiCursor = 0;
    }
}

void Server_Client::TakeOutOfGrid(Server_Entity* e) {
    m_PendingGrid.Unfile(e->m_uiIndex);
    SetBit(e, kBitFiled, false);
}

void Server_Client::TakeOutOfZoneWaitOrGrid(Server_Entity* e) {
    if (IsWaitingForZone(e))
        TakeOutOfZoneWait(e);
    else
        TakeOutOfGrid(e);
}

void Server_Client::FileInPendingGrid(Server_Entity* e) { FileInPendingGrid(e, ClientPendingGrid::KeyOf(e)); }

void Server_Client::FileInPendingGrid(Server_Entity* e, uint32_t key) {
    m_PendingGrid.File(e->m_uiIndex, key);
    SetBit(e, kBitFiled, key != ClientPendingGrid::kNowhere);
}

// ---- notices ----

void Server_Client::Inform_EntityUpdated(Server_Entity* e) {
    uint32_t key = ClientPendingGrid::KeyOf(e);
    Inform_EntityUpdated(e, false, key);
}

void Server_Client::Inform_EntityUpdated(Server_Entity* e, bool sameZones, uint32_t key) {
    if (!m_pPlayer) return;
    // Filed and not waiting means filed where the last notice put it (or where the zone filing
    // put it since, from the same bounds): pending and filed at once needs nothing, filed only
    // needs to become pending. A pending entity is always filed or waiting.
    if (sameZones && !IsWaitingForZone(e)) {
        if (IsPending(e)) return;
        if (m_PendingGrid.IsFiledInZones(e->m_uiIndex)) {
            MakePending(e);
            return;
        }
    }
    MakePending(e);
    TakeOutOfZoneWait(e);
    FileInPendingGrid(e, key);
}

void Server_Client::Inform_EntityAboutToBeRemoved(Server_Entity* e) {
    TakeOutOfPending(e);
    if (Server_Client_Entity* view = ViewOf(e)) {
        // The removal is written later; the view keeps its slot until then.
        if (view->GetKind() == kKindFireBlock)
            m_RemovedFireBlockViews.Append(view);
        else
            m_RemovedViews.Append(view);
        SetView(e, nullptr);
    }
    TakeOutOfZoneWait(e);
    TakeOutOfGrid(e);
}

void Server::InformClients_EntityUpdated(Server_Entity* entity) {
    if (entity->m_ucRuleFlags & kRuleQueuedForRemoval) return;
    if (m_WatcherCount == 0) return;
    const uint32_t key = ClientPendingGrid::KeyOf(entity);
    const bool sameZones = key == entity->m_uiPendingGridZones;
    entity->m_uiPendingGridZones = key;
    // One row answers for every client: with the same zones, a client that has the entity
    // pending and not waiting needs nothing at all.
    const uint32_t words = g_EntityClientBits.WordsPerKind();
    const uint64_t* row = g_EntityClientBits.Row(entity->m_uiIndex);
    for (uint32_t w = 0; w < m_UpdateWatchers.size() && w < words; ++w) {
        uint64_t todo = m_UpdateWatchers[w];
        if (sameZones) todo &= ~(row[kBitPending * words + w] & ~row[kBitWaiting * words + w]);
        for (; todo; todo &= todo - 1)
            m_Watchers[w * 64 + uint32_t(__builtin_ctzll(todo))]->Inform_EntityUpdated(entity, sameZones, key);
    }
}

void Server::InformClients_EntityAboutToBeRemoved(Server_Entity* entity) {
    if (m_WatcherCount == 0) return;
    // Clients being dismantled still hold views and places of the entity, so every watcher counts.
    const uint32_t words = g_EntityClientBits.WordsPerKind();
    const uint64_t* row = g_EntityClientBits.Row(entity->m_uiIndex);
    for (uint32_t w = 0; w < m_AllWatchers.size() && w < words; ++w) {
        uint64_t held = 0;
        for (uint32_t k = 0; k < kEntityClientBitKinds; ++k) held |= row[k * words + w];
        for (held &= m_AllWatchers[w]; held; held &= held - 1)
            m_Watchers[w * 64 + uint32_t(__builtin_ctzll(held))]->Inform_EntityAboutToBeRemoved(entity);
    }
}

// ---- watchers ----

void Server::WatchWorld(Server_Client* client) {
    if (client->IsWatching()) return;
    uint32_t n = 0;
    while (n < m_Watchers.size() && m_Watchers[n]) ++n;
    if (n == m_Watchers.size()) m_Watchers.push_back(nullptr);
    m_Watchers[n] = client;
    ++m_WatcherCount;
    g_EntityClientBits.EnsureWatchers(n + 1);
    const size_t words = g_EntityClientBits.WordsPerKind();
    if (m_UpdateWatchers.size() < words) m_UpdateWatchers.resize(words);
    if (m_AllWatchers.size() < words) m_AllWatchers.resize(words);
    m_UpdateWatchers[n / 64] |= uint64_t(1) << (n % 64);
    m_AllWatchers[n / 64] |= uint64_t(1) << (n % 64);
    client->m_uiWatcher = n;
    client->m_uiWatchEpoch = ++m_uiWatchEpochs;
    client->m_uiTeardownCursor = 0;
}

void Server::StopWatchingUpdates(Server_Client* client) {
    if (!client->IsWatching()) return;
    m_UpdateWatchers[client->m_uiWatcher / 64] &= ~(uint64_t(1) << (client->m_uiWatcher % 64));
}

void Server::ReleaseWatcher(Server_Client* client) {
    if (!client->IsWatching()) return;
    uint32_t n = client->m_uiWatcher;
    m_UpdateWatchers[n / 64] &= ~(uint64_t(1) << (n % 64));
    m_AllWatchers[n / 64] &= ~(uint64_t(1) << (n % 64));
    m_Watchers[n] = nullptr;
    --m_WatcherCount;
    client->m_uiWatcher = Server_Client::kNoWatcher;
}

// ---- attachment and filing ----

void Server::AddAlmostAllEntitiesToNewClient(Server_Client* client) {
    WatchWorld(client);
    client->GrowCells(g_EntityClientBits.IndexLimit());
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
    for (;;) {
        if (m_ZoneWaitEntities.Count() == 0) {
            m_bZonesFilled = true;
            return;
        }
        // Entries of entities taken out early (or of indices handed to another entity since that
        // is waiting again further on) are passed over.
        Server_Entity* e = g_EntityClientBits.EntityAt(m_ZoneWaitEntities.m_Order[m_ZoneWaitEntities.m_uiCursor++]);
        if (!e || !IsWaitingForZone(e)) continue;
        TakeOutOfZoneWait(e);
        FileInPendingGrid(e);
        if (platform::QueryCounter() - start >= slice) return;
    }
}

bool Server_Client::GradualDeleteThingy() {
    // Views go back to their pool and the client's bits are cleared, a block of cells at a time;
    // the lists and the grid go with the record.
    const uint32_t end = std::min<uint32_t>(m_uiTeardownCursor + kCellsPerTeardownStep, uint32_t(m_Cells.size()));
    for (uint32_t i = m_uiTeardownCursor; i < end; ++i) {
        ClientEntityCell& cell = m_Cells[i];
        // The bits mirror the cell: a cell holding nothing has none set.
        // A waiting entity is always pending too.
        const bool held = cell.m_uiView || cell.m_uiPendingPlace || cell.m_uiGridKey;
        if (!held) continue;
        if (cell.m_uiView)
            ReleaseView(
                reinterpret_cast<Server_Client_Entity*>(g_VukHeap_ServerClientEntity.FromHandle(cell.m_uiView)));
        cell = ClientEntityCell{};
        if (IsWatching())
            for (uint32_t k = 0; k < kEntityClientBitKinds; ++k)
                g_EntityClientBits.Clear(i, EntityClientBit(k), m_uiWatcher);
    }
    m_uiTeardownCursor = end;
    return m_uiTeardownCursor >= m_Cells.size();
}

void Server::DismantleClient(Server_Client* client) {
    StopWatchingUpdates(client);
    while (!client->GradualDeleteThingy()) {
    }
    ReleaseWatcher(client);
}

void Server::ProperlyDeleteClient(Server_Client* client) {
    if (!client->m_pSlotRecord) return;
    DismantleClient(client);
    ReturnACRNumber(client->m_pSlotRecord);
    client->m_pSlotRecord = nullptr;
}
