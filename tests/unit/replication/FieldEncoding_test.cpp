// Size, texture, label and the add messages, and the box, princess and Zorbin encoders.
#include <string>

#include "unit/replication/EncoderFixture.h"

namespace {

class FieldEncoders : public EncoderTest {
protected:
    FieldEncoders() {
        m_pPad = Make(kKindNormalPad);
        m_pView = Track(m_pPad);
    }
    Server_Entity* m_pPad;
    Server_Client_Entity* m_pView;
};

TEST_F(FieldEncoders, CubicSizeGoesAsOneFloat) {
    m_pPad->m_vSize.Set(100.0f, 100.0f, 100.0f);
    m_Client->UC_Update_Size();
    EXPECT_EQ(Written(), (Bytes{0x5D} + F32(kF100)));
    EXPECT_EQ(m_pView->m_vSize, VUKVector(100.0f, 100.0f, 100.0f));
}

TEST_F(FieldEncoders, OtherSizesGoAsThreeFloats) {
    m_pPad->m_vSize.Set(100.0f, 10.0f, 100.0f);
    m_Client->UC_Update_Size();
    EXPECT_EQ(Written(), (Bytes{0x13} + F32(kF100) + F32(kF10) + F32(kF100)));
}

TEST_F(FieldEncoders, SizeChangesOfAHundredthOrLessAreNotSent) {
    m_pView->m_vSize.Set(100.0f, 100.0f, 100.0f);
    m_pPad->m_vSize.Set(100.005f, 99.995f, 100.0f);
    m_Client->UC_Update_Size();
    EXPECT_TRUE(Written().empty());
    m_pPad->m_vSize.Set(100.02f, 100.0f, 100.0f);
    m_Client->UC_Update_Size();
    EXPECT_EQ(Written().size(), 13u);
}

TEST_F(FieldEncoders, TextureScaleAlwaysGoesAsThreeFloats) {
    m_Client->UC_Update_TextureSize();
    EXPECT_TRUE(Written().empty());  // a new box is assumed at 128
    m_pPad->m_vTextureScale.Set(64.0f, 64.0f, 64.0f);
    m_Client->UC_Update_TextureSize();
    EXPECT_EQ(Written(), (Bytes{0x32} + F32(kF64) + F32(kF64) + F32(kF64)));
}

TEST_F(FieldEncoders, TextureGoesSignExtendedFromSixteenBits) {
    m_Client->UC_Update_Texture();
    EXPECT_EQ(Written(), (Bytes{0x1D, 42, 0, 0, 0}));
    m_pPad->m_usTexture = 0x8001;
    m_Client->UC_Update_Texture();
    EXPECT_EQ(Written(), (Bytes{0x1D, 0x01, 0x80, 0xFF, 0xFF}));
    m_Client->UC_Update_Texture();
    EXPECT_TRUE(Written().empty());
}

TEST_F(FieldEncoders, LabelWithoutCacheGoesWhenItChanges) {
    m_pPad->SetLabel("gate");
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x5B, 4} + Text("gate")));
    m_Client->UC_LabelUpdate();
    EXPECT_TRUE(Written().empty());
    m_pPad->SetLabel("");
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x5B, 0}));
}

TEST_F(FieldEncoders, LabelLongerThanALengthByteGoesCutTo255Bytes) {
    m_pPad->SetLabel(std::string(300, 'x'));
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x5B, 255} + Text(std::string(255, 'x'))));
}

TEST_F(FieldEncoders, LabelCacheDefinesAKeyOnceAndThenUsesIt) {
    m_Client->m_bCacheStrings = true;
    m_pPad->SetLabel("door");
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x76, 'd', 4} + Text("door") + Bytes{0x77, 'd'}));

    Server_Entity* second = Make(kKindNormalPad);
    second->SetLabel("door");
    Track(second);
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x77, 'd'}));
}

