// Record framing, the name lookup, the lift and player records, and the console lines they give.
#include <gtest/gtest.h>

#include "core/Server.h"
#include "net/Packet.h"
#include "persist/Server_File.h"
#include "world/Server_EntityKinds.h"
#include "PersistTestSupport.h"

namespace {

std::string Bytes(const Packet& p) { return std::string(reinterpret_cast<const char*>(p.Data()), p.Length()); }

class RecordFormat : public InSaveFolder {
protected:
    Packet m_Out;
    Packet m_Payload;
};

TEST_F(RecordFormat, NamedRecordCarriesNameAndPayloadLength) {
    m_Payload.AppendU32(7);
    Append_KRV_StringCommand(&m_Out, "KRV_STORED_COINS", &m_Payload);
    EXPECT_EQ(Bytes(m_Out), Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 07000000"));
    EXPECT_EQ(m_Payload.Remaining(), 0u);
}

// The frame is the record byte and two u32 lengths around the name: nine bytes besides the name.
TEST_F(RecordFormat, NamedRecordWithEmptyPayloadIsNineBytesPlusItsName) {
    Append_KRV_StringCommand(&m_Out, "KRV_NP_LABEL_SAME_AS_LAST", &m_Payload);
    EXPECT_EQ(Bytes(m_Out), Hex("18 19000000") + "KRV_NP_LABEL_SAME_AS_LAST" + Hex("00000000"));
    EXPECT_EQ(m_Out.Length(), 9u + 25u);
}

TEST_F(RecordFormat, NamedRecordCopiesOnlyWhatFollowsThePayloadReadPosition) {
    m_Payload.AppendByte(0xAA);
    m_Payload.AppendByte(0x01);
    uint8_t skipped = 0;
    m_Payload.ReadByte(skipped);
    Append_KRV_StringCommand(&m_Out, "KRV_IRS_BUILD_ENABLE", &m_Payload);
    EXPECT_EQ(Bytes(m_Out), Hex("18 14000000") + "KRV_IRS_BUILD_ENABLE" + Hex("01000000 01"));
}

TEST_F(RecordFormat, CompactModeWritesKnownNamesAsTheirCodeByte) {
    g_bCompactSaveMode = true;
    m_Payload.AppendU32(300);
    Append_KRV_StringCommand(&m_Out, "KRV_STORED_COINS", &m_Payload);
    Append_KRV_StringCommand(&m_Out, "KRV_NP_LABEL_SAME_AS_LAST", &m_Payload);
    EXPECT_EQ(Bytes(m_Out), Hex("33 2c010000 3e"));
    EXPECT_EQ(m_Payload.Remaining(), 0u);
}

TEST_F(RecordFormat, CompactModeKeepsTheFrameForUnknownNames) {
    g_bCompactSaveMode = true;
    m_Payload.AppendByte(9);
    testing::internal::CaptureStdout();
    Append_KRV_StringCommand(&m_Out, "KRV_SOMETHING_NEW", &m_Payload);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(Bytes(m_Out), Hex("18 11000000") + "KRV_SOMETHING_NEW" + Hex("01000000 09"));
}

TEST_F(RecordFormat, CompactModeLookupOfJailNamesPrintsTheirTranslateLines) {
    g_bCompactSaveMode = true;
    m_Payload.AppendByte(1);
    testing::internal::CaptureStdout();
    Append_KRV_StringCommand(&m_Out, "QVS_ENTITY_JAIL_DISALLOW", &m_Payload);
    m_Payload.Clear();
    m_Payload.AppendByte(1);
    Append_KRV_StringCommand(&m_Out, "QVS_ENTITY_JAIL_RELEASE", &m_Payload);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "(String Translate) We found a QVS_ENTITY_JAIL_DISALLOW while reading the datafile!\n"
              "(String Translate) We found a QVS_ENTITY_JAIL_RELEASE while reading the datafile!\n");
    EXPECT_EQ(Bytes(m_Out), Hex("fd 01 fe 01"));
}

TEST_F(RecordFormat, NormalModeWritesJailNamesWithoutLookingThemUp) {
    m_Payload.AppendByte(1);
    testing::internal::CaptureStdout();
    Append_KRV_StringCommand(&m_Out, "QVS_ENTITY_JAIL_RELEASE", &m_Payload);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(NameLookup, KnownNamesGiveTheirCodes) {
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_FILE_ADD_ENTITY"), 1);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_ENTITY_LIFTINFO"), 26);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_TOTAL_SERVER_RATE_LIMIT"), 27);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_STONEBLOCK_BONUS"), 44);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_BOOL_IMPROVED_CTS_RESPONSE"), 63);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("QVS_SOLEXIS"), 252);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_ENTITY_SPLINELIFTINFO"), 255);
}

TEST(NameLookup, UnknownNamesGiveZeroWithTheSkipLine) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_FUTURE_THING"), 0);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("krv_file_add_entity"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "LoadRoutine: Skipping over unsupported command: KRV_FUTURE_THING\n"
              "LoadRoutine: Skipping over unsupported command: krv_file_add_entity\n");
}

TEST(NameLookup, NamesOfFourCharactersOrFewerAreUnknown) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand("KRV_"), 0);
    EXPECT_EQ(LoadRoutine_TranslateStringToCommand(""), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "LoadRoutine: Skipping over unsupported command: KRV_\n"
              "LoadRoutine: Skipping over unsupported command: \n");
}

