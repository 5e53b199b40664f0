// One pass of the server's work, in its fixed order, and the client bookkeeping around it.
#include <algorithm>
#include <cstdio>

#include "base/LogChat.h"
#include "base/Settings.h"
#include "core/Server.h"
#include "game/GameConstants.h"
#include "platform/Clock.h"
#include "platform/Process.h"
#include "replication/Server_Client.h"
#include "world/VUKHeap.h"

namespace {

constexpr int kMinGameTicksPerSecond = 15;
constexpr int kMaxGameTicksPerSecond = 30;
constexpr int kDismantleStepsPerPass = 10;

uint32_t Advance(uint32_t cursor, size_t count) { return cursor + 1 >= count ? 0 : cursor + 1; }

// What an extra-update turn can change in a client's replication state besides queueing a
// message: its pending lists shrink, its window and zone flags turn.
uint64_t ReplicationFootprint(const Server_Client* client) {
    uint64_t pending = uint64_t(client->m_PendingEntities.Count()) + client->m_PendingPlayers.Count() +
                       client->m_RemovedViews.Count() + client->m_RemovedFireBlockViews.Count() +
                       client->m_ZoneWaitEntities.Count();
    return pending << 2 | uint64_t(client->m_bZonesFilled) << 1 | uint64_t(client->m_bPleaseWaitShown);
}

// Messages of the client not yet acknowledged or still queued, on the channels extra turns use.
uint32_t ExtraTurnBacklog(Server_Client* client) {
    return client->m_Pipe.Backlog(kChannelWorld) + client->m_Pipe.Backlog(kChannelTextures);
}

// Counter ticks until the timer fires (it fires once now - start exceeds the period).
int64_t CountsUntilDue(const Timer& timer, int64_t now) { return timer.m_iStart + timer.m_iPeriod + 1 - now; }

} // namespace

void Server::Tick() {
    bool handled = false;
    if (g_bImprovedCTSResponse) {
        while (PIC()) handled = true;
    } else {
        handled = PIC();
    }
    if (handled) ++m_uiReplicationEpoch;

    UpdateClientsWithWorldUpdates();
    UpdateClients_Extra();

    if (m_GameTickTimer.Check()) {
        ++m_uiReplicationEpoch;
        Game_Tick();
        for (Server_Client* client : m_Clients) client->m_bNeedsNormalUpdate = true;
        if (m_OneSecondTimer.Check()) {
            DoTagPadRewards();
            if (m_FiveSecondTimer.Check()) {
                DeterminePlayerRankings();
                if (m_SixtySecondTimer.Check()) {
                    m_iTaxCountdown -= kGameTicksPerMinute;
                    if (m_iTaxCountdown < 1) {
                        DoMeanTaxWarrior();
                        m_iTaxCountdown = kGameTicksPerHour;
                    } else {
                        RewardPlayersWhoHaveBBlocks();
                    }
                    OptimizeGlobalHeaps();
                }
            }
        }
        // A tick that used more than three quarters of its period slows the game by one tick
        // per second.
        int64_t spent = platform::QueryCounter() - m_GameTickTimer.m_iStart;
        if (double(spent) > 0.75 * double(m_GameTickTimer.m_iPeriod) &&
            m_iGameTicksPerSecond > kMinGameTicksPerSecond) {
            --m_iGameTicksPerSecond;
            m_GameTickTimer.SetRate(m_iGameTicksPerSecond);
        }
    } else if (m_iGameTicksPerSecond < kMaxGameTicksPerSecond) {
        ++m_iGameTicksPerSecond;
        m_GameTickTimer.SetRate(m_iGameTicksPerSecond);
    }

    m_RoundRobins.m_bBudgetRanOut = false;
    if (m_bPrincessesRunning) {
        Tick_TCs();
        Tick_OCs();
    }
    if (m_bLiftsRunning) Tick_Lifts();

    if (!m_Clients.Empty()) {
        m_uiZoneUpdateCursor = Advance(m_uiZoneUpdateCursor, m_Clients.Length());
        Server_Client* client = m_Clients[m_uiZoneUpdateCursor];
        if (client->m_pPlayer && !client->m_bZonesFilled) {
            client->HandleZonesBeUpdatedThingy();
            ++m_uiReplicationEpoch;
        }
    }

    DeleteInactiveClients();

    // The dismantling steps go to the oldest record; records with nothing attached (peers that
    // never logged in) go at no cost, so a flood's dropped peers do not hold their places for
    // minutes.
    int steps = 0;
    while (!m_ClientsBeingDeleted.Empty()) {
        Server_Client* client = m_ClientsBeingDeleted.Front();
        bool finished = !client->HoldsEntityState();
        while (!finished && steps < kDismantleStepsPerPass) {
            finished = client->GradualDeleteThingy();
            ++steps;
        }
        if (!finished) break;
        ReleaseWatcher(client);
        ReturnACRNumber(client->m_pSlotRecord);
        client->m_pSlotRecord = nullptr;
        delete m_ClientsBeingDeleted.RemoveFront();
        ++m_uiClientsDeletedSinceTrim;
    }
    if (m_ClientsBeingDeleted.Empty() && m_uiClientsDeletedSinceTrim >= kClientsDeletedBeforeTrim) {
        m_uiClientsDeletedSinceTrim = 0;
        platform::ReturnFreeMemoryToSystem();
    }

    for (Server_Client* client : m_ClientsWithPlayer)
        if (client->m_bResetPositionActive) {
            PIC_IfResetPositionTimerActive(client);
            if (!client->m_bResetPositionActive) ++m_uiReplicationEpoch;
        }
}

