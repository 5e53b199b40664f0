// The players file: players, then Zorbin cubes, palace cubes and player-built blocks.
#include <gtest/gtest.h>

#include "core/Server.h"
#include "persist/Server_File.h"
#include "world/Server_EntityKinds.h"
#include "PersistTestSupport.h"

namespace {

class PlayersSave : public InSaveFolder {
protected:
    std::string SavePlayers() {
        m_Server.SaveRoutine_Players();
        return Read("VUK_Players.krv");
    }

    Server_Player* AddBob() {
        auto* p = static_cast<Server_Player*>(m_Server.ProperAddByType(kKindPlayer));
        p->m_vPosition.Set(10.0f, 20.0f, 30.0f);
        p->m_strName = "Bob";
        p->m_strPassword = "pw";
        p->m_uiEnergy = 1234;
        p->SetFlag(kPlayerMessageWindow, true);
        p->SetFlag(kPlayerSavedBit0, true);
        p->m_strModalText = "Hello";
        p->m_i64PocketCoins = 5000;
        p->m_vStartPoint.Set(1.0f, 2.0f, 3.0f);
        p->m_vRespawnPoint.Set(4.0f, 5.0f, 6.0f);
        p->m_i64PropertyValue = 600'000;
        p->m_strEffectNames[0] = "Tri-Fire";
        p->m_fEffectTimes[0] = -100.0f;
        p->m_uiEffectIds[0] = 7;
        p->m_strEffectNames[1] = "Spirit of Zorbin";
        p->m_fEffectTimes[1] = 2.0f;
        p->m_uiEffectIds[1] = 3;
        p->m_usAdminLevel = 50;
        p->SetFlag(kPlayerCoinCommands, true);
        p->m_uiTicksSinceLastLogin = 1000;
        p->m_strTeamName = "Red";
        p->m_IgnoreList.Append(new std::string("Eve"));
        p->m_IgnoreList.Append(new std::string("Mal"));
        return p;
    }

    Server_Entity* AddZorbin(bool moving) {
        Server_Entity* cube = m_Server.ProperAddByType(kKindZorbinCube);
        cube->m_vPosition.Set(100.0f, 8.0f, 100.0f);
        cube->m_vSize.Set(32.0f, 32.0f, 32.0f);
        cube->SetLabel("Bob");
        cube->SetMoving(moving);
        m_Server.UpdateGroupsAndZonesEntityIsIn(cube);
        return cube;
    }

    Server_PalaceCube* AddPalace() {
        auto* cube = static_cast<Server_PalaceCube*>(m_Server.ProperAddByType(kKindPalaceCube));
        cube->m_vPosition.Set(200.0f, 16.0f, 200.0f);
        cube->m_vSize.Set(32.0f, 32.0f, 32.0f);
        cube->SetLabel("Bob");
        cube->SetEEA(kEEABounce, 5);
        cube->m_uiHitPoints = 999;
        m_Server.UpdateGroupsAndZonesEntityIsIn(cube);
        return cube;
    }

    Server_Entity* AddBuildingBlock(bool moving) {
        Server_Entity* block = m_Server.ProperAddByType(kKindNormalPad);
        block->m_vPosition.Set(300.0f, 8.0f, 300.0f);
        block->m_vSize.Set(32.0f, 16.0f, 32.0f);
        block->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
        block->m_ucRuleFlags |= kRulePyramid | kRulePrincessReward;
        block->SetEEA(kEEAPrincessReward, 99);
        block->SetLabel("Bob");
        block->m_uiStoredCoins = 300'000;
        block->SetMoving(moving);
        m_Server.UpdateGroupsAndZonesEntityIsIn(block);
        return block;
    }

    static std::string ZorbinRecords(const std::string& label) {
        return Hex("01 0a 0000c842 00000041 0000c842 00000042 00000042 00000042 00000000"
                   "00008042 00008042 00008042 2c000000 01000000") + label +
               Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 a8610000");
    }

