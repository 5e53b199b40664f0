// The record table of incoming messages: fields, length checks, the choice of the next message.
#include "SessionFixture.h"

#include "world/Server_EntityKinds.h"

namespace {

TEST_F(SessionTest, ReadyMaxUpdateSizeAndVersionInOneMessage) {
    auto peer = m_Harness->Connect();
    Bytes m{6, 10};
    PutU32(m, 1000);
    m.push_back(9);
    m.push_back(3);
    peer.Send(0, m);
    m_Harness->Pass();
    EXPECT_TRUE(peer.client->m_bReadyForUpdates);
    EXPECT_EQ(peer.client->m_uiMaxUpdateSize, 1000u);
    EXPECT_EQ(peer.client->m_uiClientVersion, 3u);
}

TEST_F(SessionTest, ShortRecordLogsTheWarningAndLaterMessagesStillWork) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Bytes{10, 0xE8, 0x03, 0x00});
    peer.Send(0, Bytes{6});
    m_Harness->Pass();
    EXPECT_EQ(peer.client->m_uiMaxUpdateSize, 100u);
    EXPECT_TRUE(peer.client->m_bReadyForUpdates);
    EXPECT_NE(ChatLog().find("] WARNING: bInvalidCommand got set to TRUE in Server::PIC()\r\n"), std::string::npos);
}

TEST_F(SessionTest, InvalidTypeDropsTheRestOfItsMessage) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Bytes{9, 3, 2, 6});
    m_Harness->Pass();
    EXPECT_EQ(peer.client->m_uiClientVersion, 3u);
    EXPECT_FALSE(peer.client->m_bReadyForUpdates);
}

TEST_F(SessionTest, OneByteRecordsAtTheVeryEndReadNothing) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Bytes{9});
    peer.Send(0, Bytes{29});
    peer.Send(0, Bytes{22});
    m_Harness->Pass();
    EXPECT_EQ(peer.client->m_uiClientVersion, 0u);
    EXPECT_EQ(ChatLog().find("WARNING"), std::string::npos);
}

TEST_F(SessionTest, MessagesAlternateBetweenClients) {
    auto a = m_Harness->Connect();
    auto b = m_Harness->Connect();
    a.Send(0, Query("A1"));
    a.Send(0, Query("A2"));
    b.Send(0, Query("B1"));
    b.Send(0, Query("B2"));
    std::string order;
    for (int i = 0; i < 4; ++i) {
        ASSERT_TRUE(server().PIC());
        if (!a.Take(0).empty()) order += 'a';
        if (!b.Take(0).empty()) order += 'b';
    }
    EXPECT_FALSE(server().PIC());
    EXPECT_EQ(order, "baba");
}

TEST_F(SessionTest, KickedClientsMessagesAreDroppedAndSendingStops) {
    auto peer = m_Harness->Connect();
    peer.client->m_bKicked = true;
    peer.Send(0, Bytes{6});
    m_Harness->Pass();
    EXPECT_FALSE(peer.client->m_bReadyForUpdates);
    EXPECT_TRUE(peer.client->m_Pipe.IsStopSending());
}

TEST_F(SessionTest, SteeringIsEchoedOnChannelZeroOrFive) {
    auto peer = m_Harness->Connect();
    Bytes steer{23};
    PutU16(steer, 0xBEEF);
    PutU16(steer, 7);
    for (int i = 0; i < 8; ++i) steer.push_back(0);
    steer.push_back(255);
    peer.Send(0, steer);
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{{0x63, 0xEF, 0xBE, 0, 0, 0, 0}}));
    peer.Send(0, Declare("KRV_MULTI_UDP_CHANNEL", 1));
    peer.Send(0, steer);
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    EXPECT_EQ(peer.Take(5), (std::vector<Bytes>{{0x63, 0xEF, 0xBE, 0, 0, 0, 0}}));
}

TEST_F(SessionTest, SteeringSetsYawHeadingAndThrottleOfThePlayer) {
    auto peer = LoggedIn("Steerer");
    Bytes steer{23};
    PutU16(steer, 1);
    PutU16(steer, 0);
    float yaw = 1.5f, heading = -0.25f;
    const uint8_t* y = reinterpret_cast<const uint8_t*>(&yaw);
    const uint8_t* h = reinterpret_cast<const uint8_t*>(&heading);
    steer.insert(steer.end(), y, y + 4);
    steer.insert(steer.end(), h, h + 4);
    steer.push_back(51);
    peer.Send(0, steer);
    m_Harness->Pass();
    Server_Player* player = peer.client->m_pPlayer;
    EXPECT_EQ(player->GetYaw(), 1.5f);
    EXPECT_EQ(player->m_fSteeringHeading, -0.25f);
    EXPECT_FLOAT_EQ(player->m_fThrottle, 0.2f);
}

TEST_F(SessionTest, ShortSteeringRecordIsMalformedAndGetsNoAnswer) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Bytes{23, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    EXPECT_NE(ChatLog().find("WARNING: bInvalidCommand"), std::string::npos);
}