std::chrono::microseconds Server::RestAllowance() {
    using std::chrono::microseconds;
    if (!m_ClientsBeingDeleted.Empty() || m_RoundRobins.m_bBudgetRanOut) return microseconds(0);
    const int64_t now = platform::QueryCounter();
    int64_t counts = CountsUntilDue(m_GameTickTimer, now);
    for (Server_Client* client : m_Clients) {
        if (client->m_Pipe.AnyInboundWaiting()) return microseconds(0);
        // Zone filing goes on in slices, one client per pass.
        if (client->m_pPlayer && !client->m_bZonesFilled) return microseconds(0);
        if (client->m_pPlayer && client->m_bResetPositionActive)
            counts = std::min(counts, CountsUntilDue(client->m_ResetPositionTimer, now));
        if (!client->m_bReadyForUpdates) continue;
        if (client->m_bNeedsNormalUpdate && client->m_Pipe.Backlog() < g_uiUdpSendBufferLimit) return microseconds(0);
        if (ExtraTurnMayHandOver(client)) return microseconds(0);
    }
    if (counts <= 0) return microseconds(0);
    const int64_t most = Timer::ms_frequency * kMaxRest.count() / 1000000;
    if (counts >= most) return kMaxRest;
    // Rounded up: waking a little early would only find the timer not yet due.
    return microseconds((counts * 1000000 + Timer::ms_frequency - 1) / Timer::ms_frequency);
}

bool Server::ExtraTurnMayHandOver(Server_Client* client) {
    const bool replication = client->m_pPlayer && client->HasReplicationWork();
    const bool textures = client->m_bMultiUdpChannel && !client->m_Textures.m_ServerTextures.Empty();
    if (!replication && !textures) return false;
    if (!client->m_pSlotRecord || client->m_pSlotRecord->m_uiNumber >= m_FruitlessTurns.size()) return true;
    const FruitlessTurn& last = m_FruitlessTurns[client->m_pSlotRecord->m_uiNumber];
    return last.m_uiEpoch != m_uiReplicationEpoch || ExtraTurnBacklog(client) < last.m_uiBacklog;
}

void Server::NoteExtraTurn(Server_Client* client, uint64_t pushedBefore, uint64_t footprintBefore) {
    if (!client->m_pSlotRecord) return;
    const uint32_t number = client->m_pSlotRecord->m_uiNumber;
    if (number >= m_FruitlessTurns.size()) m_FruitlessTurns.resize(number + 1);
    FruitlessTurn& last = m_FruitlessTurns[number];
    if (client->m_Pipe.MessagesPushedToClient() != pushedBefore || ReplicationFootprint(client) != footprintBefore) {
        last.m_uiEpoch = 0;
        return;
    }
    last.m_uiEpoch = m_uiReplicationEpoch;
    last.m_uiBacklog = ExtraTurnBacklog(client);
}

void Server::UpdateClientsWithWorldUpdates() {
    size_t count = m_Clients.Length();
    if (count == 0) return;
    m_uiNormalUpdateCursor = Advance(m_uiNormalUpdateCursor, count);
    for (size_t tried = 0; tried < count; ++tried) {
        Server_Client* client = m_Clients[m_uiNormalUpdateCursor];
        if (client->m_bNeedsNormalUpdate && client->m_bReadyForUpdates &&
            client->m_Pipe.Backlog() < g_uiUdpSendBufferLimit) {
            client->m_bNeedsNormalUpdate = false;
            client->UpdateClient_NormalPacket(m_uiTickCount);
            return;
        }
        m_uiNormalUpdateCursor = Advance(m_uiNormalUpdateCursor, count);
    }
}