class LiftRecord : public InSaveFolder {
protected:
    void SetUp() override {
        InSaveFolder::SetUp();
        m_pPad = m_Server.ProperAddByType(kKindNormalPad);
    }
    Server m_Server;
    Server_Entity* m_pPad = nullptr;
    Packet m_Out;
};

TEST_F(LiftRecord, NothingWithoutLiftData) {
    Append_KRV_ENTITY_LIFTINFO(&m_Out, m_pPad);
    EXPECT_EQ(m_Out.Length(), 0u);
}

TEST_F(LiftRecord, PlainLiftIsANamedLiftInfo) {
    LiftStuff* lift = m_pPad->GetOrCreateLift();
    lift->m_bRunning = true;
    lift->m_vStart.Set(1.0f, 2.0f, 3.0f);
    lift->m_vEnd.Set(4.0f, 5.0f, 6.0f);
    lift->m_fSpeed = 0.5f;
    Append_KRV_ENTITY_LIFTINFO(&m_Out, m_pPad);
    EXPECT_EQ(Bytes(m_Out), Hex("18 13000000") + "KRV_ENTITY_LIFTINFO" +
                                Hex("1d000000 01 0000803f 00000040 00004040 00008040 0000a040 0000c040 0000003f"));
}

TEST_F(LiftRecord, FinalizedSplineLiftListsItsControlPoints) {
    LiftStuff* lift = m_pPad->GetOrCreateLift();
    lift->m_bSpline = true;
    lift->m_bFinalized = true;
    lift->m_fSpeed = 2.0f;
    lift->m_fSplineParameter = 0.25f;
    lift->m_ControlPoints.Append(new VUKVector(1.0f, 2.0f, 3.0f));
    lift->m_ControlPoints.Append(new VUKVector(8.0f, 16.0f, 32.0f));
    Append_KRV_ENTITY_LIFTINFO(&m_Out, m_pPad);
    EXPECT_EQ(Bytes(m_Out), Hex("18 19000000") + "KRV_ENTITY_SPLINELIFTINFO" +
                                Hex("25000000 00 00000040 0000803e 02000000"
                                    "0000803f 00000040 00004040 00000041 00008041 00000042"));
}

TEST_F(LiftRecord, SplineLiftNotYetFinalizedWritesNothing) {
    LiftStuff* lift = m_pPad->GetOrCreateLift();
    lift->m_bSpline = true;
    lift->m_ControlPoints.Append(new VUKVector(1.0f, 2.0f, 3.0f));
    Append_KRV_ENTITY_LIFTINFO(&m_Out, m_pPad);
    EXPECT_EQ(m_Out.Length(), 0u);
}

TEST_F(LiftRecord, CompactModeWritesTheLiftCode) {
    g_bCompactSaveMode = true;
    LiftStuff* lift = m_pPad->GetOrCreateLift();
    lift->m_fSpeed = 1.0f;
    Append_KRV_ENTITY_LIFTINFO(&m_Out, m_pPad);
    EXPECT_EQ(Bytes(m_Out), Hex("1a 00 00000000 00000000 00000000 00000000 00000000 00000000 0000803f"));
}

class PlayerRecord : public InSaveFolder {
protected:
    Server m_Server;
    Packet m_Out;
};

TEST_F(PlayerRecord, CarriesTheWholePlayerTail) {
    auto* p = static_cast<Server_Player*>(m_Server.ProperAddByType(kKindPlayer));
    p->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    p->m_strName = "Bob";
    p->m_strPassword = "pw";
    p->m_uiEnergy = 1234;
    p->SetFlag(kPlayerMessageWindow, true);
    p->SetFlag(kPlayerSavedBit0, true);
    p->m_strModalText = "Hello";
    p->m_i64PocketCoins = 5000;
    p->m_vStartPoint.Set(8.0f, 16.0f, 32.0f);
    p->m_vRespawnPoint.Set(4.0f, 5.0f, 6.0f);
    Append_KRV_FILE_ADD_ENTITY_Player(&m_Out, p);
    EXPECT_EQ(Bytes(m_Out), Hex("01 01 0000803f 00000040 00004040 00008041 00008041 00008041 00000000"
                                "00000042 00000042 00000042 01000000 03000000"
                                "03000000") + "Bob" + Hex("02000000") + "pw" +
                                Hex("d2040000 00 01 01 05000000") + "Hello" +
                                Hex("88130000 00000041 00008041 00000042 00008040 0000a040 0000c040"));
}

TEST_F(PlayerRecord, ModalTextIsWrittenOnlyWhileTheWindowIsOpen) {
    auto* p = static_cast<Server_Player*>(m_Server.ProperAddByType(kKindPlayer));
    p->m_strName = "A";
    p->m_strModalText = "stale text";
    p->m_uiEnergy = 0;
    p->m_i64PocketCoins = 3'000'000'000LL;
    Append_KRV_FILE_ADD_ENTITY_Player(&m_Out, p);
    EXPECT_EQ(Bytes(m_Out), Hex("01 01 00000000 00000000 00000000 00008041 00008041 00008041 00000000"
                                "00000042 00000042 00000042 01000000 03000000"
                                "01000000") + "A" + Hex("00000000 00000000 00 00 00 00000000"
                                                        "005ed0b2 00000000 00000000 00000000"
                                                        "00000000 00000000 00000000"));
}

} // namespace