TEST_F(FieldEncoders, LabelCacheRedefinesAKeyWhenAnotherLabelStartsAlike) {
    m_Client->m_bCacheStrings = true;
    m_pPad->SetLabel("door");
    m_Client->UC_LabelUpdate();
    Written();

    Server_Entity* desk = Make(kKindNormalPad);
    desk->SetLabel("desk");
    Track(desk);
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x76, 'd', 4} + Text("desk") + Bytes{0x77, 'd'}));

    // The first box labelled again with its own label takes the key back.
    Focus(m_pPad, m_pView);
    m_pPad->SetLabel("");
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x5B, 0}));
    m_pPad->SetLabel("door");
    m_Client->UC_LabelUpdate();
    EXPECT_EQ(Written(), (Bytes{0x76, 'd', 4} + Text("door") + Bytes{0x77, 'd'}));
}

class AddMessages : public EncoderTest {
protected:
    // Runs UC_ProcessAdd on e and keeps the view it made.
    Bytes Add(Server_Entity* e) {
        m_Client->m_pEntity = e;
        m_Client->UC_ProcessAdd();
        Keep(m_Client->m_pView);
        return Written();
    }
};

TEST_F(AddMessages, BoxIsAnnouncedAsKindFourAndThenSendsWhatDiffersFromTheAssumedBox) {
    Server_Entity* palace = Make(kKindPalaceCube);
    palace->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    palace->m_vSize.Set(100.0f, 100.0f, 100.0f);
    Bytes written = Add(palace);
    // Texture 60, mode 1 and scale 128 of a palace cube against texture 4, mode 2, scale 128.
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x0B, 4} + Bytes{0x70} + F32(kF1) + F32(kF2) + F32(kF3) +
                           Bytes{0x5D} + F32(kF100) + Bytes{0x1D, 60, 0, 0, 0} + Bytes{0x42, 1, 0, 0, 0}));
}

TEST_F(AddMessages, FastBoxAddCarriesSizePositionAndTextureWord) {
    m_Client->m_bFastAddNormalPads = true;
    Server_Entity* pad = Make(kKindNormalPad);
    pad->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    pad->m_vSize.Set(100.0f, 100.0f, 100.0f);
    pad->m_usTexture = 42;
    Bytes written = Add(pad);
    // Texture word: 42 + mode 2 × 0x800 = 0x102A; nothing else differs afterwards.
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x79} + F32(kF100) + F32(kF1) + F32(kF2) + F32(kF3) +
                           Bytes{0x2A, 0x10}));
}

TEST_F(AddMessages, FastBoxAddOfANonCubicBoxKeepsTheLowTenTextureBits) {
    m_Client->m_bFastAddNormalPads = true;
    Server_Entity* pad = Make(kKindNormalPad);
    pad->m_vSize.Set(100.0f, 10.0f, 100.0f);
    pad->m_usTexture = 0x07FF;
    pad->SetTextureMode(3);
    Bytes written = Add(pad);
    // 0x3FF + 3 × 0x800 = 0x1BFF; the view takes the whole number, so nothing follows.
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x78} + F32(kF100) + F32(kF10) + F32(kF100) + F32(kF0) +
                           F32(kF0) + F32(kF0) + Bytes{0xFF, 0x1B}));
    EXPECT_EQ(m_Client->m_pView->m_vPredictedStep, VUKVector());
}

TEST_F(AddMessages, ZorbinCubeGetsTheGenericAddAndItsEncoder) {
    Server_Entity* zorbin = Make(kKindZorbinCube);
    zorbin->m_vSize.Set(20.0f, 20.0f, 20.0f);
    zorbin->SetLabel("ann");
    Bytes written = Add(zorbin);
    // Position (0, 0, 0) is what the view holds already.
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x0B, 10} + Bytes{0x5D} + F32(kF20) +
                           Bytes{0x1D, 44, 0, 0, 0} + Bytes{0x42, 1, 0, 0, 0} + Bytes{0x5B, 3} + Text("ann")));
}