void Server::UpdateClients_Extra() {
    size_t count = m_Clients.Length();
    if (count == 0) return;
    m_uiExtraUpdateCursor = Advance(m_uiExtraUpdateCursor, count);
    for (size_t tried = 0; tried < count; ++tried) {
        Server_Client* client = m_Clients[m_uiExtraUpdateCursor];
        if (client->m_bReadyForUpdates) {
            const uint64_t pushed = client->m_Pipe.MessagesPushedToClient();
            const uint64_t footprint = ReplicationFootprint(client);
            if (client->m_bMultiUdpChannel) client->SendServerTextures_Channel3();
            if (client->m_Pipe.Backlog() <= 1) client->UpdateClient_ExtraPacket();
            NoteExtraTurn(client, pushed, footprint);
            return;
        }
        m_uiExtraUpdateCursor = Advance(m_uiExtraUpdateCursor, count);
    }
}

void Server::DeleteInactiveClients() {
    // A dropped client leaves the list and the one behind it moves into its place, to be
    // examined on the next pass. Done as one sweep that keeps the order of the rest, so that
    // thousands of flood peers timing out together do not cost a shift of the list each.
    size_t kept = 0;
    bool anyDropped = false;
    bool previousDropped = false;
    for (size_t i = 0; i < m_Clients.Length(); ++i) {
        Server_Client* client = m_Clients[i];
        if (previousDropped || client->m_Pipe.IsConnected()) {
            m_Clients.Set(kept++, client);
            previousDropped = false;
            continue;
        }
        previousDropped = true;
        if (client->m_pPlayer) DetachPlayerOfDroppedClient(client);
        StopWatchingUpdates(client);
        m_ClientsBeingDeleted.Append(client);
        anyDropped = true;
    }
    if (!anyDropped) return;
    ++m_uiReplicationEpoch;
    m_Clients.Truncate(kept);
    PutRateLimitOnClients();
}

void Server::PutRateLimitOnClients() {
    if (m_Clients.Empty()) return;
    const uint32_t share = m_uiServerByteSendLimit ? m_uiServerByteSendLimit / uint32_t(m_Clients.Length()) : 0;
    // Every client holds the share already unless it changed: over thousands of clients the
    // budget divided by the count stays put for long runs of counts, so a flood's comings and
    // goings seldom walk the list.
    if (share == m_uiClientRateShare) return;
    m_uiClientRateShare = share;
    for (Server_Client* client : m_Clients) client->m_uiRateLimit = share;
}

Server_WeirdLink* Server::TakeACRNumber() {
    if (Server_WeirdLink* link = m_pFreeClientNumbers) {
        m_pFreeClientNumbers = link->m_pNext;
        link->m_pNext = nullptr;
        return link;
    }
    // All numbers' links in one block: links made one by one would stay scattered over the heap
    // for the server's life and keep every page a flood's peers used from going back.
    if (!m_pClientNumberLinks) m_pClientNumberLinks = std::make_unique<Server_WeirdLink[]>(kMaxClientSlots);
    Server_WeirdLink* link = &m_pClientNumberLinks[m_uiNextClientNumber];
    link->m_uiNumber = m_uiNextClientNumber++;
    return link;
}

void Server::ReturnACRNumber(Server_WeirdLink* link) {
    if (!link) return;
    link->m_pNext = m_pFreeClientNumbers;
    m_pFreeClientNumbers = link;
}

ClientServerPipe* Server::CreateClientServerPipe() {
    // Any datagram from a new address makes a client record: past the cap the address is refused,
    // so that no flood of source ports can take a slot number beyond what entities hold.
    if (m_Clients.Length() + m_ClientsBeingDeleted.Length() >= m_uiMaxClients) return nullptr;
    if (!m_pFreeClientNumbers && m_uiNextClientNumber >= kMaxClientSlots) return nullptr;
    Server_Client* client = new Server_Client;
    client->m_pSlotRecord = TakeACRNumber();
    ++m_uiReplicationEpoch;
    if (client->m_pSlotRecord->m_uiNumber < m_FruitlessTurns.size())
        m_FruitlessTurns[client->m_pSlotRecord->m_uiNumber] = FruitlessTurn();
    if (client->m_pSlotRecord->m_uiNumber >= g_uiAllocatedClientUINs) DoubleAllocatedClientUINs();
    m_Clients.Append(client);
    PutRateLimitOnClients();
    client->m_uiRateLimit = m_uiClientRateShare;
    return &client->m_Pipe;
}

bool Server::AnyPlayerLoggedIn() const {
    for (Server_Client* client : m_Clients)
        if (client->m_pPlayer) return true;
    return false;
}

uint32_t Server::CountClientsWithPlayer() const {
    uint32_t n = 0;
    for (Server_Client* client : m_Clients)
        if (client->m_pPlayer) ++n;
    return n;
}

bool Server::IsIdle() const {
    return !AnyPlayerLoggedIn() && m_ClientsBeingDeleted.Empty() && !HasMovingProperty() && !HasMovingZorbinCubes();
}
