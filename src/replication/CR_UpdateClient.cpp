// The update cycle of one client: what a normal or an extra update tells it, nearest first,
// within its byte limits. Whatever does not fit stays pending for a later update.
#include <algorithm>
#include <cmath>

#include "clientui/Windows.h"
#include "net/Packet.h"
#include "replication/Server_Client.h"
#include "replication/UpdateMessages.h"
#include "world/EntityClientBits.h"
#include "world/Server_Client_Entity.h"
#include "world/Server_EntityKinds.h"

using namespace replication;

namespace {

constexpr float kZonePassRadius = 4000.0f;
// One zone of the pending grid past the upper end of the box on each axis.
constexpr float kZoneMargin = 6000.0f;
constexpr float kLeftOverFireBlocks = 4000.0f;
constexpr float kLeftOverMoving = 10000.0f;
constexpr float kLeftOverPlayers = 8000.0f;

constexpr windows::Layout kPleaseWait{0x22, 256, 0, 128, 64, {0x00FFFFFF, 0x00000000, 0x00FFFFFF, 0xB0FFFFFF}, 4};
constexpr char kPleaseWaitText[] =
    "Please wait for nearby objects to load...\n(Controlling your player may be slow during this wait.)";

bool Near(const VUKVector& a, const VUKVector& b, float distance) {
    return std::fabs(a.x - b.x) <= distance && std::fabs(a.y - b.y) <= distance && std::fabs(a.z - b.z) <= distance;
}

// How near an entity must be for the list pass to send it; 0 for kinds sent whatever the distance.
float LeftOverDistance(const Server_Entity* e) {
    switch (e->GetKind()) {
    case kKindFireBlock:
        return kLeftOverFireBlocks;
    case kKindNormalPad:
        return e->m_pLift || e->IsMoving() ? kLeftOverMoving : 0.0f;
    case kKindTalvyCube:
    case kKindOrisetCube:
    case kKindQuillhobCube:
        return kLeftOverMoving;
    default:
        return 0.0f;
    }
}

// Entities the rules move tick after tick stay filed in the pending grid after they have been
// sent: the next notice mostly finds them in the same zones and need not file them again. While
// not pending they cost the passes nothing but the look.
bool MovesOften(const Server_Entity* e) {
    switch (e->GetKind()) {
    case kKindPlayer:
    case kKindTalvyCube:
    case kKindOrisetCube:
    case kKindQuillhobCube:
        return true;
    default:
        return e->IsMoving() || e->m_pLift;
    }
}

// Handling an entity reads state spread over memory: its cell (with the grid key), its bit row, the entity
// and its view, and the view's extras. Loops over many entities fetch these some turns ahead in
// three steps, each needing what the step before brought; at(d) is the index handled d turns on.
template <typename At> void PrefetchAhead(const Server_Client& c, uint32_t turnsLeft, At at) {
    if (turnsLeft > 16) c.PrefetchCellOf(at(16));
    if (turnsLeft > 8) c.PrefetchEntityAndView(at(8));
    if (turnsLeft > 4) c.PrefetchExtrasOf(at(4));
}

// The list passes: entities in list order while the message has room. A far entity goes only
// when the client still sees it near, so that it sees the entity leave; otherwise it waits.
void ProcessLeftOvers(Server_Client& c, PlacedEntityList& list, bool players) {
    const VUKVector& here = c.m_pPlayer->m_vPosition;
    // A handled entity's place is taken by the list's last one, so the entities to come are read
    // from the end; far players are passed over, so theirs come in list order.
    if (players) {
        // Far players are passed over by the hundred at a few instructions each, too fast for
        // fetching a few turns ahead: fetch all their cells, then all their entities and views,
        // so that the misses overlap.
        for (uint32_t k = 0; k < list.Count(); ++k) c.PrefetchCellOf(list.IndexAt(k));
        for (uint32_t k = 0; k < list.Count(); ++k) c.PrefetchEntityAndView(list.IndexAt(k));
    }
    uint32_t i = 0;
    while (i < list.Count() && c.HandleFullPacket()) {
        PrefetchAhead(c, list.Count() - i,
                      [&](uint32_t d) { return list.IndexAt(players ? i + d : list.Count() - d); });
        Server_Entity* e = list[i];
        float distance = players ? kLeftOverPlayers : LeftOverDistance(e);
        if (distance > 0.0f && !Near(e->m_vPosition, here, distance)) {
            const Server_Client_Entity* view = c.ViewOf(e);
            if (!view || !Near(view->m_vPosition, here, distance)) {
                ++i;
                continue;
            }
        }
        c.m_pEntity = e;
        c.UC_AddOrUpdate();
        // The last element moves into place i and is examined next.
        c.TakeOutOfPending(e);
        if (MovesOften(e))
            c.TakeOutOfZoneWait(e);
        else
            c.TakeOutOfZoneWaitOrGrid(e);
    }
}

} // namespace

void Server_Client::QueueUpdatePacket() {
    Packet* packet = m_pPacket;
    m_pPacket = nullptr;
    if (packet->Empty())
        delete packet;
    else
        Send(kChannelWorld, packet);
}

