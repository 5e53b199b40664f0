// Administrative actions on the world: the selected entity, lifts, cubes and the powerup table.
#include "SessionFixture.h"

#include <algorithm>
#include <cstdio>

#include "world/Server_EntityKinds.h"

namespace {

std::vector<Bytes> Replies(std::initializer_list<const char*> texts) {
    std::vector<Bytes> chats;
    for (const char* t : texts) chats.push_back(Chat("VuK Server", t));
    return chats;
}

std::string Vec(const VUKVector& v) {
    char text[96];
    snprintf(text, sizeof text, "%g %g %g", double(v.x), double(v.y), double(v.z));
    return text;
}

class WorldActions : public SessionTest {
protected:
    ~WorldActions() override { ApplySettingDefaults(nullptr); }

    void SetUp() override {
        admin = LoggedIn("ADMIN");
        Me()->m_vPosition.Set(10.0f, 20.0f, 30.0f);
    }

    Server_Player* Me() { return admin.client->m_pPlayer; }
    std::vector<Bytes> Said(const std::string& line) { return SessionTest::Said(admin, line); }

    // An entity filed at p with size s and selected by the administrator.
    Server_Entity* Select(VUKVector p, VUKVector s, uint8_t kind = kKindNormalPad) {
        Server_Entity* e = server().ProperAddByType(kind);
        e->m_vPosition = p;
        e->m_vSize = s;
        server().UpdateGroupsAndZonesEntityIsIn(e);
        Me()->m_pAdminSelection = e;
        return e;
    }

    ServerHarness::Peer admin;
};

TEST_F(WorldActions, OneLineCommandsOnTheSelection) {
    Server_Entity* pad = Select({0.0f, 100.0f, 0.0f}, {40.0f, 20.0f, 40.0f});
    using Field = std::string (*)(const Server_Entity&);
    Field surface = [](const Server_Entity& e) { return std::to_string(e.m_ucSurfaceFlags); };
    Field zorbin = [](const Server_Entity& e) { return std::to_string(e.m_ucRuleFlags & kRuleZorbinBuildAllowed); };
    Field alpha = [](const Server_Entity& e) { return std::to_string(e.GetEEA(5)); };
    Field rotation = [](const Server_Entity& e) {
        return e.m_pRotation ? Vec({e.GetYaw(), e.GetPitch(), e.GetRoll()}) : "none";
    };
    Field box = [](const Server_Entity& e) { return Vec(e.m_vPosition) + " / " + Vec(e.m_vSize); };
    Field texture = [](const Server_Entity& e) { return std::to_string(e.m_usTexture); };
    Field label = [](const Server_Entity& e) { return e.GetLabel(); }; // the line after one separator
    const std::string longest(1024 - 5, 'x');
    const struct {
        std::string line;
        const char* reply; // null: no answer
        Field field;
        std::string value;
    } cases[] = {
        {"/fde", "Those who land on this entity will get NO FLYING ALLOWED.", surface, "16"},
        {"/flying_reallow_enable", "Those who land on this entity will be allowed to fly again.", surface, "48"},
        {"/je", "Those who land on this entity will get JAILED.", surface, "112"},
        {"/jre", "Those who land on this entity will be released.", surface, "240"},
        {"/fdd", "Flying disallow is DISABLED for this entity.", surface, "224"},
        {"/frd", "Flying REALLOW is DISABLED for this entity.", surface, "192"},
        {"/jail_disable", "JAILED is DISABLED for this entity.", surface, "128"},
        {"/jrd", "Jailed release is DISABLED for this entity.", surface, "0"},
        {"/dzh", "Zorbin building DISALLOWED on selected entity.", zorbin, "0"},
        {"/azh", "Zorbin building ALLOWED on selected entity.", zorbin, "8"},
        {"/ba 7", nullptr, [](const Server_Entity& e) { return std::to_string(e.GetEEA(1)); }, "7"},
        {"/tlt 45", "TagPad Starting Lock Time set to 45 minutes.",
         [](const Server_Entity& e) { return std::to_string(e.GetEEA(2)); }, "45"},
        {"/tla 9", nullptr,
         [](const Server_Entity& e) {
             return std::to_string(e.GetEEA(6)) + (e.m_ucRuleFlags & kRulePrincessReward ? " rewarded" : "");
         },
         "9 rewarded"},
        {"/alpha 55", "Alpha blend factor is now set.", alpha, "200"},
        {"/alpha 300", "Alpha Blend Factor must be between 0-255", alpha, "200"},
        {"/alpha -1", "Alpha Blend Factor must be between 0-255", alpha, "200"},
        {"/alpha 255", "Alpha blend factor is now set.", alpha, "0"},
        {"/st 17", nullptr, texture, "17"},
        {"/gt", "17", texture, "17"},
        {"/s_yaw 64", nullptr, rotation, "1.5708 0 0"},
        {"/set_pitch 128", nullptr, rotation, "1.5708 3.14159 0"},
        {"/s_yaw 0", nullptr, rotation, "0 3.14159 0"},
        {"/s_pitch 0", nullptr, rotation, "none"},
        {"/ss 0 5 5", "Sorry, negative or zero sizes aren't allowed.", box, "0 100 0 / 40 20 40"},
        {"/ss 10 -1 5", "Sorry, negative or zero sizes aren't allowed.", box, "0 100 0 / 40 20 40"},
        {"/ss 6000 20 30", nullptr, box, "0 100 0 / 6000 20 30"},
        {"/sp 5 6 200000", nullptr, box, "5 6 100000 / 6000 20 30"},
        {"/spt 150", nullptr, box, "5 73 100000 / 6000 154 30"},
        {"/snl  Shop  ", nullptr, label, " Shop  "},
        {"/snl ", nullptr, label, ""},
        {"/set_normalpad_label Hi", nullptr, label, "Hi"},
        {"/snl", nullptr, label, ""},
        {std::string("/snl ").append(longest), nullptr, label, longest},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Said(c.line), c.reply ? Replies({c.reply}) : std::vector<Bytes>{}) << c.line;
        EXPECT_EQ(c.field(*pad), c.value) << c.line;
    }
    Server_Entity* cube = Select({0.0f, 0.0f, 0.0f}, {500.0f, 500.0f, 500.0f}, kKindTalvyCube);
    Said("/snl Cube");
    EXPECT_EQ(cube->m_pLabel, nullptr); // only normal pads carry labels
    // Without a selection nothing happens, but a range refusal still comes.
    Me()->m_pAdminSelection = nullptr;
    EXPECT_EQ(Said("/fde"), std::vector<Bytes>{});
    EXPECT_EQ(Said("/alpha 256"), Replies({"Alpha Blend Factor must be between 0-255"}));
    EXPECT_EQ(pad->m_ucSurfaceFlags, 0);
}

