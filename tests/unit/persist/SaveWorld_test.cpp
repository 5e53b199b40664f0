// The world file: which entities go in, in what order, with which records.
#include <gtest/gtest.h>

#include "core/Server.h"
#include "persist/Server_File.h"
#include "world/Server_EntityKinds.h"
#include "PersistTestSupport.h"

namespace {

class WorldSave : public InSaveFolder {
protected:
    Server_Entity* AddPad(float x, float y, float z) {
        Server_Entity* pad = m_Server.ProperAddByType(kKindNormalPad);
        pad->m_vPosition.Set(x, y, z);
        pad->m_vSize.Set(32.0f, 16.0f, 32.0f);
        m_Server.UpdateGroupsAndZonesEntityIsIn(pad);
        return pad;
    }
    std::string SaveWorld() {
        testing::internal::CaptureStdout();
        m_Server.SaveRoutine_WorldWithoutPlayers();
        m_strConsole = testing::internal::GetCapturedStdout();
        return Read("KRV1_Data.krv");
    }

    // A plain pad at (1, 2, 3), 32 x 16 x 32, with its defaults: texture 42, mode 2.
    static std::string PlainPadRecords() {
        return Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
                   "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000") +
               Hex("09 00000000 00000000") +
               Hex("03 00 00 00000000 00000000 00000000 00000000 00000000");
    }

    Server m_Server;
    std::string m_strConsole;
};

TEST_F(WorldSave, EmptyWorldIsTheVersionByteAndTheFourteenSettings) {
    EXPECT_EQ(SaveWorld(), Hex("0b") + DefaultSettingsRecords());
}

TEST_F(WorldSave, CompactModeWritesTheSettingsAsRawRecords) {
    g_bCompactSaveMode = true;
    EXPECT_EQ(SaveWorld(), Hex("0b 12 00000000 13 00 15 06000000 1b 00000000 32 64000000 34 e8030000"
                               "36 0ad7a33c 37 4260e53b 3d 8fc2753d 38 01000000 39 08000000 3a 05000000"
                               "3b 01 3f 01"));
}

TEST_F(WorldSave, SettingsCarryTheirCurrentValues) {
    m_Server.m_uiPopPrincessSkip = 3;
    m_Server.m_bIRSBuildEnabled = true;
    m_Server.m_uiServerByteSendLimit = 70000;
    g_uiUdpSendBufferLimit = 9;
    g_uiQuillhobTexture = 7;
    g_uiRewardHittingQuillhob = 5;
    g_fZorbinShrinkPerHit = 0.5f;
    g_fStoneBlockShrinkPerHit = 1.0f;
    g_fBuildingBlockShrinkPerHit = 2.0f;
    g_iZorbinCoinsStolenPerHit = -3;
    g_iPropertyMovingGroups = 4;
    g_iMaxPropertyMovePerTick = 6;
    g_bImprovedCTSResponse = false;
    g_bCompactSaveMode = true;
    EXPECT_EQ(SaveWorld(), Hex("0b 12 03000000 13 01 15 09000000 1b 70110100 32 07000000 34 05000000"
                               "36 0000003f 37 0000803f 3d 00000040 38 fdffffff 39 04000000 3a 06000000"
                               "3b 01 3f 00"));
}