TEST_F(SessionTest, KeyMaskSetsAndClearsTheNamedFlags) {
    auto peer = LoggedIn("Keys");
    Server_Player* player = peer.client->m_pPlayer;
    peer.Send(0, Bytes{1, 0x91, 0x09}); // bits 0, 4, 7, 8, 11
    m_Harness->Pass();
    EXPECT_EQ(player->m_uiKeyFlags, kKeyMove0 | kKeyJump | kKeyFire | kKeyBuildBuildingBlock | kKeyBuildFlatStone);
    peer.Send(0, Bytes{1, 0x00, 0x60}); // up and down only: the set-only builds stay
    m_Harness->Pass();
    EXPECT_EQ(player->m_uiKeyFlags, kKeyUp | kKeyDown | kKeyBuildBuildingBlock | kKeyBuildFlatStone);
    peer.Send(0, Bytes{11, 0x1F});
    m_Harness->Pass();
    EXPECT_TRUE(player->HasKey(kKeyAdminAddPad));
    EXPECT_TRUE(player->HasKey(kKeyAdminDeleteSelection));
    EXPECT_TRUE(player->HasKey(kKeyBuildZorbinCube));
    EXPECT_TRUE(player->HasKey(kKeyBuildStoneBlock));
    peer.Send(0, Bytes{11, 0x00});
    m_Harness->Pass();
    EXPECT_FALSE(player->HasKey(kKeyAdminAddPad));
    EXPECT_FALSE(player->HasKey(kKeyAdminDeleteSelection));
    EXPECT_TRUE(player->HasKey(kKeyBuildZorbinCube));
}

TEST_F(SessionTest, KeysBeforeLoginAreWellFormedButDoNothing) {
    auto peer = m_Harness->Connect();
    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    EXPECT_EQ(ChatLog().find("WARNING"), std::string::npos);
}

TEST_F(SessionTest, ResetPositionRequestWaitsSevenSecondsAndKeysCancelIt) {
    auto peer = LoggedIn("Resetter");
    const Bytes wait = Chat("VuK Server", "Wait 7 seconds WITHOUT PRESSING ANY KEYS to reset position.");
    const Bytes cancelled = Chat("VuK Server", "Request to reset position CANCELLED due to KEYPRESS.");
    const Bytes reset = Chat("VuK Server", "The position of your character has been reset.");

    peer.Send(0, Bytes{1, 0x00, 0x10});
    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{wait}));
    peer.Send(0, Bytes{1, 0x00, 0x00});
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    peer.Send(0, Bytes{1, 0x01, 0x10});
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{cancelled}));

    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    peer.Take(0);
    m_Harness->clock().AdvanceSeconds(6.9);
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    m_Harness->clock().AdvanceSeconds(0.2);
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{reset}));
    EXPECT_TRUE(peer.client->m_pPlayer->HasKey(kKeyResetPosition));
    EXPECT_FALSE(peer.client->m_bResetPositionActive);
}

TEST_F(SessionTest, JailedPlayerCannotRequestAReset) {
    auto peer = LoggedIn("Jailbird");
    Server_Player* player = peer.client->m_pPlayer;
    player->m_uiEffectIds[3] = 21;
    player->m_fEffectTimes[3] = kEffectPermanent;
    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0), (std::vector<Bytes>{Chat("VuK Server", "You are jailed: 5 won't get you out!")}));
    EXPECT_FALSE(peer.client->m_bResetPositionActive);
}

TEST_F(SessionTest, MoreKeysCancelTheResetRequest) {
    auto peer = LoggedIn("Cancel");
    peer.Send(0, Bytes{1, 0x00, 0x10});
    m_Harness->Pass();
    peer.Take(0);
    peer.Send(0, Bytes{11, 0x00});
    m_Harness->Pass();
    EXPECT_TRUE(peer.Take(0).empty());
    peer.Send(0, Bytes{11, 0x04});
    m_Harness->Pass();
    EXPECT_EQ(peer.Take(0),
              (std::vector<Bytes>{Chat("VuK Server", "Request to reset position CANCELLED due to KEYPRESS.")}));
}

TEST_F(SessionTest, ClientSideMoveWithAStaleSequenceIsIgnoredSilently) {
    auto peer = LoggedIn("Mover");
    Server_Player* player = peer.client->m_pPlayer;
    VUKVector before = player->m_vPosition;
    Bytes move{24, 9};
    for (int i = 0; i < 7; ++i) PutU32(move, 0x447A0000); // 1000.0
    peer.Send(0, move);
    m_Harness->Pass();
    EXPECT_EQ(player->m_vPosition, before);
    EXPECT_EQ(peer.client->m_Movement.m_ucMovementSeqEcho, 9);
    EXPECT_EQ(ChatLog().find("WARNING"), std::string::npos);
}

TEST_F(SessionTest, ClientFlagRecordSetsTheFlagOfThePlayer) {
    auto peer = LoggedIn("Flagger");
    peer.Send(0, Bytes{25, 0x03});
    m_Harness->Pass();
    EXPECT_TRUE(peer.client->m_pPlayer->GetFlag(kPlayerClientFlag));
    peer.Send(0, Bytes{25, 0x02});
    m_Harness->Pass();
    EXPECT_FALSE(peer.client->m_pPlayer->GetFlag(kPlayerClientFlag));
}

} // namespace