TEST_F(AddMessages, QuillhobCubeIsAddedWithTheZorbinEncoderAndUpdatedWithThePrincessEncoder) {
    Server_Entity* quillhob = Make(kKindQuillhobCube);
    quillhob->m_vPosition.Set(1.0f, 0.0f, 0.0f);
    quillhob->m_usTexture = 100;
    quillhob->SetLabel("q");
    Bytes added = Add(quillhob);
    EXPECT_EQ(added, (Bind(0, m_Client->m_pView) + Bytes{0x0B, 4} + Bytes{0x70} + F32(kF1) + F32(kF0) + F32(kF0) +
                         Bytes{0x1D, 100, 0, 0, 0} + Bytes{0x42, 1, 0, 0, 0} + Bytes{0x5B, 1, 'q'}));
    // Update: predicted position, size, texture and yaw; no label, no texture flags.
    quillhob->m_vPosition.Set(2.0f, 0.0f, 0.0f);
    quillhob->SetYaw(0.5f);
    quillhob->SetLabel("other");
    m_Client->UC_ProcessUpdate();
    EXPECT_EQ(Written(), (Bytes{0x26, 10, 0, 0, 0x2A, 5}));
}

TEST_F(AddMessages, TalvyCubeUsesThePrincessEncoder) {
    Server_Entity* talvy = Make(kKindTalvyCube);
    talvy->m_vPosition.Set(1.0f, 0.0f, 0.0f);
    talvy->m_vSize.Set(10.0f, 10.0f, 10.0f);
    Bytes written = Add(talvy);
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x0B, 8} + Bytes{0x26, 10, 0, 0} + Bytes{0x5D} + F32(kF10)));
}

TEST_F(AddMessages, FireBlockAddCarriesSizePositionVelocityAndLife) {
    auto* fire = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    fire->m_vSize.Set(10.0f, 10.0f, 10.0f);
    fire->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    fire->m_vVelocity.Set(0.0f, 0.0f, 5.0f);
    fire->m_sLife = -1;
    Bytes written = Add(fire);
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x5A} + F32(kF10) + F32(kF1) + F32(kF2) + F32(kF3) +
                           F32(kF0) + F32(kF0) + F32(kF5) + Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(m_Client->m_pView->m_vVelocity, VUKVector(0.0f, 0.0f, 5.0f));
}

TEST_F(AddMessages, NonCubicFireBlockGoesWithThreeSizes) {
    auto* fire = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    fire->m_vSize.Set(10.0f, 20.0f, 10.0f);
    fire->m_sLife = 30;
    Bytes written = Add(fire);
    EXPECT_EQ(written, (Bind(0, m_Client->m_pView) + Bytes{0x58} + F32(kF10) + F32(kF20) + F32(kF10) + F32(kF0) +
                           F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0) + F32(kF0) + U32(30)));
}

TEST_F(AddMessages, ClientThatSimulatesFireBlocksIsNotToldOfItsOwnShot) {
    m_Client->m_bCSE1 = true;
    Server_Player* me = MakePlayer();
    m_Client->m_pPlayer = me;
    auto* own = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    own->m_pShotOwner = me;
    EXPECT_TRUE(Add(own).empty());
    EXPECT_TRUE(m_Client->m_pView->m_ucViewFlags & kViewClientFireBlock);
    EXPECT_EQ(m_Client->m_pView->m_pIndexLink, nullptr);

    auto* other = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    other->m_vSize.Set(1.0f, 1.0f, 1.0f);
    Bytes written = Add(other);
    EXPECT_EQ(written.size(), 6u + 1u + 4u + 12u + 12u + 4u);
    EXPECT_TRUE(m_Client->m_pView->m_ucViewFlags & kViewClientFireBlock);
    m_Client->m_pPlayer = nullptr;
}

class BoxEncoder : public EncoderTest {
protected:
    BoxEncoder() {
        m_pPad = Make(kKindNormalPad);
        m_pPad->m_usTexture = 4;  // as a new box is assumed
        m_pView = Track(m_pPad);
    }
    Bytes Update() {
        m_Client->UC_Update_NormalPad();
        return Written();
    }
    Server_Entity* m_pPad;
    Server_Client_Entity* m_pView;
};

TEST_F(BoxEncoder, UnchangedBoxCostsNothing) { EXPECT_TRUE(Update().empty()); }