void Server_Client::UpdateClient_NormalPacket(uint32_t tick) {
    if (m_bKicked) return;
    delete m_pPacket;
    m_pPacket = new Packet;
    FigureClientSideMovement();
    if (m_pPlayer && m_pPlayer->m_ucCSMHoldOff > 0) --m_pPlayer->m_ucCSMHoldOff;
    if (m_Movement.m_bClientSideMovement != m_Movement.m_bClientSideMovementSent) UpdateClientSideMovementFlag();
    if (m_pPlayer) UC_FillPacket();
    if (m_Movement.m_bClientSideMovement != m_Movement.m_bClientSideMovementSent) UpdateClientSideMovementFlag();
    if (tick != m_uiLastMarkedTick) {
        if (m_bMultiUdpChannel) {
            Packet* mark = new Packet;
            mark->AppendByte(kMsgTickMark);
            Send(kChannelTickMark, mark);
        } else {
            m_pPacket->AppendByte(kMsgTickMark);
        }
        m_uiLastMarkedTick = tick;
    }
    QueueUpdatePacket();
}

void Server_Client::UpdateClient_ExtraPacket() {
    if (m_bKicked || !m_pPlayer) return;
    delete m_pPacket;
    m_pPacket = new Packet;
    // Each pass stops by itself when the message is full.
    UC_ProcessZones(kZonePassRadius);
    UC_ProcessAllRemoves_FireBlocks();
    UC_ProcessAllRemoves();
    UC_ProcessLeftOverUpdates();
    UC_ProcessLeftOverPlayers();
    QueueUpdatePacket();
}

void Server_Client::UC_FillPacket() {
    m_bNearbyLoaded = false;
    const bool ownPlayerPending = IsPending(m_pPlayer);
    m_pPlayer->SetFlag(kPlayerClientSimulatesFire, m_bCSE1);
    if (!m_bStartupSent) {
        SendMOTD();
        SendServerTextures();
        SendSpecialButton();
    }
    if (m_pPlayer->m_usAdminLevel != 0) SendAdminSignals();
    // The own player comes first and ignores the size limit.
    if (ownPlayerPending) UC_ProcessUpdateOwnPlayer();

    if (!m_bStraightUpdate) {
        if (!UC_ProcessZones(kZonePassRadius)) {
            m_bNearbyLoaded = false;
            UC_HandlePleaseWaitWindow();
            FigureClientSideMovement();
            return;
        }
        m_bNearbyLoaded = true;
    }
    UC_HandlePleaseWaitWindow();
    FigureClientSideMovement();

    if (!UC_ProcessAllUpdates_PlayerScores()) return;
    if (!m_bFirstPassMarkSent) {
        m_pPacket->AppendByte(kMsgFirstPassComplete);
        m_bFirstPassMarkSent = true;
    }
    if (!m_bMultiUdpChannel) SendServerTextures_Part2();
    if (UC_ProcessAllRemoves_FireBlocks() && UC_ProcessAllRemoves()) {
        UC_ProcessLeftOverUpdates();
        UC_ProcessLeftOverPlayers();
    }
}

bool Server_Client::UC_ProcessZones(float radius) {
    if (!HandleFullPacket()) return false;
    const VUKVector& p = m_pPlayer->m_vPosition;
    const VUKVector low(p.x - radius, std::max(0.0f, p.y - radius), p.z - radius);
    const VUKVector high(p.x + radius + kZoneMargin, p.y + radius + kZoneMargin, p.z + radius + kZoneMargin);

    bool zonesRanOut = true;
    m_ZonePassVisited.clear();
    m_PendingGrid.Walk(
        low, high, [&](const uint32_t* entries, uint32_t count, uint32_t source, uint32_t zone, uint32_t& stale) {
            for (uint32_t i = 0; i < count; ++i) {
                PrefetchAhead(*this, count - i, [&](uint32_t d) {
                    return m_ZonePassSeen.Test(entries[i + d]) ? PlacedEntityList::kNone : entries[i + d];
                });
                // An entity met in an earlier zone (or twice here) is handled once.
                const uint32_t index = entries[i];
                if (m_ZonePassSeen.Test(index)) continue;
                const ClientPendingGrid::Entry placement = m_PendingGrid.Placement(index, source, zone);
                if (placement == ClientPendingGrid::Entry::kStale) ++stale;
                if (placement != ClientPendingGrid::Entry::kHere) continue;
                m_ZonePassSeen.Set(index);
                m_ZonePassVisited.push_back(index);
                Server_Entity* e = g_EntityClientBits.EntityAt(index);
                if (IsPending(e)) {
                    m_pEntity = e;
                    UC_AddOrUpdate();
                    TakeOutOfPending(e);
                }
                if (!HandleFullPacket()) {
                    zonesRanOut = false;
                    return false;
                }
            }
            return true;
        });

    // The grid changes only now that the walk is over. What moves tick after tick stays filed
    // (it is not pending any more, so it costs no bytes).
    for (uint32_t index : m_ZonePassVisited) {
        m_ZonePassSeen.Clear(index);
        Server_Entity* e = g_EntityClientBits.EntityAt(index);
        if (!MovesOften(e)) TakeOutOfGrid(e);
    }
    m_ZonePassVisited.clear();
    return zonesRanOut;
}

