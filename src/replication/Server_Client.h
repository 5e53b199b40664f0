// One connected client: its pipe, its negotiated extensions, and the server's memory of what
// the client has been told (view records, pending lists, private pending grid, the 256
// client-side reference slots).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "base/PointerStringList.h"
#include "base/Timer.h"
#include "clientui/ClientRecord.h"
#include "net/ClientServerPipe.h"
#include "replication/ClientPendingGrid.h"
#include "world/EntityClientBits.h"
#include "world/Server_EntityKinds.h"
#include "world/VUKFastArray_WithLinkBacks.h"

class Packet;
class Server;
class Server_Client_Entity;
class Server_Entity;
class Server_Player;
struct Server_WeirdLink;

// An entity list (by compact index) whose members' places are kept by the client in their cells,
// so that a member leaves in constant time: the last member moves into its place.
class PlacedEntityList {
public:
    static constexpr uint32_t kNone = 0xFFFFFFFFu;
    explicit PlacedEntityList(uint32_t capacity) { m_Items.reserve(capacity); }
    virtual ~PlacedEntityList() = default;
    PlacedEntityList(const PlacedEntityList&) = delete;
    PlacedEntityList& operator=(const PlacedEntityList&) = delete;

    uint32_t Count() const { return uint32_t(m_Items.size()); }
    Server_Entity* operator[](uint32_t i) const { return g_EntityClientBits.EntityAt(m_Items[i]); }
    uint32_t IndexAt(uint32_t i) const { return m_Items[i]; }
    // Appends e; returns its place.
    uint32_t Append(const Server_Entity* e) {
        m_Items.push_back(e->m_uiIndex);
        return uint32_t(m_Items.size() - 1);
    }
    // Removes the member at place i; returns the index of the member moved into it, or kNone.
    uint32_t RemoveAt(uint32_t i) {
        uint32_t moved = m_Items.back();
        m_Items[i] = moved;
        m_Items.pop_back();
        return i < m_Items.size() ? moved : kNone;
    }
    void ReserveEnoughFor(uint32_t n) {
        if (m_Items.capacity() - m_Items.size() < n) m_Items.reserve(m_Items.size() + n);
    }

private:
    std::vector<uint32_t> m_Items;
};

// The entities waiting to be filed into the pending grid, in the order they came. Taking one out
// early only clears its waiting bit; the filing passes over it.
class ZoneWaitList {
public:
    ZoneWaitList() = default;
    virtual ~ZoneWaitList() = default;
    ZoneWaitList(const ZoneWaitList&) = delete;
    ZoneWaitList& operator=(const ZoneWaitList&) = delete;

    uint32_t Count() const { return m_uiCount; }
    void ReserveEnoughFor(uint32_t n) { m_Order.reserve(m_Order.size() + n); }

    std::vector<uint32_t> m_Order; // compact indices
    uint32_t m_uiCursor = 0;       // the next place the filing looks at
    uint32_t m_uiCount = 0;        // entities still waiting
};

// A set of compact indices as bits, growing as needed: a few kilobytes answer for every entity.
class IndexBits {
public:
    bool Test(uint32_t index) const {
        return (index >> 6) < m_Words.size() && ((m_Words[index >> 6] >> (index & 63)) & 1);
    }
    void Set(uint32_t index) {
        if ((index >> 6) >= m_Words.size()) m_Words.resize((index >> 6) + 1 + (index >> 9));
        m_Words[index >> 6] |= uint64_t(1) << (index & 63);
    }
    void Clear(uint32_t index) {
        if ((index >> 6) < m_Words.size()) m_Words[index >> 6] &= ~(uint64_t(1) << (index & 63));
    }

private:
    std::vector<uint64_t> m_Words;
};

// One client-side reference slot, kept in least-recently-selected order.
class IndexLink {
public:
    IndexLink* m_pNewer = nullptr;
    uint8_t m_ucSlot = 0;
    IndexLink* m_pOlder = nullptr;
    Server_Client_Entity* m_pOwner = nullptr;
};

// Client-side movement: whether the client moves its own player, and the sequence numbers of
// the steering echo.
struct ClientMovement {
    bool m_bClientSideMovement = false;
    bool m_bClientSideMovementSent = false;
    bool m_bClientSideMovementAllowed = true; // "/client_side_move" turns it off for this client
    uint8_t m_ucClientSideMovementSeq = 0;
    uint8_t m_ucMovementSeqEcho = 0;
};

