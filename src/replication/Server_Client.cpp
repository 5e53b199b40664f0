// The client record: its storage, its life, and the 256 client-side reference slots.
#include "replication/Server_Client.h"

#include "core/Server.h"
#include "net/Packet.h"
#include "world/Server_Client_Entity.h"
#include "world/VUKHeap.h"

static_assert(sizeof(Server_Client) <= kServerClientElementSize, "a client record must fit its pool's elements");

namespace {
constexpr int kSlotCount = 256;
constexpr uint8_t kBindSlot = 0x2F;   // '/'
constexpr uint8_t kSelectSlot = 0x2E; // '.'
} // namespace

void* Server_Client::operator new(size_t) { return g_VukHeap_ServerClient.AllocateOne(); }

void Server_Client::operator delete(void* p) { g_VukHeap_ServerClient.FreeOne(p); }

Server_Client::Server_Client() = default;

void Server_Client::MakeIndexLinks() {
    // Made at the first binding, not with the record, so a peer that never logs in does not pay
    // for them.
    m_pLinkBlock = new IndexLink[kSlotCount];
    for (int i = 0; i < kSlotCount; ++i) {
        m_pLinkBlock[i].m_ucSlot = uint8_t(i);
        CR_ILH_AddNewUsedEntry(&m_pLinkBlock[i]);
    }
}

Server_Client::~Server_Client() {
    while (m_RemovedViews.Count() > 0) {
        Server_Client_Entity* view = m_RemovedViews[0];
        m_RemovedViews.Remove(m_RemovedViews.GetCell(0));
        ReleaseView(view);
    }
    while (m_RemovedFireBlockViews.Count() > 0) {
        Server_Client_Entity* view = m_RemovedFireBlockViews[0];
        m_RemovedFireBlockViews.Remove(m_RemovedFireBlockViews.GetCell(0));
        ReleaseView(view);
    }
    delete[] m_pLinkBlock;
    for (std::string*& label : m_LabelCache) {
        delete label;
        label = nullptr;
    }
    delete m_pPacket;
}

uint32_t Server_Client::Slot() const { return m_pSlotRecord ? m_pSlotRecord->m_uiNumber : 0; }

void Server_Client::Send(unsigned channel, Packet* packet) { m_Pipe.PushToClient(channel, packet); }

bool Server_Client::HasReplicationWork() const {
    return m_PendingEntities.Count() != 0 || m_PendingPlayers.Count() != 0 || m_RemovedViews.Count() != 0 ||
           m_RemovedFireBlockViews.Count() != 0 || m_ZoneWaitEntities.Count() != 0 || !m_bZonesFilled ||
           m_bPleaseWaitShown;
}

bool Server_Client::HandleFullPacket() const {
    uint32_t length = m_pPacket->Length();
    return length <= m_uiMaxUpdateSize && (m_uiRateLimit == 0 || length <= m_uiRateLimit);
}

void Server_Client::CR_ILH_AddNewUsedEntry(IndexLink* link) {
    link->m_pNewer = nullptr;
    link->m_pOlder = m_pNewestLink;
    if (m_pNewestLink)
        m_pNewestLink->m_pNewer = link;
    else
        m_pOldestLink = link;
    m_pNewestLink = link;
}

void Server_Client::CR_ILH_AddOldUsedEntry(IndexLink* link) {
    link->m_pOlder = nullptr;
    link->m_pNewer = m_pOldestLink;
    if (m_pOldestLink)
        m_pOldestLink->m_pOlder = link;
    else
        m_pNewestLink = link;
    m_pOldestLink = link;
}

IndexLink* Server_Client::CR_ILH_RemoveOldestUsedEntry() {
    IndexLink* link = m_pOldestLink;
    if (link) CR_ILH_RemoveAnyEntry(link);
    return link;
}

void Server_Client::CR_ILH_RemoveAnyEntry(IndexLink* link) {
    if (link->m_pOlder)
        link->m_pOlder->m_pNewer = link->m_pNewer;
    else
        m_pOldestLink = link->m_pNewer;
    if (link->m_pNewer)
        link->m_pNewer->m_pOlder = link->m_pOlder;
    else
        m_pNewestLink = link->m_pOlder;
    link->m_pNewer = link->m_pOlder = nullptr;
}

uint32_t Server_Client::HandleOf(const Server_Client_Entity* view) const {
    // A view's place in its pool: unique among live records and fixed for the record's life.
    return g_VukHeap_ServerClientEntity.HandleOf(view);
}

IndexLink* Server_Client::LinkOf(const Server_Client_Entity* view) const {
    // A view whose slot was taken over keeps its flag: the slot's owner says whether it is still
    // bound, so that taking a slot over needs no look at the view that had it.
    IndexLink* link = view->m_bLinked ? &m_pLinkBlock[view->m_ucLinkSlot] : nullptr;
    return link && link->m_pOwner == view ? link : nullptr;
}

void Server_Client::SendIDChange() {
    if (m_pView == m_pSelectedView) return;
    SendIDChange_Core();
}

void Server_Client::SendIDChange_Core() {
    if (IndexLink* link = LinkOf(m_pView)) {
        CR_ILH_RemoveAnyEntry(link);
        CR_ILH_AddNewUsedEntry(link);
        m_pPacket->AppendByte(kSelectSlot);
        m_pPacket->AppendByte(link->m_ucSlot);
    } else {
        if (!m_pLinkBlock) MakeIndexLinks();
        link = CR_ILH_RemoveOldestUsedEntry();
        CR_ILH_AddNewUsedEntry(link);
        link->m_pOwner = m_pView;
        m_pView->m_ucLinkSlot = link->m_ucSlot;
        m_pView->m_bLinked = true;
        m_pPacket->AppendByte(kBindSlot);
        m_pPacket->AppendByte(link->m_ucSlot);
        m_pPacket->AppendU32(HandleOf(m_pView));
    }
    m_pSelectedView = m_pView;
}

void Server_Client::ReleaseView(Server_Client_Entity* view) {
    if (IndexLink* link = LinkOf(view)) {
        link->m_pOwner = nullptr;
        CR_ILH_RemoveAnyEntry(link);
        CR_ILH_AddOldUsedEntry(link);
        view->m_bLinked = false;
    }
    // Pool storage is reused at once: a stale selection could match the next new record and
    // skip its binding.
    if (m_pSelectedView == view) m_pSelectedView = nullptr;
    if (m_pView == view) m_pView = nullptr;
    delete view;
}
