// The player encoder, score entries and the switching of client-side movement.
#include <string>

#include "unit/replication/EncoderFixture.h"

namespace {

class PlayerEncoder : public EncoderTest {
protected:
    PlayerEncoder() {
        m_pBob = MakePlayer();
        m_pBob->m_strName = "bob";
        m_pBob->SetLoggedIn(true);
        m_pBob->m_vPosition.Set(400.0f, 200.0f, -200.0f);
        m_pBob->m_i64PocketCoins = 1000;
        m_pView = Track(m_pBob);
    }
    ~PlayerEncoder() override { m_Client->m_pPlayer = nullptr; }
    Bytes Update() {
        Focus(m_pBob, m_pView);
        m_Client->UC_Update_Player();
        return Written();
    }
    // Makes bob the client's own player and sends what every player gets, so that a test sees
    // only the own-player fields it changes.
    void BecomeOwnPlayer() {
        m_Client->m_pPlayer = m_pBob;
        Update();
    }

    Server_Player* m_pBob;
    Server_Client_Entity* m_pView;
};

TEST_F(PlayerEncoder, OtherPlayerGetsNameStatusPositionAndCoins) {
    EXPECT_EQ(Update(), (Bytes{0x09} + U32(3) + Text("bob") + Bytes{0x22, 1} + Bytes{0x27} + U16(4000) + U16(2000) +
                            U16(uint16_t(-2000)) + Bytes{0x16} + U32(1000)));
    EXPECT_TRUE(Update().empty());
}

TEST_F(PlayerEncoder, NameGoesOnceForAView) {
    Update();
    m_pBob->m_strName = "bobby";
    EXPECT_TRUE(Update().empty());
}

TEST_F(PlayerEncoder, OtherPlayersSeeTheAliasAndTheirYaw) {
    m_pBob->SetFlag(kPlayerShowFurtherString, true);
    m_pBob->m_strFurtherString = "ghost";
    Bytes first = Update();
    EXPECT_EQ(Bytes(first.begin(), first.begin() + 10), (Bytes{0x09} + U32(5) + Text("ghost")));
    m_pBob->SetYaw(0.5f);
    EXPECT_EQ(Update(), (Bytes{0x2A, 5}));
}

TEST_F(PlayerEncoder, StatusCountsLoggedInUnlessHiddenPlusTwoForAway) {
    Update();
    m_pBob->SetHidden(true);
    EXPECT_EQ(Update(), (Bytes{0x22, 0}));
    m_pBob->SetFlag(kPlayerAFK, true);
    EXPECT_EQ(Update(), (Bytes{0x22, 2}));
    m_pBob->SetHidden(false);
    EXPECT_EQ(Update(), (Bytes{0x22, 3}));
}

TEST_F(PlayerEncoder, CoinsPropertyAndTeamShareOneSelection) {
    Update();
    Server_Entity* other = Make(kKindNormalPad);
    Track(other);  // slot 1 is now selected
    m_pBob->m_i64PocketCoins = 0x100000005;  // only the low word travels
    m_pBob->m_i64PropertyValue = 7;
    m_pBob->m_strTeamName = "red";
    EXPECT_EQ(Update(), (Bytes{0x2E, 0} + Bytes{0x16} + U32(5) + Bytes{0x57} + U32(7) + Bytes{0x71} + U32(3) + Text("red")));
    // A high word keeps selecting the player although nothing else goes.
    Track(other);
    EXPECT_EQ(Update(), (Bytes{0x2E, 0}));
}

TEST_F(PlayerEncoder, ChatChannelOnlyForClientsWithChatChannels) {
    Update();
    m_pBob->m_ucChatChannel = 2;
    EXPECT_TRUE(Update().empty());
    m_Client->m_bChatChannels = true;
    EXPECT_EQ(Update(), (Bytes{0x84, 2}));
}

TEST_F(PlayerEncoder, OwnPlayerGetsItsEnergyButNoYaw) {
    m_Client->m_pPlayer = m_pBob;
    m_pBob->SetYaw(0.5f);
    EXPECT_EQ(Update(), (Bytes{0x09} + U32(3) + Text("bob") + Bytes{0x22, 1} + Bytes{0x27} + U16(4000) + U16(2000) +
                            U16(uint16_t(-2000)) + Bytes{0x16} + U32(1000) + Bytes{0x0E} + U32(98765)));
}

TEST_F(PlayerEncoder, OwnPlayerSpeedAndFlyState) {
    BecomeOwnPlayer();
    m_pBob->SetFlag(kPlayerSpeedBoost, true);
    m_pBob->SetFlag(kPlayerGlide, true);
    EXPECT_EQ(Update(), (Bytes{0x6E} + F32(kF1_5) + Bytes{0x6D, 2}));
    m_pBob->SetFlag(kPlayerFlying, true);
    EXPECT_EQ(Update(), (Bytes{0x6D, 1}));
    m_pBob->SetFlag(kPlayerFlying, false);
    m_pBob->SetFlag(kPlayerGlide, false);
    m_pBob->SetFlag(kPlayerSpeedBoost, false);
    EXPECT_EQ(Update(), (Bytes{0x6E} + F32(kF1) + Bytes{0x6D, 0}));
}

TEST_F(PlayerEncoder, OwnPlayerFireBlockValuesForClientsThatSimulateThem) {
    m_Client->m_bCSE1 = true;
    m_Client->m_pPlayer = m_pBob;
    Bytes first = Update();
    Bytes fireValues = Bytes{0x7D} + F32(kF8) + Bytes{0x7E, 2} + Bytes{0x7F} + F32(kF1) + Bytes{0x83, 15};
    ASSERT_GE(first.size(), fireValues.size());
    EXPECT_EQ(Bytes(first.end() - 5 - long(fireValues.size()), first.end() - 5), fireValues);  // energy follows
    m_pBob->SetFlag(kPlayerGiantFireBlocks, true);
    m_pBob->SetFlag(kPlayerClientFireFlag, true);
    EXPECT_EQ(Update(), (Bytes{0x7C, 1} + Bytes{0x7D} + F32(kF80) + Bytes{0x7E, 4} + Bytes{0x7F} + F32(kF0_5) +
                            Bytes{0x83, 25}));
}

TEST_F(PlayerEncoder, OwnPlayerTextsAndMessageWindowFlag) {
    BecomeOwnPlayer();
    m_pBob->m_uiEnergy = 5000;
    m_pBob->m_strModalText = "stop";
    m_pBob->SetFlag(kPlayerMessageWindow, true);
    m_pBob->m_strMessageText = "ok";
    EXPECT_EQ(Update(), (Bytes{0x0E} + U32(5000) + Bytes{0x1C} + U32(4) + Text("stop") + Bytes{0x1B, 1} + Bytes{0x53} +
                            U32(2) + Text("ok")));
}

TEST_F(PlayerEncoder, MessageTimeGoesWhenItRunsOutOrMovesByMoreThanATenth) {
    BecomeOwnPlayer();
    m_pBob->m_fMessageTime = 1.0f;
    EXPECT_EQ(Update(), (Bytes{0x54} + F32(kF1)));
    m_pBob->m_fMessageTime = 0.95f;
    EXPECT_TRUE(Update().empty());
    m_pBob->m_fMessageTime = 0.5f;
    EXPECT_EQ(Update(), (Bytes{0x54} + F32(kF0_5)));
    m_pBob->m_fMessageTime = 0.0f;
    EXPECT_EQ(Update(), (Bytes{0x54} + F32(kF0)));
}

TEST_F(PlayerEncoder, TemporaryEffectsGoBySlot) {
    BecomeOwnPlayer();
    m_pBob->m_strEffectNames[3] = "jump";
    m_pBob->m_fEffectTimes[3] = 10.0f;
    EXPECT_EQ(Update(), (Bytes{0x4E} + U32(3) + U32(4) + Text("jump") + Bytes{0x4F} + U32(3) + F32(kF10)));
    m_pBob->m_fEffectTimes[3] = 9.95f;
    EXPECT_TRUE(Update().empty());
    m_pBob->m_fEffectTimes[3] = -100.0f;
    EXPECT_EQ(Update(), (Bytes{0x4F} + U32(3) + F32(0xC2C80000)));
}

TEST_F(PlayerEncoder, OwnPlayerUnderClientSideMovementFollowsSilently) {
    BecomeOwnPlayer();
    m_Client->m_Movement.m_bClientSideMovement = true;
    m_pBob->m_vPosition.Set(0.0f, 0.0f, 0.0f);
    m_pBob->SetYaw(1.0f);
    EXPECT_TRUE(Update().empty());
    EXPECT_EQ(m_pView->m_vPosition, VUKVector(0.0f, 0.0f, 0.0f));
    EXPECT_FLOAT_EQ(m_pView->GetYaw(), 1.0f);
}

class ScoreEntries : public PlayerEncoder {
protected:
    Bytes AddScore() {
        Focus(m_pBob, m_pView);
        m_Client->UC_ProcessAdd2_PlayerScore();
        return Written();
    }
    Bytes UpdateScore() {
        Focus(m_pBob, m_pView);
        m_Client->UC_ProcessUpdate_PlayerScore();
        return Written();
    }
};

TEST_F(ScoreEntries, NewEntryCarriesNameStatusCoinsPropertyAndTeam) {
    m_pBob->m_i64PropertyValue = 0x12345678;
    m_pBob->m_strTeamName = "red";
    EXPECT_EQ(AddScore(), (Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0x12345678) + Bytes{0x71} + U32(3) +
                              Text("red")));
    // The body that follows later does not send the name again.
    m_pBob->m_vPosition.Set(0.0f, 0.0f, 0.0f);
    EXPECT_TRUE(Update().empty());
}