// Channels a client with KRV_MULTI_UDP_CHANNEL gets; everything else travels on channel 0.
enum : unsigned {
    kChannelWorld = 0,
    kChannelChat = 1,
    kChannelWindows = 2,
    kChannelTextures = 3,
    kChannelTickMark = 4,
    kChannelSteering = 5,
};

class Server_Client {
public:
    static constexpr uint32_t kInitialListCapacity = 16;
    // ---- the record, its storage and sending (replication/Server_Client.cpp) ----
    Server_Client();
    virtual ~Server_Client();
    Server_Client(const Server_Client&) = delete;
    Server_Client& operator=(const Server_Client&) = delete;

    // Client records live in their pool.
    static void* operator new(size_t size);
    static void operator delete(void* p);

    uint32_t Slot() const;
    unsigned ChannelFor(unsigned multiChannel) const { return m_bMultiUdpChannel ? multiChannel : kChannelWorld; }
    // Queues a whole message on a channel of the pipe; the pipe owns it from here.
    void Send(unsigned channel, Packet* packet);

    // ---- chat (session/Server_Chat.cpp) ----
    void SendChatMessage(const char* name, const char* text);
    void SendChatMessage(const std::string& name, const std::string& text);
    void SendKick(const char* name, const char* text);

    // ---- extensions (session/Server_Extensions.cpp) ----
    void HandleQueryExtension(Packet* packet, unsigned char visibleCount);
    void HandleQueryExtensionResponse(Packet* packet);

    // ---- reference slots (replication/Server_Client.cpp) ----
    void SendIDChange();
    void SendIDChange_Core();
    bool HandleFullPacket() const;
    void CR_ILH_AddNewUsedEntry(IndexLink* link);
    void CR_ILH_AddOldUsedEntry(IndexLink* link);
    IndexLink* CR_ILH_RemoveOldestUsedEntry();
    void CR_ILH_RemoveAnyEntry(IndexLink* link);
    // Frees a view's slot (to the oldest end) and destroys the view.
    void ReleaseView(Server_Client_Entity* view);
    // The reference slot bound to a view, or null.
    IndexLink* LinkOf(const Server_Client_Entity* view) const;
    // The 32-bit handle the client knows a view by.
    uint32_t HandleOf(const Server_Client_Entity* view) const;

    // True while the update cycle still owes the client something: entities or players to add or
    // update, views to remove, entities waiting for their zones, zone filing unfinished, or the
    // please-wait window still open. The server thread rests only when no client has any.
    bool HasReplicationWork() const;

    // ---- update cycle (replication/CR_UpdateClient.cpp) ----
    void UpdateClient_NormalPacket(uint32_t tick);
    void UpdateClient_ExtraPacket();
    void UC_FillPacket();
    bool UC_ProcessZones(float radius);
    void UC_ProcessAdd();
    void UC_ProcessUpdate();
    void UC_ProcessLeftOverUpdates();
    void UC_ProcessLeftOverPlayers();
    void UC_HandlePleaseWaitWindow();

    // ---- encoders (replication/CR_UC_Update.cpp; positions and rotation in replication/CR_UC_UpdatePosition.cpp) ----
    void UC_Update_UINT(unsigned char type, unsigned int* value, unsigned int* view);
    void UC_Update_SignedShortINT_As_UINT(unsigned char type, short* value, short* view);
    void UC_Update_Float(unsigned char type, float* value, float* view);
    void UC_Update_Bool(unsigned char type, bool* value, bool* view);
    void UC_Update_Byte(unsigned char type, unsigned char* value, unsigned char* view);
    void UC_Update_String(unsigned char type, const std::string& value, std::string& view);
    void UC_Update_String255(unsigned char type, const std::string& value, std::string& view);
    void UC_Update_Exact_Position();
    void UC_Update_Position();
    void UC_Update_Rotation();
    void UC_Update_Size();
    void UC_Update_TextureSize();
    void UC_Update_Texture();
    void UC_LabelUpdate();
    void UC_Update_NormalPad();
    void UC_Update_TalvyOrisetCube();
    void UC_Update_ZorbinCube();
    void UC_Update_Player();
    void UC_Update_Player_FlyStuff();
    void UC_Update_Player_ClientSideFireBlocks();
    void UC_ProcessAdd2_FireBlock();