TEST_F(WorldActions, StraightLifts) {
    Server_Entity* pad = Select({0.0f, 100.0f, 50.0f}, {6000.0f, 20.0f, 30.0f});
    EXPECT_EQ(Said("/el"), Replies({"You cannot make this a lift because it is too big.  Making this a lift would "
                                    "slow down the server."}));
    EXPECT_EQ(pad->m_pLift, nullptr);
    Said("/ss 40 20 40");
    EXPECT_EQ(Said("/el"), Replies({"Selected entity is a lift (speed and end point reset)."}));
    ASSERT_NE(pad->m_pLift, nullptr);
    EXPECT_EQ(std::tuple(Vec(pad->m_pLift->m_vStart), Vec(pad->m_pLift->m_vEnd), pad->m_pLift->m_fSpeed,
                         server().m_Lifts.Count()),
              std::tuple("0 100 50", "0 120 50", 1.0f, 1u));
    EXPECT_EQ(Said("/ss 6000 20 30"), Replies({"Sorry, you cannot make a moving object this big."}));

    const struct {
        const char* line;
        std::vector<Bytes> replies;
        float speed;
    } speeds[] = {
        {"/sls 2500", Replies({"Lift speed of selected entity changed."}), 2500.0f},
        {"/sls 2501", Replies({"Sorry, this speed is too fast.", "Maximum speed on this server is 2500."}), 2500.0f},
        {"/sls 0", Replies({"Lift speed of selected entity changed."}), 1.0f},
        {"/set_lift_speed -40", Replies({"Lift speed of selected entity changed."}), 1.0f},
    };
    for (const auto& s : speeds) {
        EXPECT_EQ(Said(s.line), s.replies) << s.line;
        EXPECT_EQ(pad->m_pLift->m_fSpeed, s.speed) << s.line;
    }
    EXPECT_EQ(Said("/sleh"), Replies({"End lift point of selected entity changed."}));
    EXPECT_EQ(Vec(pad->m_pLift->m_vEnd), "10 20 30");

    for (const char* missing : {"/wtl 1", "/wtl -1"}) EXPECT_EQ(Said(missing), Replies({"LIFT NOT FOUND"})) << missing;
    EXPECT_EQ(Said("/wtl 0"), std::vector<Bytes>{});
    EXPECT_EQ(std::tuple(Vec(Me()->m_vPosition), Me()->m_ucCSMHoldOff), std::tuple("0 100 50", 5));

    EXPECT_EQ(Said("/dl"), Replies({"Selected entity is no longer a lift."}));
    EXPECT_EQ(std::tuple(pad->m_pLift, server().m_Lifts.Count()), std::tuple(nullptr, 0u));
}

