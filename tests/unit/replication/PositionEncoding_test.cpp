// Exact and predicted positions and the predicted yaw: the corrections a client applies to the
// step it keeps, and the view that mirrors the client.
#include "unit/replication/EncoderFixture.h"

namespace {

class PositionEncoding : public EncoderTest {
protected:
    PositionEncoding() {
        m_pBox = Make(kKindTalvyCube);
        m_pView = Track(m_pBox);
    }
    Bytes MoveTo(float x, float y, float z) {
        m_pBox->m_vPosition.Set(x, y, z);
        m_Client->UC_Update_Position();
        return Written();
    }
    Bytes YawTo(float yaw) {
        m_pBox->SetYaw(yaw);
        m_Client->UC_Update_Rotation();
        return Written();
    }

    Server_Entity* m_pBox;
    Server_Client_Entity* m_pView;
};

TEST_F(PositionEncoding, ExactPositionGoesOnlyWhenACoordinateDiffers) {
    m_pBox->m_vPosition.Set(400.0f, 200.0f, -200.0f);
    m_Client->UC_Update_Exact_Position();
    EXPECT_EQ(Written(), (Bytes{0x70} + F32(kF400) + F32(kF200) + F32(kFMinus200)));
    m_Client->UC_Update_Exact_Position();
    EXPECT_TRUE(Written().empty());
    m_pBox->m_vPosition.z = 1.0f;
    m_Client->UC_Update_Exact_Position();
    EXPECT_EQ(Written(), (Bytes{0x70} + F32(kF400) + F32(kF200) + F32(kF1)));
}

TEST_F(PositionEncoding, CorrectionBelowTwelveGoesAsByteTenthsTruncated) {
    EXPECT_EQ(MoveTo(11.99f, 11.99f, 11.99f), (Bytes{0x26, 119, 119, 119}));
    // The client now steps 11.9 per message: the view holds exactly that.
    EXPECT_FLOAT_EQ(m_pView->m_vPredictedStep.x, 11.9f);
    EXPECT_FLOAT_EQ(m_pView->m_vPosition.x, 11.9f);
}

TEST_F(PositionEncoding, NegativeCorrectionsGoAsSignedTenths) {
    EXPECT_EQ(MoveTo(-5.0f, 0.0f, 11.0f), (Bytes{0x26, uint8_t(-50), 0, 110}));
}

TEST_F(PositionEncoding, CorrectionOfTwelveGoesAsShortTenths) {
    EXPECT_EQ(MoveTo(12.0f, 0.0f, 0.0f), (Bytes{0x27} + U16(120) + U16(0) + U16(0)));
    EXPECT_FLOAT_EQ(m_pView->m_vPredictedStep.x, 12.0f);
}

TEST_F(PositionEncoding, CorrectionJustBelowThreeThousandStillGoesAsShortTenths) {
    EXPECT_EQ(MoveTo(2999.9f, -2999.9f, 1.0f), (Bytes{0x27} + U16(29999) + U16(uint16_t(-29999)) + U16(10)));
}

TEST_F(PositionEncoding, CorrectionOfThreeThousandGoesAsFloats) {
    EXPECT_EQ(MoveTo(3000.0f, 1.0f, 0.0f), (Bytes{0x28} + F32(kF3000) + F32(kF1) + F32(kF0)));
    EXPECT_EQ(m_pView->m_vPosition, VUKVector(3000.0f, 1.0f, 0.0f));
}

TEST_F(PositionEncoding, MovingByThePreviousStepAgainSendsOneByte) {
    EXPECT_EQ(MoveTo(10.0f, 0.0f, 0.0f), (Bytes{0x26, 100, 0, 0}));
    EXPECT_EQ(MoveTo(20.0f, 0.0f, 0.0f), (Bytes{0x25}));
    EXPECT_EQ(MoveTo(30.0f, 0.0f, 0.0f), (Bytes{0x25}));
    EXPECT_EQ(m_pView->m_vPosition, VUKVector(30.0f, 0.0f, 0.0f));
}

TEST_F(PositionEncoding, MovesBelowATenthAreNotSent) {
    MoveTo(10.0f, 10.0f, 10.0f);
    EXPECT_TRUE(MoveTo(10.05f, 9.95f, 10.0f).empty());
}

TEST_F(PositionEncoding, CorrectionOfMinusFiveHundredthsTruncatesToZeroAndIsCarriedOver) {
    EXPECT_EQ(MoveTo(1.0f, 1.0f, 0.0f), (Bytes{0x26, 10, 10, 0}));
    // Step (1, 1, 0); the box moves by (0.95, 1.5, 0): the x correction -0.05 becomes 0 tenths.
    EXPECT_EQ(MoveTo(1.95f, 2.5f, 0.0f), (Bytes{0x26, 0, 5, 0}));
    EXPECT_FLOAT_EQ(m_pView->m_vPredictedStep.x, 1.0f);
    EXPECT_FLOAT_EQ(m_pView->m_vPosition.x, 2.0f);
    // The client stays 0.05 ahead on x until a later correction takes it back.
    EXPECT_EQ(MoveTo(2.5f, 4.0f, 0.0f), (Bytes{0x26, uint8_t(-5), 0, 0}));
    EXPECT_FLOAT_EQ(m_pView->m_vPosition.x, 2.5f);
}

TEST_F(PositionEncoding, ThousandAndFirstPositionUpdateResyncsWhateverTheMotion) {
    m_pBox->SetYaw(0.5f);
    for (int i = 1; i <= 1000; ++i) {
        Bytes written = MoveTo(float(i), 0.0f, 0.0f);
        ASSERT_NE(written.empty() ? 0 : written[0], 0x52) << "update " << i;
    }
    EXPECT_EQ(MoveTo(400.0f, 200.0f, -200.0f),
              (Bytes{0x52} + F32(kF400) + F32(kF200) + F32(kFMinus200) + F32(kF0_5) + F32(kF0) + F32(kF0)));
    EXPECT_EQ(m_pView->m_vPosition, VUKVector(400.0f, 200.0f, -200.0f));
    EXPECT_EQ(m_pView->m_vPredictedStep, VUKVector());
    EXPECT_FLOAT_EQ(m_pView->GetYaw(), 0.5f);
    EXPECT_EQ(m_pView->m_usStepsSinceResync, 0);
}

TEST_F(PositionEncoding, ResyncCountsUpdatesThatWriteNothing) {
    for (int i = 0; i < 1000; ++i) ASSERT_TRUE(MoveTo(0.0f, 0.0f, 0.0f).empty());
    EXPECT_EQ(MoveTo(0.0f, 0.0f, 0.0f), (Bytes{0x52} + F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0)));
}