TEST_F(BoxEncoder, FieldsGoInTheirFixedOrder) {
    m_Client->m_bAlphaBlendSupport = true;
    m_pPad->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    m_pPad->m_vSize.Set(100.0f, 100.0f, 100.0f);
    m_pPad->m_usTexture = 42;
    m_pPad->SetTextureMode(1);
    m_pPad->m_vTextureScale.Set(64.0f, 64.0f, 64.0f);
    m_pPad->SetEEA(kEEAInverseAlpha, 55);
    m_pPad->SetRotation(0.5f, 0.25f, 1.0f);
    m_pPad->SetEEA(kEEABounce, 0xFFFF);
    m_pPad->SetLabel("a");
    m_pPad->m_ucSurfaceFlags |= kSurfacePowerup;
    EXPECT_EQ(Update(), (Bytes{0x70} + F32(kF1) + F32(kF2) + F32(kF3) + Bytes{0x5D} + F32(kF100) +
                            Bytes{0x1D, 42, 0, 0, 0} + Bytes{0x42, 1, 0, 0, 0} + Bytes{0x32} + F32(kF64) + F32(kF64) +
                            F32(kF64) + Bytes{0x7A, 200} + Bytes{0x50} + F32(kF0_25) + Bytes{0x2A, 5} + Bytes{0x51} +
                            F32(kF1) + Bytes{0x6C, 0xFF, 0xFF, 0xFF, 0xFF} + Bytes{0x5B, 1, 'a'} + Bytes{0x56, 1}));
    EXPECT_TRUE(Update().empty());
    m_pPad->m_ucSurfaceFlags &= uint8_t(~kSurfacePowerup);
    EXPECT_EQ(Update(), (Bytes{0x56, 0}));
}

TEST_F(BoxEncoder, OpacityOnlyForClientsThatBlend) {
    m_pPad->SetEEA(kEEAInverseAlpha, 55);
    EXPECT_TRUE(Update().empty());
}

TEST_F(BoxEncoder, LiftPositionIsPredicted) {
    m_pPad->GetOrCreateLift();
    m_pPad->m_vPosition.Set(0.0f, 1.0f, 0.0f);
    EXPECT_EQ(Update(), (Bytes{0x26, 0, 10, 0}));
    m_pPad->m_vPosition.Set(0.0f, 2.0f, 0.0f);
    EXPECT_EQ(Update(), (Bytes{0x25}));
}

TEST_F(BoxEncoder, PlainGoalPadIsSentToClientsThatSimulateFireBlocks) {
    m_Client->m_bCSE1 = true;
    GoalPadStuff* goal = m_pPad->GetOrCreateGoalPad();
    goal->m_strMessage = "hi";
    goal->m_vRespawnPoint.Set(1.0f, 2.0f, 3.0f);
    EXPECT_EQ(Update(), (Bytes{0x81} + U32(2) + Text("hi") + Bytes{0x82} + F32(kF1) + F32(kF2) + F32(kF3) +
                            Bytes{0x80, 1}));
    EXPECT_TRUE(Update().empty());
    // A reward makes it an ordinary goal pad: only the flag changes.
    goal->m_iCoinReward = 5;
    EXPECT_EQ(Update(), (Bytes{0x80, 0}));
    goal->m_iCoinReward = 0;
    m_pPad->m_ucSurfaceFlags |= kSurfaceFlyAgain;
    EXPECT_TRUE(Update().empty());
}

TEST_F(BoxEncoder, GoalPadIsNotSentWithoutClientSideFireBlocks) {
    m_pPad->GetOrCreateGoalPad()->m_strMessage = "hi";
    EXPECT_TRUE(Update().empty());
}

TEST_F(BoxEncoder, ZorbinEncoderSendsExactPositionAndLabel) {
    Server_Entity* zorbin = Make(kKindZorbinCube);
    Track(zorbin);
    zorbin->m_vPosition.Set(1.0f, 0.0f, 0.0f);
    zorbin->SetLabel("ann");
    m_Client->UC_Update_ZorbinCube();
    EXPECT_EQ(Written(), (Bytes{0x70} + F32(kF1) + F32(kF0) + F32(kF0) + Bytes{0x1D, 44, 0, 0, 0} +
                             Bytes{0x42, 1, 0, 0, 0} + Bytes{0x5B, 3} + Text("ann")));
}

} // namespace