TEST_F(WorldActions, SplineLiftsTakeOneMoreThanAMultipleOfThreePoints) {
    const char* added = "Control point added.";
    const char* addMore = "Control point added. Type /fsl to finalize the lift, or add three more points with /asp.";
    auto multiple = [](int n) {
        return std::string("This lift has only ") + std::to_string(n) +
               " control points. The number of control points must be one more than a multiple of three.";
    };
    Select({0.0f, 100.0f, 0.0f}, {40.0f, 20.0f, 40.0f});
    EXPECT_EQ(Said("/asp"), Replies({"This entity is not a lift."}));
    EXPECT_EQ(Said("/fsl"), Replies({"This entity is not a lift."}));
    Said("/el");
    EXPECT_EQ(Said("/asp"), Replies({"This entity is not a spline lift."}));
    EXPECT_EQ(Said("/msl"), Replies({"The selected entity is now a spline lift. Next, please add three or more "
                                     "control points using the /asp command."}));
    EXPECT_EQ(Said("/fsl"), Replies({multiple(0).c_str()}));
    EXPECT_EQ(Said("/asp"), Replies({added}));
    EXPECT_EQ(Said("/fsl"), Replies({"This lift has only 1 control point. The number of control points must be one "
                                     "more than a multiple of three."}));
    for (const char* reply : {added, added, addMore, added}) EXPECT_EQ(Said("/asp"), Replies({reply})); // 2nd to 5th
    EXPECT_EQ(Said("/fsl"), Replies({multiple(5).c_str()}));
    Said("/asp");
    EXPECT_EQ(Said("/asp"), Replies({addMore}));
    EXPECT_EQ(Said("/fsl"), Replies({"Lift finalized."}));
    EXPECT_EQ(Said("/asp"), Replies({"This spline lift has already been finalized. Type /dl first to delete its "
                                     "lift information."}));

    Server_Entity* four = Select({500.0f, 100.0f, 0.0f}, {40.0f, 20.0f, 40.0f});
    Said("/msl");
    for (int i = 0; i < 4; ++i) Said("/asp");
    EXPECT_EQ(Said("/fsl"), Replies({"Lift finalized."}));
    EXPECT_EQ(Vec(*four->m_pLift->m_ControlPoints[3]), "10 20 30");

    Select({0.0f, 0.0f, 0.0f}, {2001.0f, 2001.0f, 2001.0f});
    EXPECT_EQ(Said("/msl"), Replies({"You cannot make this a lift because it is too big. Making this a lift would "
                                     "slow down the server."}));
}

TEST_F(WorldActions, GoalPadsFromALevelThreeAdministrator) {
    ServerHarness::Peer bob = LoggedIn("Bob");
    Server_Player* issuer = bob.client->m_pPlayer;
    issuer->m_vPosition.Set(1.0f, 2.0f, 3.0f);
    Server_Entity* pad = Select({0.0f, 100.0f, 0.0f}, {40.0f, 20.0f, 40.0f});
    issuer->m_pAdminSelection = pad;
    issuer->m_usAdminLevel = 2;
    EXPECT_EQ(SessionTest::Said(bob, "/gp 500 Welcome home"), std::vector<Bytes>{});
    EXPECT_EQ(pad->m_pGoalPad, nullptr);

    issuer->m_usAdminLevel = 3;
    EXPECT_EQ(SessionTest::Said(bob, "/gp 500 Welcome home"),
              Replies({"GoalPad activated.  Due to your lack of coin changing permissions, the coins in the GoalPad "
                       "have been set to 0."}));
    ASSERT_NE(pad->m_pGoalPad, nullptr);
    EXPECT_EQ(std::tuple(pad->m_pGoalPad->m_iCoinReward, pad->m_pGoalPad->m_strMessage), std::tuple(0, "Welcome home"));

    issuer->SetFlag(kPlayerCoinCommands, true);
    issuer->m_vPosition.Set(4.0f, 5.0f, 6.0f);
    EXPECT_EQ(SessionTest::Said(bob, "/gp 500 Welcome home"), Replies({"GoalPad activated with 500 coins."}));
    EXPECT_EQ(std::tuple(pad->m_pGoalPad->m_iCoinReward, Vec(pad->m_pGoalPad->m_vRespawnPoint)),
              std::tuple(500, "4 5 6"));

    EXPECT_EQ(SessionTest::Said(bob, "/gms  two  spaces"), std::vector<Bytes>{});
    EXPECT_EQ(pad->m_pGoalPad->m_strMessage, " two  spaces");
    EXPECT_EQ(SessionTest::Said(bob, "/gps -5"), Replies({"Solexis cost set to -5"}));
    EXPECT_EQ(SessionTest::Said(bob, "/gps 5"), Replies({"Solexis reward set to 5"}));
    EXPECT_EQ(SessionTest::Said(bob, "/gp"), Replies({"GoalPad activated with 0 coins."}));
    EXPECT_EQ(std::tuple(pad->m_pGoalPad->m_strMessage, pad->m_pGoalPad->m_iSolexis), std::tuple("", 5));
}

