// The record table of incoming messages: fields, length checks, the choice of the next message.
#include "SessionFixture.h"

#include "world/Server_EntityKinds.h"

namespace {

// The records of a message are read in turn. One too short for its fields, or of an unknown type,
// ends the message with a warning; a one-byte record at the very end reads nothing, and keys
// before a login are well formed. None of these is answered (a ready client gets its updates).
TEST_F(SessionTest, RecordsOfAMessageAreReadInTurn) {
    struct Case {
        const char* what;
        std::vector<Bytes> messages;
        bool ready;
        uint32_t version;
        int warnings;
    };
    const Case cases[] = {
        {"ready, update size and version", {{6, 10, 0xE8, 3, 0, 0, 9, 3}}, true, 3, 0},
        {"unknown type", {{9, 3, 2, 6}}, false, 3, 1},
        {"one-byte records at the end", {{9}, {29}, {22}}, false, 0, 0},
        {"short steering", {{23, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}}, false, 0, 1},
        {"keys before a login", {Keys(0x1000)}, false, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        int before = m_Folder.CountInLog("WARNING: bInvalidCommand");
        auto peer = m_Harness->Connect();
        for (const Bytes& m : c.messages) peer.Send(0, m);
        m_Harness->Pass();
        EXPECT_EQ(std::tuple(peer.client->m_bReadyForUpdates, peer.client->m_uiClientVersion,
                             m_Folder.CountInLog("WARNING: bInvalidCommand") - before),
                  std::tuple(c.ready, c.version, c.warnings));
        EXPECT_TRUE(c.ready || peer.TakeAll().empty());
    }
}

TEST_F(SessionTest, MessagesAlternateBetweenClientsAndAKickedClientsAreDropped) {
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    for (const char* name : {"A1", "A2"}) a.Send(0, Query(name));
    for (const char* name : {"B1", "B2"}) b.Send(0, Query(name));
    std::string order;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(server().PIC());
        order += std::string(a.Take(0).size(), 'a') + std::string(b.Take(0).size(), 'b');
    }
    EXPECT_FALSE(server().PIC());
    EXPECT_EQ(order, "baba");
    b.client->m_bKicked = true;
    Exchange(b, Bytes{6});
    EXPECT_FALSE(b.client->m_bReadyForUpdates);
    EXPECT_TRUE(b.client->m_Pipe.IsStopSending());
}

// Steering sets the player's yaw, heading and throttle, and is echoed on channel 0, or on 5 for
// clients with several channels. Key records set and clear the named flags. A client-side move
// under a stale sequence number is dropped without a warning; the client flag record sets the
// player's flag.
TEST_F(SessionTest, SteeringKeysAndClientMovesOfAPlayer) {
    auto peer = LoggedIn("Steerer");
    Server_Player* player = peer.client->m_pPlayer;
    Bytes steer{23, 0xEF, 0xBE, 7, 0};
    PutFloat(steer, 1.5f);
    PutFloat(steer, -0.25f);
    steer.push_back(51);
    const std::vector<Bytes> echo{{0x63, 0xEF, 0xBE, 0, 0, 0, 0}};
    EXPECT_EQ(Exchange(peer, steer), echo);
    EXPECT_EQ(std::tuple(player->GetYaw(), player->m_fSteeringHeading), std::tuple(1.5f, -0.25f));
    EXPECT_FLOAT_EQ(player->m_fThrottle, 0.2f);

    const uint32_t builds = kKeyBuildBuildingBlock | kKeyBuildFlatStone;
    const std::pair<Bytes, uint32_t> keys[] = {
        {Keys(0x0991), kKeyMove0 | kKeyJump | kKeyFire | builds},
        {Keys(0x6000), kKeyUp | kKeyDown | builds}, // the builds a bit only sets stay
        {Bytes{11, 0x1F}, kKeyUp | kKeyDown | builds | kKeyAdminAddPad | kKeyAdminDeleteSelection |
                              kKeyBuildZorbinCube | kKeyBuildStoneBlock},
        {Bytes{11, 0x00}, kKeyUp | kKeyDown | builds | kKeyBuildZorbinCube | kKeyBuildStoneBlock},
    };
    for (const auto& [record, flags] : keys) {
        Exchange(peer, record);
        EXPECT_EQ(player->m_uiKeyFlags, flags);
    }

    VUKVector before = player->m_vPosition;
    Bytes move{24, 9};
    for (int i = 0; i < 7; ++i) PutFloat(move, 1000.0f);
    Exchange(peer, Concat(move, Bytes{25, 0x03}));
    EXPECT_EQ(std::tuple(player->m_vPosition, peer.client->m_Movement.m_ucMovementSeqEcho, ChatLog().find("WARNING"),
                         player->GetFlag(kPlayerClientFlag)),
              std::tuple(before, 9, std::string::npos, true));
    Exchange(peer, Bytes{25, 0x02});
    EXPECT_FALSE(player->GetFlag(kPlayerClientFlag));
    EXPECT_EQ(Exchange(peer, Concat(Declare("KRV_MULTI_UDP_CHANNEL", 1), steer), 5), echo);
}

// Key 5 alone asks for a reset of the position after seven quiet seconds: asking again or no key
// changes nothing, another key of either record cancels, and a jailed player is told no.
TEST_F(SessionTest, ResetPositionRequest) {
    auto peer = LoggedIn("Resetter");
    const Bytes wait = Chat("VuK Server", "Wait 7 seconds WITHOUT PRESSING ANY KEYS to reset position.");
    const std::pair<Bytes, std::vector<Bytes>> cases[] = {
        {Keys(0x1000), {wait}},
        {Keys(0x1000), {}},
        {Keys(0x0000), {}},
        {Bytes{11, 0x00}, {}},
        {Bytes{11, 0x04}, {Chat("VuK Server", "Request to reset position CANCELLED due to KEYPRESS.")}},
        {Keys(0x1000), {wait}},
    };
    for (const auto& [record, answers] : cases) EXPECT_EQ(Exchange(peer, record), answers);
    m_Harness->clock().AdvanceSeconds(6.9);
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    m_Harness->clock().AdvanceSeconds(0.2);
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{Chat("VuK Server", "The position of your character has been reset.")}));
    EXPECT_TRUE(peer.client->m_pPlayer->HasKey(kKeyResetPosition));

    peer.client->m_pPlayer->m_uiEffectIds[3] = 21;
    peer.client->m_pPlayer->m_fEffectTimes[3] = kEffectPermanent;
    EXPECT_EQ(Exchange(peer, Keys(0x1000)),
              (std::vector<Bytes>{Chat("VuK Server", "You are jailed: 5 won't get you out!")}));
    EXPECT_FALSE(peer.client->m_bResetPositionActive);
}

} // namespace
