// Reading the save files back: every record's effect, the caps and clamps, the counters handed
// out in file order, skipping, and what is re-derived after both files. Where a file can hold a
// state, the test saves it again and expects the same bytes, so that one set of hand-written
// bytes checks the reader and the writer both.
#include "PersistTestSupport.h"

#include <cstdio>
#include <vector>

namespace {

// An entity record of the kind with zero position and size, texture scale 64, the texture, mode
// 1, and a tail of zero bytes.
std::string Cube(const char* kind, const char* texture, size_t tail = 0) {
    return Hex(kind) +
           Hex("00000000 00000000 00000000 00000000 00000000 00000000 00000000"
               "00008042 00008042 00008042") +
           Hex(texture) + Hex("01000000") + std::string(tail, '\0');
}

using Loading = InSaveFolder;

// ---- whole files, read and written back -------------------------------------------------------

TEST_F(Loading, PadWithEverySavedFeatureComesBackWhole) {
    std::string file = Hex("0b") + FullPadRecords() + DefaultSettingsRecords();
    Load(file);
    ASSERT_EQ(server().m_AllEntities.Count(), 1u);
    EXPECT_TRUE(server().m_TagPads.Contains(Entity(0)));
    EXPECT_TRUE(server().m_Lifts.Contains(Entity(0)));
    EXPECT_EQ(SaveWorld(), file);
    // Unlike a compact save, this one looks no names up.
    EXPECT_EQ(m_strConsole, "(Write) We wrote a QVS_ENTITY_JAIL_DISALLOW to the datafile!\n"
                            "(Write) We wrote a QVS_ENTITY_JAIL_RELEASE to the datafile!\n"
                            "(Write) We wrote a QVS_SOLEXIS to the datafile!\n");
}

TEST_F(Loading, PlayersAndTheirPropertyComeBackWhole) {
    std::string zorbin = Hex("01 0a 0000c842 00000041 0000c842 00000042 00000042 00000042 00000000"
                             "00008042 00008042 00008042 2c000000 01000000 0c 03000000") +
                         "Bob" + Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 a8610000");
    std::string resting = Hex("18 1b000000") + "KRV_WAS_MOVING_AT_SAVE_TIME" + Hex("01000000 00");
    std::string palace = Hex("01 0b 00004843 00008041 00004843 00000042 00000042 00000042 00000000"
                             "00000043 00000043 00000043 3c000000 01000000 0e 03000000") +
                         "Bob" + Hex("0a 05000000 18 11000000") + "KRV_PALACECUBE_HP" + Hex("04000000 e7030000");
    std::string block = Hex("01 04 00009643 00000041 00009643 00000042 00008041 00000042 00000000"
                            "00000043 00000043 00000043 2a000000 02000000 00 00 00 00 00000000"
                            "0b 01 00000000 0e 03000000") +
                        "Bob" + Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 e0930400");
    std::string file = Hex("0b") + BobRecords() + zorbin + resting + zorbin + palace + block + resting;
    Load(Hex("0b"), file);
    ASSERT_EQ(server().m_Players.Count(), 1u);
    // Only what is derived or filed on loading; the save below shows the rest.
    Server_Player* bob = Player(0);
    EXPECT_EQ(std::tuple(bob->IsPlayerMoving(), bob->m_bDisplayName, server().m_OtherPlayers.Contains(bob),
                         bob->m_uiPalaceCubeCount, bob->m_uiRank),
              std::tuple(true, true, true, 1u, 1u));
    EXPECT_EQ(std::tuple(server().m_MovingZorbinCubes.Count(), server().m_MovingPads.Count(),
                         server().m_ZorbinCubes.GetEntity(0)->m_pOwner, server().m_PalaceCubes.GetEntity(0)->m_pOwner),
              std::tuple(1u, 0u, bob, bob));
    EXPECT_EQ(SavePlayers(), file);
}

// The raw forms of named records, a label shared with the pad before, and the jail names looked
// up, and so printed, as they are written.
TEST_F(Loading, CompactFileComesBackCompact) {
    std::string full = Hex("01 04 0000803f 00000040 00004040 00000042 00008041 00000042 0000003f"
                           "00000043 00000043 00000043 0f000000 02000000 01 01 01 00 07000000 09 0000803e 00000000"
                           "1a 01 00000000 00000000 00000000 00000000 0000c842 00000000 00000040 03 02 0f 02000000") +
                       "Hi" + Hex("07000000 00008040 0000a040 0000c040 04 2c010000 0a 28000000 0e 04000000") + "Gate" +
                       Hex("2f 0a000000 31 14000000 35 2c010000 30 c8 fd 01 fe 01 fc fbffffff");
    std::string file = Hex("0b") + full + SavedPad() + Hex("3e") + SavedPad() + Hex("0e 04000000") + "Wall" +
                       SavedPad() + Hex("0e 04000000") + "Gate" +
                       Hex("12 00000000 13 00 15 06000000 1b 00000000 32 64000000 34 e8030000 36 0ad7a33c"
                           "37 4260e53b 3d 8fc2753d 38 01000000 39 08000000 3a 05000000 3b 01 3f 01");
    Load(file);
    EXPECT_EQ(m_strConsole, "(Read) We read a QVS_ENTITY_JAIL_DISSALOW from the datafile!\n"
                            "(Read) We read a QVS_ENTITY_JAIL_RELEASE from the datafile!\n"
                            "(Read) We read a QVS_SOLEXIS from the datafile!\n");
    EXPECT_EQ(SaveWorld(), file);
    EXPECT_EQ(m_strConsole, "(String Translate) We found a QVS_ENTITY_JAIL_DISALLOW while reading the datafile!\n"
                            "(Write) We wrote a QVS_ENTITY_JAIL_DISALLOW to the datafile!\n"
                            "(String Translate) We found a QVS_ENTITY_JAIL_RELEASE while reading the datafile!\n"
                            "(Write) We wrote a QVS_ENTITY_JAIL_RELEASE to the datafile!\n"
                            "(Write) We wrote a QVS_SOLEXIS to the datafile!\n");
}

// Each saved setting in file order at a value other than its default (compact form), and values
// of hand-made files that the loader clamps.
TEST_F(Loading, SettingsRecordsSetTheirSettingsAndLoadedValuesAreClamped) {
    struct Row {
        const char* record;
        double (*now)(Server&);
        double value;
    };
    const Row saved[] = {
        {"12 03000000", [](Server& s) { return double(s.m_uiPopPrincessSkip); }, 3},
        {"13 01", [](Server& s) { return double(s.m_bIRSBuildEnabled); }, 1},
        {"15 09000000", [](Server&) { return double(g_uiUdpSendBufferLimit); }, 9},
        {"1b 70110100", [](Server& s) { return double(s.m_uiServerByteSendLimit); }, 70'000},
        {"32 07000000", [](Server&) { return double(g_uiQuillhobTexture); }, 7},
        {"34 05000000", [](Server&) { return double(g_uiRewardHittingQuillhob); }, 5},
        {"36 0000003f", [](Server&) { return double(g_fZorbinShrinkPerHit); }, 0.5},
        {"37 0000803f", [](Server&) { return double(g_fStoneBlockShrinkPerHit); }, 1.0},
        {"3d 00000040", [](Server&) { return double(g_fBuildingBlockShrinkPerHit); }, 2.0},
        {"38 fdffffff", [](Server&) { return double(g_iZorbinCoinsStolenPerHit); }, -3},
        {"39 04000000", [](Server&) { return double(g_iPropertyMovingGroups); }, 4},
        {"3a 06000000", [](Server&) { return double(g_iMaxPropertyMovePerTick); }, 6},
        {"3b 01", [](Server&) { return double(g_bCompactSaveMode); }, 1},
        {"3f 00", [](Server&) { return double(g_bImprovedCTSResponse); }, 0},
    };
    const Row clamped[] = {
        {"15 03000000", saved[2].now, 6},  // at least six
        {"15 11000000", saved[2].now, 17}, // and no upper limit, unlike the command's
        {"39 00000000", saved[10].now, 1}, // the rules take counts modulo the groups
        {"39 fbffffff", saved[10].now, 1},
    };
    std::string file = Hex("0b");
    for (const Row& row : saved) file += Hex(row.record);
    Load(file);
    for (const Row& row : saved) EXPECT_EQ(row.now(server()), row.value) << row.record;
    EXPECT_EQ(SaveWorld(), file);
    for (const Row& row : clamped) {
        Load(Hex("0b") + Hex(row.record));
        EXPECT_EQ(row.now(server()), row.value) << row.record;
    }
    // A float goes back into the file with the bits it came with, a signalling NaN's too.
    Load(Hex("0b 3b01 37 0100807f"));
    EXPECT_NE(SaveWorld().find(Hex("37 0100807f")), std::string::npos);
}

// ---- framing, versions, hostile files ---------------------------------------------------------

// Unknown named records and skip markers are passed over, a known named record is read by its
// own layout, records before any entity go nowhere, and a cut or lying file gives what it holds.
// A broken record stops the reading with its verdict (for the top of the program to show); what
// came before it stays loaded.
TEST_F(Loading, RecordsAreFramedAndSkippedAsTheFileSays) {
    struct Case {
        const char* what;
        std::string file, players; // after the version byte; players "": no players file
        LoadError verdict;
        uint32_t pads;
        const char* label = nullptr; // of the first pad; null for none
        uint32_t bounce = 0, texture = 0;
    };
    const std::string pad = PadRecord();
    const LoadError none = LoadError::None, badCommand = LoadError::BadCommandByte;
    const Case cases[] = {
        {"unknown named record",
         pad + Hex("18 10000000") + "KRV_FUTURE_THING" + Hex("07000000 0e 010203040506") + Hex("0e 05000000") +
             "After" + Hex("0a 09000000") + pad,
         "", none, 2, "After", 9, 42},
        {"skip marker, unknown command", pad + Hex("17 03000000 28 0e0400 0e 04000000") + "Next", "", none, 1, "Next",
         0, 42},
        {"skip marker, known record", pad + Hex("17 09000000 0a 05000000 0e 02000000") + "OK", "", none, 1, "OK", 5,
         42},
        {"known named record",
         pad + Hex("18 0e000000") + "KRV_BOUNCY_PAD" + Hex("63000000 0c000000 0e 02000000") + "OK", "", none, 1, "OK",
         12, 42},
        {"records before the first entity", Hex("0a 05000000 0e 02000000") + "No" + Hex("3e") + pad + Hex("3e"), "",
         none, 1, "No", 0, 42},
        {"legacy records",
         pad + Hex("02 05 01000000 10 02000000 11 03000000 2c 04000000 06 44000100 0e 02000000") + "OK", "", none, 1,
         "OK", 0, 68},
        {"record cut by the end of the file", Hex("01 04 0000803f 00000040 0000"), "", none, 1, nullptr, 0, 8},
        {"huge string count", pad + Hex("0e ffffffff 4142"), "", none, 1, "AB", 0, 42},
        {"huge skip", pad + Hex("18 05000000") + "QVS_X" + Hex("ffffffff 0e 02000000") + "No", "", none, 1, nullptr, 0,
         42},
        {"unknown raw command", pad + Hex("28 00000000"), "", badCommand, 1, nullptr, 0, 42},
        {"a skip marker covers only the next record", pad + Hex("17 04000000 0a 05000000 28 00000000"), "", badCommand,
         1, nullptr, 5, 42},
        {"bad command in the players file", "", Hex("0b 00"), badCommand, 0},
        {"unknown entity kind", Hex("01 05") + std::string(48, '\0'), "", LoadError::BadEntityType, 0},
        {"fire block", pad + Hex("01 06") + std::string(48, '\0'), "", LoadError::FireBlockEntity, 1, nullptr, 0, 42},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        NewServer();
        std::remove(kPlayersFileName);
        EXPECT_EQ(Load(Hex("0b") + c.file, c.players), c.verdict);
        ASSERT_EQ(server().m_NormalPads.Count(), c.pads);
        if (c.pads == 0) continue;
        Server_Entity* first = server().m_NormalPads.GetEntity(0);
        EXPECT_EQ(
            std::tuple(first->m_pLabel ? first->GetLabel() : "(none)", first->GetEEA(kEEABounce), first->m_usTexture),
            std::tuple(c.label ? c.label : "(none)", c.bounce, c.texture));
    }
    EXPECT_STREQ(LoadErrorText(badCommand), "Loading World Error: Bad Command Byte In Data File");
    EXPECT_STREQ(LoadErrorText(LoadError::BadEntityType), "Loading World Error: Bad Entity Type In Data File");
    EXPECT_EQ(LoadErrorText(LoadError::FireBlockEntity), nullptr); // it ends the program without a word
}

// Which versions each file may carry, and what a missing, empty or refused file leaves loaded. A
// file that is there but was not loaded is moved aside, once, by the first save.
TEST_F(Loading, VersionsAndMissingFiles) {
    struct Case {
        const char* what;
        const char* world;       // version byte in hex before a pad; "" an empty file; null no file
        const char* playersFile; // the same before a player
        uint32_t pads, players;
        const char* errors;
        const char* moved; // null: nothing
    };
    const char* const world = kWorldFileName;
    const char* const players = kPlayersFileName;
    const Case cases[] = {
        {"world version 4", "04", "0b", 0, 1, "VUK Server LoadRoutine: Incorrect load file\n", world},
        {"world version 5", "05", "0b", 1, 1, "", nullptr},
        {"world version 11", "0b", nullptr, 1, 0, "", nullptr},
        {"world version 12", "0c", "0b", 0, 1, "VUK Server LoadRoutine: Incorrect load file\n", world},
        {"empty world file", "", "0b", 0, 1, "VUK Server LoadRoutine: Incorrect load file\n", world},
        {"missing world file: the players file is not read", nullptr, "0b", 0, 0, "", players},
        {"players version 5", "0b", "05", 1, 0, "VUK Server LoadRoutine: Incorrect load player file\n", players},
        {"players version 6", "0b", "06", 1, 1, "", nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        NewServer();
        std::filesystem::remove_all("backups");
        std::remove(kWorldFileName);
        std::remove(kPlayersFileName);
        if (c.world) Write(kWorldFileName, *c.world ? Hex(c.world) + PadRecord() : "");
        if (c.playersFile) Write(kPlayersFileName, Hex(c.playersFile) + PlayerRecord("Ann"));
        EXPECT_EQ(Load(""), LoadError::None);
        EXPECT_EQ(std::tuple(server().m_NormalPads.Count(), server().m_Players.Count(), m_strErrors, m_strConsole),
                  std::tuple(c.pads, c.players, c.errors, ""));
        const std::string before = c.moved ? Read(c.moved) : "";
        const std::string aside = std::string("backups/2_3_2026_9_5_7_not_loaded_").append(c.moved ? c.moved : "");
        const std::string logLine = std::string("LOG: ").append(c.moved ? c.moved : "") + " was not loaded: moved to " +
                                    aside + " before saving\r\n";
        const int logged = m_Folder.CountInLog(logLine);
        server().SaveAll();
        server().SaveAll();
        EXPECT_EQ(m_Folder.Exists(aside), c.moved != nullptr);
        if (!c.moved) continue;
        EXPECT_EQ(Read(aside), before);
        EXPECT_EQ(m_Folder.CountInLog(logLine), logged + 1);
    }
    EXPECT_NE(ChatLog().find("] VUK Server LoadRoutine: Incorrect load file\r\n"), std::string::npos);
}

// ---- what a record does to its entity or player ------------------------------------------------

TEST_F(Loading, PlayerValuesAreCappedOnLoadAndPlayersRankedByWorth) {
    std::string effects = Hex("08 03000000") + "SoZ" + Hex("0000c841 03000000 03000000") + "Tri" +
                          Hex("0000c841 07000000") + std::string(8 * 12, '\0');
    Load(Hex("0b"), Hex("0b") + PlayerRecord("Rich", "50c30000", "005ed0b2", Hex("00 00 01 04000000") + "Gone") +
                        Hex("0f 65000000") + effects + PlayerRecord("Even", "204e0000", "00943577") +
                        Hex("0f 64000000") + PlayerRecord("C") + Hex("0f ffff0000") + PlayerRecord("D") +
                        Hex("0f 05000100"));
    ASSERT_EQ(server().m_Players.Count(), 4u);
    Server_Player* rich = Player(0);
    // The modal text is dropped while the window flag is clear. Spirit of Zorbin is cut to ten time
    // units; other effects keep theirs.
    EXPECT_EQ(std::tuple(rich->m_strModalText, rich->GetFlag(kPlayerSavedBit0), rich->GetFlag(kPlayerMessageWindow),
                         rich->m_fEffectTimes[0], rich->m_fEffectTimes[1], rich->m_strEffectNames[1]),
              std::tuple("", true, false, 10.0f, 25.0f, "Tri"));
    for (Server_Player* p : {rich, Player(1)})
        EXPECT_EQ(std::tuple(p->m_uiEnergy, p->m_i64PocketCoins), std::tuple(20'000u, 2'000'000'000));
    std::vector<uint32_t> admin, ranks;
    for (uint32_t i = 0; i < 4; ++i) {
        admin.push_back(Player(i)->m_usAdminLevel);
        ranks.push_back(Player(i)->m_uiRank);
    }
    EXPECT_EQ(admin, (std::vector<uint32_t>{0, 100, 0, 5}));
    EXPECT_EQ(ranks, (std::vector<uint32_t>{1, 1, 2, 2}));
}

// Turn slots and scan counters go in file order; Zorbin cubes and player-built blocks start
// moving, with the coins their texture says.
TEST_F(Loading, CountersGoInFileOrderAndPropertyStartsMovingWithCoinsByTexture) {
    std::string talvy = Cube("01 08", "2c000000", 12), oriset = Cube("01 09", "2c000000", 16);
    std::string plain = Cube("01 0a", "2c000000"), irs = Cube("01 0a", "49000000");
    std::string players = Hex("0b");
    for (char c = 'A'; c <= 'G'; ++c) players += PlayerRecord(std::string(1, c));
    players += irs + plain + irs + Hex("18 10000000") + "KRV_STORED_COINS" + Hex("04000000 05000000") + plain + plain +
               plain + plain + Cube("01 04", "2a000000", 8) + Hex("0b 01 00000000") + Cube("01 04", "2b000000", 8) +
               Hex("0b 01 00000000");
    Load(Hex("0b") + talvy + oriset + talvy + oriset + talvy + oriset + talvy, players);
    std::vector<int> princess, scans, zorbins, coins;
    for (uint32_t i = 0; i < 7; ++i) {
        Server_Entity* e = Entity(i);
        princess.push_back(e->GetKind() == kKindTalvyCube ? static_cast<Server_TalvyCube*>(e)->m_sTurnSlot
                                                          : static_cast<Server_OrisetCube*>(e)->m_sTurnSlot);
        scans.push_back(int(Player(i)->m_uiScanCounter));
        auto* cube = static_cast<Server_ZorbinCube*>(server().m_ZorbinCubes.GetEntity(i));
        zorbins.push_back(int(cube->m_uiTurnSlot));
        coins.push_back(int(cube->m_uiStoredCoins));
    }
    EXPECT_EQ(princess, (std::vector<int>{0, 1, 2, 3, 4, 0, 1}));
    EXPECT_EQ(scans, (std::vector<int>{0, 1, 2, 3, 4, 5, 0}));
    EXPECT_EQ(zorbins, (std::vector<int>{0, 1, 2, 3, 4, 5, 0}));
    EXPECT_EQ(coins, (std::vector<int>{300'000, 25'000, 5, 25'000, 25'000, 25'000, 25'000}));
    ASSERT_EQ(server().m_PlayerBuiltPads.Count(), 2u);
    EXPECT_EQ(std::tuple(server().m_MovingZorbinCubes.Count(), server().m_MovingPads.Count(),
                         server().m_PlayerBuiltPads.GetEntity(0)->m_uiStoredCoins,
                         server().m_PlayerBuiltPads.GetEntity(1)->m_uiStoredCoins),
              std::tuple(7u, 2u, 300'000u, 5'000u));
}

// The first extension deletes goal pad data unless it flags a goal pad, makes a new tag pad pay
// 10, and keeps the landing reward only with its flag; the tag pad amount alone gives the lock
// time of three hours. The save leaves out a coin reward that is not positive and a tag lock time
// left that is zero, and a zero rotation leaves no rotation record.
TEST_F(Loading, PadExtensionsAndTheRecordsTheSaveLeavesOut) {
    Load(Hex("0b") + PadRecord() + Hex("09 00000000 00000000 18 0b000000") + "QVS_SOLEXIS" +
         Hex("04000000 0a000000 03 00 00 02000000") + "Hi" + Hex("00000000 0000803f 00000040 00004040") + PadRecord() +
         Hex("03 02 03 02000000") + "Go" + Hex("09000000 0000803f 00000040 00004040 04 ceffffff") + PadRecord() +
         Hex("2f 05000000"));
    EXPECT_EQ(std::tuple(Entity(0)->m_pRotation, Entity(0)->m_pGoalPad, server().m_TagPads.Contains(Entity(1))),
              std::tuple(nullptr, nullptr, true));
    auto tag = [](const char* amount, const char* lockTime) {
        return Hex("18 11000000") + "KRV_TAGPAD_AMOUNT" + Hex("04000000") + Hex(amount) + Hex("18 1d000000") +
               "KRV_TAGPAD_STARTING_LOCK_TIME" + Hex("04000000") + Hex(lockTime);
    };
    EXPECT_EQ(SaveWorld(), Hex("0b") + SavedPad() + PadRecord() + Hex("09 00000000 00000000 03 02 03 02000000") + "Go" +
                               Hex("00000000 0000803f 00000040 00004040") + tag("0a000000", "00000000") + PadRecord() +
                               Hex("09 00000000 00000000 03 00 02 00000000 00000000 00000000 00000000 00000000") +
                               tag("05000000", "302a0000") + DefaultSettingsRecords());
}

TEST_F(Loading, CubesKeepTheirKindTailsButNoLabel) {
    std::string talvy = Hex("01 08 0000803f 00000040 00004040 00008042 00008042 00008042 00000000"
                            "00000043 00000043 00000043 09000000 01000000 00008040 0000a040 0000c040");
    std::string oriset = Cube("01 09", "13000000") + Hex("00808944 00000041 00008041 00000042");
    std::string quillhob = Cube("01 0c", "64000000");
    std::string rotation = Hex("09 00000000 00000000");
    Load(Hex("0b") + talvy + Hex("0e 09000000") + "not saved" + oriset + quillhob);
    EXPECT_EQ(SaveWorld(),
              Hex("0b") + talvy + rotation + oriset + rotation + quillhob + rotation + DefaultSettingsRecords());
}

// A spline lift keeps its points; a lying point count takes only what the file holds, and a
// spline lift not yet finalized is not saved.
TEST_F(Loading, SplineLiftComesBackWithItsControlPoints) {
    std::string spline = PadRecord() + Hex("09 00000000 00000000 18 19000000") + "KRV_ENTITY_SPLINELIFTINFO" +
                         Hex("25000000 01 00000040 0000803e 02000000 0000803f 00000040 00004040"
                             "00000041 00008041 00000042 03 00 00 00000000 00000000 00000000 00000000 00000000");
    Load(Hex("0b") + spline + PadRecord() + Hex("ff 01 00000040 0000803e ffffffff 0000803f 00000040 00004040"));
    ASSERT_NE(Entity(1)->m_pLift, nullptr);
    EXPECT_EQ(Entity(1)->m_pLift->m_ControlPoints.Length(), 1u);
    Entity(1)->m_pLift->m_bFinalized = false;
    EXPECT_EQ(SaveWorld(), Hex("0b") + spline + SavedPad() + DefaultSettingsRecords());
}

// Texture 5 (the powerup pad) shows in mode 1: the loader forces it, and the world save sets it
// after writing the record with the mode the pad had.
TEST_F(Loading, TextureFivePadIsModeOne) {
    std::string pad = PadRecord("0000803f 00000040 00004040", "05000000");
    Load(Hex("0b") + pad);
    EXPECT_EQ(Entity(0)->GetTextureMode(), 1);
    Entity(0)->SetTextureMode(2);
    EXPECT_EQ(SaveWorld().substr(0, 1 + pad.size()), Hex("0b") + pad);
    EXPECT_EQ(Entity(0)->GetTextureMode(), 1);
}

// ---- derived after loading --------------------------------------------------------------------

TEST_F(Loading, PropertyIsMatchedToOwnersByLabel) {
    auto block = [](const char* texture) {
        return Cube("01 04", texture, 8) + Hex("0b 01 00000000 0e 03000000") + "Bob";
    };
    std::string palace = Cube("01 0b", "2c000000") + Hex("0e 03000000") + "Eve";
    std::string zorbin = Cube("01 0a", "2c000000") + Hex("0c 06000000") + "Nobody";
    std::string players = Hex("0b") + PlayerRecord("Bob") + Hex("0d 00e1f505") + PlayerRecord("Eve") +
                          block("2a000000") + block("2a000000") + block("2a000000") + block("2b000000") + palace +
                          palace + zorbin;
    std::string world = Hex("0b") + PadRecord() + Hex("03 00 02 00000000 00000000 00000000 00000000 00000000") +
                        Hex("0e 06000000") + "T: Eve";
    Load(world, players);
    EXPECT_EQ(std::tuple(Player(0)->m_i64PropertyValue, Player(1)->m_i64PropertyValue, Player(1)->m_uiPalaceCubeCount),
              std::tuple(1'800'000, 0, 2u));
    EXPECT_EQ(std::tuple(server().m_PlayerBuiltPads.GetEntity(3)->m_pOwner,
                         server().m_ZorbinCubes.GetEntity(0)->m_pOwner, server().m_TagPads.GetEntity(0)->m_pTagHolder),
              std::tuple(Player(0), nullptr, Player(1)));
}

// Entries below y 8 are dropped; each spot spawns one labelled powerup cube, beside a warp but
// not on a block. The save writes the table and leaves out the spawned cubes, players, their
// property and fire blocks.
TEST_F(Loading, PowerupTableSpawnsCubesAndIsSavedInsteadOfThem) {
    std::string warp = PadRecord("0000803f 00000041 00004040") +
                       Hex("09 00000000 00000000 03 00 01 00000000 00000000 00000000 00000000 00000000");
    std::string block = PadRecord("00000000 0000c842 00000000") +
                        Hex("09 00000000 00000000 03 00 00 00000000 00000000 00000000 00000000 00000000");
    std::string table = Hex("07 0000803f 00000041 00004040 07000000 07 0000803f 00000041 00004040 0f000000"
                            "07 00000000 0000c842 00000000 01000000 07 0000a040 00004843 0000a040 10000000");
    Load(Hex("0b") + warp + block + table + Hex("07 00000000 0000e040 00000000 07000000"));
    ASSERT_EQ(server().m_AllEntities.Count(), 4u);
    Server_Entity* cube = Entity(2);
    EXPECT_EQ(std::tuple(cube->m_vPosition, cube->m_vSize, cube->m_usTexture, cube->GetTextureMode(), cube->GetLabel(),
                         cube->m_ucSurfaceFlags & kSurfacePowerup, cube->m_ucRuleFlags & kRuleZorbinBuildAllowed,
                         cube->m_pGoalPad->m_sType),
              std::tuple(VUKVector(1, 8, 3), VUKVector(16, 16, 16), 5, 1, "Tri-Fire", int(kSurfacePowerup), 0, 7));
    EXPECT_EQ(std::tuple(Entity(3)->m_vPosition, Entity(3)->m_pLabel, Entity(3)->m_pGoalPad->m_sType),
              std::tuple(VUKVector(5, 200, 5), nullptr, 16));

    for (uint8_t kind : {kKindPlayer, kKindZorbinCube, kKindPalaceCube, kKindFireBlock, kKindNormalPad})
        server().ProperAddByType(kind);
    Entity(8)->m_ucSurfaceFlags |= kSurfacePlayerBuilt;
    EXPECT_EQ(SaveWorld(), Hex("0b") + warp + block + table + DefaultSettingsRecords());
}

} // namespace