TEST_F(WorldActions, TagPads) {
    Server_Entity* pad = Select({100.0f, 8.0f, -200.5f}, {40.0f, 16.0f, 40.0f});
    EXPECT_EQ(Said("/et"), Replies({"You can't use this command because you don't have coin changing permissions."}));
    EXPECT_EQ(Said("/ta 7"), Replies({"Can't set TagPad amount due to lack of coin changing permissions."}));
    Me()->SetFlag(kPlayerCoinCommands, true);
    EXPECT_EQ(Said("/et"), Replies({"NormalPad is now a TAGPAD (No Zorbin building allowed on it."}));
    EXPECT_EQ(std::tuple(pad->GetLabel(), pad->GetEEA(4), server().m_TagPads.Count()), std::tuple("T: Free", 10u, 1u));
    EXPECT_EQ(Said("/ta 7"), Replies({"TagPad now gives 7 coins per second."}));
    EXPECT_EQ(Said("/ta -1"), Replies({"Can't set TagPads to negative amounts."}));
    EXPECT_EQ(pad->GetEEA(4), 7u);
    Said("/itp");
    const ArrayOfStrings& lines = admin.client->m_Windows.m_ScrollLines;
    ASSERT_EQ(lines.Length(), 2u);
    EXPECT_EQ(std::tuple(*lines[0], *lines[1]), std::tuple("1 Tagpads found", "0. Tagpad at 100 8 -200"));
    EXPECT_EQ(Said("/dt"), Replies({"NormalPad is NO LONGER a tagpad (but Zorbin building still disallowed on it."}));
    EXPECT_EQ(std::tuple(pad->m_pLabel, server().m_TagPads.Count()), std::tuple(nullptr, 0u));

    pad->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    EXPECT_EQ(Said("/et"), Replies({"Cannot use on a player created NormalPad."}));
    Select({0.0f, 0.0f, 0.0f}, {500.0f, 500.0f, 500.0f}, kKindTalvyCube);
    EXPECT_EQ(Said("/et"), Replies({"Selected entity is NOT a NormalPad."}));
}

TEST_F(WorldActions, PowerupTableIndicesAreUnsigned) {
    EXPECT_EQ(Said("/pwh"), std::vector<Bytes>{});
    Me()->m_vPosition.Set(-1.5f, 2.25f, 3.0f);
    EXPECT_EQ(Said("/pr_bos"), std::vector<Bytes>{});
    EXPECT_EQ(std::tuple(server().m_NormalPads.Count(), server().m_NormalPads.GetEntity(1)->GetLabel()),
              std::tuple(2u, "Cola of Smiley"));
    EXPECT_EQ(Said("/dptc"), Replies({"2"}));
    EXPECT_EQ(Said("/dpte 1"), Replies({"-1.50 2.25 3.00 (Type: 19)"}));
    for (const char* nothing : {"/dpte 2", "/dpte -1", "/rpte 2", "/rpte -1"})
        EXPECT_EQ(Said(nothing), std::vector<Bytes>{}) << nothing;
    Said("/ip");
    const ArrayOfStrings& lines = admin.client->m_Windows.m_ScrollLines;
    ASSERT_EQ(lines.Length(), 2u);
    EXPECT_EQ(*lines[0], "#0. 5 type powerup at 10.000000 20.000000 30.000000");
    EXPECT_EQ(Said("/rpte 0"), Replies({"OK"}));
    EXPECT_EQ(Said("/dpte 0"), Replies({"-1.50 2.25 3.00 (Type: 19)"}));
    EXPECT_EQ(Said("/dptc"), Replies({"1"}));
    // The spawned pads stay; spawning again finds the remaining entry's spot taken.
    EXPECT_EQ(Said("/fps"), Replies({"OK"}));
    EXPECT_EQ(server().m_NormalPads.Count(), 2u);
}