TEST_F(WorldSave, PadWithEverySavedFeature) {
    Server_Entity* pad = AddPad(1.0f, 2.0f, 3.0f);
    pad->SetYaw(0.5f);
    pad->SetPitch(0.25f);
    pad->m_usTexture = 15;
    pad->m_ucRuleFlags = uint8_t((pad->m_ucRuleFlags | kRulePyramid | kRulePrincessReward) & ~kRuleZorbinBuildAllowed);
    pad->SetEEA(kEEAPrincessReward, 7);
    GoalPadStuff* goal = pad->GetOrCreateGoalPad();
    goal->m_strMessage = "Hi";
    goal->m_vRespawnPoint.Set(4.0f, 5.0f, 6.0f);
    goal->m_iCoinReward = 300;
    goal->m_iSolexis = -5;
    pad->m_ucSurfaceFlags = kSurfaceTagPad | kSurfaceNoFly | kSurfaceFlyAgain | kSurfaceJail | kSurfaceJailRelease;
    pad->SetEEA(kEEATagPayout, 10);
    pad->SetEEA(kEEATagLockLeft, 20);
    pad->SetEEA(kEEATagLockTime, 300);
    pad->SetEEA(kEEABounce, 40);
    pad->SetEEA(kEEAInverseAlpha, 55);
    pad->SetLabel("Gate");
    LiftStuff* lift = pad->GetOrCreateLift();
    lift->m_bRunning = true;
    lift->m_vEnd.Set(0.0f, 100.0f, 0.0f);
    lift->m_fSpeed = 2.0f;

    EXPECT_EQ(SaveWorld(), Hex("0b") + FullPadRecords() + DefaultSettingsRecords());
    EXPECT_EQ(m_strConsole, "(Write) We wrote a QVS_ENTITY_JAIL_DISALLOW to the datafile!\n"
                            "(Write) We wrote a QVS_ENTITY_JAIL_RELEASE to the datafile!\n"
                            "(Write) We wrote a QVS_SOLEXIS to the datafile!\n");
}

TEST_F(WorldSave, PlainPadWritesItsThreeRecords) {
    AddPad(1.0f, 2.0f, 3.0f);
    EXPECT_EQ(SaveWorld(), Hex("0b") + PlainPadRecords() + DefaultSettingsRecords());
    EXPECT_EQ(m_strConsole, "");
}

TEST_F(WorldSave, TagPadWithoutLockLeftOmitsTheLockTimeRecord) {
    Server_Entity* pad = AddPad(1.0f, 2.0f, 3.0f);
    pad->m_ucSurfaceFlags = kSurfaceTagPad;
    pad->SetEEA(kEEATagPayout, 10);
    pad->SetEEA(kEEATagLockTime, 10800);
    EXPECT_EQ(SaveWorld(),
              Hex("0b 01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
                  "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                  "09 00000000 00000000"
                  "03 00 02 00000000 00000000 00000000 00000000 00000000") +
                  Hex("18 11000000") + "KRV_TAGPAD_AMOUNT" + Hex("04000000 0a000000") +
                  Hex("18 1d000000") + "KRV_TAGPAD_STARTING_LOCK_TIME" + Hex("04000000 302a0000") +
                  DefaultSettingsRecords());
}

TEST_F(WorldSave, GoalPadWithoutRewardsWritesOnlyItsExtension) {
    Server_Entity* pad = AddPad(1.0f, 2.0f, 3.0f);
    pad->GetOrCreateGoalPad()->m_iCoinReward = -50;
    EXPECT_EQ(SaveWorld(),
              Hex("0b 01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
                  "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                  "09 00000000 00000000"
                  "03 00 01 00000000 00000000 00000000 00000000 00000000") +
                  DefaultSettingsRecords());
}

TEST_F(WorldSave, PlayersPropertyAndSpawnedPowerupsAreLeftOut) {
    m_Server.ProperAddByType(kKindPlayer);
    m_Server.ProperAddByType(kKindZorbinCube);
    m_Server.ProperAddByType(kKindPalaceCube);
    m_Server.ProperAddByType(kKindFireBlock);
    Server_Entity* built = AddPad(5.0f, 5.0f, 5.0f);
    built->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    Server_Entity* powerup = AddPad(6.0f, 6.0f, 6.0f);
    powerup->GetOrCreateGoalPad()->m_sType = 7;
    AddPad(1.0f, 2.0f, 3.0f);
    EXPECT_EQ(SaveWorld(), Hex("0b") + PlainPadRecords() + DefaultSettingsRecords());
}

