// Every encoder against hand-written bytes: field messages, predicted positions and yaw, adds,
// the box encoder, players and their score entries, and client-side movement.
#include "unit/replication/Fixtures.h"

namespace {

using Encoders = EncoderTest;
using C = Server_Client;

TEST_F(Encoders, EachFieldGoesWhenItDiffersFromTheView) {
    Server_Entity* pad = Make(kKindNormalPad);
    auto size = &C::UC_Update_Size;
    auto exact = &C::UC_Update_Exact_Position;
    auto label = &C::UC_LabelUpdate;
    Run(pad, Track(pad),
        {{[&] { pad->m_vSize.Set(100.0f, 100.0f, 100.0f); }, size, Bytes{0x5D} + F32(kF100)},
         {[&] { pad->m_vSize.Set(100.005f, 99.995f, 100.0f); }, size, {}}, // a hundredth or less
         {[&] { pad->m_vSize.Set(100.02f, 100.0f, 100.0f); }, size,
          Bytes{0x13} + F32(0x42C80A3D) + F32(kF100) + F32(kF100)},
         {[&] { pad->m_vSize.Set(100.0f, 10.0f, 100.0f); }, size, Bytes{0x13} + F32(kF100) + F32(kF10) + F32(kF100)},
         {nullptr, &C::UC_Update_TextureSize, {}}, // a new box is assumed at 128
         {[&] { pad->m_vTextureScale.Set(64.0f, 64.0f, 64.0f); }, &C::UC_Update_TextureSize,
          Bytes{0x32} + F32(kF64) + F32(kF64) + F32(kF64)},
         {nullptr, &C::UC_Update_Texture, {0x1D, 42, 0, 0, 0}},
         {[&] { pad->m_usTexture = 0x8001; }, &C::UC_Update_Texture, {0x1D, 0x01, 0x80, 0xFF, 0xFF}},
         {nullptr, &C::UC_Update_Texture, {}},
         {[&] { pad->m_vPosition.Set(400.0f, 200.0f, -200.0f); }, exact,
          Bytes{0x70} + F32(kF400) + F32(kF200) + F32(kFMinus200)},
         {nullptr, exact, {}},
         {[&] { pad->m_vPosition.z = 1.0f; }, exact, Bytes{0x70} + F32(kF400) + F32(kF200) + F32(kF1)},
         {[&] { pad->SetLabel("gate"); }, label, Bytes{0x5B, 4} + Text("gate")},
         {nullptr, label, {}},
         {[&] { pad->SetLabel(""); }, label, {0x5B, 0}},
         {[&] { pad->SetLabel(std::string(300, 'x')); }, label, Bytes{0x5B, 255} + Text(std::string(255, 'x'))}});
}

TEST_F(Encoders, LabelCacheKeepsOneLabelPerFirstCharacter) {
    m_Client->m_bCacheStrings = true;
    Server_Entity* door = Make(kKindNormalPad);
    Server_Entity* door2 = Make(kKindNormalPad);
    Server_Entity* desk = Make(kKindNormalPad);
    Server_Client_Entity* doorView = Track(door);
    const Bytes defineDoor = Bytes{0x76, 'd', 4} + Text("door") + Bytes{0x77, 'd'};
    auto label = &C::UC_LabelUpdate;
    Run(door, doorView, {{[&] { door->SetLabel("door"); }, label, defineDoor}});
    Run(door2, Track(door2), {{[&] { door2->SetLabel("door"); }, label, {0x77, 'd'}}});
    Run(desk, Track(desk),
        {{[&] { desk->SetLabel("desk"); }, label, Bytes{0x76, 'd', 4} + Text("desk") + Bytes{0x77, 'd'}}});
    // The first box labelled again with its own label takes the key back.
    Run(door, doorView,
        {{[&] { door->SetLabel(""); }, label, {0x5B, 0}}, {[&] { door->SetLabel("door"); }, label, defineDoor}});
}

// Each add binds the next free slot, then sends the add message and whatever differs from what
// the client assumes for a new object of the kind.
TEST_F(Encoders, AddMessagesByKind) {
    // A negative size, texture or mode keeps the kind's own.
    struct Case {
        const char* name;
        uint8_t kind;
        bool fastAdd;
        VUKVector position, size;
        int texture, mode;
        const char* label;
        Bytes expected;
    };
    // clang-format off
    const Case cases[] = {
        {"palace cube, announced as a box", kKindPalaceCube, false, {1, 2, 3}, {100, 100, 100}, -1, -1, "",
         Bytes{0x0B, 4, 0x70} + F32(kF1) + F32(kF2) + F32(kF3) + Bytes{0x5D} + F32(kF100) +
             Bytes{0x1D, 60, 0, 0, 0, 0x42, 1, 0, 0, 0}},
        // Texture word 42 + mode 2 x 0x800; nothing else differs afterwards.
        {"fast cubic box", kKindNormalPad, true, {1, 2, 3}, {100, 100, 100}, 42, -1, "",
         Bytes{0x79} + F32(kF100) + F32(kF1) + F32(kF2) + F32(kF3) + Bytes{0x2A, 0x10}},
        // Low ten bits 0x3FF + mode 3 x 0x800; the view takes the whole number, so nothing follows.
        {"fast box of three sizes", kKindNormalPad, true, {0, 0, 0}, {100, 10, 100}, 0x07FF, 3, "",
         Bytes{0x78} + F32(kF100) + F32(kF10) + F32(kF100) + F32(kF0) + F32(kF0) + F32(kF0) + Bytes{0xFF, 0x1B}},
        {"Zorbin cube", kKindZorbinCube, false, {0, 0, 0}, {20, 20, 20}, -1, -1, "ann",
         Bytes{0x0B, 10, 0x5D} + F32(kF20) + Bytes{0x1D, 44, 0, 0, 0, 0x42, 1, 0, 0, 0, 0x5B, 3} + Text("ann")},
        {"Talvy cube: predicted position", kKindTalvyCube, false, {1, 0, 0}, {10, 10, 10}, -1, -1, "",
         Bytes{0x0B, 8, 0x26, 10, 0, 0, 0x5D} + F32(kF10)},
        {"Quillhob cube: as a box, with the Zorbin encoder", kKindQuillhobCube, false, {1, 0, 0}, {-1, 0, 0}, 100, -1,
         "q", Bytes{0x0B, 4, 0x70} + F32(kF1) + F32(kF0) + F32(kF0) +
             Bytes{0x1D, 100, 0, 0, 0, 0x42, 1, 0, 0, 0, 0x5B, 1, 'q'}},
    };
    // clang-format on
    uint8_t slot = 0;
    for (const Case& c : cases) {
        Server_Entity* e = Make(c.kind);
        e->m_vPosition = c.position;
        if (c.size.x >= 0) e->m_vSize = c.size;
        if (c.texture >= 0) e->m_usTexture = uint16_t(c.texture);
        if (c.mode >= 0) e->SetTextureMode(uint8_t(c.mode));
        e->SetLabel(c.label);
        m_Client->m_bFastAddNormalPads = c.fastAdd;
        m_Client->m_pEntity = e;
        m_Client->UC_ProcessAdd();
        EXPECT_EQ(Written(), Bind(slot++, Keep(m_Client->m_pView)) + c.expected) << c.name;
    }
    // The Quillhob cube is updated with the princess encoder: predicted position, size, texture
    // and yaw; no label, no texture flags.
    Server_Entity* quillhob = m_Client->m_pEntity;
    quillhob->m_vPosition.Set(2.0f, 0.0f, 0.0f);
    quillhob->SetYaw(0.5f);
    quillhob->SetLabel("other");
    Run(quillhob, m_Client->m_pView, {{nullptr, &C::UC_ProcessUpdate, {0x26, 10, 0, 0, 0x2A, 5}}});
}

TEST_F(Encoders, FireBlockAddsAndTheOwnShotOfAClientThatSimulatesThem) {
    auto* me = static_cast<Server_Player*>(Make(kKindPlayer));
    auto* own = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    auto* other = static_cast<Server_FireBlock*>(Make(kKindFireBlock));
    own->m_pShotOwner = me;
    other->m_vSize.Set(10.0f, 20.0f, 10.0f);
    other->m_vVelocity.Set(0.0f, 0.0f, 5.0f);
    other->m_sLife = -1;
    m_Client->m_bCSE1 = true;
    m_Client->m_pPlayer = me;
    for (Server_FireBlock* fire : {own, other}) {
        m_Client->m_pEntity = fire;
        m_Client->UC_ProcessAdd();
        EXPECT_TRUE(Keep(m_Client->m_pView)->m_ucViewFlags & kViewClientFireBlock);
    }
    m_Client->m_pPlayer = nullptr;
    EXPECT_EQ(m_Client->LinkOf(m_Views[0]), nullptr);
    EXPECT_EQ(Written(), Bind(0, m_Views[1]) + Bytes{0x58} + F32(kF10) + F32(kF20) + F32(kF10) + F32(kF0) + F32(kF0) +
                             F32(kF0) + F32(kF0) + F32(kF0) + F32(0x40A00000) + U32(0xFFFFFFFF));
}

TEST_F(Encoders, BoxFieldsGoInTheirFixedOrderAndOnlyWhatTheClientSupports) {
    Server_Entity* pad = Make(kKindNormalPad);
    pad->m_usTexture = 4; // as a new box is assumed
    auto box = &C::UC_Update_NormalPad;
    Run(pad, Track(pad),
        {{[&] { pad->SetEEA(kEEAInverseAlpha, 55); }, box, {}},              // opacity only for clients that blend
         {[&] { pad->GetOrCreateGoalPad()->m_strMessage = "hi"; }, box, {}}, // goal pads only with KRV_CSE1
         {[&] {
              m_Client->m_bAlphaBlendSupport = true;
              pad->m_vPosition.Set(1.0f, 2.0f, 3.0f);
              pad->m_vSize.Set(100.0f, 100.0f, 100.0f);
              pad->m_usTexture = 42;
              pad->SetTextureMode(1);
              pad->m_vTextureScale.Set(64.0f, 64.0f, 64.0f);
              pad->SetRotation(0.5f, 0.25f, 1.0f);
              pad->SetEEA(kEEABounce, 0xFFFF);
              pad->SetLabel("a");
              pad->m_ucSurfaceFlags |= kSurfacePowerup;
          },
          box,
          Bytes{0x70} + F32(kF1) + F32(kF2) + F32(kF3) + Bytes{0x5D} + F32(kF100) + Bytes{0x1D, 42, 0, 0, 0} +
              Bytes{0x42, 1, 0, 0, 0, 0x32} + F32(kF64) + F32(kF64) + F32(kF64) + Bytes{0x7A, 200, 0x50} +
              F32(0x3E800000) + Bytes{0x2A, 5, 0x51} + F32(kF1) +
              Bytes{0x6C, 0xFF, 0xFF, 0xFF, 0xFF, 0x5B, 1, 'a', 0x56, 1}},
         {nullptr, box, {}},
         {[&] { pad->m_ucSurfaceFlags &= uint8_t(~kSurfacePowerup); }, box, {0x56, 0}},
         {[&] { pad->GetOrCreateLift(), pad->m_vPosition.Set(1.0f, 3.0f, 3.0f); }, box, {0x26, 0, 10, 0}}, // predicted
         {[&] { pad->m_vPosition.Set(1.0f, 4.0f, 3.0f); }, box, {0x25}}});
}

TEST_F(Encoders, PlainGoalPadGoesToClientsThatSimulateFireBlocks) {
    m_Client->m_bCSE1 = true;
    Server_Entity* pad = Make(kKindNormalPad);
    pad->m_usTexture = 4;
    GoalPadStuff* goal = pad->GetOrCreateGoalPad();
    goal->m_strMessage = "hi";
    goal->m_vRespawnPoint.Set(1.0f, 2.0f, 3.0f);
    auto box = &C::UC_Update_NormalPad;
    Run(pad, Track(pad),
        {{nullptr, box,
          Bytes{0x81} + U32(2) + Text("hi") + Bytes{0x82} + F32(kF1) + F32(kF2) + F32(kF3) + Bytes{0x80, 1}},
         {nullptr, box, {}},
         {[&] { goal->m_iCoinReward = 5; }, box, {0x80, 0}}, // a reward makes it an ordinary goal pad
         {[&] { goal->m_iCoinReward = 0, pad->m_ucSurfaceFlags |= kSurfaceFlyAgain; }, box, {}}});
}

// Predicted positions and yaw from a fresh view at rest: each motion's bytes, then the position,
// yaw and steps the client (and so the view) ends up with.
TEST_F(Encoders, PositionAndYawCorrectionsByMagnitude) {
    struct Move {
        float x, y, z, yaw;
        Bytes expected;
    };
    // One motion from rest: the steps are the position and the yaw.
    struct Case {
        const char* name;
        std::vector<Move> moves;
        VUKVector position, step = position;
        float yaw = 0.0f, yawStep = yaw;
    };
    // clang-format off
    const Case cases[] = {
        {"below 12: byte tenths, truncated", {{11.99f, 11.99f, 11.99f, 0, {0x26, 119, 119, 119}}},
         {11.9f, 11.9f, 11.9f}},
        {"negative byte tenths", {{-5, 0, 11, 0, {0x26, uint8_t(-50), 0, 110}}}, {-5, 0, 11}},
        {"12: short tenths", {{12, 0, 0, 0, Bytes{0x27} + U16(120) + U16(0) + U16(0)}}, {12, 0, 0}},
        {"just below 3000: short tenths",
         {{2999.9f, -2999.9f, 1, 0, Bytes{0x27} + U16(29999) + U16(uint16_t(-29999)) + U16(10)}},
         {2999.9f, -2999.9f, 1}},
        {"3000: floats", {{3000, 1, 0, 0, Bytes{0x28} + F32(0x453B8000) + F32(kF1) + F32(kF0)}}, {3000, 1, 0}},
        {"the same step again: one byte",
         {{10, 0, 0, 0, {0x26, 100, 0, 0}}, {20, 0, 0, 0, {0x25}}, {30, 0, 0, 0, {0x25}}}, {30, 0, 0}, {10, 0, 0}},
        {"less than a tenth: nothing", {{10, 10, 10, 0, {0x26, 100, 100, 100}}, {10.05f, 9.95f, 10, 0, {}}},
         {10, 10, 10}},
        // -0.05 truncates to 0 tenths: the client stays 0.05 ahead on x until a later correction.
        {"a correction truncated to zero is carried over", {{1, 1, 0, 0, {0x26, 10, 10, 0}},
         {1.95f, 2.5f, 0, 0, {0x26, 0, 5, 0}}, {2.5f, 4, 0, 0, {0x26, uint8_t(-5), 0, 0}}},
         {2.5f, 4, 0}, {0.5f, 1.5f, 0}},
        {"yaw below a tenth: float", {{0, 0, 0, 0.05f, Bytes{0x2C} + F32(0x3D4CCCCD)}}, {}, {}, 0.05f},
        {"yaw in tenths, then steady turning",
         {{0, 0, 0, 0.5f, {0x2A, 5}}, {0, 0, 0, 1, {0x29}}, {0, 0, 0, 1.5f, {0x29}}}, {}, {}, 1.5f, 0.5f},
        {"yaw of 12 or more: float", {{0, 0, 0, 12, Bytes{0x2C} + F32(0x41400000)}}, {}, {}, 12},
        // -1.0 against the kept step 0.5: ten tenths back, and the rotation record goes.
        {"yaw back to zero", {{0, 0, 0, 0.5f, {0x2A, 5}}, {0, 0, 0, 0, {0x2A, uint8_t(-10)}}}, {}, {}, 0, -0.5f},
    };
    // clang-format on
    for (const Case& c : cases) {
        Server_Entity* box = Make(kKindTalvyCube);
        Server_Client_Entity* view = Track(box);
        for (const Move& m : c.moves) {
            box->m_vPosition.Set(m.x, m.y, m.z);
            box->SetYaw(m.yaw);
            m_Client->UC_Update_Position();
            m_Client->UC_Update_Rotation();
            EXPECT_EQ(Written(), m.expected) << c.name << " to " << m.x << ", yaw " << m.yaw;
        }
        const VUKVector step = view->PredictedStep();
        for (int i = 0; i < 3; ++i) {
            EXPECT_NEAR((&view->m_vPosition.x)[i], (&c.position.x)[i], 1e-3) << c.name;
            EXPECT_NEAR((&step.x)[i], (&c.step.x)[i], 1e-3) << c.name;
        }
        EXPECT_NEAR(view->GetYaw(), c.yaw, 1e-6) << c.name;
        EXPECT_NEAR(view->PredictedYawStep(), c.yawStep, 1e-6) << c.name;
    }
}

TEST_F(Encoders, ThousandAndFirstPositionUpdateResyncsExceptForFireBlocksAndNaNGoesEveryTime) {
    Server_Entity* box = Make(kKindTalvyCube);
    Server_Client_Entity* view = Track(box);
    box->SetYaw(0.5f);
    // Updates that write nothing count as well as those that move; no other message is as long.
    for (int i = 1; i <= 1000; ++i) {
        box->m_vPosition.Set(float(std::min(i, 500)), 0.0f, 0.0f);
        m_Client->UC_Update_Position();
        ASSERT_LT(Written().size(), 25u) << "update " << i;
    }
    box->m_vPosition.Set(400.0f, 200.0f, -200.0f);
    m_Client->UC_Update_Position();
    EXPECT_EQ(Written(), Bytes{0x52} + F32(kF400) + F32(kF200) + F32(kFMinus200) + F32(kF0_5) + F32(kF0) + F32(kF0));
    EXPECT_EQ(std::tuple(view->m_vPosition, view->PredictedStep(), view->GetYaw()),
              std::tuple(VUKVector(400.0f, 200.0f, -200.0f), VUKVector(), 0.5f));

    Server_Entity* fire = Make(kKindFireBlock);
    Server_Client_Entity* fireView = Track(fire);
    fireView->m_usStepsSinceResync = 30000;
    auto position = &C::UC_Update_Position;
    Run(fire, fireView, {{[&] { fire->m_vPosition.Set(1.0f, 0.0f, 0.0f); }, position, {0x26, 10, 0, 0}}});
    const Bytes nan = Bytes{0x28} + F32(0x7FC00000) + F32(kF0) + F32(kF0);
    Run(box, view,
        {{[&] { box->m_vPosition.x = __builtin_nanf(""); }, position, Bytes{0x2E, 0} + nan}, {nullptr, position, nan}});
}

class Players : public EncoderTest {
protected:
    Players() {
        m_pBob = static_cast<Server_Player*>(Make(kKindPlayer));
        m_pBob->m_strName = "bob";
        m_pBob->SetLoggedIn(true);
        m_pBob->m_vPosition.Set(400.0f, 200.0f, -200.0f);
        m_pBob->m_i64PocketCoins = 1000;
        m_pView = Track(m_pBob);
    }
    ~Players() override { m_Client->m_pPlayer = nullptr; }
    // Bob as the client's own player, with the world nearby loaded.
    void OwnPlayerReady() {
        m_Client->m_pPlayer = m_pBob;
        m_Client->m_bNearbyLoaded = m_Client->m_bZonesFilled = true;
    }
    bool Figure() {
        m_Client->FigureClientSideMovement();
        return m_Client->m_Movement.m_bClientSideMovement;
    }
    void Flags(bool on, auto... flags) { (m_pBob->SetFlag(flags, on), ...); }