    Server m_Server;
};

TEST_F(PlayersSave, NoPlayersNoPropertyIsTheVersionByteAlone) { EXPECT_EQ(SavePlayers(), Hex("0b")); }

TEST_F(PlayersSave, PlayerWithEverySavedField) {
    AddBob();
    EXPECT_EQ(SavePlayers(), Hex("0b") + BobRecords());
}

TEST_F(PlayersSave, EmptyTeamNameIsStillWritten) {
    auto* p = static_cast<Server_Player*>(m_Server.ProperAddByType(kKindPlayer));
    p->m_strName = "A";
    p->m_uiEnergy = 5000;
    std::string file = SavePlayers();
    std::string tail = Hex("18 13000000") + "KRV_PLAYER_TEAMNAME" + Hex("04000000 00000000");
    ASSERT_GE(file.size(), tail.size());
    EXPECT_EQ(file.substr(file.size() - tail.size()), tail);
}

TEST_F(PlayersSave, ZorbinCubesRecordOwnerCoinsAndRestingState) {
    AddZorbin(false);
    AddZorbin(true);
    std::string owner = Hex("0c 03000000") + "Bob";
    EXPECT_EQ(SavePlayers(), Hex("0b") + ZorbinRecords(owner) + Hex("18 1b000000") + "KRV_WAS_MOVING_AT_SAVE_TIME" +
                                 Hex("01000000 00") + ZorbinRecords(owner));
}

TEST_F(PlayersSave, PalaceCubesRecordLabelBounceAndHitPoints) {
    AddPalace();
    EXPECT_EQ(SavePlayers(), Hex("0b 01 0b 00004843 00008041 00004843 00000042 00000042 00000042 00000000"
                                 "00000043 00000043 00000043 3c000000 01000000") +
                                 Hex("0e 03000000") + "Bob" + Hex("0a 05000000") +
                                 Hex("18 11000000") + "KRV_PALACECUBE_HP" + Hex("04000000 e7030000"));
}

TEST_F(PlayersSave, PlayerBuiltBlocksHaveAZeroPadTailAndTheirCreatedRecord) {
    AddBuildingBlock(false);
    AddBuildingBlock(true);
    std::string block = Hex("01 04 00009643 00000041 00009643 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                            "0b 01 00000000 0e 03000000") + "Bob" +
                        Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 e0930400");
    EXPECT_EQ(SavePlayers(), Hex("0b") + block + Hex("18 1b000000") + "KRV_WAS_MOVING_AT_SAVE_TIME" +
                                 Hex("01000000 00") + block);
}

TEST_F(PlayersSave, PropertyGoesAfterThePlayersInFixedGroupOrder) {
    g_bCompactSaveMode = true;
    AddBuildingBlock(true);
    AddPalace();
    AddZorbin(true);
    auto* p = static_cast<Server_Player*>(m_Server.ProperAddByType(kKindPlayer));
    p->m_strName = "Z";
    std::string file = SavePlayers();
    std::string player = Hex("0b 01 01 00000000 00000000 00000000 00008041 00008041 00008041 00000000"
                             "00000042 00000042 00000042 01000000 03000000 01000000") + "Z" +
                         Hex("00000000 cd810100 00 00 00 00000000 00000000"
                             "00000000 00000000 00000000 00000000 00000000 00000000"
                             "09 00000000 00000000 0d 00000000 08") +
                         std::string(10 * 12, '\0') +
                         Hex("0f 00000000 14 00 16 00000000 19 00000000");
    std::string zorbin = Hex("01 0a 0000c842 00000041 0000c842 00000042 00000042 00000042 00000000"
                             "00008042 00008042 00008042 2c000000 01000000 0c 03000000") + "Bob" + Hex("33 a8610000");
    std::string palace = Hex("01 0b 00004843 00008041 00004843 00000042 00000042 00000042 00000000"
                             "00000043 00000043 00000043 3c000000 01000000 3e 0a 05000000 2e e7030000");
    std::string block = Hex("01 04 00009643 00000041 00009643 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000 00000000 00000000"
                            "0b 01 00000000 3e 33 e0930400");
    EXPECT_EQ(file, player + zorbin + palace + block);
}

} // namespace