TEST_F(ScoreEntries, HiddenPlayerListsItsAliasToOthersAndItsNameToItself) {
    m_pBob->SetFlag(kPlayerShowFurtherString, true);
    m_pBob->m_strFurtherString = "ghost";
    EXPECT_EQ(AddScore(), (Bytes{0x5C, 5} + Text("ghost") + Bytes{1} + U32(1000) + U32(0)));
    m_Client->m_pPlayer = m_pBob;
    m_pView->m_ucViewFlags = 0;
    EXPECT_EQ(AddScore(), (Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0)));
}

TEST_F(ScoreEntries, ChangedEntrySendsOnlyWhatChanged) {
    AddScore();
    EXPECT_TRUE(UpdateScore().empty());
    m_pBob->m_i64PocketCoins = 2000;
    EXPECT_EQ(UpdateScore(), (Bytes{0x16} + U32(2000)));
    m_pBob->SetFlag(kPlayerAFK, true);
    m_pBob->m_i64PropertyValue = 9;
    m_pBob->m_strTeamName = "blue";
    EXPECT_EQ(UpdateScore(), (Bytes{0x22, 3} + Bytes{0x57} + U32(9) + Bytes{0x71} + U32(4) + Text("blue")));
}

TEST_F(ScoreEntries, ChangedEntrySelectsItsSlotFirst) {
    AddScore();
    Track(Make(kKindNormalPad));
    m_pBob->m_i64PocketCoins = 1;
    EXPECT_EQ(UpdateScore(), (Bytes{0x2E, 0} + Bytes{0x16} + U32(1)));
}