    // Status 1, position (400, 200, -200) as a correction in short tenths, coins 1000.
    const Bytes m_Body = Bytes{0x22, 1, 0x27} + U16(4000) + U16(2000) + U16(uint16_t(-2000)) + Bytes{0x16} + U32(1000);
    Server_Player* m_pBob;
    Server_Client_Entity* m_pView;
};

TEST_F(Players, OtherPlayerGetsNameOnceStatusPositionYawCoinsPropertyAndTeam) {
    Server_Entity* pad = Make(kKindNormalPad);
    auto player = &C::UC_Update_Player;
    Run(m_pBob, m_pView,
        {{nullptr, player, Bytes{0x09} + U32(3) + Text("bob") + m_Body},
         {nullptr, player, {}},
         {[&] { m_pBob->m_strName = "bobby"; }, player, {}}, // the name goes once for a view
         // Logged in and not hidden counts 1, away counts 2.
         {[&] { m_pBob->SetHidden(true); }, player, {0x22, 0}},
         {[&] { m_pBob->SetFlag(kPlayerAFK, true); }, player, {0x22, 2}},
         {[&] { m_pBob->SetHidden(false); }, player, {0x22, 3}},
         {[&] { m_pBob->SetYaw(0.5f); }, player, {0x2A, 5}},
         // Coins, property and team share one selection; only the low word of the coins travels.
         {[&] {
              Track(pad);
              m_pBob->m_i64PocketCoins = 0x100000005;
              m_pBob->m_i64PropertyValue = 7;
              m_pBob->m_strTeamName = "red";
          },
          player, Bytes{0x2E, 0, 0x16} + U32(5) + Bytes{0x57} + U32(7) + Bytes{0x71} + U32(3) + Text("red")},
         {[&] { Track(pad); }, player, {0x2E, 0}}, // a high word keeps selecting the player
         {[&] { Track(pad), m_pBob->m_i64PocketCoins = 6; }, player, Bytes{0x2E, 0, 0x16} + U32(6)},
         {[&] { m_pBob->m_ucChatChannel = 2; }, player, {}},
         {[&] { m_Client->m_bChatChannels = true; }, player, {0x84, 2}}});
}

TEST_F(Players, OwnPlayerGetsNoYawButItsOwnFields) {
    m_Client->m_bCSE1 = true;
    m_Client->m_pPlayer = m_pBob;
    m_pBob->SetYaw(0.5f);
    auto player = &C::UC_Update_Player;
    Run(m_pBob, m_pView,
        {{nullptr, player,
          Bytes{0x09} + U32(3) + Text("bob") + m_Body + Bytes{0x7D} + F32(0x41000000) + Bytes{0x7E, 2, 0x7F} +
              F32(kF1) + Bytes{0x83, 15, 0x0E} + U32(98765)},
         {[&] { Flags(true, kPlayerGiantFireBlocks, kPlayerClientFireFlag); }, player,
          Bytes{0x7C, 1, 0x7D} + F32(0x42A00000) + Bytes{0x7E, 4, 0x7F} + F32(kF0_5) + Bytes{0x83, 25}},
         {[&] { Flags(true, kPlayerSpeedBoost, kPlayerGlide); }, player,
          Bytes{0x6E} + F32(0x3FC00000) + Bytes{0x6D, 2}},
         {[&] { Flags(true, kPlayerFlying); }, player, {0x6D, 1}},
         {[&] { Flags(false, kPlayerFlying, kPlayerGlide, kPlayerSpeedBoost); }, player,
          Bytes{0x6E} + F32(kF1) + Bytes{0x6D, 0}},
         {[&] {
              m_pBob->m_uiEnergy = 5000;
              m_pBob->m_strModalText = "stop";
              m_pBob->SetFlag(kPlayerMessageWindow, true);
              m_pBob->m_strMessageText = "ok";
          },
          player,
          Bytes{0x0E} + U32(5000) + Bytes{0x1C} + U32(4) + Text("stop") + Bytes{0x1B, 1, 0x53} + U32(2) + Text("ok")},
         // Times go when they run out or move by more than a tenth.
         {[&] { m_pBob->m_fMessageTime = 1.0f; }, player, Bytes{0x54} + F32(kF1)},
         {[&] { m_pBob->m_fMessageTime = 0.95f; }, player, {}},
         {[&] { m_pBob->m_fMessageTime = 0.5f; }, player, Bytes{0x54} + F32(kF0_5)},
         {[&] { m_pBob->m_fMessageTime = 0.0f; }, player, Bytes{0x54} + F32(kF0)},
         {[&] { m_pBob->m_strEffectNames[3] = "jump", m_pBob->m_fEffectTimes[3] = 10.0f; }, player,
          Bytes{0x4E} + U32(3) + U32(4) + Text("jump") + Bytes{0x4F} + U32(3) + F32(kF10)},
         {[&] { m_pBob->m_fEffectTimes[3] = 9.95f; }, player, {}},
         {[&] { m_pBob->m_fEffectTimes[3] = -100.0f; }, player, Bytes{0x4F} + U32(3) + F32(0xC2C80000)},
         // Under client-side movement the view follows the player silently.
         {[&] { m_Client->m_Movement.m_bClientSideMovement = true, m_pBob->m_vPosition.Set(0.0f, 0.0f, 0.0f); },
          player,
          {}},
         {[&] { m_Client->m_Movement.m_bClientSideMovement = false; }, player, {}}});
}

TEST_F(Players, ScoreEntryThenOnlyWhatChanged) {
    m_pBob->m_i64PropertyValue = 0x12345678;
    m_pBob->m_strTeamName = "red";
    auto update = &C::UC_ProcessUpdate_PlayerScore;
    Server_Entity* pad = Make(kKindNormalPad);
    Run(m_pBob, m_pView,
        {{nullptr, &C::UC_ProcessAdd2_PlayerScore,
          Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0x12345678) + Bytes{0x71} + U32(3) + Text("red")},
         {nullptr, update, {}},
         {[&] {
              m_pBob->SetFlag(kPlayerAFK, true);
              m_pBob->m_i64PropertyValue = 9;
              m_pBob->m_strTeamName = "blue";
          },
          update, Bytes{0x22, 3, 0x57} + U32(9) + Bytes{0x71} + U32(4) + Text("blue")},
         {[&] { Track(pad), m_pBob->m_i64PocketCoins = 1; }, update, Bytes{0x2E, 0, 0x16} + U32(1)}});
}