    // ---- notices, attachment and zone filing (replication/Server_Inform.cpp; removals and teardown in
    // replication/SC_SendRemoves.cpp) ----
    void Inform_EntityUpdated(Server_Entity* entity);
    // The same, given the entity's pending-grid key and whether it is the key of the last
    // notice: then an entity already filed needs only to be pending.
    void Inform_EntityUpdated(Server_Entity* entity, bool sameZones, uint32_t key);
    void Inform_EntityAboutToBeRemoved(Server_Entity* entity);
    bool UC_ProcessAllRemoves();
    bool UC_ProcessAllRemoves_FireBlocks();
    void HandleZonesBeUpdatedThingy();
    bool GradualDeleteThingy();

    // ---- player streams (replication/SC_PlayerScores.cpp) ----
    void UC_ProcessUpdateOwnPlayer();
    bool UC_ProcessAllUpdates_PlayerScores();
    void UC_ProcessAdd2_PlayerScore();
    void UC_ProcessUpdate_PlayerScore();
    void UC_ProcessUpdate_Player();
    void FigureClientSideMovement();
    void UpdateClientSideMovementFlag();

    // ---- bookkeeping shared by the passes, the notices and the teardown (replication/Server_Inform.cpp;
    // views and adds in replication/CR_UpdateClient.cpp and replication/CR_UC_Update.cpp) ----
    // The client's state per entity lives in arrays indexed by the entity's compact index; the
    // questions a notice asks for all clients at once are mirrored in g_EntityClientBits under
    // the client's watcher number, which it holds from its first attachment until it is deleted.
    static constexpr uint32_t kNoWatcher = 0xFFFFFFFFu;
    bool IsWatching() const { return m_uiWatcher != kNoWatcher; }
    bool IsPending(const Server_Entity* e) const { return CellOf(e).m_uiPendingPlace != 0; }
    bool IsWaitingForZone(const Server_Entity* e) const {
        return IsWatching() && g_EntityClientBits.Test(e->m_uiIndex, kBitWaiting, m_uiWatcher);
    }
    Server_Client_Entity* ViewOf(const Server_Entity* e) const;
    // Starts fetching what handling an entity reads, in three steps a few turns apart: each
    // needs what the one before brought (the cell and table entry, then the view).
    void PrefetchCellOf(uint32_t index) const;
    void PrefetchEntityAndView(uint32_t index) const;
    void PrefetchExtrasOf(uint32_t index) const;
    void SetView(Server_Entity* e, Server_Client_Entity* view);
    // Players wait in m_PendingPlayers, everything else in m_PendingEntities.
    PlacedEntityList& PendingListOf(const Server_Entity* e);
    void MakePending(Server_Entity* e);
    void TakeOutOfPending(Server_Entity* e);
    void PutInZoneWait(Server_Entity* e);
    void TakeOutOfZoneWait(Server_Entity* e);
    void TakeOutOfGrid(Server_Entity* e);
    // Out of m_ZoneWaitEntities when e waits there, otherwise out of m_PendingGrid's zones.
    void TakeOutOfZoneWaitOrGrid(Server_Entity* e);
    // Files e in m_PendingGrid where it is now (or under the key given).
    void FileInPendingGrid(Server_Entity* e);
    void FileInPendingGrid(Server_Entity* e, uint32_t key);
    // Anything of the client still held in its arrays and in g_EntityClientBits.
    bool HoldsEntityState() const { return m_uiTeardownCursor < m_Cells.size() || IsWatching(); }
    // A view record holding what the client assumes for a new object of the kind.
    static Server_Client_Entity* NewView(uint8_t kind);
    void UC_ProcessAdd2_Generic(uint8_t kind);
    void UC_ProcessAdd2_FastBox();
    // First contact or update of a pending m_pEntity, as the zone and list passes do it.
    void UC_AddOrUpdate();
    // Queues m_pPacket on the world channel, or frees it when nothing was written.
    void QueueUpdatePacket();

    // ---- windows (clientui/ServerWindows.cpp); the update cycle calls the first three ----
    // Message of the day from "server_motd.txt"; sets m_bStartupSent even when there is none.
    void SendMOTD();
    // The menu and news buttons, into the update message being built.
    void SendSpecialButton();
    void SendAdminSignals();
    void HandleServerButtonClick(unsigned char id);
    // Window 29 with the text (reports and help pages).
    void SendMOTDWindowText(const char* text);
    void DeleteMOTD();
    void CreateSpecialMenu();
    void DeleteSpecialMenu();
    void CreateUpdateNewsStuff();
    void DeleteUpdateNewsStuff();
    void DisplayUpdateNewsItem(unsigned int n);
    // Shows m_Windows.m_ScrollLines in the scroll viewer from its top.
    void SendScrollableButton();
    void ScrollUp();
    void ScrollDown();
    void DeleteScrollerButton();
    // ---- admin help (clientui/AdminHelp.cpp) ----
    // The admin help page of that name.
    void SendAdminHelp(const char* page);
    // ---- server textures (clientui/ServerTextures.cpp) ----
    void SendServerTextures();
    void SendServerTextures_Part2();
    void SendServerTextures_Channel3();
    void HandleReceivedSFileInfo(Packet* packet);