TEST_F(PositionEncoding, FireBlocksAreNeverResynced) {
    Server_Entity* fire = Make(kKindFireBlock);
    Server_Client_Entity* view = Track(fire);
    view->m_usStepsSinceResync = 30000;
    fire->m_vPosition.Set(1.0f, 0.0f, 0.0f);
    m_Client->UC_Update_Position();
    EXPECT_EQ(Written(), (Bytes{0x26, 10, 0, 0}));
}

TEST_F(PositionEncoding, PositionMessagesSelectTheirObject) {
    Server_Entity* other = Make(kKindTalvyCube);
    Server_Client_Entity* otherView = Track(other);
    Focus(m_pBox, m_pView);
    EXPECT_EQ(MoveTo(1.0f, 0.0f, 0.0f), (Bytes{0x2E, 0, 0x26, 10, 0, 0}));
    Focus(other, otherView);
    other->m_vPosition.Set(0.0f, 0.0f, 0.0f);
    m_Client->UC_Update_Position();
    EXPECT_TRUE(Written().empty());
}

TEST_F(PositionEncoding, YawCorrectionBelowATenthGoesAsFloat) {
    EXPECT_EQ(YawTo(0.05f), (Bytes{0x2C} + F32(0x3D4CCCCD)));
    EXPECT_FLOAT_EQ(m_pView->m_fPredictedYawStep, 0.05f);
    EXPECT_FLOAT_EQ(m_pView->GetYaw(), 0.05f);
}

TEST_F(PositionEncoding, YawCorrectionInTenthsThenSteadyTurning) {
    EXPECT_EQ(YawTo(0.5f), (Bytes{0x2A, 5}));
    EXPECT_EQ(YawTo(1.0f), (Bytes{0x29}));
    EXPECT_EQ(YawTo(1.5f), (Bytes{0x29}));
    EXPECT_FLOAT_EQ(m_pView->GetYaw(), 1.5f);
}

TEST_F(PositionEncoding, YawCorrectionOfTwelveOrMoreGoesAsFloat) {
    EXPECT_EQ(YawTo(12.0f), (Bytes{0x2C} + F32(0x41400000)));
}

TEST_F(PositionEncoding, ViewRotationGoesWhenTheYawReturnsToZero) {
    YawTo(0.5f);
    ASSERT_NE(m_pView->m_pRotation, nullptr);
    // Correction -1.0 against the kept step 0.5: ten tenths back.
    EXPECT_EQ(YawTo(0.0f), (Bytes{0x2A, uint8_t(-10)}));
    EXPECT_EQ(m_pView->m_pRotation, nullptr);
}

TEST_F(PositionEncoding, CoordinatesThatAreNoNumbersGoAsFloatsEveryTime) {
    float nan = __builtin_nanf("");
    m_pBox->m_vPosition.Set(nan, 0.0f, 0.0f);
    m_Client->UC_Update_Position();
    Bytes first = Written();
    ASSERT_EQ(first.size(), 13u);
    EXPECT_EQ(first[0], 0x28);
    m_Client->UC_Update_Position();
    EXPECT_EQ(Written().size(), 13u);
}

} // namespace