TEST_F(WorldActions, ConvertToRoomBuildsAShellAroundTheSelection) {
    Server_Entity* box = Select({1000.0f, 500.0f, -200.0f}, {1000.0f, 400.0f, 600.0f});
    box->m_usTexture = 33;
    box->SetTextureMode(1);
    EXPECT_EQ(Said("/ctr"), Replies({"OK"}));
    std::vector<std::string> made;
    for (uint32_t i = 0; i < server().m_NormalPads.Count(); ++i) {
        const Server_Entity* p = server().m_NormalPads.GetEntity(i);
        if (p == box) continue;
        EXPECT_EQ(std::tuple(p->m_usTexture, p->GetTextureMode(), Vec(p->m_vTextureScale)),
                  std::tuple(33, 1, "128 128 128"));
        made.push_back(Vec(p->m_vPosition) + " / " + Vec(p->m_vSize));
    }
    std::sort(made.begin(), made.end());
    EXPECT_EQ(made, (std::vector<std::string>{
                        "1000 305 -200 / 1000 10 600",  // floor
                        "1000 445 -440 / 760 270 120",  // z walls
                        "1000 445 40 / 760 270 120",    //
                        "1000 640 -200 / 1000 120 600", // ceiling
                        "1440 445 -200 / 120 270 600",  // x walls
                        "560 445 -200 / 120 270 600",   //
                    }));
    EXPECT_EQ(Said("/cap"), Replies({"OK"}));
    const Server_Entity* copy = server().m_NormalPads.GetEntity(server().m_NormalPads.Count() - 1);
    EXPECT_EQ(Vec(copy->m_vPosition) + " / " + Vec(copy->m_vSize), "1000 500 -200 / 1000 400 600");
}

TEST_F(WorldActions, CubesAndSelectionsThatGoAway) {
    g_uiQuillhobTexture = 123;
    for (const char* add : {"/atrh", "/aorh", "/aqrh"}) EXPECT_EQ(Said(add), Replies({"OK"})) << add;
    ASSERT_EQ(server().m_QuillhobCubes.Count(), 1u);
    Server_Entity* quillhob = server().m_QuillhobCubes.GetEntity(0);
    EXPECT_EQ(std::tuple(quillhob->m_usTexture, Vec(quillhob->m_vPosition) + " / " + Vec(quillhob->m_vSize)),
              std::tuple(123, "10 20 30 / 100 100 100"));
    EXPECT_EQ(Vec(static_cast<Server_TalvyCube*>(server().m_TalvyCubes.GetEntity(0))->m_vHomePoint), "10 20 30");
    for (const char* missing : {"/wtt 1", "/wto -1", "/wtq 1"}) EXPECT_EQ(Said(missing), Replies({"NOT FOUND"}));

    Me()->m_vPosition.Set(0.0f, 0.0f, 0.0f);
    EXPECT_EQ(Said("/wtq 0"), std::vector<Bytes>{});
    EXPECT_EQ(std::tuple(Me()->m_pAdminSelection, Vec(Me()->m_vPosition), Me()->m_ucCSMHoldOff),
              std::tuple(quillhob, "10 20 30", 3));
    ServerHarness::Peer bob = LoggedIn("Bob");
    bob.client->m_pPlayer->m_pAdminSelection = quillhob;
    EXPECT_EQ(Said("/daq"), std::vector<Bytes>{});
    EXPECT_EQ(
        std::tuple(server().m_QuillhobCubes.Count(), Me()->m_pAdminSelection, bob.client->m_pPlayer->m_pAdminSelection),
        std::tuple(0u, nullptr, nullptr));

    Server_Entity* palace = Select({0.0f, 300.0f, 0.0f}, {600.0f, 600.0f, 600.0f}, kKindPalaceCube);
    palace->m_pOwner = bob.client->m_pPlayer;
    bob.client->m_pPlayer->m_uiPalaceCubeCount = 1;
    EXPECT_EQ(Said("/dapc"), std::vector<Bytes>{});
    EXPECT_EQ(
        std::tuple(server().m_PalaceCubes.Count(), Me()->m_pAdminSelection, bob.client->m_pPlayer->m_uiPalaceCubeCount),
        std::tuple(0u, nullptr, 0u));
    EXPECT_EQ(Said("/kapp"), std::vector<Bytes>{});
}

} // namespace
