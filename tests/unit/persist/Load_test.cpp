// Reading the save files back: every record's effect, the caps and clamps, the counters handed
// out in file order, skipping, and what is re-derived after both files.
#include <gtest/gtest.h>

#include "core/Server.h"
#include "persist/Server_File.h"
#include "world/Server_EntityKinds.h"
#include "PersistTestSupport.h"

namespace {

// A plain pad at (1, 2, 3), 32 x 16 x 32, texture 42, mode 2, without its pad extension.
std::string PadRecord() {
    return Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
               "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000");
}

// An entity record of the kind with zero position and size, texture 44, mode 1, and the tail.
std::string EntityRecord(const char* kindAndZeros, const std::string& tail = "") {
    return Hex(kindAndZeros) + Hex("00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                                   "00008042 00008042 00008042 2c000000 01000000") + tail;
}

// A player record named name with everything else zero.
std::string PlayerRecord(const std::string& name, const std::string& energy = Hex("00000000"),
                         const std::string& coins = Hex("00000000")) {
    return Hex("01 01 00000000 00000000 00000000 00008041 00008041 00008041 00000000"
               "00000042 00000042 00000042 01000000 03000000") +
           Hex("00000000").replace(0, 1, 1, char(name.size())) + name + Hex("00000000") + energy +
           Hex("00 00 00 00000000") + coins + std::string(24, '\0');
}

class Loading : public InSaveFolder {
protected:
    void Load(const std::string& world, const std::string& players = "") {
        if (!world.empty()) Write("KRV1_Data.krv", world);
        if (!players.empty()) Write("VUK_Players.krv", players);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        m_Server.LoadRoutine();
        m_strConsole = testing::internal::GetCapturedStdout();
        m_strErrors = testing::internal::GetCapturedStderr();
    }
    Server_Entity* Entity(uint32_t i) const { return m_Server.m_AllEntities.GetEntity(i); }
    Server_Player* Player(uint32_t i) const { return static_cast<Server_Player*>(m_Server.m_Players.GetEntity(i)); }

    Server m_Server;
    std::string m_strConsole;
    std::string m_strErrors;
};

// ---- whole files -------------------------------------------------------------------------------

TEST_F(Loading, PadWithEverySavedFeatureComesBackWhole) {
    std::string file = Hex("0b") + FullPadRecords() + DefaultSettingsRecords();
    Load(file);
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 1u);
    Server_Entity* pad = Entity(0);
    EXPECT_EQ(pad->m_vPosition, VUKVector(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(pad->m_vSize, VUKVector(32.0f, 16.0f, 32.0f));
    EXPECT_EQ(pad->GetYaw(), 0.5f);
    EXPECT_EQ(pad->GetPitch(), 0.25f);
    EXPECT_EQ(pad->GetRoll(), 0.0f);
    EXPECT_EQ(pad->m_usTexture, 15);
    EXPECT_EQ(pad->GetTextureMode(), 2);
    EXPECT_EQ(pad->m_ucRuleFlags & (kRulePyramid | kRulePrincessReward | kRuleZorbinBuildAllowed),
              kRulePyramid | kRulePrincessReward);
    EXPECT_EQ(pad->m_ucSurfaceFlags,
              kSurfaceTagPad | kSurfaceNoFly | kSurfaceFlyAgain | kSurfaceJail | kSurfaceJailRelease);
    EXPECT_EQ(pad->GetEEA(kEEAPrincessReward), 7u);
    EXPECT_EQ(pad->GetEEA(kEEABounce), 40u);
    EXPECT_EQ(pad->GetEEA(kEEATagPayout), 10u);
    EXPECT_EQ(pad->GetEEA(kEEATagLockLeft), 20u);
    EXPECT_EQ(pad->GetEEA(kEEATagLockTime), 300u);
    EXPECT_EQ(pad->GetEEA(kEEAInverseAlpha), 55u);
    EXPECT_EQ(pad->GetLabel(), "Gate");
    ASSERT_NE(pad->m_pGoalPad, nullptr);
    EXPECT_EQ(pad->m_pGoalPad->m_strMessage, "Hi");
    EXPECT_EQ(pad->m_pGoalPad->m_vRespawnPoint, VUKVector(4.0f, 5.0f, 6.0f));
    EXPECT_EQ(pad->m_pGoalPad->m_iCoinReward, 300);
    EXPECT_EQ(pad->m_pGoalPad->m_iSolexis, -5);
    EXPECT_EQ(pad->m_pGoalPad->m_sType, 0);
    ASSERT_NE(pad->m_pLift, nullptr);
    EXPECT_TRUE(pad->m_pLift->m_bRunning);
    EXPECT_EQ(pad->m_pLift->m_vEnd, VUKVector(0.0f, 100.0f, 0.0f));
    EXPECT_EQ(pad->m_pLift->m_fSpeed, 2.0f);
    EXPECT_TRUE(m_Server.m_TagPads.Contains(pad));
    EXPECT_TRUE(m_Server.m_Lifts.Contains(pad));
    EXPECT_EQ(m_strConsole, "(String Translate) We found a QVS_ENTITY_JAIL_DISALLOW while reading the datafile!\n"
                            "(Read) We read a QVS_ENTITY_JAIL_DISSALOW from the datafile!\n"
                            "(String Translate) We found a QVS_ENTITY_JAIL_RELEASE while reading the datafile!\n"
                            "(Read) We read a QVS_ENTITY_JAIL_RELEASE from the datafile!\n"
                            "(Read) We read a QVS_SOLEXIS from the datafile!\n");

    testing::internal::CaptureStdout();
    m_Server.SaveRoutine_WorldWithoutPlayers();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Read("KRV1_Data.krv"), file);
}

TEST_F(Loading, PlayersAndTheirPropertyComeBackWhole) {
    std::string zorbin = Hex("01 0a 0000c842 00000041 0000c842 00000042 00000042 00000042 00000000"
                             "00008042 00008042 00008042 2c000000 01000000 0c 03000000") + "Bob" +
                         Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 a8610000");
    std::string resting = Hex("18 1b000000") + "KRV_WAS_MOVING_AT_SAVE_TIME" + Hex("01000000 00");
    std::string palace = Hex("01 0b 00004843 00008041 00004843 00000042 00000042 00000042 00000000"
                             "00000043 00000043 00000043 3c000000 01000000 0e 03000000") + "Bob" +
                         Hex("0a 05000000 18 11000000") + "KRV_PALACECUBE_HP" + Hex("04000000 e7030000");
    std::string block = Hex("01 04 00009643 00000041 00009643 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                            "0b 01 00000000 0e 03000000") + "Bob" +
                        Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 e0930400");
    std::string file = Hex("0b") + BobRecords() + zorbin + resting + zorbin + palace + block + resting;
    Load(Hex("0b"), file);

    ASSERT_EQ(m_Server.m_Players.Count(), 1u);
    Server_Player* bob = Player(0);
    EXPECT_EQ(bob->m_strName, "Bob");
    EXPECT_EQ(bob->m_strPassword, "pw");
    EXPECT_EQ(bob->m_uiEnergy, 1234u);
    EXPECT_TRUE(bob->GetFlag(kPlayerMessageWindow));
    EXPECT_TRUE(bob->GetFlag(kPlayerSavedBit0));
    EXPECT_EQ(bob->m_strModalText, "Hello");
    EXPECT_EQ(bob->m_i64PocketCoins, 5000);
    EXPECT_EQ(bob->m_vStartPoint, VUKVector(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(bob->m_vRespawnPoint, VUKVector(4.0f, 5.0f, 6.0f));
    EXPECT_EQ(bob->m_vPosition, VUKVector(10.0f, 20.0f, 30.0f));
    EXPECT_EQ(bob->m_strEffectNames[1], "Spirit of Zorbin");
    EXPECT_EQ(bob->m_fEffectTimes[0], -100.0f);
    EXPECT_EQ(bob->m_uiEffectIds[0], 7u);
    EXPECT_EQ(bob->m_usAdminLevel, 50);
    EXPECT_TRUE(bob->GetFlag(kPlayerCoinCommands));
    EXPECT_EQ(bob->m_uiTicksSinceLastLogin, 1000u);
    EXPECT_EQ(bob->m_strTeamName, "Red");
    ASSERT_EQ(bob->m_IgnoreList.Length(), 2u);
    EXPECT_EQ(*bob->m_IgnoreList[1], "Mal");
    EXPECT_TRUE(bob->IsPlayerMoving());
    EXPECT_TRUE(bob->m_bDisplayName);
    EXPECT_TRUE(m_Server.m_OtherPlayers.Contains(bob));
    // One BuildingBlock: its worth replaces whatever was saved.
    EXPECT_EQ(bob->m_i64PropertyValue, 600'000);
    EXPECT_EQ(bob->m_uiPalaceCubeCount, 1u);
    EXPECT_EQ(bob->m_uiRank, 1u);

    ASSERT_EQ(m_Server.m_ZorbinCubes.Count(), 2u);
    EXPECT_EQ(m_Server.m_MovingZorbinCubes.Count(), 1u);
    EXPECT_EQ(m_Server.m_ZorbinCubes.GetEntity(0)->m_pOwner, bob);
    auto* palaceCube = static_cast<Server_PalaceCube*>(m_Server.m_PalaceCubes.GetEntity(0));
    EXPECT_EQ(palaceCube->m_uiHitPoints, 999u);
    EXPECT_EQ(palaceCube->m_pOwner, bob);
    ASSERT_EQ(m_Server.m_PlayerBuiltPads.Count(), 1u);
    Server_Entity* built = m_Server.m_PlayerBuiltPads.GetEntity(0);
    EXPECT_EQ(built->m_uiStoredCoins, 300'000u);
    EXPECT_FALSE(built->IsMoving());
    EXPECT_EQ(m_Server.m_MovingPads.Count(), 0u);

    m_Server.SaveRoutine_Players();
    EXPECT_EQ(Read("VUK_Players.krv"), file);
}

TEST_F(Loading, CompactFileReadsBackLikeTheNamedForm) {
    Load(Hex("0b") + PadRecord() + Hex("0e 04000000") + "Gate" + PadRecord() + Hex("3e 2f 0a000000 30 37") +
         Hex("12 03000000 13 01 15 09000000 1b 70110100 32 07000000 34 05000000 36 0000003f 37 0000803f"
             "3d 00000040 38 fdffffff 39 04000000 3a 06000000 3b 01 3f 00"));
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 2u);
    Server_Entity* second = Entity(1);
    EXPECT_EQ(second->m_pLabel, Entity(0)->m_pLabel);
    EXPECT_EQ(second->GetLabel(), "Gate");
    EXPECT_TRUE(second->IsTagPad());
    EXPECT_EQ(second->GetEEA(kEEATagPayout), 10u);
    EXPECT_EQ(second->GetEEA(kEEATagLockTime), 10'800u);
    EXPECT_EQ(second->GetEEA(kEEAInverseAlpha), 200u);
    EXPECT_EQ(m_Server.m_uiPopPrincessSkip, 3u);
    EXPECT_TRUE(m_Server.m_bIRSBuildEnabled);
    EXPECT_EQ(g_uiUdpSendBufferLimit, 9u);
    EXPECT_EQ(m_Server.m_uiServerByteSendLimit, 70'000u);
    EXPECT_EQ(g_uiQuillhobTexture, 7u);
    EXPECT_EQ(g_uiRewardHittingQuillhob, 5u);
    EXPECT_EQ(g_fZorbinShrinkPerHit, 0.5f);
    EXPECT_EQ(g_fStoneBlockShrinkPerHit, 1.0f);
    EXPECT_EQ(g_fBuildingBlockShrinkPerHit, 2.0f);
    EXPECT_EQ(g_iZorbinCoinsStolenPerHit, -3);
    EXPECT_EQ(g_iPropertyMovingGroups, 4);
    EXPECT_EQ(g_iMaxPropertyMovePerTick, 6);
    EXPECT_TRUE(g_bCompactSaveMode);
    EXPECT_FALSE(g_bImprovedCTSResponse);
}

// ---- skipping ------------------------------------------------------------------------------------

TEST_F(Loading, UnknownNamedRecordIsSkippedAndLaterRecordsStillApplyToTheSameEntity) {
    Load(Hex("0b") + PadRecord() + Hex("18 10000000") + "KRV_FUTURE_THING" + Hex("07000000 0e 010203040506") +
         Hex("0e 05000000") + "After" + Hex("0a 09000000") + PadRecord());
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 2u);
    EXPECT_EQ(Entity(0)->GetLabel(), "After");
    EXPECT_EQ(Entity(0)->GetEEA(kEEABounce), 9u);
    EXPECT_EQ(Entity(1)->m_pLabel, nullptr);
    EXPECT_EQ(m_strConsole, "LoadRoutine: Skipping over unsupported command: KRV_FUTURE_THING\n");
}

TEST_F(Loading, SkipMarkerBeforeAnUnknownRawCommandSkipsExactlyItsLength) {
    Load(Hex("0b") + PadRecord() + Hex("17 03000000 28 0e0400") + Hex("0e 04000000") + "Next");
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(Entity(0)->GetLabel(), "Next");
    EXPECT_EQ(m_strErrors, "");
}

TEST_F(Loading, SkipMarkerBeforeAKnownRecordIsUnused) {
    Load(Hex("0b") + PadRecord() + Hex("17 09000000 0a 05000000 0e 02000000") + "OK");
    EXPECT_EQ(Entity(0)->GetEEA(kEEABounce), 5u);
    EXPECT_EQ(Entity(0)->GetLabel(), "OK");
}

TEST_F(Loading, KnownNamedRecordIsReadByItsLayoutNotItsLength) {
    Load(Hex("0b") + PadRecord() + Hex("18 10000000") + "KRV_STORED_COINS" + Hex("63000000 0c000000") +
         Hex("0e 02000000") + "OK");
    EXPECT_EQ(Entity(0)->m_uiStoredCoins, 12u);
    EXPECT_EQ(Entity(0)->GetLabel(), "OK");
}

TEST_F(Loading, RecordsBeforeTheFirstEntityAreIgnored) {
    Load(Hex("0b 0a 05000000 0e 02000000") + "No" + Hex("3e") + PadRecord() + Hex("3e"));
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(Entity(0)->GetEEA(kEEABounce), 0u);
    EXPECT_EQ(Entity(0)->GetLabel(), "No");
}

// ---- versions and missing files --------------------------------------------------------------------

TEST_F(Loading, WorldVersionFourIsRefusedWhileThePlayersFileStillLoads) {
    Load(Hex("04") + PadRecord(), Hex("0b") + PlayerRecord("Ann"));
    EXPECT_EQ(m_Server.m_AllEntities.Count(), 1u);
    ASSERT_EQ(m_Server.m_Players.Count(), 1u);
    EXPECT_EQ(Player(0)->m_strName, "Ann");
    EXPECT_EQ(m_strErrors, "VUK Server LoadRoutine: Incorrect load file\n");
    EXPECT_NE(ChatLog().find("] VUK Server LoadRoutine: Incorrect load file\r\n"), std::string::npos);
}

TEST_F(Loading, WorldVersionsFiveToElevenAreRead) {
    Load(Hex("05") + PadRecord());
    EXPECT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(m_strErrors, "");
}

TEST_F(Loading, WorldVersionTwelveIsRefused) {
    Load(Hex("0c") + PadRecord());
    EXPECT_EQ(m_Server.m_AllEntities.Count(), 0u);
    EXPECT_EQ(m_strErrors, "VUK Server LoadRoutine: Incorrect load file\n");
}

TEST_F(Loading, EmptyWorldFileIsAWrongVersion) {
    Write("KRV1_Data.krv", "");
    Load("", Hex("0b") + PlayerRecord("Ann"));
    EXPECT_EQ(m_strErrors, "VUK Server LoadRoutine: Incorrect load file\n");
    EXPECT_EQ(m_Server.m_Players.Count(), 1u);
}

TEST_F(Loading, PlayersVersionFiveIsRefused) {
    Load(Hex("0b"), Hex("05") + PlayerRecord("Ann"));
    EXPECT_EQ(m_Server.m_Players.Count(), 0u);
    EXPECT_EQ(m_strErrors, "VUK Server LoadRoutine: Incorrect load player file\n");
}

TEST_F(Loading, PlayersVersionSixIsRead) {
    Load(Hex("0b"), Hex("06") + PlayerRecord("Ann"));
    EXPECT_EQ(m_Server.m_Players.Count(), 1u);
}

TEST_F(Loading, MissingWorldFileLoadsNothingNotEvenThePlayers) {
    Load("", Hex("0b") + PlayerRecord("Ann"));
    EXPECT_EQ(m_Server.m_AllEntities.Count(), 0u);
    EXPECT_EQ(m_strErrors, "");
}

TEST_F(Loading, MissingPlayersFileIsNoError) {
    Load(Hex("0b") + PadRecord());
    EXPECT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(m_strErrors, "");
    EXPECT_EQ(m_strConsole, "");
}

// ---- caps and clamps -----------------------------------------------------------------------------

TEST_F(Loading, PocketCoinsAndEnergyAreCappedOnLoad) {
    Load(Hex("0b"), Hex("0b") + PlayerRecord("Rich", Hex("50c30000"), Hex("005ed0b2")) +
                        PlayerRecord("Even", Hex("204e0000"), Hex("00943577")));
    EXPECT_EQ(Player(0)->m_uiEnergy, 20'000u);
    EXPECT_EQ(Player(0)->m_i64PocketCoins, 2'000'000'000);
    EXPECT_EQ(Player(1)->m_uiEnergy, 20'000u);
    EXPECT_EQ(Player(1)->m_i64PocketCoins, 2'000'000'000);
}

TEST_F(Loading, AdminLevelAbove100LoadsAsZero) {
    Load(Hex("0b"), Hex("0b") + PlayerRecord("A") + Hex("0f 65000000") + PlayerRecord("B") + Hex("0f 64000000") +
                        PlayerRecord("C") + Hex("0f ffff0000") + PlayerRecord("D") + Hex("0f 05000100"));
    EXPECT_EQ(Player(0)->m_usAdminLevel, 0);
    EXPECT_EQ(Player(1)->m_usAdminLevel, 100);
    EXPECT_EQ(Player(2)->m_usAdminLevel, 0);
    EXPECT_EQ(Player(3)->m_usAdminLevel, 5);
}

TEST_F(Loading, UdpSendBufferLimitIsAtLeastSix) {
    Load(Hex("0b 18 1e000000") + "KRV_UDP_SEND_BUFFER_LIMIT_CODE" + Hex("04000000 03000000"));
    EXPECT_EQ(g_uiUdpSendBufferLimit, 6u);
}

TEST_F(Loading, ZeroPropertyMovingGroupsLoadsAsOne) {
    Load(Hex("0b 39 00000000"));
    EXPECT_EQ(g_iPropertyMovingGroups, 1);
}

TEST_F(Loading, LongSpiritOfZorbinIsCutToTenTimeUnits) {
    std::string effects = Hex("08 03000000") + "SoZ" + Hex("0000c841 03000000") + Hex("03000000") + "Tri" +
                          Hex("0000c841 07000000") + std::string(8 * 12, '\0');
    Load(Hex("0b"), Hex("0b") + PlayerRecord("A") + effects);
    EXPECT_EQ(Player(0)->m_fEffectTimes[0], 10.0f);
    EXPECT_EQ(Player(0)->m_fEffectTimes[1], 25.0f);
    EXPECT_EQ(Player(0)->m_strEffectNames[1], "Tri");
}

TEST_F(Loading, PowerupEntriesBelowY8AreDropped) {
    Load(Hex("0b 07 00000000 0000e040 00000000 07000000"
             "07 0000803f 00000041 00004040 07000000"));
    ASSERT_EQ(m_Server.m_PowerupTablePositions.Length(), 1u);
    EXPECT_EQ(*m_Server.m_PowerupTablePositions[0], VUKVector(1.0f, 8.0f, 3.0f));
    EXPECT_EQ(m_Server.m_PowerupTableTypes, std::vector<uint32_t>{7});
}

// ---- entity details -----------------------------------------------------------------------------

TEST_F(Loading, TextureZeroReadsAsEightAndTextureFiveForcesModeOne) {
    Load(Hex("0b 01 04 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
             "00000043 00000043 00000043 00000000 02000000 00 00 00 00 00000000"
             "01 04 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
             "00000043 00000043 00000043 05000000 02000000 00 00 00 00 00000000"));
    EXPECT_EQ(Entity(0)->m_usTexture, 8);
    EXPECT_EQ(Entity(0)->GetTextureMode(), 2);
    EXPECT_EQ(Entity(1)->m_usTexture, 5);
    EXPECT_EQ(Entity(1)->GetTextureMode(), 1);
}

TEST_F(Loading, ZeroYawLeavesNoRotationRecord) {
    Load(Hex("0b") + PadRecord() + Hex("09 00000000 00000000"));
    EXPECT_EQ(Entity(0)->m_pRotation, nullptr);
}

TEST_F(Loading, ModalTextIsDroppedWhileTheWindowFlagIsClear) {
    std::string player = Hex("01 01 00000000 00000000 00000000 00008041 00008041 00008041 00000000"
                             "00000042 00000042 00000042 01000000 03000000 01000000") + "A" +
                         Hex("00000000 00000000 00 00 01 04000000") + "Gone" + Hex("00000000") +
                         std::string(24, '\0');
    Load(Hex("0b"), Hex("0b") + player);
    EXPECT_EQ(Player(0)->m_strModalText, "");
    EXPECT_TRUE(Player(0)->GetFlag(kPlayerSavedBit0));
    EXPECT_FALSE(Player(0)->GetFlag(kPlayerMessageWindow));
}

TEST_F(Loading, PrincessCubesTakeTurnSlotsZeroToFourInFileOrder) {
    std::string talvy = EntityRecord("01 08", std::string(12, '\0'));
    std::string oriset = EntityRecord("01 09", std::string(16, '\0'));
    Load(Hex("0b") + talvy + oriset + talvy + oriset + talvy + oriset + talvy);
    ASSERT_EQ(m_Server.m_TalvyCubes.Count(), 4u);
    ASSERT_EQ(m_Server.m_OrisetCubes.Count(), 3u);
    std::vector<int16_t> slots;
    for (uint32_t i = 0; i < m_Server.m_AllEntities.Count(); ++i) {
        Server_Entity* e = Entity(i);
        slots.push_back(e->GetKind() == kKindTalvyCube ? static_cast<Server_TalvyCube*>(e)->m_sTurnSlot
                                                       : static_cast<Server_OrisetCube*>(e)->m_sTurnSlot);
    }
    EXPECT_EQ(slots, (std::vector<int16_t>{0, 1, 2, 3, 4, 0, 1}));
}

TEST_F(Loading, OrisetCubeReadsHoverHeightThenHomePoint) {
    Load(Hex("0b") + EntityRecord("01 09", Hex("00808944 0000803f 00000040 00004040")));
    auto* cube = static_cast<Server_OrisetCube*>(m_Server.m_OrisetCubes.GetEntity(0));
    EXPECT_EQ(cube->m_fHoverHeight, 1100.0f);
    EXPECT_EQ(cube->m_vHomePoint, VUKVector(1.0f, 2.0f, 3.0f));
}

TEST_F(Loading, PlayersTakeScanCountersZeroToFiveInFileOrder) {
    std::string players = Hex("0b");
    for (char c = 'A'; c <= 'G'; ++c) players += PlayerRecord(std::string(1, c));
    Load(Hex("0b"), players);
    std::vector<uint32_t> counters;
    for (uint32_t i = 0; i < m_Server.m_Players.Count(); ++i) counters.push_back(Player(i)->m_uiScanCounter);
    EXPECT_EQ(counters, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 0}));
}

TEST_F(Loading, ZorbinCubesTakeTurnSlotsAndStartMovingWithCoinsByTexture) {
    std::string plain = EntityRecord("01 0a");
    std::string irs = Hex("01 0a") + Hex("00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                                         "00008042 00008042 00008042 49000000 01000000");
    std::string players = Hex("0b") + irs + plain + irs + Hex("18 10000000") + "KRV_STORED_COINS" +
                          Hex("04000000 05000000") + plain + plain + plain + plain;
    Load(Hex("0b"), players);
    ASSERT_EQ(m_Server.m_ZorbinCubes.Count(), 7u);
    std::vector<uint32_t> slots, coins;
    for (uint32_t i = 0; i < 7; ++i) {
        auto* cube = static_cast<Server_ZorbinCube*>(Entity(i));
        slots.push_back(cube->m_uiTurnSlot);
        coins.push_back(cube->m_uiStoredCoins);
        EXPECT_TRUE(cube->IsMoving());
    }
    EXPECT_EQ(slots, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 0}));
    EXPECT_EQ(coins, (std::vector<uint32_t>{300'000, 25'000, 5, 25'000, 25'000, 25'000, 25'000}));
    EXPECT_EQ(m_Server.m_MovingZorbinCubes.Count(), 7u);
}

TEST_F(Loading, PlayerCreatedBlockBecomesMovingPropertyWithCoinsByTexture) {
    std::string stone = Hex("01 04 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                            "00000043 00000043 00000043 2b000000 02000000 00 00 00 00 00000000");
    Load(Hex("0b"), Hex("0b") + PadRecord() + Hex("0b 01 00000000") + stone + Hex("0b 01 00000000"));
    ASSERT_EQ(m_Server.m_PlayerBuiltPads.Count(), 2u);
    EXPECT_EQ(m_Server.m_MovingPads.Count(), 2u);
    EXPECT_EQ(Entity(0)->m_uiStoredCoins, 300'000u);
    EXPECT_EQ(Entity(1)->m_uiStoredCoins, 5'000u);
    EXPECT_TRUE(Entity(1)->IsPlayerBuilt());
}

TEST_F(Loading, PadExtensionCreatesAndDeletesGoalPadData) {
    Load(Hex("0b") + PadRecord() + Hex("18 0b000000") + "QVS_SOLEXIS" + Hex("04000000 0a000000") +
         Hex("03 00 00 02000000") + "Hi" + Hex("00000000 0000803f 00000040 00004040") + PadRecord() +
         Hex("03 02 03 02000000") + "Go" + Hex("09000000 0000803f 00000040 00004040"));
    EXPECT_EQ(Entity(0)->m_pGoalPad, nullptr);
    EXPECT_TRUE(Entity(0)->m_ucRuleFlags & kRuleZorbinBuildAllowed);
    Server_Entity* pad = Entity(1);
    ASSERT_NE(pad->m_pGoalPad, nullptr);
    EXPECT_EQ(pad->m_pGoalPad->m_strMessage, "Go");
    EXPECT_EQ(pad->m_pGoalPad->m_vRespawnPoint, VUKVector(1.0f, 2.0f, 3.0f));
    EXPECT_FALSE(pad->m_ucRuleFlags & kRuleZorbinBuildAllowed);
    EXPECT_TRUE(pad->IsTagPad());
    EXPECT_EQ(pad->GetEEA(kEEATagPayout), 10u);
    // Without the landing-reward flag the reward is not stored.
    EXPECT_EQ(pad->GetEEA(kEEAPrincessReward), 0u);
    EXPECT_TRUE(m_Server.m_TagPads.Contains(pad));
}

TEST_F(Loading, OpaqueAlphaLeavesNoAttribute) {
    Load(Hex("0b") + PadRecord() + Hex("30 ff"));
    EXPECT_EQ(Entity(0)->m_pEEAList, nullptr);
}

TEST_F(Loading, SplineLiftKeepsItsControlPoints) {
    Load(Hex("0b") + PadRecord() + Hex("ff 01 00000040 0000803e 02000000"
                                       "0000803f 00000040 00004040 00000041 00008041 00000042"));
    LiftStuff* lift = Entity(0)->m_pLift;
    ASSERT_NE(lift, nullptr);
    EXPECT_TRUE(lift->m_bSpline);
    EXPECT_TRUE(lift->m_bFinalized);
    EXPECT_TRUE(lift->m_bRunning);
    EXPECT_EQ(lift->m_fSpeed, 2.0f);
    EXPECT_EQ(lift->m_fSplineParameter, 0.25f);
    ASSERT_EQ(lift->m_ControlPoints.Length(), 2u);
    EXPECT_EQ(*lift->m_ControlPoints[1], VUKVector(8.0f, 16.0f, 32.0f));
}

TEST_F(Loading, LegacyRecordsAreReadAndIgnored) {
    Load(Hex("0b") + PadRecord() + Hex("02 05 01000000 10 02000000 11 03000000 2c 04000000 06 44000100") +
         Hex("0e 02000000") + "OK");
    EXPECT_EQ(Entity(0)->m_usTexture, 68);
    EXPECT_EQ(Entity(0)->GetLabel(), "OK");
}

// ---- hostile and cut files ---------------------------------------------------------------------

TEST_F(Loading, RecordCutByTheEndOfTheFileReadsMissingBytesAsZero) {
    Load(Hex("0b 01 04 0000803f 00000040 0000"));
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(Entity(0)->m_vPosition, VUKVector(1.0f, 2.0f, 0.0f));
    EXPECT_EQ(Entity(0)->m_usTexture, 8);
    EXPECT_EQ(Entity(0)->m_vTextureScale, VUKVector(0.0f, 0.0f, 0.0f));
}

TEST_F(Loading, HugeStringCountTakesOnlyWhatTheFileHolds) {
    Load(Hex("0b") + PadRecord() + Hex("0e ffffffff 4142"));
    EXPECT_EQ(Entity(0)->GetLabel(), "AB");
}

TEST_F(Loading, HugeControlPointCountTakesOnlyWhatTheFileHolds) {
    Load(Hex("0b") + PadRecord() + Hex("ff 01 00000040 0000803e ffffffff 0000803f 00000040 00004040"));
    ASSERT_NE(Entity(0)->m_pLift, nullptr);
    EXPECT_EQ(Entity(0)->m_pLift->m_ControlPoints.Length(), 1u);
}

TEST_F(Loading, HugeSkipLengthEndsTheFile) {
    Load(Hex("0b") + PadRecord() + Hex("18 05000000") + "QVS_X" + Hex("ffffffff 0e 02000000") + "No");
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 1u);
    EXPECT_EQ(Entity(0)->m_pLabel, nullptr);
}

// ---- derived after loading ------------------------------------------------------------------------

TEST_F(Loading, PropertyIsMatchedToOwnersByLabel) {
    auto block = [](const char* texture) {
        return Hex("01 04 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                   "00000043 00000043 00000043") + Hex(texture) + Hex("02000000 00000000 00000000"
                                                                       "0b 01 00000000 0e 03000000") + "Bob";
    };
    std::string palace = EntityRecord("01 0b") + Hex("0e 03000000") + "Eve";
    std::string zorbin = EntityRecord("01 0a") + Hex("0c 06000000") + "Nobody";
    std::string players = Hex("0b") + PlayerRecord("Bob") + Hex("0d 00e1f505") + PlayerRecord("Eve") +
                          block("2a000000") + block("2a000000") + block("2a000000") + block("2b000000") +
                          palace + palace + zorbin;
    std::string world = Hex("0b") + PadRecord() + Hex("03 00 02 00000000 00000000 00000000 00000000 00000000") +
                        Hex("0e 06000000") + "T: Eve";
    Load(world, players);
    Server_Player* bob = Player(0);
    Server_Player* eve = Player(1);
    EXPECT_EQ(bob->m_i64PropertyValue, 1'800'000);
    EXPECT_EQ(eve->m_i64PropertyValue, 0);
    EXPECT_EQ(eve->m_uiPalaceCubeCount, 2u);
    EXPECT_EQ(m_Server.m_PlayerBuiltPads.GetEntity(3)->m_pOwner, bob);
    EXPECT_EQ(m_Server.m_ZorbinCubes.GetEntity(0)->m_pOwner, nullptr);
    EXPECT_EQ(m_Server.m_TagPads.GetEntity(0)->m_pTagHolder, eve);
}

TEST_F(Loading, PlayersAreRankedByNetWorthWithSharedRanks) {
    Load(Hex("0b"), Hex("0b") + PlayerRecord("A", Hex("00000000"), Hex("84030000")) +
                        PlayerRecord("B", Hex("00000000"), Hex("f4010000")) +
                        PlayerRecord("C", Hex("00000000"), Hex("84030000")));
    EXPECT_EQ(Player(0)->m_uiRank, 1u);
    EXPECT_EQ(Player(1)->m_uiRank, 2u);
    EXPECT_EQ(Player(2)->m_uiRank, 1u);
}

TEST_F(Loading, PowerupTableSpawnsLabelledPowerupCubesOncePerSpot) {
    Load(Hex("0b 07 0000803f 00000041 00004040 07000000"
             "07 0000803f 00000041 00004040 0f000000"
             "07 00000000 0000c842 00000000 10000000"));
    EXPECT_EQ(m_Server.m_PowerupTablePositions.Length(), 3u);
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 2u);
    Server_Entity* cube = Entity(0);
    EXPECT_EQ(cube->m_vPosition, VUKVector(1.0f, 8.0f, 3.0f));
    EXPECT_EQ(cube->m_vSize, VUKVector(16.0f, 16.0f, 16.0f));
    EXPECT_EQ(cube->m_usTexture, 5);
    EXPECT_EQ(cube->GetTextureMode(), 1);
    EXPECT_EQ(cube->GetLabel(), "Tri-Fire");
    EXPECT_TRUE(cube->m_ucSurfaceFlags & kSurfacePowerup);
    EXPECT_FALSE(cube->m_ucRuleFlags & kRuleZorbinBuildAllowed);
    ASSERT_NE(cube->m_pGoalPad, nullptr);
    EXPECT_EQ(cube->m_pGoalPad->m_sType, 7);
    EXPECT_EQ(Entity(1)->m_pLabel, nullptr);
    EXPECT_EQ(Entity(1)->m_pGoalPad->m_sType, 16);
}

TEST_F(Loading, PowerupSpawnsBesideAWarpButNotOnABlock) {
    std::string warp = Hex("01 04 0000803f 00000041 00004040 00000042 00008041 00000042 00000000"
                           "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                           "03 00 01 00000000 00000000 00000000 00000000 00000000");
    std::string block = Hex("01 04 00000000 0000c842 00000000 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000");
    Load(Hex("0b") + warp + block + Hex("07 0000803f 00000041 00004040 01000000"
                                        "07 00000000 0000c842 00000000 01000000"));
    ASSERT_EQ(m_Server.m_AllEntities.Count(), 3u);
    EXPECT_EQ(Entity(2)->GetLabel(), "Jump High Effect");
    EXPECT_EQ(Entity(2)->m_vPosition, VUKVector(1.0f, 8.0f, 3.0f));
}

} // namespace