TEST_F(WorldSave, PrincessAndQuillhobCubesCarryTheirKindTails) {
    auto* talvy = static_cast<Server_TalvyCube*>(m_Server.ProperAddByType(kKindTalvyCube));
    talvy->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    talvy->m_vSize.Set(64.0f, 64.0f, 64.0f);
    talvy->m_vHomePoint.Set(4.0f, 5.0f, 6.0f);
    talvy->SetLabel("not saved");
    auto* oriset = static_cast<Server_OrisetCube*>(m_Server.ProperAddByType(kKindOrisetCube));
    oriset->m_fHoverHeight = 1100.0f;
    oriset->m_vHomePoint.Set(8.0f, 16.0f, 32.0f);
    auto* quillhob = m_Server.ProperAddByType(kKindQuillhobCube);
    quillhob->m_usTexture = 100;
    EXPECT_EQ(SaveWorld(),
              Hex("0b 01 08 0000803f 00000040 00004040 00008042 00008042 00008042 00000000"
                  "00000043 00000043 00000043 09000000 01000000 00008040 0000a040 0000c040"
                  "09 00000000 00000000"
                  "01 09 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                  "00000043 00000043 00000043 13000000 01000000 00808944 00000041 00008041 00000042"
                  "09 00000000 00000000"
                  "01 0c 00000000 00000000 00000000 00000000 00000000 00000000 00000000"
                  "00000043 00000043 00000043 64000000 01000000"
                  "09 00000000 00000000") +
                  DefaultSettingsRecords());
}

TEST_F(WorldSave, TextureFivePadGetsModeOneAfterItsRecordIsWritten) {
    Server_Entity* pad = AddPad(1.0f, 2.0f, 3.0f);
    pad->m_usTexture = 5;
    std::string file = SaveWorld();
    EXPECT_EQ(file.substr(0, 51), Hex("0b 01 04 0000803f 00000040 00004040 00000042 00008041 00000042 00000000"
                                      "00000043 00000043 00000043 05000000 02000000"));
    EXPECT_EQ(pad->GetTextureMode(), 1);
}

TEST_F(WorldSave, PowerupTableEntriesFollowTheEntitiesInTableOrder) {
    m_Server.m_PowerupTablePositions.Append(new VUKVector(1.0f, 8.0f, 3.0f));
    m_Server.m_PowerupTableTypes.push_back(7);
    m_Server.m_PowerupTablePositions.Append(new VUKVector(0.0f, 100.0f, 0.0f));
    m_Server.m_PowerupTableTypes.push_back(19);
    EXPECT_EQ(SaveWorld(), Hex("0b 07 0000803f 00000041 00004040 07000000"
                               "07 00000000 0000c842 00000000 13000000") +
                               DefaultSettingsRecords());
}

TEST_F(WorldSave, RepeatedLabelsShareOneRecordInCompactMode) {
    g_bCompactSaveMode = true;
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Gate");
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Gate");
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Wall");
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Gate");
    std::string pad = PlainPadRecords();
    EXPECT_EQ(SaveWorld(), Hex("0b") + pad + Hex("0e 04000000") + "Gate" + pad + Hex("3e") + pad +
                               Hex("0e 04000000") + "Wall" + pad + Hex("0e 04000000") + "Gate" +
                               Hex("12 00000000 13 00 15 06000000 1b 00000000 32 64000000 34 e8030000"
                                   "36 0ad7a33c 37 4260e53b 3d 8fc2753d 38 01000000 39 08000000"
                                   "3a 05000000 3b 01 3f 01"));
}

TEST_F(WorldSave, RepeatedLabelsAreWrittenInFullInNormalMode) {
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Gate");
    AddPad(1.0f, 2.0f, 3.0f)->SetLabel("Gate");
    std::string pad = PlainPadRecords();
    EXPECT_EQ(SaveWorld(), Hex("0b") + pad + Hex("0e 04000000") + "Gate" + pad + Hex("0e 04000000") + "Gate" +
                               DefaultSettingsRecords());
}

TEST_F(WorldSave, EntitiesGoInAddressOrderOnceTheArrayHasChangedEnough) {
    // Forty pads, then the first twenty gone and twenty more added into the freed pool slots.
    std::vector<Server_Entity*> pads;
    for (int i = 0; i < 40; ++i) pads.push_back(AddPad(float(i), 0.0f, 0.0f));
    for (int i = 0; i < 20; ++i) m_Server.ProperDestroy(pads[size_t(i)]);
    for (int i = 40; i < 60; ++i) AddPad(float(i), 0.0f, 0.0f);
    SaveWorld();
    for (uint32_t i = 1; i < m_Server.m_AllEntities.Count(); ++i)
        EXPECT_LT(reinterpret_cast<uintptr_t>(m_Server.m_AllEntities.GetEntity(i - 1)),
                  reinterpret_cast<uintptr_t>(m_Server.m_AllEntities.GetEntity(i)));
}

} // namespace