TEST_F(Players, HiddenPlayerShowsItsAliasToOthersAndItsNameToItself) {
    Flags(true, kPlayerShowFurtherString);
    m_pBob->m_strFurtherString = "ghost";
    auto add = &C::UC_ProcessAdd2_PlayerScore;
    Run(m_pBob, m_pView, {{nullptr, &C::UC_Update_Player, Bytes{0x09} + U32(5) + Text("ghost") + m_Body}});
    Run(m_pBob, Track(m_pBob), {{nullptr, add, Bytes{0x5C, 5} + Text("ghost") + Bytes{1} + U32(1000) + U32(0)}});
    m_Client->m_pPlayer = m_pBob;
    Run(m_pBob, Track(m_pBob), {{nullptr, add, Bytes{0x5C, 3} + Text("bob") + Bytes{1} + U32(1000) + U32(0)}});
}

TEST_F(Players, ClientSideMovementOnlyWhenEveryConditionHolds) {
    OwnPlayerReady();
    EXPECT_TRUE(Figure());
    EXPECT_TRUE(m_pBob->GetFlag(kPlayerClientSideMovement));
    // Switching off clears the movement input.
    m_pBob->m_fMovementInput = 0.7f;
    m_pBob->m_ucCSMHoldOff = 3;
    EXPECT_FALSE(Figure());
    EXPECT_FALSE(m_pBob->GetFlag(kPlayerClientSideMovement));
    EXPECT_EQ(m_pBob->m_fMovementInput, 0.0f);
    m_pBob->m_ucCSMHoldOff = 0;

    Server_Entity* lift = Make(kKindNormalPad);
    lift->GetOrCreateLift();
    Server_Entity* oriset = Make(kKindOrisetCube);
    Server_Entity* zorbin = Make(kKindZorbinCube);
    const std::pair<const char*, std::function<void(bool)>> conditions[] = {
        {"zones not filled", [&](bool on) { m_Client->m_bZonesFilled = !on; }},
        {"warp", [&](bool on) { m_pBob->SetFlag(kPlayerClientSideWarp, on); }},
        {"admin mode", [&](bool on) { m_pBob->SetFlag(kPlayerAdminMode, on); }},
        {"not allowed", [&](bool on) { m_Client->m_Movement.m_bClientSideMovementAllowed = !on; }},
        {"riding a lift", [&](bool on) { m_pBob->m_pPlatform = on ? lift : zorbin; }},
        {"riding an Oriset cube", [&](bool on) { m_pBob->m_pPlatform = on ? oriset : nullptr; }},
    };
    for (const auto& [name, apply] : conditions) {
        apply(true);
        EXPECT_FALSE(Figure()) << name;
        apply(false);
        EXPECT_TRUE(Figure()) << name;
    }
    // Without a player it is whatever is allowed.
    m_Client->m_pPlayer = nullptr;
    m_Client->m_Movement.m_bClientSideMovementAllowed = false;
    EXPECT_FALSE(Figure());
}