class ClientSideMovement : public EncoderTest {
protected:
    ClientSideMovement() {
        m_pMe = MakePlayer();
        m_Client->m_pPlayer = m_pMe;
        m_Client->m_bNearbyLoaded = true;
        m_Client->m_bZonesFilled = true;
    }
    ~ClientSideMovement() override {
        m_pMe->SetClientView(0, nullptr);
        m_Client->m_pPlayer = nullptr;
    }
    bool Figure() {
        m_Client->FigureClientSideMovement();
        return m_Client->m_Movement.m_bClientSideMovement;
    }
    Server_Player* m_pMe;
};

TEST_F(ClientSideMovement, OnOnlyWhenEveryConditionHolds) {
    EXPECT_TRUE(Figure());
    EXPECT_TRUE(m_pMe->GetFlag(kPlayerClientSideMovement));

    m_pMe->m_ucCSMHoldOff = 1;
    EXPECT_FALSE(Figure());
    m_pMe->m_ucCSMHoldOff = 0;

    m_Client->m_bNearbyLoaded = false;
    EXPECT_FALSE(Figure());
    m_Client->m_bNearbyLoaded = true;
    m_Client->m_bZonesFilled = false;
    EXPECT_FALSE(Figure());
    m_Client->m_bZonesFilled = true;

    m_pMe->SetFlag(kPlayerClientSideWarp, true);
    EXPECT_FALSE(Figure());
    m_pMe->SetFlag(kPlayerClientSideWarp, false);
    m_pMe->SetFlag(kPlayerAdminMode, true);
    EXPECT_FALSE(Figure());
    m_pMe->SetFlag(kPlayerAdminMode, false);
    m_Client->m_Movement.m_bClientSideMovementAllowed = false;
    EXPECT_FALSE(Figure());
    m_Client->m_Movement.m_bClientSideMovementAllowed = true;
    EXPECT_TRUE(Figure());
}