    std::vector<ClientEntityCell> m_Cells; // by compact index; the pending grid keeps its keys here
    ClientPendingGrid m_PendingGrid{m_Cells};
    ClientServerPipe m_Pipe;
    std::string m_strName;
    uint32_t m_uiClientVersion = 0;
    uint32_t m_uiMaxUpdateSize = 100;
    uint32_t m_uiRateLimit = 0;
    Server_Player* m_pPlayer = nullptr;
    bool m_bStartupSent = false;
    bool m_bResetPositionActive = false;
    bool m_bReadyForUpdates = false;
    bool m_bFirstPassMarkSent = false;
    bool m_bKicked = false;
    bool m_bAlphaBlendSupport = false;
    bool m_bLoginWithHide = false;
    bool m_bCSE1 = false;
    bool m_bChatChannels = false;
    bool m_bMultiUdpChannel = false;
    bool m_bZonesFilled = false;
    bool m_bNearbyLoaded = false;
    bool m_bPleaseWaitShown = false;
    bool m_bStraightUpdate = false;
    uint32_t m_uiInactivityCount = 0;
    uint32_t m_uiLastMarkedTick = 0;
    Server_WeirdLink* m_pSlotRecord = nullptr;
    Timer m_ResetPositionTimer{7.0f};
    uint32_t m_uiIncomingChannelCursor = 0;
    ClientWindows m_Windows;
    ClientMovement m_Movement;
    bool m_bNeedsNormalUpdate = true;
    uint8_t m_ucChatChannel = 1;
    // The lists start small and double as they fill: a peer that never logs in must cost a few
    // KB, not a megabyte of address space with a touched page per array.
    PlacedEntityList m_PendingEntities{kInitialListCapacity};
    PlacedEntityList m_PendingPlayers{kInitialListCapacity};
    VUKFastArray_WithLinkBacks<Server_Client_Entity*> m_RemovedViews{kInitialListCapacity};
    VUKFastArray_WithLinkBacks<Server_Client_Entity*> m_RemovedFireBlockViews{kInitialListCapacity};
    ZoneWaitList m_ZoneWaitEntities;
    uint32_t m_uiWatcher = kNoWatcher;
    uint32_t m_uiWatchEpoch = 0;     // new with each watcher number, so old score marks never match
    uint32_t m_uiTeardownCursor = 0; // cells below it are already dismantled
    ClientTextures m_Textures;
    std::string* m_LabelCache[256] = {};
    Packet* m_pPacket = nullptr;
    Server_Entity* m_pEntity = nullptr;
    Server_Client_Entity* m_pView = nullptr;
    bool m_bCacheStrings = false;
    bool m_bFastAddNormalPads = false;
    Server_Client_Entity* m_pSelectedView = nullptr;
    IndexLink* m_pNewestLink = nullptr;
    IndexLink* m_pOldestLink = nullptr;
    IndexLink* m_pLinkBlock = nullptr; // the 256 links, made at the first binding
    // The entities the running zone pass met, in order and as bits; kept to reuse their storage.
    std::vector<uint32_t> m_ZonePassVisited;
    IndexBits m_ZonePassSeen;

    const ClientEntityCell& CellOf(const Server_Entity* e) const {
        static constexpr ClientEntityCell kNone{};
        return e->m_uiIndex < m_Cells.size() ? m_Cells[e->m_uiIndex] : kNone;
    }
    ClientEntityCell& CellFor(const Server_Entity* e) {
        if (e->m_uiIndex >= m_Cells.size()) GrowCells(e->m_uiIndex);
        return m_Cells[e->m_uiIndex];
    }
    void GrowCells(uint32_t index);
    void SetBit(const Server_Entity* e, EntityClientBit bit, bool on);

private:
    void MakeIndexLinks();
    // A window message of its own: resend rate 0.5, on the windows channel.
    void SendWindowMessage(Packet* packet);
    void AppendScrollText(Packet& packet, uint8_t style);
    void ScrollBy(int step);
};