TEST_F(Players, SwitchingClientSideMovementSendsTheSequenceAndOnTheMotion) {
    OwnPlayerReady();
    m_pBob->m_vVelocity.Set(1.0f, 2.0f, 3.0f);
    m_pBob->m_fExtraVerticalSpeed = 2.0f;
    m_pBob->m_ucPlayerFlags[7] = 0;
    m_Client->m_Movement.m_bClientSideMovement = true;
    m_Client->UpdateClientSideMovementFlag();
    EXPECT_EQ(Written(), (Bytes{0x6B, 1, 1, 0x6F} + F32(kF1) + F32(0x40800000) + F32(kF3)));
    EXPECT_TRUE(m_Client->m_Movement.m_bClientSideMovementSent);
    for (PlayerFlag f : {kPlayerAwaitClientPosition, kPlayerAwaitClientYaw, kPlayerAwaitClientVelocity})
        EXPECT_TRUE(m_pBob->GetFlag(f));
    // The sequence counts on from 1 and wraps after 255.
    for (int i = 2; i <= 255; ++i) {
        m_Client->m_Movement.m_bClientSideMovement = (i % 2) == 1;
        m_Client->UpdateClientSideMovementFlag();
        ASSERT_EQ(Written()[2], uint8_t(i));
    }
    m_Client->m_Movement.m_bClientSideMovement = true;
    m_Client->UpdateClientSideMovementFlag();
    EXPECT_EQ(Written(), (Bytes{0x6B, 1, 0, 0x6F} + F32(kF1) + F32(0x40800000) + F32(kF3)));
}

} // namespace