Server_Client_Entity* Server_Client::NewView(uint8_t kind) {
    auto* view = new Server_Client_Entity;
    view->SetKind(kind);
    switch (kind) {
    case kKindPlayer:
        view->m_usTexture = 1;
        view->SetTextureMode(3);
        view->m_vTextureScale.Set(32.0f, 32.0f, 32.0f);
        view->m_vSize.Set(16.0f, 16.0f, 16.0f);
        view->GetOrCreatePlayerView();
        break;
    case kKindNormalPad:
    case kKindZorbinCube:
    case kKindPalaceCube:
    case kKindQuillhobCube:
        view->m_usTexture = 4;
        view->SetTextureMode(2);
        view->m_vTextureScale.Set(128.0f, 128.0f, 128.0f);
        break;
    case kKindFireBlock:
        view->m_usTexture = 3;
        view->SetTextureMode(1);
        view->m_vTextureScale.Set(32.0f, 32.0f, 32.0f);
        break;
    case kKindTalvyCube:
        view->m_usTexture = 9;
        view->m_vTextureScale.Set(128.0f, 128.0f, 128.0f);
        break;
    case kKindOrisetCube:
        view->m_usTexture = 19;
        view->m_vTextureScale.Set(128.0f, 128.0f, 128.0f);
        break;
    default:
        break;
    }
    return view;
}

void Server_Client::UC_ProcessAdd() {
    const uint8_t kind = m_pEntity->GetKind();
    m_pView = NewView(kind);
    bool silent = false;
    if (m_bCSE1 && kind == kKindFireBlock) {
        m_pView->m_ucViewFlags |= kViewClientFireBlock;
        // The client made this fire block itself.
        silent = static_cast<Server_FireBlock*>(m_pEntity)->m_pShotOwner == m_pPlayer;
    }
    if (!silent) SendIDChange();

    auto boxAdd = [this] {
        if (m_bFastAddNormalPads)
            UC_ProcessAdd2_FastBox();
        else
            UC_ProcessAdd2_Generic(kKindNormalPad);
    };
    switch (kind) {
    case kKindPlayer:
        UC_ProcessAdd2_Generic(kind);
        UC_Update_Player();
        break;
    case kKindNormalPad:
    case kKindPalaceCube:
        boxAdd();
        UC_Update_NormalPad();
        break;
    case kKindQuillhobCube:
        boxAdd();
        UC_Update_ZorbinCube();
        break;
    case kKindFireBlock:
        if (!silent) UC_ProcessAdd2_FireBlock();
        break;
    case kKindTalvyCube:
    case kKindOrisetCube:
        UC_ProcessAdd2_Generic(kind);
        UC_Update_TalvyOrisetCube();
        break;
    case kKindZorbinCube:
        UC_ProcessAdd2_Generic(kind);
        UC_Update_ZorbinCube();
        break;
    default:
        break;
    }
}

void Server_Client::UC_ProcessUpdate() {
    switch (m_pEntity->GetKind()) {
    case kKindPlayer:
        UC_ProcessUpdate_Player();
        break;
    case kKindNormalPad:
    case kKindPalaceCube:
        SendIDChange();
        UC_Update_NormalPad();
        break;
    case kKindTalvyCube:
    case kKindOrisetCube:
    case kKindQuillhobCube:
        SendIDChange();
        UC_Update_TalvyOrisetCube();
        break;
    case kKindZorbinCube:
        SendIDChange();
        UC_Update_ZorbinCube();
        break;
    default:
        break; // fire blocks end by removal, never by update
    }
}

void Server_Client::UC_AddOrUpdate() {
    m_pView = ViewOf(m_pEntity);
    if (m_pView) {
        UC_ProcessUpdate();
    } else {
        UC_ProcessAdd();
        SetView(m_pEntity, m_pView);
    }
}

void Server_Client::UC_ProcessLeftOverUpdates() { ProcessLeftOvers(*this, m_PendingEntities, false); }

void Server_Client::UC_ProcessLeftOverPlayers() { ProcessLeftOvers(*this, m_PendingPlayers, true); }

void Server_Client::UC_HandlePleaseWaitWindow() {
    Packet* window = new Packet;
    if (m_bZonesFilled && m_bNearbyLoaded) {
        if (m_bPleaseWaitShown) {
            windows::AppendClose(*window, kPleaseWait.m_ucId);
            m_bPleaseWaitShown = false;
        }
    } else if (!m_bPleaseWaitShown) {
        windows::AppendOpen(*window, kPleaseWait, kPleaseWaitText);
        m_bPleaseWaitShown = true;
    }
    // Queued even when empty; the transport drops empty messages.
    Send(ChannelFor(kChannelWindows), window);
}