TEST_F(ClientSideMovement, OffWhileRidingALiftOrAPrincessCube) {
    Server_Entity* pad = Make(kKindNormalPad);
    m_pMe->m_pPlatform = pad;
    EXPECT_TRUE(Figure());
    pad->GetOrCreateLift();
    EXPECT_FALSE(Figure());
    m_pMe->m_pPlatform = Make(kKindOrisetCube);
    EXPECT_FALSE(Figure());
    m_pMe->m_pPlatform = Make(kKindZorbinCube);
    EXPECT_TRUE(Figure());
    m_pMe->m_pPlatform = nullptr;
}

TEST_F(ClientSideMovement, SwitchingOffClearsTheMovementInput) {
    Figure();
    m_pMe->m_fMovementInput = 0.7f;
    m_pMe->m_ucCSMHoldOff = 3;
    Figure();
    EXPECT_FALSE(m_pMe->GetFlag(kPlayerClientSideMovement));
    EXPECT_EQ(m_pMe->m_fMovementInput, 0.0f);
}

TEST_F(ClientSideMovement, WithoutAPlayerItIsWhateverIsAllowed) {
    m_Client->m_pPlayer = nullptr;
    EXPECT_TRUE(Figure());
    m_Client->m_Movement.m_bClientSideMovementAllowed = false;
    EXPECT_FALSE(Figure());
}

TEST_F(ClientSideMovement, SwitchingOnSendsTheSequenceAndTheMotion) {
    m_pMe->m_vVelocity.Set(1.0f, 2.0f, 3.0f);
    m_pMe->m_fExtraVerticalSpeed = 2.0f;
    m_pMe->m_ucPlayerFlags[7] = 0;
    m_Client->m_Movement.m_bClientSideMovement = true;
    m_Client->UpdateClientSideMovementFlag();
    EXPECT_EQ(Written(), (Bytes{0x6B, 1, 1} + Bytes{0x6F} + F32(kF1) + F32(kF4) + F32(kF3)));
    EXPECT_TRUE(m_Client->m_Movement.m_bClientSideMovementSent);
    EXPECT_TRUE(m_pMe->GetFlag(kPlayerAwaitClientPosition));
    EXPECT_TRUE(m_pMe->GetFlag(kPlayerAwaitClientYaw));
    EXPECT_TRUE(m_pMe->GetFlag(kPlayerAwaitClientVelocity));
}

TEST_F(ClientSideMovement, SwitchingOffForcesAResyncOfTheOwnPlayer) {
    Server_Client_Entity* view = Track(m_pMe);
    m_pMe->SetClientView(0, view);
    m_Client->m_Movement.m_bClientSideMovement = false;
    m_Client->UpdateClientSideMovementFlag();
    EXPECT_EQ(Written(), (Bytes{0x6B, 0, 1}));
    EXPECT_EQ(view->m_usStepsSinceResync, 30000);
    Focus(m_pMe, view);
    m_Client->UC_Update_Position();
    EXPECT_EQ(Written()[0], 0x52);
}

TEST_F(ClientSideMovement, SequenceCountsFromOneAndWrapsAfter255) {
    for (int i = 1; i <= 255; ++i) {
        m_Client->m_Movement.m_bClientSideMovement = (i % 2) == 0;
        m_Client->UpdateClientSideMovementFlag();
        ASSERT_EQ(Written()[2], uint8_t(i));
    }
    m_Client->m_Movement.m_bClientSideMovement = false;
    m_Client->UpdateClientSideMovementFlag();
    EXPECT_EQ(Written(), (Bytes{0x6B, 0, 0}));
}

} // namespace
